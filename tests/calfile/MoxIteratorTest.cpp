// Walking calibration files: positions, comparisons, copies, and items that are not as they should be.

#include "phonelink/ComThreadManager.h"
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
    EXPECT_TRUE(++item == file.end());
}

TEST_F(MoxIterator, TheEndIteratorServesOnTheRightAlone) {
    writeItems({1});
    file.open(path);
    auto end = file.end();
    const struct {
        const char* operation;
        std::function<void()> use;
    } cases[] = {
        {"operator*()", [&] { (void)*end; }},
        {"operator->()", [&] { (void)end->id; }},
        {"operator++()", [&] { ++end; }},
        {"operator++( int )", [&] { end++; }},
        {"operator==( const MoxFile::Iterator& rhs )", [&] { (void)(end == file.end()); }},
        {"operator!=( const MoxFile::Iterator& rhs )", [&] { (void)(end != file.end()); }},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(refusalOf(row.use),
                  std::string("MoxFile::Iterator::") + row.operation + " - The iterator is not initialized.");
    }
}

TEST_F(MoxIterator, EqualMeansTheSameItemOfTheSameOpenFile) {
    writeItems({1, 2});
    const std::string twin = (folder / "twin.mox").string();
    std::filesystem::copy_file(path, twin);
    file.open(path);
    MoxFile other;
    other.open(twin);
    auto first = file.begin();
    auto again = file.begin();
    EXPECT_TRUE(first == again);
    EXPECT_FALSE(first == other.begin()) << "an equal item of another file";
    ++again;
    EXPECT_TRUE(first != again);
    EXPECT_TRUE(first != file.end());
}

TEST_F(MoxIterator, ACopyStandsWhereTheOtherDoesAndGoesOnByItself) {
    writeItems({1, 2, 10, 300});
    {
        const auto root = openRoot();
        putStream(openIn(openIn(root, u"00000123"), u"default"), u"00000005", {1});
    }
    file.open(path);
    auto item = file.begin();
    ++item;
    MoxFile::Iterator copy(item);
    EXPECT_EQ(copy->id, 2);
    EXPECT_TRUE(copy == item);
    EXPECT_EQ((++copy)->id, 10);
    EXPECT_EQ(item->id, 2);
    EXPECT_EQ((item++)->id, 2);
    EXPECT_EQ(item->id, 10);
    copy = item;
    ++copy;
    ++copy;
    EXPECT_TRUE(copy == file.end());
    MoxFile::Iterator past(copy);
    EXPECT_TRUE(past == file.end());
    EXPECT_TRUE(++past == file.end());
    copy = file.begin();
    EXPECT_EQ(copy->id, 1);
    copy = *&copy;
    EXPECT_EQ((++copy)->id, 2) << "assigned to itself it stays where it is";
    copy = file.end();
    EXPECT_EQ(copy->id, 2) << "an iterator that is not initialised changes nothing";
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
    std::vector<std::uint8_t> longStream(200, 0x77);
    std::vector<std::uint8_t> number5(mox::kItemStreamBytes, 0x11);
    number5[0] = 5;
    {
        const auto root = openRoot();
        const auto items = openIn(openIn(root, u"00000123"), u"default");
        putStream(createIn(items, u"00000009"), u"00000000", number5);
        putStream(createIn(items, u"00000100"), u"00000000", std::vector<std::uint8_t>(100, 0x22));
        putStream(createIn(items, u"00000101"), u"00000000", {1, 2, 3});
        createIn(items, u"00000102");
        putStream(createIn(items, u"00000200"), u"00000000", longStream);
        putStream(createIn(items, u"00065536"), u"00000000", number5);
        putStream(createIn(items, u"99999999999999999999"), u"00000000", number5);
        putStream(createIn(items, u"0000000A"), u"00000000", number5);
        putStream(items, u"00000300", {1});
    }
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
