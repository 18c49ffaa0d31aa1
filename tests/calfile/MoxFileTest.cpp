// Writing, updating and pruning calibration files: the states of the class, its texts, and what is in the file.

#include "platform/kernel/Trace.h"
#include "tests/calfile/MoxFixture.h"

#include <sys/resource.h>

#include <fstream>

namespace {

constexpr const char* kNoItems =
    "MoxFile::writeToDisk() - Before calling this member function you need to add at least "
    "1 NV item to the this object using the insertion operator.";
constexpr const char* kNoFile = "MoxFile::begin() - Error no MOX file has been opened.  Either create the MOX with a "
                                "file name, or call the open member function with a file name as a parameter.";

std::string bytes(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

using MoxFileTest = MoxFixture;

TEST_F(MoxFileTest, AFreshObjectRefusesWhatNeedsItemsOrAFile) {
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(); }), kNoItems);
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(7); }), kNoItems);
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(path.c_str(), 7); }), kNoItems);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(refusalOf([&] { file.begin(); }), kNoFile) << "the refused write has named no file";
    EXPECT_EQ(refusalOf([&] { file.end(); }), kNoFile);
}

TEST_F(MoxFileTest, ANewFileHoldsItsTreeByteForByteForAnotherReader) {
    file.addNvItem(345, dataOf(0x59).data());
    file << MoxFile::NvRecord{1, dataOf(0x01), 0x1234};
    file.setMobilePropertyInfo(0x89ABCDEF, 2, 7, "1.0", "");
    file.writeToDisk(path.c_str(), 123);
    file.cleanUp();
    const std::string data345(reinterpret_cast<const char*>(dataOf(0x59).data()), 128);
    EXPECT_EQ(gsfStream("File_Version"), bytes({1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(gsfStream("00000123/default/00000345/00000000"), bytes({0x59, 0x01, 0, 0, 0x86, 0}) + data345);
    EXPECT_EQ(gsfStream("00000123/default/00000001/00000000").substr(0, 7), bytes({1, 0, 0x34, 0x12, 0x86, 0, 1}));
    EXPECT_EQ(gsfStream("00000123/default/Mobile_Property_Info"),
              bytes({0xEF, 0xCD, 0xAB, 0x89, 123, 0, 2, 7, 3, 0, '1', '.', '0', 0, 0}));
}

TEST_F(MoxFileTest, AnUpdateReplacesItemsOfItsNumbersAndLeavesTheRest) {
    writeItems({1, 345});
    writeItems({345, 7}, 99, 1);
    EXPECT_EQ(numbers(), (std::vector<int>{1, 7, 345}));
    EXPECT_EQ(file.readPhoneModelId(), 123) << "an existing file keeps its model";
    EXPECT_EQ(gsfStream("00000123/default/00000345/00000000")[6], 0x5A);
    EXPECT_EQ(gsfStream("00000123/default/00000001/00000000")[6], 1);
    file.addNvItem(9, dataOf(9).data());
    file.setMobilePropertyInfo(1, 0, 0, "", "me");
    file.writeToDisk(path.c_str(), 99);
    EXPECT_EQ(gsfStream("00000123/default/Mobile_Property_Info"),
              bytes({1, 0, 0, 0, 123, 0, 0, 0, 0, 0, 2, 0, 'm', 'e'}));
    file.writeToDisk(path.c_str(), 98);
    EXPECT_EQ(gsfStream("00000123/default/Mobile_Property_Info")[4], 98) << "the id held, in a file that was open";
    EXPECT_EQ(file.readPhoneModelId(), 98) << "the id given last is the one held";
    EXPECT_EQ(numbers(), (std::vector<int>{1, 7, 9, 345})) << "the property stream is no item";
}

TEST_F(MoxFileTest, CleanUpForgetsItemsAndPropertiesAndAWriteForgetsItemsAlone) {
    file.addNvItem(1, dataOf(1).data());
    file.setMobilePropertyInfo(1, 0, 0, "", "");
    file.cleanUp();
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(path.c_str(), 7); }), kNoItems);
    file.addNvItem(2, dataOf(2).data());
    file.addNvItem(3, dataOf(3).data());
    file.writeToDisk(path.c_str(), 7);
    const auto size = std::filesystem::file_size(path);
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(); }), "") << "what was added is written, and counts as added";
    EXPECT_EQ(std::filesystem::file_size(path), size);
    EXPECT_EQ(numbers(), (std::vector<int>{2, 3}));
    EXPECT_EQ(outputOf("gsf list '" + path + "' | grep -c Mobile || true"), "0\n");
    writeItems({65535}, 7);
    EXPECT_EQ(numbers(), (std::vector<int>{2, 3, 65535}));
}

TEST_F(MoxFileTest, AMissingFileIsNamedAndTheObjectGoesOn) {
    file.open(path);
    const std::string missing = "MoxFile::setupStgPointers() - Trying to read '" + path + "' that doesn't exists";
    EXPECT_EQ(refusalOf([&] { file.begin(); }), missing);
    EXPECT_EQ(refusalOf([&] { file.end(); }), missing);
    EXPECT_FALSE(std::filesystem::exists(path));
    file.cleanUp();
    writeItems({5});
    EXPECT_EQ(numbers(), std::vector<int>{5});
    // Whatever the reason: a write alone asks for it.
    const std::string loop = (folder / "loop").string();
    std::filesystem::create_symlink(loop, loop);
    for (const std::string& unreachable : {path + "/below", loop, (folder / std::string(300, 'x')).string()}) {
        file.open(unreachable);
        EXPECT_EQ(refusalOf([&] { file.begin(); }),
                  "MoxFile::setupStgPointers() - Trying to read '" + unreachable + "' that doesn't exists");
    }
    EXPECT_TRUE(mox::mayExist(path));
    EXPECT_TRUE(mox::mayExist(loop)) << "the system does not say";
    EXPECT_FALSE(mox::mayExist(path + "/below"));
    EXPECT_FALSE(mox::mayExist(path + "x"));
}

TEST_F(MoxFileTest, ARemovalEndsAtTheFirstItemThatTheFileLacksAndSavesWhatItDid) {
    writeItems({1, 2, 3});
    file.open(path);
    file.removeNvItem(2);
    EXPECT_EQ(refusalOf([&] { file.removeNvItems({3, 42, 1}); }), "MoxFile::removeNvItemsImpl() - " + kNotFound);
    EXPECT_EQ(outputOf("gsf list '" + path + "' | grep -c '/0000000[123]/'"), "1\n") << "before the file is closed";
    file.cleanUp();
    EXPECT_EQ(numbers(), std::vector<int>{1});
}

// Other writers may leave the zeros out; what is read as an item can be removed as that item.
TEST_F(MoxFileTest, ARemovalFindsAnItemByItsNumberHoweverItsNameIsWritten) {
    writeItems({1, 9});
    {
        const auto items = openIn(openIn(openRoot(), u"00000123"), u"default");
        for (const auto* name : {u"9", u"42", u"0000000042", u"70000"}) {
            putStream(createIn(items, name), u"00000000", std::vector<std::uint8_t>(134, 5));
        }
    }
    EXPECT_EQ(numbers(), (std::vector<int>{9, 42, 1, 9, 42}));
    file.open(path);
    file.removeNvItems({9, 42, 9, 42});
    EXPECT_EQ(refusalOf([&] { file.removeNvItems({42}); }), "MoxFile::removeNvItemsImpl() - " + kNotFound);
    file.cleanUp();
    EXPECT_EQ(numbers(), std::vector<int>{1});
}

TEST_F(MoxFileTest, AFailedSetUpShowsAsTheMissingStorage) {
    writeItems({1});
    MoxFile other;
    other.open(path);
    auto held = std::make_unique<MoxFile::Iterator>(other.begin());
    file.open(path);
    EXPECT_EQ(refusalOf([&] { file.begin(); }), "MoxFile::setupStgPointers() - " + kShared);
    EXPECT_EQ(refusalOf([&] { file.removeNvItem(1); }), "MoxFile::removeNvItemsImpl() - " + kNullReference);
    file.addNvItem(2, dataOf(2).data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(); }), "MoxFile::writeToDiskImpl() - " + kNullReference);
    EXPECT_EQ(refusalOf([&] { other.removeNvItem(1); }), "MoxFile::removeNvItemsImpl() - " + kNullReference)
        << "its own iterator holds the first opening";
    other.cleanUp();
    file.cleanUp();
    file.open(path);
    EXPECT_EQ(refusalOf([&] { file.begin(); }), "MoxFile::setupStgPointers() - " + kShared)
        << "an iterator keeps the file open past its file's cleanUp";
    held.reset();
    EXPECT_EQ(numbers(), std::vector<int>{1});
}

TEST_F(MoxFileTest, FilesOfOtherMakingAreReadAsFarAsTheyGo) {
    std::ofstream(path) << "no compound file";
    file.open(path);
    EXPECT_EQ(refusalOf([&] { file.begin(); }),
              "MoxFile::setupStgPointers() - The file %1 is not a valid compound file.\r\n");
    file.cleanUp();
    prepare([&](const mox::StoragePtr& root) {
        putStream(root, u"00000007", {1});
        createIn(root, u"12x");
    });
    file.open(path);
    auto item = file.begin();
    EXPECT_EQ(refusalOf([&] { (void)(item != file.end()); }),
              "MoxFile::Iterator::operator!=( const MoxFile::Iterator& rhs ) - The iterator is not initialized.");
    file.addNvItem(1, dataOf(1).data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(); }), "MoxFile::writeToDiskImpl() - " + kNullReference);
    file.cleanUp();

    prepare([&](const mox::StoragePtr& root) { createIn(root, u"00000007"); });
    file.open(path);
    EXPECT_EQ(refusalOf([&] { file.begin(); }), "MoxFile::setupStgPointers() - " + kNotFound);
    file.cleanUp();

    prepare([&](const mox::StoragePtr& root) {
        createIn(createIn(root, u"5"), u"default");
        createIn(createIn(root, u"00070000"), u"default");
        createIn(createIn(root, u"00000006"), u"default");
    });
    EXPECT_TRUE(numbers().empty());
    EXPECT_EQ(file.readPhoneModelId(), 0xFFFF) << "the storage enumerated last, with a number that is no model's";
}

TEST_F(MoxFileTest, NothingGoesIntoTheStorageOfAnEarlierModel) {
    prepare([&](const mox::StoragePtr& root) {
        createIn(createIn(root, u"00000005"), u"default");
        createIn(root, u"00000006");
    });
    file.addNvItem(1, dataOf(1).data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(path.c_str(), 5); }), "MoxFile::writeToDiskImpl() - " + kNullReference);
    file.cleanUp();
    EXPECT_EQ(outputOf("gsf list '" + path + "' | grep -c 00000001 || true"), "0\n");
}

TEST_F(MoxFileTest, AFailureInTheMiddleKeepsTheItemsBeforeIt) {
    writeItems({1});
    {
        // Loses its storage before the last item.
        class FailsAtTheLast : public MoxFile {
        public:
            void writeToDiskImpl() override {
                const NvRecord last = items_.back();
                items_.pop_back();
                MoxFile::writeToDiskImpl();
                items_.push_back(last);
                defaultStorage_.reset();
                needsSetup_ = false;
                MoxFile::writeToDiskImpl();
            }
        } failing;
        failing.addNvItem(2, dataOf(2).data());
        failing.addNvItem(3, dataOf(3).data());
        EXPECT_EQ(refusalOf([&] { failing.writeToDisk(path.c_str(), 0); }),
                  "MoxFile::writeToDiskImpl() - " + kNullReference);
    }
    EXPECT_EQ(numbers(), (std::vector<int>{1, 2}));
}

TEST_F(MoxFileTest, AWriteThatCannotBeSavedLeavesTheFileAndSaysWhy) {
    writeItems({1});
    std::string logged;
    kernel::setErrorLog([&](std::string_view text) { logged = text; });
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{1024, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    file.addNvItem(2, dataOf(2).data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(path.c_str(), 0); }),
              "MoxFile::writeToDiskImpl() - There is insufficient disk space to complete operation.\r\n");
    file.cleanUp();
    ::setrlimit(RLIMIT_FSIZE, &before);
    kernel::setErrorLog({});
    EXPECT_EQ(logged, "'" + path + "': File too large");
    EXPECT_EQ(numbers(), std::vector<int>{1});
}

TEST_F(MoxFileTest, ThePropertyTextsFitTheirLengthFields) {
    const std::string longest(65535, 'x');
    file.setMobilePropertyInfo(1, 0, 0, longest, longest);
    EXPECT_EQ(refusalOf([&] { file.setMobilePropertyInfo(2, 0, 0, longest + "x", ""); }),
              "MoxFile::setMobilePropertyInfo() - The software version is longer than 65535 bytes.");
    EXPECT_EQ(refusalOf([&] { file.setMobilePropertyInfo(2, 0, 0, "", longest + "x"); }),
              "MoxFile::setMobilePropertyInfo() - The client name is longer than 65535 bytes.");
    file.addNvItem(1, dataOf(1).data());
    file.writeToDisk(path.c_str(), 0);
    const std::string stream = gsfStream("00000000/default/Mobile_Property_Info");
    EXPECT_EQ(stream.size(), 12u + 2 * 65535);
    EXPECT_EQ(stream[0], 1) << "a refused record changes nothing";
}

} // namespace
