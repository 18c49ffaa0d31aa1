// A document's life, its reads, and the order of its list.

#include "tests/app/DocumentFixture.h"

#include <sys/stat.h>

namespace {

using Document = DocumentFixture;
using testing::Test;

TEST_F(Document, TakesItsPortFromTheFirstLineOfTheConfiguration) {
    struct Row {
        const char* what;
        std::optional<std::string> file;
        const char* port;
        const char* left; ///< the file when the document is gone
    };
    const Row rows[] = {
        {"no file", std::nullopt, "COM1", "COM1\n"},
        {"an empty file holds no setting", "", "COM1", "COM1\n"},
        {"both line ends", "COM7\r\n", "COM7", "COM7\n\n"},
        {"carriage return alone", "COM4\rCOM5", "COM4", "COM4\nCOM5"},
        {"no line end", "COM3", "COM3", "COM3\n"},
        {"an empty first line is a name", "\nCOM2\n", "", "\nCOM2\n"},
        {"what follows stays", "COM1\nnot ours", "COM1", "COM1\nnot ours"},
        {"a line that is no name", "\xD0\xCF\x11\n", "\xD0\xCF\x11", "\xD0\xCF\x11\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        std::filesystem::remove(folder / "CalvaneConfig.ini");
        if (row.file) {
            write("CalvaneConfig.ini", *row.file);
        }
        open();
        EXPECT_EQ(document->comPort(), row.port);
        document.reset();
        EXPECT_EQ(contents("CalvaneConfig.ini"), row.left);
    }
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(Document, KeepsTheChosenPortForTheNextStart) {
    plugIn();
    open();
    ui.comPort = "COM3";
    document->chooseComPort();
    EXPECT_EQ(ui.portsOffered, std::vector<std::string>{"COM1"});
    document.reset();
    open();
    EXPECT_EQ(document->comPort(), "COM3");
    ui.comPort.reset();
    document->chooseComPort();
    EXPECT_EQ(document->comPort(), "COM3") << "Cancel keeps the port";
}

TEST_F(Document, GoesOnWithoutRingOrConfiguration) {
    std::filesystem::create_directory(folder / "CalvaneConfig.ini");
    std::filesystem::current_path("/");
    open(nullptr);
    EXPECT_EQ(std::filesystem::current_path(), std::filesystem::canonical(folder));
    const std::string noConfiguration = "! Calvane: Couldn't open CalvaneConfig.ini for writing 21";
    ASSERT_EQ(ui.messages.size(), 2u);
    EXPECT_EQ(ui.messages[0],
              "(x) Exception Thrown!!: Calvane::Calvane( const string decoderRingFile ) - The decoder ring file: 'NV "
              "Decoder.vrk' doesn't exist.  A decoder ring file is required.");
    EXPECT_EQ(ui.busyDepthAtMessage, 0) << "no busy cursor over a message";
    EXPECT_EQ(ui.messages[1], noConfiguration);
    EXPECT_EQ(document->comPort(), "COM1");
    listSupported();
    EXPECT_TRUE(document->nvItems().empty());
    document.reset();
    ASSERT_EQ(ui.messages.size(), 3u);
    EXPECT_EQ(ui.messages[2], noConfiguration);
}

TEST_F(Document, ReadsThePhoneWithProgress) {
    plugIn("10 0 05feff\n20 5 -\n40 0 01000000\n");
    open();
    ui.fileToOpen = "nowhere.mox";
    document->readFromMoxFile();
    EXPECT_EQ(document->fileName(), "nowhere.mox") << "a failed read shows the path as well";
    ui.messages.clear();
    ASSERT_TRUE(read());
    EXPECT_EQ(listed(), (std::vector<int>{10, 40}));
    EXPECT_EQ(document->nvItems()[0].getSubItems()[1].value, "-2");
    EXPECT_TRUE(document->listChanged());
    EXPECT_EQ(document->fileName(), "");
    EXPECT_EQ(progress.all(), (std::vector<std::string>{"4 1 10 - NV_ZETA", "4 2 20 - NV_ALPHA", "4 3 30 - NV_FIXED",
                                                        "4 4 40 - NV_RF_NV_LOADED_DATE_I"}));
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(Document, AFailedReadLeavesTheListAndSaysWhy) {
    plugIn();
    open();
    ASSERT_TRUE(read());
    document->clearListChanged();
    document->storeItemData(1, "9");
    service->port("COM1").setPresent(false);
    ASSERT_TRUE(read());
    EXPECT_EQ(listed(), (std::vector<int>{10, 20, 30, 40}));
    EXPECT_EQ(document->changedItems(), std::set<std::size_t>{1});
    EXPECT_FALSE(document->listChanged());
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0], "(x) Exception Thrown!!: Calvane::getNvItemsFromPhone( const string comPort ) - "
                              "TessraServer::sendSyncImpl - A command can not be issued as the phone is not present.");
}

TEST_F(Document, ListsEverySupportedItemByAPostedUpdate) {
    struct CountingView : DocumentView {
        int updates = 0;
        void onUpdate() override { ++updates; }
    } view;
    open();
    document->addView(&view);
    document->readSupportedItems();
    EXPECT_EQ(listed(), (std::vector<int>{10, 20, 30, 40}));
    EXPECT_EQ(view.updates, 0);
    ui.runPosted();
    EXPECT_EQ(view.updates, 1);
    document->readSupportedItems();
    document.reset();
    ui.runPosted(); // what was posted for a document that has gone does nothing
}

TEST_F(Document, OrdersItsListAndFollowsTheChangedItems) {
    open("B,256,ReadWrite,<BYTE,x>#\nA,300,ReadWrite,<BYTE,x>#\nA,9,ReadWrite,<BYTE,x>#\na,1,ReadWrite,<BYTE,x>#\n");
    document->sortItems(true);
    EXPECT_FALSE(document->sortAlphabetical()) << "an empty list is not ordered";
    listSupported();
    EXPECT_EQ(listed(), (std::vector<int>{1, 9, 256, 300}));
    document->storeItemData(1, "7");
    document->storeItemData(2, "8");
    document->setSelectedIndex(2);
    document->clearListChanged();

    document->sortItems(true);
    EXPECT_EQ(listed(), (std::vector<int>{9, 300, 256, 1})) << "twins keep their order, capitals come first";
    EXPECT_EQ(document->changedItems(), (std::set<std::size_t>{0, 2}));
    EXPECT_EQ(document->selectedIndex(), 2);
    EXPECT_TRUE(document->sortAlphabetical());
    EXPECT_TRUE(document->listChanged());

    document->sortItems(false);
    EXPECT_EQ(listed(), (std::vector<int>{1, 9, 256, 300}));
    EXPECT_EQ(document->changedItems(), (std::set<std::size_t>{1, 2}));
    listSupported();
    EXPECT_TRUE(document->changedItems().empty()) << "a new list has no changed items";
}

TEST_F(Document, TakesTheCustomizedListAndOrdersIt) {
    open();
    listSupported();
    document->sortItems(true);
    ui.customized = std::vector<NvItem>{document->nvItems()[3], document->nvItems()[0]};
    document->storeItemData(0, "1");
    document->customizeList();
    EXPECT_EQ(numbersOf(ui.availableOffered), (std::vector<int>{10, 20, 30, 40}));
    EXPECT_EQ(numbersOf(ui.customizedOffered), (std::vector<int>{20, 30, 40, 10}));
    EXPECT_EQ(listed(), (std::vector<int>{20, 10}));
    EXPECT_TRUE(document->changedItems().empty());

    ui.customized.reset();
    NvItem::setCompareByName(false); // as the dialog leaves it
    document->storeItemData(1, "3,4");
    document->customizeList();
    EXPECT_EQ(listed(), (std::vector<int>{20, 10})) << "by name again";
    EXPECT_EQ(document->changedItems(), std::set<std::size_t>{1}) << "Cancel changes nothing";
}

TEST_F(Document, OnlyAnItemInTheListIsSelected) {
    open();
    listSupported();
    for (const int index : {-1, 4, 1000}) {
        document->setSelectedIndex(index);
        EXPECT_EQ(document->selectedItem(), nullptr) << index;
    }
    document->setSelectedIndex(3);
    EXPECT_EQ(document->selectedItem()->getId(), 40);
}

TEST_F(Document, OpensAPortFileAndSavesItBack) {
    const std::string longest(64, 'p');
    const struct {
        const char* what;
        std::string file;
        std::optional<std::string> port; ///< none: it is not opened
        std::optional<std::string> left; ///< after saving COM3; none: it is not saved
    } rows[] = {
        {"a name", "COM9\n", "COM9", "COM3\n"},
        {"an empty file", "", "COM1", "COM3\n"},
        {"an empty first line", "\r\n", "", "COM3\n"},
        {"a name with a blank", "Bench 12\r\n", "Bench 12", "COM3\n"},
        {"the longest name", longest + "\r\n", longest, "COM3\n"},
        {"a second line", "COM9\nnote", "COM9", {}},
        {"more than a name takes", "COM9\n" + std::string(62, 'x'), "COM9", {}},
        {"bytes that are no text", std::string("COM9\n\xD0\xCF\x11", 8), "COM9", {}},
        {"a name that is too long", longest + "p", {}, {}},
        {"a calibration file", std::string("\xD0\xCF\x11\xE0", 4), {}, {}},
        {"a first line with a zero", std::string("COM9\0\n", 6), {}, {}},
    };
    plugIn();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        write("bench.port", row.file);
        open();
        ui.messages.clear();
        const std::string path = (folder / "bench.port").string();
        EXPECT_EQ(document->openDocument(path), row.port.has_value());
        EXPECT_EQ(document->comPort(), row.port.value_or("COM1"));
        std::vector<std::string> said;
        if (row.port) {
            ui.comPort = "COM3";
            document->chooseComPort();
            EXPECT_EQ(document->saveDocument(), row.left.has_value());
            if (!row.left) {
                said = {"! Calvane: " + path + " holds more than the name of a port, so it stays as it is."};
            }
        } else {
            said = {"! Calvane: Couldn't open " + path + ": it does not start with the name of a port"};
        }
        EXPECT_EQ(ui.messages, said);
        EXPECT_EQ(contents("bench.port"), row.left.value_or(row.file));
        document.reset();
        std::filesystem::remove(folder / "CalvaneConfig.ini");
    }
}

TEST_F(Document, SavesNoNameThatItWouldNotOpen) {
    plugIn();
    open();
    write("bench.port", "COM9\n");
    ASSERT_TRUE(document->openDocument(folder / "bench.port"));
    ui.comPort = "Pr\xC3\xBC"
                 "fplatz";
    document->chooseComPort();
    EXPECT_FALSE(document->saveDocument());
    EXPECT_EQ(ui.messages, std::vector<std::string>{"! Calvane: '" + *ui.comPort +
                                                    "' can't be kept in a file: a port's name has at most 64 "
                                                    "characters, all printable ones of ASCII."});
    EXPECT_EQ(contents("bench.port"), "COM9\n");
}

TEST_F(Document, WaitsForNoPipe) {
    const std::string pipe = (folder / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
    std::filesystem::create_symlink("pipe", folder / "CalvaneConfig.ini");
    open();
    EXPECT_FALSE(document->openDocument(pipe));
    EXPECT_FALSE(document->openDocument(folder / "missing.port"));
    ui.fileToSave = pipe;
    document->writeListedToText();
    document.reset();
    const std::string noConfiguration = "! Calvane: Couldn't open CalvaneConfig.ini for writing 22";
    EXPECT_EQ(ui.messages,
              (std::vector<std::string>{
                  noConfiguration, "! Calvane: Couldn't open " + pipe + ": it is no regular file: Invalid argument",
                  "! Calvane: Couldn't open " + (folder / "missing.port").string() + ": No such file or directory",
                  "! Calvane: Couldn't open text file for writing 22", noConfiguration}));
    EXPECT_FALSE(std::filesystem::exists(folder / "missing.port"));
}

} // namespace
