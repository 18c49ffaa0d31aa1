// What a document writes: to the phone, to calibration files and to text files.

#include "app/document/LoadedDate.h"
#include "tests/app/DocumentFixture.h"

#include <cstdlib>

namespace {

using DocumentWrites = DocumentFixture;
using Numbers = std::vector<int>;

std::string stampOf(const NvItem& item) {
    return item.getSubItems()[0].value;
}

/// Whether the text is the stamp of a moment ago.
bool isFresh(const std::string& stamp) {
    const long long age = loadedDateStamp(std::time(nullptr)) - std::stoll(stamp);
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
    for (int round = 1; round <= 2; ++round) {
        document->writeChangedToPhone();
    }
    EXPECT_EQ(numbersWritten(), (Numbers{10, 20, 40, 10, 20, 40})) << "a second write sends them again";
    EXPECT_EQ(written(3)[0].second, (std::vector<int>{5, 0xFD, 0xFF}));
    EXPECT_TRUE(isFresh(stampOf(document->nvItems()[3])));
    EXPECT_EQ(document->changedItems().size(), 2u);
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(DocumentWrites, AListWithoutTheDateGetsIt) {
    plugIn("10 0 05feff\n20 0 07\n");
    open();
    document->writeListedToPhone();
    EXPECT_EQ(numbersWritten(), Numbers{}) << "an empty list is not written";
    ASSERT_TRUE(read());
    document->clearListChanged();
    document->storeItemData(0, "5,-3");
    document->writeChangedToPhone();
    EXPECT_EQ(document->nvItems().size(), 2u) << "writing the changed ones does not extend the list";
    document->writeListedToPhone();
    ASSERT_EQ(document->nvItems().size(), 3u);
    EXPECT_TRUE(isFresh(stampOf(document->nvItems()[2])));
    EXPECT_FALSE(document->listChanged());
    EXPECT_EQ(document->changedItems(), std::set<std::size_t>{0});
    EXPECT_EQ(numbersWritten(), (Numbers{10, 40, 10, 20, 40}));
}

TEST_F(DocumentWrites, WithoutADateInTheRingTheWritesGoOnWithoutIt) {
    plugIn("10 0 05feff\n20 0 07\n");
    open(kRingWithoutDate);
    ASSERT_TRUE(read());
    document->storeItemData(0, "5,-3");
    document->writeChangedToPhone();
    document->writeListedToPhone();
    EXPECT_TRUE(document->writeItem("NV_ALPHA", "8"));
    EXPECT_EQ(numbersWritten(), (Numbers{10, 10, 20, 20}));
    const std::string reason = "Calvane::getSupportedNvItem( std::string nvItemName ) - The NV item "
                               "'NV_RF_NV_LOADED_DATE_I' is not found in the decoder ring file.";
    const std::string caption = "(x) Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file";
    EXPECT_EQ(ui.messages, (std::vector<std::string>{caption + ": " + reason, caption + "!!: " + reason,
                                                     caption + "!!: " + reason}));
}

TEST_F(DocumentWrites, ARefusedItemEndsTheWrite) {
    plugIn();
    open();
    ASSERT_TRUE(read());
    refuse(20, 3);
    document->writeListedToPhone();
    const std::string refusal =
        "(x) Exception Thrown!!: Calvane::writeToPhone( const string comPort, const vector< NvItem "
        ">& nvItems, bool throwException ) - Unable to write 'NV_ALPHA' to the phone. (The NVM "
        "is full)";
    EXPECT_EQ(ui.messages, std::vector<std::string>{refusal});
    EXPECT_EQ(ui.busyDepthAtMessage, 0);
    EXPECT_EQ(numbersWritten(), (Numbers{10, 20}));

    EXPECT_TRUE(document->writeItem("NV_ALPHA", "8"));
    EXPECT_TRUE(document->pendingWrite().empty()) << "a refused item must not stand before the next one";
    EXPECT_TRUE(document->writeItem("NV_ZETA", "1,2"));
    EXPECT_EQ(numbersWritten(), (Numbers{10, 20, 20, 10, 40}));
    EXPECT_FALSE(document->writeItem("NV_UNKNOWN", "1"));
    EXPECT_TRUE(document->changedItems().empty());
}

TEST_F(DocumentWrites, TextsThatDoNotFitLeaveTheItemAsItWas) {
    plugIn();
    open();
    ASSERT_TRUE(read());
    EXPECT_THROW(document->storeItemData(0, "6,99999"), Calvane::Exception);
    EXPECT_THROW(document->writeItem("NV_ZETA", "6"), Calvane::Exception);
    EXPECT_EQ(document->nvItems()[0].getSubItems()[0].value, "5");
    EXPECT_TRUE(document->changedItems().empty());
    EXPECT_EQ(numbersWritten(), Numbers{});
}

TEST_F(DocumentWrites, TheStampCountsFromLocalMidnight) {
    const std::string before = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
    struct Row {
        const char* zone;
        std::int32_t stamp;
    };
    for (const Row& row :
         {Row{"UTC0", 1243555200}, Row{"EST5EDT,M3.2.0,M11.1.0", 1243537200}, Row{"CET-1", 1243558800}}) {
        setenv("TZ", row.zone, 1);
        tzset();
        EXPECT_EQ(loadedDateStamp(1243555200), row.stamp) << row.zone;
    }
    before.empty() ? unsetenv("TZ") : setenv("TZ", before.c_str(), 1);
    tzset();
}

TEST_F(DocumentWrites, TextFilesHoldTheListedItems) {
    open();
    listSupported();
    document->storeItemData(0, "5,-2");
    const NvItem first = document->nvItems()[0];
    ui.customized = std::vector<NvItem>{first};
    document->customizeList();
    write("out.txt", "an older and longer file that has to go");
    ui.fileToSave = (folder / "out.txt").string();
    document->writeListedToText();
    EXPECT_EQ(contents("out.txt"), "NV_ZETA\r\n5, -2, \r\n\r\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 3) << "nothing else is left behind";
    EXPECT_EQ(ui.lastQuestion.title, "Save");
    EXPECT_EQ(ui.lastQuestion.filters, "Text File ( *.txt )|*.txt|All Files ( *.* )|*.*||");
    EXPECT_EQ(document->fileName(), "");
    ui.fileToSave = (folder / "no" / "out.txt").string();
    document->writeListedToText();
    ui.fileToSave = "/dev/full";
    document->writeListedToText();
    EXPECT_EQ(ui.messages, (std::vector<std::string>{"! Calvane: Couldn't open text file for writing 2",
                                                     "! Calvane: Couldn't write the whole text file /dev/full: 28"}));
}

TEST_F(DocumentWrites, OfflineAndResetReportTheirFailures) {
    open();
    document->setPhoneOffline();
    document->resetPhone();
    document->chooseComPort();
    const std::string notConnected = " - TessraServer::connect must be called before calling this member function.";
    ASSERT_EQ(ui.messages.size(), 3u);
    EXPECT_EQ(ui.messages[0], "(x) Exception Thrown!!: TessraServer::offline" + notConnected);
    EXPECT_EQ(ui.messages[1], "(x) Exception Thrown!!: TessraServer::reset" + notConnected);
    EXPECT_EQ(ui.messages[2].substr(0, 56), "(x) Exception Thrown!!: TessraServer::initialize - Unabl") << "no service";
    ui.messages.clear();
    plugIn();
    ASSERT_TRUE(read());
    document->setPhoneOffline();
    document->resetPhone();
    EXPECT_TRUE(ui.messages.empty());
}

} // namespace
