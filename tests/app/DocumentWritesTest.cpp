// What a document writes: to the phone and to text files. Calibration files are written in WorkingDayTest.

#include "tests/app/DocumentFixture.h"
#include "workbench/LoadedDate.h"

#include <ctime>

namespace {

using DocumentWrites = DocumentFixture;
using Numbers = std::vector<int>;

/// Whether the date item was stamped a moment ago.
bool isFresh(const NvItem& item) {
    const long long age = workbench::loadedDateStamp(std::time(nullptr)) - std::stoll(item.getSubItems()[0].value);
    return age >= 0 && age < 60;
}

TEST_F(DocumentWrites, ChangedItemsGoInTheOrderOfTheListWithTheStampLast) {
    plugIn();
    open();
    ASSERT_TRUE(read());
    document->writeChangedToPhone();
    EXPECT_EQ(numbersWritten(), Numbers{}) << "nothing was changed";
    document->storeItemData(1, "9");
    document->storeItemData(0, "5,-3");
    document->writeChangedToPhone();
    document->writeChangedToPhone();
    EXPECT_EQ(numbersWritten(), (Numbers{10, 20, 40, 10, 20, 40})) << "a second write sends them again";
    EXPECT_EQ(written()[0][4], 0xFD);
    EXPECT_TRUE(isFresh(document->nvItems()[3]));
    EXPECT_EQ(ui.takeMessages(), "");
}

TEST_F(DocumentWrites, AListWithoutTheDateGetsIt) {
    plugIn("10 0 05feff\n20 0 07\n");
    open();
    ASSERT_TRUE(read());
    document->writeListedToPhone();
    ASSERT_EQ(document->nvItems().size(), 3u);
    EXPECT_TRUE(isFresh(document->nvItems()[2]));
    EXPECT_EQ(numbersWritten(), (Numbers{10, 20, 40}));
}

TEST_F(DocumentWrites, ARefusedItemIsNotWrittenWithTheNextOne) {
    plugIn();
    open();
    ASSERT_TRUE(read());
    refuse(20, 3);
    EXPECT_TRUE(document->writeItem("NV_ALPHA", "8"));
    EXPECT_TRUE(document->pendingWrite().empty());
    EXPECT_TRUE(document->writeItem("NV_ZETA", "1,2"));
    EXPECT_EQ(numbersWritten(), (Numbers{20, 10, 40}));
    EXPECT_FALSE(document->writeItem("NV_UNKNOWN", "1"));
}

} // namespace
