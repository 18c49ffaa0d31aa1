// What a document writes: to the phone and to text files. Calibration files are written in WorkingDayTest.

#include "app/document/LoadedDate.h"
#include "tests/app/DocumentFixture.h"

#include <cstdlib>

namespace {

using DocumentWrites = DocumentFixture;
using Numbers = std::vector<int>;

/// Whether the date item was stamped a moment ago.
bool isFresh(const NvItem& item) {
    const long long age = loadedDateStamp(std::time(nullptr)) - std::stoll(item.getSubItems()[0].value);
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
    document->writeListedToPhone();
    EXPECT_EQ(numbersWritten(), Numbers{}) << "an empty list is not written";
    ASSERT_TRUE(read());
    document->storeItemData(0, "5,-3");
    document->writeChangedToPhone();
    EXPECT_EQ(document->nvItems().size(), 2u) << "writing the changed ones does not extend the list";
    document->writeListedToPhone();
    ASSERT_EQ(document->nvItems().size(), 3u);
    EXPECT_TRUE(isFresh(document->nvItems()[2]));
    EXPECT_EQ(numbersWritten(), (Numbers{10, 40, 10, 20, 40}));
}

TEST_F(DocumentWrites, WithoutADateInTheRingTheWritesGoOnWithoutIt) {
    plugIn("10 0 05feff\n20 0 07\n");
    open("NV_ZETA,10,ReadWrite,<BYTE,z>#<SIGNED_WORD,w>#\nNV_ALPHA,20,ReadWrite,<BYTE,a>#\n");
    ASSERT_TRUE(read());
    document->storeItemData(0, "5,-3");
    document->writeChangedToPhone();
    EXPECT_EQ(ui.busyDepthAtMessage, 0) << "no busy cursor over a message";
    document->writeListedToPhone();
    EXPECT_TRUE(document->writeItem("NV_ALPHA", "8"));
    EXPECT_EQ(numbersWritten(), (Numbers{10, 10, 20, 20}));
    const std::string caption = "(x) Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file";
    const std::string reason = ": Calvane::getSupportedNvItem( std::string nvItemName ) - The NV item "
                               "'NV_RF_NV_LOADED_DATE_I' is not found in the decoder ring file.";
    EXPECT_EQ(ui.takeMessages(), caption + reason + "\n" + caption + "!!" + reason + "\n" + caption + "!!" + reason);
}

TEST_F(DocumentWrites, ARefusedItemEndsTheWrite) {
    plugIn();
    open();
    ASSERT_TRUE(read());
    refuse(20, 3);
    document->writeListedToPhone();
    EXPECT_EQ(ui.takeMessages(),
              "(x) Exception Thrown!!: Calvane::writeToPhone( const string comPort, const vector< NvItem >& nvItems, "
              "bool throwException ) - Unable to write 'NV_ALPHA' to the phone. (The NVM is full)");
    EXPECT_EQ(numbersWritten(), (Numbers{10, 20}));
    EXPECT_EQ(listed(), (Numbers{10, 20, 30, 40})) << "the list has the date item already";

    EXPECT_TRUE(document->writeItem("NV_ALPHA", "8"));
    EXPECT_TRUE(document->pendingWrite().empty()) << "a refused item must not stand before the next one";
    EXPECT_TRUE(document->writeItem("NV_ZETA", "1,2"));
    EXPECT_EQ(numbersWritten(), (Numbers{10, 20, 20, 10, 40}));
    EXPECT_FALSE(document->writeItem("NV_UNKNOWN", "1"));
}

TEST_F(DocumentWrites, TheStampCountsFromLocalMidnight) {
    const std::string before = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
    for (const auto& [zone, stamp] : {std::pair{"EST5EDT,M3.2.0,M11.1.0", 1243537200}, {"CET-1", 1243558800}}) {
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(loadedDateStamp(1243555200), stamp) << zone;
    }
    before.empty() ? unsetenv("TZ") : setenv("TZ", before.c_str(), 1);
    tzset();
}

TEST_F(DocumentWrites, AFullDiskIsTold) {
    open();
    ui.file = "/dev/full";
    listSupported();
    document->writeListedToText();
    EXPECT_EQ(ui.takeMessages(), "! Calvane: Couldn't write the whole text file /dev/full: 28");
}

} // namespace
