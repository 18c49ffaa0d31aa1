// Writing, updating and pruning calibration files: the states of the class, its texts, and what is in the file.

#include "tests/calfile/MoxFixture.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/FileSizeLimit.h"

namespace {

std::string bytes(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

using MoxFileTest = MoxFixture;

TEST_F(MoxFileTest, RefusesWhatNeedsItemsOrAFile) {
    const std::string noItems = "MoxFile::writeToDisk() - Before calling this member function you need to add at least "
                                "1 NV item to the this object using the insertion operator.";
    const std::string noFile = "MoxFile::begin() - Error no MOX file has been opened.  Either create the MOX with a "
                               "file name, or call the open member function with a file name as a parameter.";
    EXPECT_EQ(refusalOf([&] { file.begin(); }), noFile);
    file.addNvItem(1, dataOf(1).data());
    file.setMobilePropertyInfo(1, 0, 0, "", "");
    file.cleanUp();
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(path.c_str(), 7); }), noItems) << "cleanUp() forgets them";
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(refusalOf([&] { file.end(); }), noFile) << "the refused write has named no file";
    writeItems({2, 3}, 7);
    EXPECT_EQ(readText(path).find(std::string("M\0o\0b", 5)), std::string::npos) << "and the properties";
}

TEST_F(MoxFileTest, ANewFileHoldsItsTreeByteForByteForAnotherReader) {
    file.addNvItem(345, dataOf(0x59).data());
    file << MoxFile::NvRecord{1, dataOf(0x01), 0x1234};
    file.setMobilePropertyInfo(0x89ABCDEF, 2, 7, "1.0", "");
    EXPECT_EQ(refusalOf([&] { file.setMobilePropertyInfo(2, 0, 0, "", std::string(65536, 'x')); }),
              "MoxFile::setMobilePropertyInfo() - The client name is longer than 65535 bytes.");
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
    writeItems({345, 65535}, 99, 1);
    EXPECT_EQ(numbers(), (std::vector<int>{1, 345, 65535}));
    EXPECT_EQ(file.readPhoneModelId(), 123) << "an existing file keeps its model";
    EXPECT_EQ(gsfStream("00000123/default/00000345/00000000").at(6), 0x5A);
    EXPECT_EQ(gsfStream("00000123/default/00000001/00000000").at(6), 1);
    file.addNvItem(9, dataOf(9).data());
    file.setMobilePropertyInfo(1, 0, 0, "", "me");
    file.writeToDisk(path.c_str(), 99);
    file.writeToDisk(path.c_str(), 98);
    EXPECT_EQ(gsfStream("00000123/default/Mobile_Property_Info"),
              bytes({1, 0, 0, 0, 98, 0, 0, 0, 0, 0, 2, 0, 'm', 'e'}))
        << "the id held, in a file that was open";
    EXPECT_EQ(numbers(), (std::vector<int>{1, 9, 345, 65535})) << "the property stream is no item";
}

TEST_F(MoxFileTest, AMissingFileIsNamedAndTheObjectGoesOn) {
    file.open(path);
    EXPECT_EQ(refusalOf([&] { file.begin(); }),
              "MoxFile::setupStgPointers() - Trying to read '" + path + "' that doesn't exists");
    EXPECT_FALSE(std::filesystem::exists(path));
    file.cleanUp();
    writeItems({5});
    EXPECT_EQ(numbers(), std::vector<int>{5});
}

// Other writers may leave the zeros out; what is read as an item can be removed as that item.
TEST_F(MoxFileTest, ARemovalEndsAtTheFirstItemThatTheFileLacksAndSavesWhatItDid) {
    writeItems({1, 9});
    for (const auto* name : {u"9", u"42", u"0000000042", u"70000"}) {
        put(std::u16string(u"00000123/default/") + name + u"/00000000", std::vector<std::uint8_t>(134, 5));
    }
    EXPECT_EQ(numbers(), (std::vector<int>{9, 42, 1, 9, 42}));
    file.open(path);
    file.removeNvItem(9);
    EXPECT_EQ(refusalOf([&] {
                  file.removeNvItems({42, 9, 42, 42, 1});
              }),
              "MoxFile::removeNvItemsImpl() - " + kNotFound);
    file.cleanUp();
    EXPECT_EQ(numbers(), std::vector<int>{1});
}

TEST_F(MoxFileTest, AFailedSetUpShowsAsTheMissingStorage) {
    writeItems({1});
    MoxFile other;
    other.open(path);
    auto held = std::make_unique<MoxFile::Iterator>(other.begin());
    EXPECT_EQ(refusalOf([&] { other.removeNvItem(1); }), "MoxFile::removeNvItemsImpl() - " + kNullReference)
        << "its own iterator holds the first opening";
    other.cleanUp();
    file.open(path);
    EXPECT_EQ(refusalOf([&] { file.begin(); }), "MoxFile::setupStgPointers() - " + kShared)
        << "an iterator keeps the file open past its file's cleanUp";
    file.addNvItem(2, dataOf(2).data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(); }), "MoxFile::writeToDiskImpl() - " + kNullReference);
    held.reset();
    file.cleanUp();
    EXPECT_EQ(numbers(), std::vector<int>{1});
}

TEST_F(MoxFileTest, FilesOfOtherMakingAreReadAsFarAsTheyGo) {
    put(u"00000007", {1});
    put(u"12x/");
    file.open(path);
    auto item = file.begin();
    EXPECT_EQ(refusalOf([&] { (void)(item != file.end()); }),
              "MoxFile::Iterator::operator!=( const MoxFile::Iterator& rhs ) - The iterator is not initialized.");
    file.cleanUp();
    put(u"5/default/");
    put(u"00000006/default/");
    put(u"00070000/default/");
    EXPECT_TRUE(numbers().empty());
    EXPECT_EQ(file.readPhoneModelId(), 0xFFFF) << "the storage enumerated last, with a number that is no model's";
    put(u"00080000/");
    file.open(path);
    EXPECT_EQ(refusalOf([&] { file.begin(); }), "MoxFile::setupStgPointers() - " + kNotFound);
    file.addNvItem(1, dataOf(1).data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(); }), "MoxFile::writeToDiskImpl() - " + kNullReference)
        << "nothing goes into the storage of an earlier model";
}

TEST_F(MoxFileTest, AWriteThatCannotBeSavedLeavesTheFileAndSaysWhy) {
    writeItems({1});
    const ErrorLog log;
    std::optional<FileSizeLimit> full(1024);
    file.addNvItem(2, dataOf(2).data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk(path.c_str(), 0); }),
              "MoxFile::writeToDiskImpl() - There is insufficient disk space to complete operation.\r\n");
    file.cleanUp();
    full.reset();
    EXPECT_TRUE(log.contains("'" + path + "': File too large"));
    EXPECT_EQ(numbers(), std::vector<int>{1});
}

} // namespace
