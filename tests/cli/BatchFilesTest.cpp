// The batch tool's verbs on calibration files.

#include "platform/storage/Storage.h"
#include "tests/cli/BatchTool.h"

namespace {

class BatchFiles : public BatchTool {
protected:
    Outcome show(const std::string& arguments) const { return run("show", quoted + " " + arguments, true, false); }
    Outcome plain(const std::string& verb, const std::string& arguments) const {
        return run(verb, arguments, false, false);
    }
    void readToMox(const std::string& arguments = "") {
        const Outcome outcome = run("read", "--port COM1 --mox " + quoted + " " + arguments);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }

    const std::string path = (folder / "phone.mox").string();
    const std::string quoted = "'" + path + "'";
};

TEST_F(BatchFiles, ARoundTripThroughAFileIsWhatThePhoneHad) {
    const Outcome read = run("read", "--port COM1 --mox " + quoted + " --model-id 123 --esn 0x10 --nv-version 1.2 " +
                                         "--software-version 3.4 --client-name me");
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.out, "");
    EXPECT_EQ(read.err, "Read 3 items from COM1. The phone has no value for the other 1 of the decoder ring.\nWrote 2 "
                        "items to '" +
                            path + "'. Left out 1 item whose access mark does not allow a write: 20.\n");
    EXPECT_EQ(show("").out, "   10  NV_A  (readwrite)\n       SIGNED WORD   -12  offset\n"
                            "       BYTE            1  flag\n   30  NV_B  (readwrite)\n       BYTE          7  x\n");
    EXPECT_EQ(run("set", "--port COM1 10 5,6").status, 0);
    const Outcome write = run("write", "--port COM1 --from-mox " + quoted);
    EXPECT_EQ(write.status, 0);
    EXPECT_EQ(write.err, "'" + path + "' holds 2 items.\nWrote 2 of 2 items to COM1.\n");
    EXPECT_EQ(run("read", "--port COM1 --ids 10 --text -").out, "NV_A\r\n-12, 1, \r\n\r\n");
    EXPECT_EQ(plain("tree", quoted).out, "            00000123/\n              default/\n                00000010/\n"
                                         "       134        00000000\n                00000030/\n"
                                         "       134        00000000\n        17      Mobile_Property_Info\n"
                                         "         6  File_Version\n");
}

TEST_F(BatchFiles, ShowTellsOfWhatTheRingDoesNotDescribe) {
    readToMox();
    write("ring.vrk", "NV_A,10,ReadWrite,<SIGNED_WORD,offset>#<BYTE,flag>#\n");
    const std::string account = "'" + path + "' holds 2 items. The decoder ring does not describe 1 of them: 30.";
    EXPECT_EQ(show("").err, account + "\n");
    const Outcome hex = show("--hex --ids 30,31");
    EXPECT_EQ(hex.err, account + " It has no item 31.\n");
    EXPECT_EQ(hex.out.substr(0, 107),
              "   30  (not in the decoder ring)\n       00  07 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00\n       10  00 0");
    EXPECT_EQ(show("--json -").out.find("\"id\": 30"), std::string::npos);
    EXPECT_NE(show("--json -").out.find("\"value\": \"-12\""), std::string::npos);
    EXPECT_EQ(run("write", "--port COM1 --from-mox " + quoted).err, account + "\nWrote 1 of 1 item to COM1.\n");
}

TEST_F(BatchFiles, AReadWithoutPropertiesWritesNoRecordAndKeepsOtherItems) {
    readToMox("--ids 10 --model-id 5");
    readToMox("--ids 30,999");
    EXPECT_EQ(plain("tree", quoted).out, "            00000005/\n              default/\n                00000010/\n"
                                         "       134        00000000\n                00000030/\n"
                                         "       134        00000000\n         6  File_Version\n");
}

TEST_F(BatchFiles, PruneKeepsWhatWasNamedAndNeverEverythingAway) {
    readToMox();
    const std::string before = read("phone.mox");
    const Outcome none = plain("prune", quoted + " --keep 20,40");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "'" + path + "' is left as it is: it holds none of the items to keep.\n");
    EXPECT_EQ(read("phone.mox"), before);
    const Outcome outcome = plain("prune", quoted + " --keep 30-32");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "Kept 1 of 2 items in '" + path + "'. It has no item 31, 32.\n");
    EXPECT_EQ(show("--ids 10,30").err, "'" + path + "' holds 1 item. It has no item 10.\n");
}

TEST_F(BatchFiles, WhatIsRefusedNamesTheFileAndLeavesItAlone) {
    write("text.mox", "no compound file");
    const std::string text = "'" + (folder / "text.mox").string() + "'";
    const std::string missing = "'" + (folder / "missing.mox").string() + "'";
    const std::string notCompound = "MoxFile::setupStgPointers() - The file %1 is not a valid compound file.\n";
    EXPECT_EQ(run("show", text, true, false).err, text + ": " + notCompound);
    EXPECT_EQ(plain("prune", text + " --keep 1").err, text + ": " + notCompound);
    EXPECT_EQ(plain("tree", text).err, "The file " + text + " is not a valid compound file.\n");
    EXPECT_EQ(plain("tree", missing).err, missing + " could not be found.\n");
    EXPECT_EQ(run("show", missing, true, false).err,
              missing + ": MoxFile::setupStgPointers() - Trying to read " + missing + " that doesn't exists\n");
    const Outcome write = run("read", "--port COM1 --mox " + text);
    EXPECT_EQ(write.status, 1);
    EXPECT_NE(write.err.find(text + " can't be written: " + notCompound), std::string::npos) << write.err;
    EXPECT_EQ(read("text.mox"), "no compound file");
    const Outcome readOnly = run("read", "--port COM1 --ids 20 --mox " + missing);
    EXPECT_EQ(readOnly.status, 1);
    EXPECT_EQ(readOnly.err, missing + " is left as it is: none of the 1 item read may be written to a file.\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "missing.mox"));
    const char* wrongUsage[] = {"--port COM1 --esn 1", "--port COM1 --mox x --nv-version 1",
                                "--port COM1 --mox x --nv-version 1.256", "--port COM1 --mox x --esn 4294967296",
                                "--port COM1 --mox x --model-id 0x"};
    for (const char* arguments : wrongUsage) {
        EXPECT_EQ(run("read", arguments).status, 2) << arguments;
    }
    EXPECT_EQ(run("write", "--port COM1").status, 2);
    EXPECT_EQ(run("write", "--port COM1 --from-mox a --from-json b").status, 2);
    EXPECT_EQ(plain("prune", text).status, 2);
}

TEST_F(BatchFiles, TreeIsNeitherFooledByNamesNorByDepth) {
    constexpr int kDepth = 300;
    {
        storage::ComPtr<storage::IStorage> root;
        ASSERT_EQ(storage::stgCreateDocfile(path, 0x1012, root), 0);
        storage::ComPtr<storage::IStream> stream;
        ASSERT_EQ(root->createStream(u"\u0005A\u009Bz\u00E4", 0x1011, stream), 0);
        std::vector<storage::ComPtr<storage::IStorage>> nested{root};
        for (int depth = 0; depth < kDepth; ++depth) {
            storage::ComPtr<storage::IStorage> child;
            ASSERT_EQ(nested.back()->createStorage(u"d", 0x1012, child), 0);
            nested.push_back(child);
        }
    }
    const Outcome deep = plain("tree", quoted);
    EXPECT_EQ(deep.status, 0) << deep.err;
    EXPECT_NE(deep.out.find("         0  \\x05A\\x9bz\u00E4\n"), std::string::npos);
    EXPECT_NE(deep.out.find("(299) d/\n"), std::string::npos);
    // Version 3 files end their storages' names at 128-byte entries; make the innermost storage contain the first.
    std::string bytes = read("phone.mox");
    std::vector<std::size_t> entries;
    for (std::size_t at = 0; at + 128 <= bytes.size(); at += 128) {
        if (bytes.compare(at, 4, std::string("d\0\0\0", 4)) == 0 && bytes[at + 66] == 1) {
            entries.push_back(at);
        }
    }
    ASSERT_EQ(entries.size(), static_cast<std::size_t>(kDepth));
    for (const std::size_t at : entries) {
        if (bytes.compare(at + 76, 4, "\xFF\xFF\xFF\xFF") == 0) { // without a child
            bytes.replace(at + 76, 4, bytes, entries.front() + 76, 4);
        }
    }
    write("phone.mox", bytes);
    const Outcome looped = plain("tree", quoted);
    EXPECT_EQ(looped.status, 1);
    EXPECT_FALSE(looped.err.empty());
}

} // namespace
