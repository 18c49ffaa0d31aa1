// A document's life, its reads, and the order of its list.

#include "tests/app/DocumentFixture.h"

#include <sys/stat.h>

namespace {

using Document = DocumentFixture;
using Numbers = std::vector<int>;

TEST_F(Document, TakesItsPortFromTheFirstLineOfTheConfiguration) {
    open();
    EXPECT_EQ(document->comPort(), "COM1") << "there is no file";
    document.reset();
    EXPECT_EQ(readText(folder / "CalvaneConfig.ini"), "COM1\n");
    const std::string longLine(5000, 'C');
    const struct {
        std::string file, port, left;
    } rows[] = {{"COM7\r\n", "COM7", "COM7\n\n"},
                {"COM7\nnot ours", "COM7", "COM7\nnot ours"},
                {longLine + "\nnot ours", std::string(4096, 'C'), longLine + "\nnot ours"}};
    for (const auto& [file, port, left] : rows) {
        writeText(folder / "CalvaneConfig.ini", file);
        open();
        EXPECT_EQ(document->comPort(), port);
        document.reset();
        EXPECT_EQ(readText(folder / "CalvaneConfig.ini"), left);
    }
}

TEST_F(Document, ReadsThePhoneWithProgress) {
    plugIn("10 0 05feff\n20 5 -\n40 0 01000000\n");
    std::filesystem::current_path("/"); // the ring is looked for in the program's directory all the same
    open();
    ASSERT_TRUE(read());
    EXPECT_EQ(listed(), (Numbers{10, 40}));
    EXPECT_EQ(document->nvItems()[0].getSubItems()[1].value, "-2");
    EXPECT_TRUE(document->listChanged());
    EXPECT_EQ(progress.lines.takeAll(),
              (std::vector<std::string>{"4 1 10 - NV_ZETA", "4 2 20 - NV_ALPHA", "4 3 30 - NV_FIXED",
                                        "4 4 40 - NV_RF_NV_LOADED_DATE_I"}));
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(Document, OrdersItsListAndFollowsTheChangedItems) {
    open("B,256,ReadWrite,<BYTE,x>#\nA,300,ReadWrite,<BYTE,x>#\nA,9,ReadWrite,<BYTE,x>#\na,1,ReadWrite,<BYTE,x>#\n");
    listSupported();
    document->storeItemData(1, "7");
    document->storeItemData(2, "8");
    document->sortItems(true);
    EXPECT_EQ(listed(), (Numbers{9, 300, 256, 1})) << "twins keep their order, capitals come first";
    EXPECT_EQ(document->changedItems(), (std::set<std::size_t>{0, 2}));
    document->sortItems(false);
    EXPECT_EQ(listed(), (Numbers{1, 9, 256, 300}));
    listSupported();
    EXPECT_TRUE(document->changedItems().empty()) << "a new list has no changed items";
}

TEST_F(Document, OpensAPortFileAndSavesItBack) {
    const std::string path = (folder / "bench.port").string();
    const std::string tooLong(65, 'p');
    const struct {
        std::string file, port, left;
        std::string message; ///< of what did not work
    } rows[] = {
        {"COM9\n", "COM9", "COM3\n", ""},
        {std::string(64, 'p') + "\n", std::string(64, 'p'), "COM3\n", ""},
        {"COM9\nnote", "COM9", "COM9\nnote", path + " holds more than the name of a port, so it stays as it is."},
        {tooLong, "COM1", tooLong, "Couldn't open " + path + ": it does not start with the name of a port"},
    };
    plugIn();
    ui.comPort = "COM3";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file);
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

TEST_F(Document, TellsOfFilesThatCannotBeUsed) {
    const std::string pipe = (folder / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
    open();
    listSupported();
    EXPECT_FALSE(document->openDocument(pipe)) << "nobody may ever write into it";
    for (const std::string& file : {pipe, std::string("/dev/full")}) {
        ui.file = file;
        document->writeListedToText();
    }
    EXPECT_EQ(ui.takeMessages(), "! Calvane: Couldn't open " + pipe +
                                     ": it is no regular file: Invalid argument\n"
                                     "! Calvane: Couldn't open text file for writing 22\n"
                                     "! Calvane: Couldn't write the whole text file /dev/full: 28");
    EXPECT_TRUE(ui.filesWritten.empty());
}

TEST_F(Document, HasTheUnitsBesideTheRingOrSaysWhyNot) {
    const auto path = folder / "NV Decoder.units";
    writeText(path, "10 1 dBm 0.5\n");
    open();
    ASSERT_NE(document->units().find(10, 0), nullptr);
    EXPECT_EQ(document->units().find(10, 0)->factor, 0.5);
    EXPECT_EQ(ui.takeMessages(), "");
    writeText(path, "10 1 dBm\n10 2 V 0\n");
    open();
    EXPECT_TRUE(document->units().isEmpty()) << "half of them would pass for all";
    EXPECT_EQ(ui.takeMessages(), "! Calvane: " + path.string() + ", line 2: the factor is 0");
}

TEST_F(Document, TellsWhyAPortCannotBeUsed) {
    writeText(folder / "no device", "");
    tessra::ServiceConfig config = phonesOn({"COM1"});
    config.ports[0].line.device = folder / "no device";
    service = std::make_unique<HostedService>(config);
    open();
    const std::string failure = "Unknow exception throw.  Caught in (...) catch block.";
    const std::string reason = "\n" + (folder / "no device").string() + ": is no serial device";
    ASSERT_TRUE(read());
    EXPECT_TRUE(ui.takeMessages().ends_with(failure + reason));
    listSupported();
    document->writeListedToPhone();
    EXPECT_TRUE(ui.takeMessages().ends_with(failure + reason));
}

} // namespace
