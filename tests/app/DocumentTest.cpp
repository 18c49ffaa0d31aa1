// A document's life, its reads, and the order of its list.

#include "tests/app/DocumentFixture.h"

#include <sys/stat.h>

namespace {

using Document = DocumentFixture;
using Numbers = std::vector<int>;

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
        {"an empty first line is a name", "\nCOM2\n", "", "\nCOM2\n"},
        {"what follows stays", "COM1\nnot ours", "COM1", "COM1\nnot ours"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        std::filesystem::remove(folder / "CalvaneConfig.ini");
        if (row.file) {
            writeText(folder / "CalvaneConfig.ini", *row.file);
        }
        open();
        EXPECT_EQ(document->comPort(), row.port);
        document.reset();
        EXPECT_EQ(readText(folder / "CalvaneConfig.ini"), row.left);
    }
}

TEST_F(Document, ReadsThePhoneWithProgress) {
    plugIn("10 0 05feff\n20 5 -\n40 0 01000000\n");
    std::filesystem::current_path("/"); // the ring is looked for in the program's directory all the same
    open();
    ui.file = "nowhere.mox";
    document->readFromMoxFile();
    EXPECT_EQ(document->fileName(), "nowhere.mox") << "a failed read shows the path as well";
    ASSERT_TRUE(read());
    EXPECT_EQ(listed(), (Numbers{10, 40}));
    EXPECT_EQ(document->nvItems()[0].getSubItems()[1].value, "-2");
    EXPECT_TRUE(document->listChanged());
    EXPECT_EQ(document->fileName(), "");
    EXPECT_EQ(progress.lines.takeAll(),
              (std::vector<std::string>{"4 1 10 - NV_ZETA", "4 2 20 - NV_ALPHA", "4 3 30 - NV_FIXED",
                                        "4 4 40 - NV_RF_NV_LOADED_DATE_I"}));
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(Document, OrdersItsListAndFollowsTheChangedItems) {
    open("B,256,ReadWrite,<BYTE,x>#\nA,300,ReadWrite,<BYTE,x>#\nA,9,ReadWrite,<BYTE,x>#\na,1,ReadWrite,<BYTE,x>#\n");
    document->sortItems(true);
    EXPECT_FALSE(document->sortAlphabetical()) << "an empty list is not ordered";
    listSupported();
    document->storeItemData(1, "7");
    document->storeItemData(2, "8");
    document->clearListChanged();

    document->sortItems(true);
    EXPECT_EQ(listed(), (Numbers{9, 300, 256, 1})) << "twins keep their order, capitals come first";
    EXPECT_EQ(document->changedItems(), (std::set<std::size_t>{0, 2}));
    EXPECT_TRUE(document->sortAlphabetical());
    EXPECT_TRUE(document->listChanged());
    NvItem::setCompareByName(false); // as the dialog leaves it, which is cancelled here
    document->customizeList();
    EXPECT_EQ(listed(), (Numbers{9, 300, 256, 1})) << "by name again";
    EXPECT_EQ(document->changedItems(), (std::set<std::size_t>{0, 2}));
    listSupported();
    EXPECT_TRUE(document->changedItems().empty()) << "a new list has no changed items";
}

TEST_F(Document, OpensAPortFileAndSavesItBack) {
    const std::string path = (folder / "bench.port").string();
    const std::string longest(64, 'p');
    const struct {
        const char* what;
        std::string file, port, left;
        std::string message; ///< of what did not work
    } rows[] = {
        {"a name", "COM9\n", "COM9", "COM3\n", ""},
        {"the longest name", longest + "\r\n", longest, "COM3\n", ""},
        {"a second line", "COM9\nnote", "COM9", "COM9\nnote",
         path + " holds more than the name of a port, so it stays as it is."},
        {"a name that is too long", longest + "p", "COM1", longest + "p",
         "Couldn't open " + path + ": it does not start with the name of a port"},
    };
    plugIn();
    ui.comPort = "COM3";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        writeText(path, row.file);
        std::filesystem::remove(folder / "CalvaneConfig.ini");
        open();
        const bool opened = document->openDocument(path);
        EXPECT_EQ(document->comPort(), row.port);
        document->chooseComPort();
        EXPECT_EQ(opened && document->saveDocument(), row.message.empty());
        EXPECT_EQ(row.message.empty() ? "" : "! Calvane: " + row.message, ui.takeMessages());
        EXPECT_EQ(readText(path), row.left);
    }
}

TEST_F(Document, WaitsForNoPipe) {
    const std::string pipe = (folder / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
    std::filesystem::create_symlink("pipe", folder / "CalvaneConfig.ini");
    open();
    EXPECT_FALSE(document->openDocument(pipe));
    ui.file = pipe;
    document->writeListedToText();
    document.reset();
    const std::string noConfiguration = "! Calvane: Couldn't open CalvaneConfig.ini for writing 22";
    EXPECT_EQ(ui.takeMessages(), noConfiguration + "\n! Calvane: Couldn't open " + pipe +
                                     ": it is no regular file: Invalid argument\n"
                                     "! Calvane: Couldn't open text file for writing 22\n" +
                                     noConfiguration);
}

} // namespace
