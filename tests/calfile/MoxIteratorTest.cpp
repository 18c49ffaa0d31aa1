// Walking calibration files: positions, comparisons, copies, and items that are not as they should be.

#include "tests/calfile/MoxFixture.h"

#include <thread>

namespace {

using MoxIterator = MoxFixture;

TEST_F(MoxIterator, DeliversEachOfManyItemsWithItsBytesAndStatusZero) {
    for (std::uint16_t number = 1; number <= 200; ++number) {
        file << MoxFile::NvRecord{number, dataOf(static_cast<std::uint8_t>(number)), 7};
    }
    file.writeToDisk(path.c_str(), 0);
    file.cleanUp();
    file.open(path);
    int expected = 0;
    auto item = file.begin();
    for (const auto end = file.end(); item != end; ++item) {
        EXPECT_EQ((*item).id, ++expected);
        EXPECT_EQ(item->data, dataOf(static_cast<std::uint8_t>(expected)));
        EXPECT_EQ(item->status, 0) << "the status in the file is not read";
    }
    EXPECT_EQ(expected, 200);
    EXPECT_EQ(item->id, 200) << "past the end the record stays";
    auto end = file.end();
    EXPECT_EQ(refusalOf([&] { ++end; }), "MoxFile::Iterator::operator++() - The iterator is not initialized.");
}

TEST_F(MoxIterator, ACopyStandsWhereTheOtherDoesAndGoesOnByItself) {
    writeItems({1, 2, 10, 300});
    file.open(path);
    auto item = file.begin();
    ++item;
    MoxFile::Iterator copy(item);
    EXPECT_TRUE(copy == item);
    EXPECT_EQ((++copy)->id, 10);
    EXPECT_TRUE(copy != item);
    EXPECT_EQ((item++)->id, 2);
    EXPECT_EQ(item->id, 10);
    copy = file.begin();
    EXPECT_EQ((++copy)->id, 2);
    std::filesystem::copy_file(path, folder / "twin.mox");
    MoxFile other;
    other.open(folder / "twin.mox");
    EXPECT_FALSE(file.begin() == other.begin()) << "an equal item of another file";
}

TEST_F(MoxIterator, ACopyGoesOnBehindAnItemThatHasGone) {
    writeItems({1, 2, 3});
    file.open(path);
    file.removeNvItem(1); // for writing from here on
    auto item = file.begin();
    MoxFile::Iterator copy(item);
    file.removeNvItem(2);
    EXPECT_EQ((++copy)->id, 3);
    EXPECT_EQ((++item)->id, 3);
}

TEST_F(MoxIterator, WhatIsNoItemIsPassedOverAndABrokenItemIsReported) {
    writeItems({1});
    const std::u16string items = u"00000123/default/";
    for (const auto* name : {u"00000009", u"00065536", u"99999999999999999999", u"0000000A"}) {
        put(items + name + u"/00000000", std::vector<std::uint8_t>(mox::kItemStreamBytes, 5));
    }
    put(items + u"00000100/00000000", std::vector<std::uint8_t>(100));
    put(items + u"00000101/00000000", {1, 2, 3});
    put(items + u"00000102/");
    put(items + u"00000200/00000000", std::vector<std::uint8_t>(200, 0x77));
    put(items + u"00000300", {1});
    file.open(path);
    auto item = file.begin();
    EXPECT_EQ((++item)->id, 9) << "the number is that of the name";
    const std::string body = "MoxFile::IteratorImpl::increamentImpl() - ";
    EXPECT_EQ(refusalOf([&] { ++item; }), body + "Tried to read NV Item: 100. Was only able to read 94 out of 128");
    EXPECT_EQ(refusalOf([&] { ++item; }), body + "Tried to read NV Item: 101. Was only able to read 0 out of 128");
    EXPECT_EQ(refusalOf([&] { ++item; }), body + kNotFound);
    EXPECT_EQ((++item)->id, 200);
    EXPECT_EQ(item->data.back(), 0x77);
    EXPECT_TRUE(++item == file.end());
}

TEST_F(MoxIterator, OutlivesItsFileAndServesAnyThread) {
    writeItems({1, 2});
    auto owner = std::make_unique<MoxFile>();
    owner->open(path);
    auto item = std::make_unique<MoxFile::Iterator>(owner->begin());
    owner.reset();
    std::thread([&] {
        EXPECT_EQ((++*item)->id, 2);
        item.reset();
    }).join();
    EXPECT_EQ(numbers(), (std::vector<int>{1, 2})) << "the file is free again";
}

} // namespace
