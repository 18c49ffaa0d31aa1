// The batch tool's verbs on calibration files.

#include "platform/storage/Storage.h"
#include "tests/cli/BatchTool.h"

#include <regex>

namespace {

using BatchFiles = BatchTool;

TEST_F(BatchFiles, ARoundTripThroughAFileIsWhatThePhoneHad) {
    const Outcome read = run("read --mox p.mox --model-id 123 --esn 0x10 --nv-version 1.2 --software-version 3.4 "
                             "--client-name me");
    EXPECT_EQ(read.out, "");
    EXPECT_EQ(read.err, "Read 3 items from COM1 (Sample 0000000001). The phone has no value for the other 1 of the "
                        "decoder ring.\nWrote 2 "
                        "items to 'p.mox'. Left out 1 item whose access mark does not allow a write: 20.\n");
    EXPECT_EQ(run("show p.mox").out,
              "   10  NV_A  (readwrite)\n  [1]  SIGNED WORD   -12  offset\n"
              "  [2]  BYTE            1  flag\n   30  NV_B  (readwrite)\n  [1]  BYTE          7  x\n");
    write("phone.nvmem", "10 0 0000000000cc\n");
    EXPECT_EQ(run("write --from-mox p.mox").err,
              "'p.mox' holds 2 items.\nCOM1 (Sample 0000000001): 2 written and verified.\n");
    EXPECT_NE(run("read --json -").out.find("\"raw\": \"f4ff01aabb00"), std::string::npos) << "all bytes";
    EXPECT_EQ(run("tree p.mox").out, "            00000123/\n              default/\n"
                                     "                00000010/\n       134        00000000\n"
                                     "                00000030/\n       134        00000000\n"
                                     "        17      Mobile_Property_Info\n         6  File_Version\n");
}

TEST_F(BatchFiles, WhatTheRingDoesNotDescribeIsToldAndNeverWritten) {
    ASSERT_EQ(run("read --mox p.mox").status, 0);
    write("ring.vrk", "NV_A,10,ReadWrite,<SIGNED_WORD,offset>#<BYTE,flag>#\n");
    const std::string account = "'p.mox' holds 2 items. The decoder ring does not describe 1 of them: 30.";
    EXPECT_EQ(run("show p.mox").err, account + "\n");
    const Outcome hex = run("show p.mox --hex --ids 30,31");
    EXPECT_EQ(hex.err, account + " It has no item 31.\n");
    EXPECT_TRUE(hex.out.starts_with("   30  (not in the decoder ring)\n       00  07 00 00 00 00 00 00 00 00 00 00 00 "
                                    "00 00 00 00\n       10  00 0"));
    const std::string json = run("show p.mox --json -").out;
    EXPECT_EQ(json.find("\"id\": 30"), std::string::npos);
    EXPECT_NE(json.find("\"value\": \"-12\""), std::string::npos);
    EXPECT_EQ(run("write --from-mox p.mox").err, account + "\nCOM1 (Sample 0000000001): 1 written and verified.\n");
}

TEST_F(BatchFiles, PruneKeepsWhatWasNamedAndNeverEverythingAway) {
    ASSERT_EQ(run("read --mox p.mox").status, 0);
    const Outcome none = run("prune p.mox --keep 20,40");
    EXPECT_EQ(none.status, 6);
    EXPECT_EQ(none.err, "calvane-batch: 'p.mox' is left as it is: it holds none of the items to keep.\n");
    expectRun("prune p.mox --keep 10,31", 7, "calvane-batch: 'p.mox' is left as it is. It has no item 31.\n");
    expectRun("prune p.mox --keep 30-32", 0, "Kept 1 of 2 items in 'p.mox'. It has no item 31, 32.\n");
    EXPECT_EQ(run("show p.mox --ids 10,30").err, "'p.mox' holds 1 item. It has no item 10.\n");
}

TEST_F(BatchFiles, AListStandsForItsNumbers) {
    write("l", "# two\n30 NV_B\n10 NV_OTHER\n");
    write("more", "10\n31\n");
    write("bad", "10\nten\n");
    const std::string told = "l: Line 3: item 10 is NV_A in the decoder ring, not NV_OTHER.\n";
    expectRun("read --list l --mox p.mox", 0,
              told + "Read 2 items from COM1 (Sample 0000000001).\nWrote 2 items to 'p.mox'.\n");
    EXPECT_EQ(run("show p.mox --list l").out, run("show p.mox --ids 10,30").out);
    const std::string lacking = "more: Line 2: item 31 is not in the decoder ring.\n";
    expectRun("write --from-mox p.mox --list more", 7,
              lacking + "'p.mox' holds 2 items.\ncalvane-batch: 'p.mox' lacks 31. Nothing was written.\n");
    EXPECT_EQ(run("write --from-mox p.mox --ids 20-30 --dry-run").out, "30 NV_B  as on the phone\n");
    expectRun("prune p.mox --list more", 0, "Kept 1 of 2 items in 'p.mox'. It has no item 31.\n");
    expectRun("show p.mox --list bad", 6,
              "calvane-batch: Can't read the list 'bad': line 2: 'ten' is no item number (0 to 65535)\n");
}

TEST_F(BatchFiles, WhatIsRefusedNamesTheFileAndLeavesItAlone) {
    write("text", "no compound file");
    const std::string notCompound = "The file text is not a valid compound file.\n";
    const std::pair<const char*, std::string> cases[] = {
        {"show text", "'text': " + notCompound},
        {"read --mox text", "'text': " + notCompound},
        {"tree text", "The file 'text' is not a valid compound file.\n"},
        {"show missing", "'missing': Trying to read 'missing' that doesn't exists\n"},
        {"read --ids 20 --mox missing",
         "'missing' is left as it is: none of the 1 item read may be written to a file.\n"},
    };
    for (const auto& [arguments, err] : cases) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 6);
        EXPECT_TRUE(outcome.err.starts_with("calvane-batch: " + err)) << outcome.err;
    }
    EXPECT_EQ(readText(folder / "text"), "no compound file");
    EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}

/// Where the directory entry of the `nth` element of that name begins in the bytes of a compound file.
std::size_t entryOf(const std::string& bytes, const std::string& name, int nth) {
    std::string wide;
    for (const char character : name) {
        wide += {character, '\0'};
    }
    std::size_t found = bytes.find(wide);
    for (; nth > 1; --nth) {
        found = bytes.find(wide, found + 1);
    }
    return found;
}

TEST_F(BatchFiles, OfADamagedFileTheRestIsShownAndNothingWritten) {
    write("phone.nvmem", "10 0 f4ff01aabb\n30 0 07\n40 0 08\n");
    ASSERT_EQ(run("read --mox whole.mox --model-id 5").status, 0);
    const std::string whole = readText(folder / "whole.mox");
    const struct {
        std::size_t offset;
        char byte;
        const char* lost;
    } cases[] = {
        {entryOf(whole, "00000030", 1) + 0x48, '\x50', "NV_NONE"}, // the link to item 40
        {entryOf(whole, "00000000", 2) + 0x78, '\x20', "NV_B"},    // the length of item 30
    };
    for (const auto& row : cases) {
        std::string bytes = whole;
        bytes[row.offset] = row.byte;
        write("p.mox", bytes);
        const Outcome shown = run("show p.mox");
        EXPECT_EQ(shown.status, 6);
        EXPECT_NE(shown.err.find("'p.mox' is damaged: it may have had more items."), std::string::npos) << shown.err;
        for (const char* name : {"NV_A", "NV_B", "NV_NONE"}) {
            EXPECT_EQ(shown.out.find(name) == std::string::npos, name == std::string(row.lost)) << name;
        }
        const Outcome refused = run("write --from-mox p.mox");
        EXPECT_EQ(refused.status, 6);
        EXPECT_TRUE(refused.err.starts_with("calvane-batch: Nothing is done with 'p.mox', as it is damaged. "))
            << refused.err;
        EXPECT_FALSE(std::filesystem::exists(folder / "COM1.nvmem"));
        EXPECT_EQ(readText(folder / "p.mox"), bytes);
    }
}

TEST_F(BatchFiles, AnItemUnderTwoNamesIsShownAndNeverWritten) {
    ASSERT_EQ(run("read --mox p.mox --model-id 5").status, 0);
    const auto putTen = [this] {
        storage::ComPtr<storage::IStorage> root, model, list, item;
        ASSERT_EQ(storage::stgOpenStorage(folder / "p.mox", 0x12, root), 0);
        ASSERT_EQ(root->openStorage(u"00000005", 0x12, model), 0);
        ASSERT_EQ(model->openStorage(u"default", 0x12, list), 0);
        ASSERT_EQ(list->createStorage(u"0000000010", 0x1012, item), 0);
        storage::ComPtr<storage::IStream> stream;
        ASSERT_EQ(item->createStream(u"00000000", 0x1012, stream), 0);
        std::uint32_t written = 0;
        ASSERT_EQ(stream->write(std::vector<std::uint8_t>(134), written), 0);
    };
    putTen();
    const std::string twice = "'p.mox' has item 10 more than once, under names of different length.\n";
    for (const std::string options : {"", " --hex"}) {
        const Outcome shown = run("show p.mox" + options);
        EXPECT_EQ(shown.status, 6);
        EXPECT_EQ(shown.err, "'p.mox' holds 3 items.\n" + twice);
        const auto mark = shown.out.find("  [more than once]\n");
        EXPECT_NE(mark, shown.out.rfind("  [more than once]\n")) << "both are marked";
        EXPECT_NE(mark, std::string::npos);
    }
    const std::string failure = "calvane-batch: " + twice.substr(0, twice.size() - 1);
    expectRun("write --from-mox p.mox", 6, failure + " Nothing is written from it.\n");
    EXPECT_EQ(run("prune p.mox --keep 10").err, failure + " The file is left as it is.\n");
    EXPECT_TRUE(run("read --ids 30 --mox p.mox").err.starts_with(failure + " The file is left as it is.\n"));
    ASSERT_EQ(run("prune p.mox --keep 30").err, "Kept 1 of 3 items in 'p.mox'.\n");
    putTen();
    EXPECT_EQ(run("read --ids 10 --mox p.mox").status, 0);
    EXPECT_EQ(run("show p.mox").err, "'p.mox' holds 2 items.\n") << "the one that is written counts";
    EXPECT_NE(run("show p.mox --ids 10").out.find(" -12 "), std::string::npos);
}

TEST_F(BatchFiles, TreeIsNotFooledByNames) {
    {
        storage::ComPtr<storage::IStorage> root;
        ASSERT_EQ(storage::stgCreateDocfile(folder / "p.mox", 0x1012, root), 0);
        storage::ComPtr<storage::IStream> stream;
        ASSERT_EQ(root->createStream(u"\u0005A\u009Bz\u00E4", 0x1011, stream), 0);
    }
    EXPECT_EQ(run("tree p.mox").out, "         0  \\x05A\\x9bz\u00E4\n");
}

TEST_F(BatchFiles, ProgramsAreToldTheSame) {
    ASSERT_EQ(run("read --mox p.mox --model-id 123 --esn 0x10 --nv-version 1.2 --client-name me").status, 0);
    EXPECT_EQ(run("show p.mox --info").out, "Phone model id: 123\nItems: 2\nESN: 16 (0x00000010)\nNV version: 1.2\n"
                                            "Software version: \nClient name: me\n");
    const std::pair<const char*, const char*> cases[] = {
        {"show p.mox --info --json -",
         R"({ "file": "p.mox", "phoneModelId": 123, "items": 2, "record": { "esn": 16, "nvVersion": "1.2", )"
         R"("softwareVersion": "", "clientName": "me" } })"},
        {"list --ids 10 --json -",
         R"({ "items": [ {"id":10,"name":"NV_A","access":"readwrite","fields":[)"
         R"({"field":1,"type":"SIGNED WORD","description":"offset"},{"field":2,"type":"BYTE","description":"flag"}]} ] })"},
        {"ports --json -", R"({ "ports": [ { "name": "COM1" } ] })"},
        {"tree p.mox --json t; sed '4,8d' t >out",
         R"({ "elements": [ {"depth":0,"kind":"storage","name":"00000123"}, )"
         R"({"depth":2,"kind":"stream","name":"Mobile_Property_Info","size":14}, )"
         R"({"depth":0,"kind":"stream","name":"File_Version","size":6} ], "complete": true })"},
    };
    for (const auto& [arguments, json] : cases) {
        EXPECT_EQ(std::regex_replace(run(arguments).out, std::regex("\n *"), " "), json + std::string(" "));
    }
}

TEST_F(BatchFiles, NoResultFallsOnWhatIsReadOrOnAnother) {
    namespace fs = std::filesystem;
    ASSERT_EQ(run("read --mox p.mox").status, 0);
    fs::create_hard_link(folder / "p.mox", folder / "second");
    fs::create_symlink("x", folder / "to-x");
    const std::pair<const char*, const char*> cases[] = {
        {"show p.mox --json p.mox", "--json 'p.mox' is the calibration file, which is read"},
        {"show p.mox --json ./ring.vrk", "--json './ring.vrk' is the decoder ring, which is read"},
        {"show p.mox >>p.mox", "Standard output is the calibration file, which is read"},
        {"read --json - --text y >y", "Standard output is the file of --text 'y'"},
        {"read --log ring.vrk", "--log 'ring.vrk' is the decoder ring, which is read"},
        {"write --from-mox p.mox --list ring.vrk --report p.mox",
         "--report 'p.mox' is the calibration file, which is read"},
        {"read --port COM1,COM2 --log Tessra.toml",
         "--log 'Tessra.toml' is the file of the service's ports, which is read"},
        {"diff p.mox p.mox --changed-only-names --json -", "--changed-only-names is standard output, as --json '-' is"},
        {"read --text ./x --mox to-x", "--mox 'to-x' is the file of --text './x'"},
        {"read --text p.mox --mox second", "--mox 'second' is the file of --text 'p.mox'"},
        {"read --json Tessra.toml", "--json 'Tessra.toml' is the file of the service's ports, which is read"},
        {"read --text COM1.nvmem", "--text 'COM1.nvmem' is the memory of the phone on COM1, which is read"},
        {"read --mox phone.nvmem", "--mox 'phone.nvmem' is the initial memory of the phone on COM1, which is read"},
        {"read --log -", "What is printed is standard output, as --log '-' is"},
        {"read --text - --json -", "--json '-' is standard output, as --text '-' is"},
        {"diff - /dev/stdin </dev/null", "the right side is the left side as well, which can be read once"},
        {"diff - - <ring.vrk", "the right side is the left side as well, which can be read once"},
        {"tree p.mox >>second", "Standard output is the command's input, which is read"},
    };
    const std::string mox = readText(folder / "p.mox");
    const std::string others = readText(folder / "ring.vrk") + readText(folder / "Tessra.toml");
    for (const auto& [arguments, err] : cases) {
        expectRun(arguments, 2, "calvane-batch: " + std::string(err) + ". Nothing was done.\n");
    }
    EXPECT_EQ(readText(folder / "p.mox"), mox);
    EXPECT_EQ(readText(folder / "ring.vrk") + readText(folder / "Tessra.toml"), others);
    EXPECT_FALSE(fs::exists(folder / "x") || fs::exists(folder / "COM1.nvmem"));
    EXPECT_EQ(run("read --text /dev/null --json /dev/null").status, 0) << "a device may be written to twice";
    EXPECT_EQ(run("read --mox second").status, 0) << "a calibration file is added to";
}

/// A program's output in a file that it has opened itself is a loss: each set of closed descriptors leaves the others,
/// the phone's memory and the files as they should be.
TEST_F(BatchFiles, ClosedDescriptorsAreNobodysFile) {
    const std::pair<const char*, bool> verbs[] = {
        {"set 30 8", true},
        {"read --text t", false},
        {"read --text -", true},
        {"show p.mox", true},
        {"--help", true},
        {"write --from-mox p.mox --port COM1 --changed-only", false},
        {"write --from-json none", false},
    };
    ASSERT_EQ(run("read --mox p.mox").status, 0);
    std::string memory;
    for (const auto& [verb, prints] : verbs) {
        const int whole = run(verb).status;
        memory = readText(folder / "COM1.nvmem");
        for (int closed = 1; closed < 8; ++closed) {
            const std::string redirected = std::string((closed & 1) != 0 ? " <&-" : "") +
                                           ((closed & 2) != 0 ? " >&-" : "") + ((closed & 4) != 0 ? " 2>&-" : "");
            SCOPED_TRACE(verb + redirected);
            const bool isLost = prints && (closed & 2) != 0;
            EXPECT_EQ(run(verb + redirected).status, isLost ? 6 : whole);
            EXPECT_EQ(readText(folder / "COM1.nvmem"), memory);
            EXPECT_EQ(readText(folder / "COM1.nvmem.lock"), "");
            EXPECT_EQ(std::filesystem::exists(folder / "none"), false);
        }
    }
    EXPECT_EQ(readText(folder / "t").substr(0, 4), "NV_A");
    EXPECT_NE(memory.find("30 0 07"), std::string::npos) << "the last write was of the calibration file";
}

} // namespace
