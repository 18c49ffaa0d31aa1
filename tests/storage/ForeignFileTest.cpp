// Files of other writers: what is read although it could be better, and what comes through a save.

#include "platform/storage/Format.h"
#include "tests/storage/Support.h"

#include <gtest/gtest.h>

#include <functional>

namespace storage::testing {
namespace {

using namespace format;

class ForeignFileTest : public ::testing::Test {
protected:
    // Nine items, a large stream and an empty one, as they are saved here.
    ForeignFileTest() {
        ComPtr<IStorage> root;
        EXPECT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
        for (unsigned number = 1; number <= 9; ++number) {
            EXPECT_EQ(writeItem(*root.get(), number, number), com::kOk);
        }
        EXPECT_EQ(writeStream(*root.get(), u"large", pattern(5000, 1)), com::kOk);
        EXPECT_EQ(writeStream(*root.get(), u"empty", {}), com::kOk);
        root.reset();
        good_ = load(path_);
        EXPECT_EQ(strictCheck(good_, contents_), "");
    }

    // The directory lies in one piece.
    std::size_t entryAt(std::uint32_t id) const {
        return 512 * (std::size_t{get32(&good_[kAtFirstDirectory])} + 1) + std::size_t{kEntryBytes} * id;
    }
    std::size_t entryOf(const std::u16string& name) const {
        for (std::uint32_t id = 0;; ++id) {
            std::size_t unit = 0;
            while (unit < name.size() && get16(&good_[entryAt(id) + 2 * unit]) == name[unit]) {
                ++unit;
            }
            if (unit == name.size()) {
                return entryAt(id);
            }
        }
    }

    // Reads the file, then changes it here and makes it a perfect one of the same contents.
    void expectReadAndMended(const Buffer& file, const char* what) {
        SCOPED_TRACE(what);
        store(path_, file);
        Contents found;
        EXPECT_EQ(readFile(path_, found), com::kOk) << folder_.logged;
        EXPECT_TRUE(found == contents_);
        ComPtr<IStorage> root;
        ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
        ASSERT_EQ(writeStream(*root.get(), u"empty", {}), com::kOk) << folder_.logged;
        root.reset();
        EXPECT_EQ(strictCheck(load(path_), found), "");
        EXPECT_TRUE(found == contents_);
    }

    TestFolder folder_;
    const std::string path_ = folder_ / "file.mox";
    Buffer good_;
    Contents contents_;
};

TEST_F(ForeignFileTest, HarmlessDeviationsAreReadAndMended) {
    const std::size_t root = entryAt(0);
    const std::size_t top = entryAt(get32(&good_[root + kAtChild]));
    const struct {
        const char* what;
        std::function<void(Buffer&)> deviate;
    } rows[]{
        {"minor version 0x21", [](Buffer& file) { file[kAtMinorVersion] = 0x21; }},
        {"all red",
         [&](Buffer& file) {
             for (std::uint32_t id = 1; id <= 20; ++id) {
                 file[entryAt(id) + kAtColour] = kRed;
             }
         }},
        {"siblings out of order",
         [&](Buffer& file) { std::swap_ranges(&file[top + kAtLeft], &file[top + kAtRight], &file[top + kAtRight]); }},
        {"a tail behind the last sector", [](Buffer& file) { file.insert(file.end(), 777, 0xAA); }},
        {"a last sector cut behind its last stream", [](Buffer& file) { file.resize(file.size() - 120); }},
        {"a mini stream that is no multiple of 64", [&](Buffer& file) { file[root + kAtSize] -= 58; }},
        {"rubbish in the upper half of a size",
         [&](Buffer& file) { put32(&file[entryOf(u"large") + kAtSize + 4], 0xABCD); }},
        {"an empty stream that begins somewhere", [&](Buffer& file) { put32(&file[entryOf(u"empty") + kAtStart], 1); }},
        {"counts in the header", [](Buffer& file) { put32(&file[kAtMiniFatSectors], 99); }},
        {"a lost sector in the allocation table", [](Buffer& file) { put32(&file[512 + 4 * (file.size() / 512)], 1); }},
    };
    for (const auto& row : rows) {
        Buffer file = good_;
        row.deviate(file);
        expectReadAndMended(file, row.what);
    }
}

// The same contents, each part of the file in a chain of sectors of 4096 bytes.
TEST_F(ForeignFileTest, SectorsOf4096BytesAreReadInBothVersions) {
    for (const std::uint8_t version : {std::uint8_t{3}, std::uint8_t{4}}) {
        const auto sectors = [&](std::uint32_t first, std::size_t bytes) {
            Buffer part(good_.begin() + 512 * (first + 1),
                        good_.begin() + 512 * (first + 1) + static_cast<long>(bytes));
            part.resize((bytes + 4095) / 4096 * 4096);
            return part;
        };
        const std::uint32_t miniStream = get32(&good_[entryAt(0) + kAtStart]);
        const std::uint32_t miniTable = get32(&good_[kAtFirstMiniFat]);
        const std::uint32_t directory = get32(&good_[kAtFirstDirectory]);
        const Buffer parts[]{sectors(directory, 512 * (miniStream - directory)),
                             sectors(miniStream, 512 * (miniTable - miniStream)), sectors(miniTable, 512),
                             sectors(get32(&good_[entryOf(u"large") + kAtStart]), 5000)};
        Buffer file(good_.begin(), good_.begin() + 512);
        file.resize(2 * 4096, 0xFF);
        std::fill(file.begin() + 512, file.begin() + 4096, std::uint8_t{0});
        file[kAtMajorVersion] = version;
        file[kAtSectorShift] = 12;
        put32(&file[4096], kFatSector);
        std::uint32_t starts[4]{};
        for (std::size_t part = 0; part < 4; ++part) {
            starts[part] = static_cast<std::uint32_t>(file.size() / 4096 - 1);
            file.insert(file.end(), parts[part].begin(), parts[part].end());
            for (std::uint32_t at = starts[part]; at + 1 < file.size() / 4096; ++at) {
                put32(&file[4096 + 4 * at], at + 2 < file.size() / 4096 ? at + 1 : kEndOfChain);
            }
        }
        const std::size_t moved = 4096 * (starts[0] + std::size_t{1}) - entryAt(0);
        put32(&file[kAtFirstDirectory], starts[0]);
        put32(&file[entryAt(0) + moved + kAtStart], starts[1]);
        put32(&file[kAtFirstMiniFat], starts[2]);
        put32(&file[entryOf(u"large") + moved + kAtStart], starts[3]);
        expectReadAndMended(file, version == 3 ? "version 3" : "version 4");
    }
}

TEST_F(ForeignFileTest, WhatNobodyTouchesComesThroughASave) {
    Buffer file = good_;
    const Buffer properties = pattern(36, 3);
    for (const std::size_t entry : {entryAt(0), entryOf(u"00000002"), entryOf(u"empty")}) {
        std::copy(properties.begin(), properties.end(), &file[entry + kAtClassId]);
    }
    // The last item and its stream lose their names, one with and one without the closing zero.
    for (const std::uint32_t id : {11U, 20U}) {
        std::fill_n(&file[entryAt(id)], kAtNameBytes, std::uint8_t{0});
        file[entryAt(id) + kAtNameBytes] = id == 11 ? 2 : 0;
    }
    store(path_, file);
    Contents before;
    ASSERT_EQ(readFile(path_, before), com::kOk) << folder_.logged;
    EXPECT_EQ(before[u"//"], pattern(134, 9));
    EXPECT_EQ(before.size(), contents_.size() - 1);
    ComPtr<IStorage> root;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(writeItem(*root.get(), 1, 1), com::kOk);
    root.reset();
    Contents after;
    ASSERT_EQ(readFile(path_, after), com::kOk);
    EXPECT_TRUE(after == before);
    good_ = load(path_);
    for (const std::size_t entry : {entryAt(0), entryOf(u"00000002"), entryOf(u"empty")}) {
        EXPECT_TRUE(std::equal(properties.begin(), properties.end(), &good_[entry + kAtClassId])) << entry;
    }
}

// One long chain of siblings, as simple writers make it, and storages in each other, take no stack of that depth.
TEST_F(ForeignFileTest, ATreeAsDeepAsItHasEntriesIsRead) {
    constexpr std::uint32_t kEntries = 20000;
    ComPtr<IStorage> root;
    ComPtr<IStorage> item;
    ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
    for (unsigned number = 1; number <= kEntries; ++number) {
        ASSERT_EQ(root->createStorage(itemName(number), kCreateWrite, item), com::kOk);
    }
    item.reset();
    root.reset();
    good_ = load(path_);
    Buffer chain = good_;
    Buffer nested = good_;
    put32(&chain[entryAt(0) + kAtChild], kEntries);
    put32(&nested[entryAt(0) + kAtChild], 1);
    for (std::uint32_t id = 1; id <= kEntries; ++id) {
        put32(&chain[entryAt(id) + kAtLeft], id == 1 ? kNoEntry : id - 1);
        put32(&chain[entryAt(id) + kAtRight], kNoEntry);
        put32(&nested[entryAt(id) + kAtLeft], kNoEntry);
        put32(&nested[entryAt(id) + kAtRight], kNoEntry);
        put32(&nested[entryAt(id) + kAtChild], id == kEntries ? kNoEntry : id + 1);
    }
    store(path_, nested);
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    EXPECT_EQ(root->destroyElement(itemName(1)), com::kOk);
    root.reset();
    EXPECT_EQ(load(path_).size(), 1536U);
    store(path_, chain);
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(root->destroyElement(itemName(777)), com::kOk);
    root.reset();
    Contents found;
    EXPECT_EQ(strictCheck(load(path_), found), "");
    EXPECT_EQ(found.size(), kEntries);
}

// The list of allocation sectors leaves the header for sectors of its own with the 110th.
TEST_F(ForeignFileTest, LargeFilesAreReadAsTheyWereWritten) {
    for (const std::size_t sectors : {13838, 13839, 13840, 13841, 30200}) {
        const Buffer bytes = pattern(sectors * 512, static_cast<std::uint32_t>(sectors));
        ComPtr<IStorage> root;
        ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
        ASSERT_EQ(writeStream(*root.get(), u"large", bytes), com::kOk);
        root.reset();
        Contents found;
        ASSERT_EQ(strictCheck(load(path_), found), "") << sectors;
        ASSERT_TRUE(found[u"/large"] == bytes) << sectors;
        ASSERT_EQ(readFile(path_, found), com::kOk) << sectors;
        ASSERT_TRUE(found[u"/large"] == bytes) << sectors;
    }
}

TEST_F(ForeignFileTest, LibgsfReadsAndWritesTheSame) {
    std::string names;
    Contents expected{{u"/", {}}};
    for (unsigned number = 1; number <= 40; ++number) {
        const std::string name = "f" + std::to_string(number);
        expected[u"/" + std::u16string(name.begin(), name.end())] = pattern(number * 211, number);
        store(folder_ / name, pattern(number * 211, number));
        names += " " + (folder_ / name);
    }
    (void)outputOf("gsf createole " + path_ + names + " 2>&1");
    Contents found;
    ASSERT_EQ(readFile(path_, found), com::kOk);
    EXPECT_TRUE(found == expected);
    ComPtr<IStorage> root;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(root->destroyElement(u"f33"), com::kOk);
    ASSERT_EQ(writeItem(*root.get(), 345, 345), com::kOk);
    root.reset();
    expected.erase(u"/f33");
    expected[u"/00000345/"] = {};
    expected[u"/00000345/00000000"] = pattern(134, 345);
    ASSERT_EQ(readFile(path_, found), com::kOk);
    EXPECT_TRUE(found == expected);
    for (const auto& [path, bytes] : expected) {
        if (path.back() != u'/') {
            EXPECT_EQ(outputOf("gsf cat " + path_ + " " + std::string(path.begin() + 1, path.end())),
                      std::string(bytes.begin(), bytes.end()));
        }
    }
}

} // namespace
} // namespace storage::testing
