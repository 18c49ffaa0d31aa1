// Files of other writers: what is read although it could be better. And files that
// cannot be what they claim to be: a code for what cannot be read, the rest read, and nothing written.

#include "platform/storage/Format.h"
#include "tests/storage/HostileRun.h"

#include <gtest/gtest.h>

namespace storage::testing {
namespace {

using namespace format;

// Entries of the saved file below: its large stream, and the storages of its second and last item.
constexpr std::uint32_t kLarge = 2;
constexpr std::uint32_t kSecondItem = 4;
constexpr std::uint32_t kLastItem = 11;

class ForeignFileTest : public ::testing::Test {
protected:
    // Nine items, a large stream and an empty one, as they are saved here.
    ForeignFileTest() {
        ComPtr<IStorage> root;
        EXPECT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
        EXPECT_EQ(writeStream(*root.get(), u"empty", {}), com::kOk);
        EXPECT_EQ(writeStream(*root.get(), u"large", pattern(5000, 1)), com::kOk);
        for (unsigned number = 1; number <= 9; ++number) {
            EXPECT_EQ(writeItem(*root.get(), number, number), com::kOk);
        }
        root.reset();
        good_ = load(path_);
        EXPECT_EQ(strictCheck(good_, contents_), "");
    }

    std::size_t sectorAt(std::size_t field) const { return 512 * (std::size_t{get32(&good_[field])} + 1); }
    // The directory lies in one piece.
    std::size_t entryAt(std::uint32_t id) const { return sectorAt(kAtFirstDirectory) + std::size_t{kEntryBytes} * id; }

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

    struct Damage {
        const char* what;
        std::size_t offset;
        std::uint32_t value;
        Status expected;
        std::size_t left; // of the 21 storages and streams
    };
    std::vector<Damage> damages() const {
        const std::uint32_t directory = get32(&good_[kAtFirstDirectory]);
        const std::size_t fat = sectorAt(kAtDifat);
        const std::size_t root = entryAt(0);
        const std::size_t large = entryAt(kLarge);
        const std::size_t item = entryAt(kSecondItem);
        const std::size_t miniFat = sectorAt(kAtFirstMiniFat);
        const std::uint32_t top = get32(&good_[root + kAtChild]);
        return {
            {"wrong signature", 0, 0, kInvalidHeader, 0},
            {"sectors of 2^31 bytes", 30, 0x0006001F, kInvalidHeader, 0},
            {"more allocation sectors than sectors", kAtFatSectors, 0x7FFFFFFF, kFileCorrupt, 0},
            {"directory in a circle", fat + 4 * std::size_t{directory}, directory, kFileCorrupt, 0},
            {"mini chain out of the stream", miniFat, 0x00FFFFFF, kFileCorrupt, 20},
            {"mini chain in a circle", miniFat, 0, kFileCorrupt, 20},
            {"stream in another's sectors", entryAt(get32(&good_[item + kAtChild])) + kAtStart, 0, kFileCorrupt, 20},
            {"stream longer than the file", large + kAtSize, 0x7FFFFFFF, kFileCorrupt, 20},
            {"sibling is itself", entryAt(top) + kAtLeft, top, kFileCorrupt, 13},
            {"siblings cut off", entryAt(top) + kAtLeft, kNoEntry, com::kOk, 13},
            {"name without an end", item + kAtNameBytes, 0x01010200, kFileCorrupt, 19},
            {"one name twice", item + 14, 0x31, kFileCorrupt, 19},
        };
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
        {"siblings out of order",
         [&](Buffer& file) { std::swap_ranges(&file[top + kAtLeft], &file[top + kAtRight], &file[top + kAtRight]); }},
        {"another minor version", [](Buffer& file) { file[kAtMajorVersion - 2] = 0x21; }},
        {"a tail behind the last sector", [](Buffer& file) { file.insert(file.end(), 777, 0xAA); }},
        {"a last sector cut behind its last stream", [](Buffer& file) { file.resize(file.size() - 120); }},
        {"a mini stream that is no multiple of 64", [&](Buffer& file) { file[root + kAtSize] -= 58; }},
        {"rubbish in the upper half of a size",
         [&](Buffer& file) { put32(&file[entryAt(kLarge) + kAtSize + 4], 0xABCD); }},
    };
    for (const auto& row : rows) {
        Buffer file = good_;
        row.deviate(file);
        expectReadAndMended(file, row.what);
    }
}

// The same contents, each part of the file in sectors of 4096 bytes.
TEST_F(ForeignFileTest, SectorsOf4096BytesAreReadInBothVersions) {
    const std::size_t miniStream = sectorAt(entryAt(0) + kAtStart);
    const std::size_t parts[]{entryAt(0), miniStream, sectorAt(kAtFirstMiniFat), sectorAt(entryAt(kLarge) + kAtStart)};
    const std::size_t lengths[]{miniStream - entryAt(0), 1728, 512, 5000};
    const std::uint32_t table[]{kFatSector, kEndOfChain, kEndOfChain, kEndOfChain, 5, kEndOfChain};
    for (const std::uint8_t version : {std::uint8_t{3}, std::uint8_t{4}}) {
        Buffer file(7 * std::size_t{4096});
        std::copy_n(good_.begin(), 512, file.begin());
        file[kAtMajorVersion] = version;
        file[kAtSectorShift] = 12;
        put32(&file[kAtDifat], 0);
        std::fill_n(&file[4096], 4096, std::uint8_t{0xFF});
        for (std::uint32_t sector = 0; sector < 6; ++sector) {
            put32(&file[4096 + 4 * sector], table[sector]);
        }
        for (std::size_t part = 0; part < 4; ++part) {
            std::copy_n(&good_[parts[part]], lengths[part], &file[4096 * (part + 2)]);
        }
        put32(&file[kAtFirstDirectory], 1);
        put32(&file[8192 + kAtStart], 2);
        put32(&file[kAtFirstMiniFat], 3);
        put32(&file[8192 + kEntryBytes * kLarge + kAtStart], 4);
        expectReadAndMended(file, version == 3 ? "version 3" : "version 4");
    }
}

TEST_F(ForeignFileTest, WhatNobodyTouchesComesThroughASave) {
    const Buffer properties = pattern(36, 3);
    for (const std::uint32_t id : {0U, 1U, kSecondItem}) {
        std::copy(properties.begin(), properties.end(), &good_[entryAt(id) + kAtClassId]);
    }
    // The last item loses its name.
    std::fill_n(&good_[entryAt(kLastItem)], kAtNameBytes + 1, std::uint8_t{0});
    store(path_, good_);
    Contents before;
    Contents after;
    ASSERT_EQ(readFile(path_, before), com::kOk) << folder_.logged;
    EXPECT_EQ(before[u"//00000000"], pattern(134, 9));
    ComPtr<IStorage> root;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(writeItem(*root.get(), 1, 1), com::kOk);
    root.reset();
    ASSERT_EQ(readFile(path_, after), com::kOk);
    EXPECT_TRUE(after == before);
    const Buffer saved = load(path_);
    EXPECT_EQ(std::search(saved.begin(), saved.end(), properties.begin(), properties.end()) - saved.begin(),
              static_cast<std::ptrdiff_t>(entryAt(0) + kAtClassId));
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
    for (const bool isChain : {true, false}) {
        put32(&good_[entryAt(0) + kAtChild], isChain ? kEntries : 1);
        for (std::uint32_t id = 1; id <= kEntries; ++id) {
            put32(&good_[entryAt(id) + kAtLeft], isChain && id > 1 ? id - 1 : kNoEntry);
            put32(&good_[entryAt(id) + kAtRight], kNoEntry);
            put32(&good_[entryAt(id) + kAtChild], isChain || id == kEntries ? kNoEntry : id + 1);
        }
        store(path_, good_);
        ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
        ASSERT_EQ(root->destroyElement(itemName(1)), com::kOk);
        root.reset();
        Contents found;
        EXPECT_EQ(strictCheck(load(path_), found), "");
        EXPECT_EQ(found.size(), isChain ? kEntries : 1);
    }
}

TEST_F(ForeignFileTest, LargeFilesAreReadAsTheyWereWritten) {
    for (const std::size_t sectors : {13838U, 13839U, 13840U, 13841U, 30200U}) {
        const Buffer bytes = pattern(sectors * 512, static_cast<std::uint32_t>(sectors));
        ComPtr<IStorage> root;
        ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
        ASSERT_EQ(writeStream(*root.get(), u"large", bytes), com::kOk);
        root.reset();
        Contents found;
        ASSERT_EQ(readFile(path_, found), com::kOk) << sectors;
        ASSERT_TRUE(found[u"/large"] == bytes) << sectors;
        ASSERT_TRUE(outputOf("gsf cat " + path_ + " large") == std::string(bytes.begin(), bytes.end())) << sectors;
    }
}

TEST_F(ForeignFileTest, WhatLibgsfWritesIsReadAndChanged) {
    Contents expected{{u"/", {}}};
    for (unsigned number = 1; number <= 40; ++number) {
        const std::string name = "f" + std::to_string(number);
        expected[u"/" + std::u16string(name.begin(), name.end())] = pattern(std::size_t{number} * 211, number);
        store(folder_ / name, pattern(std::size_t{number} * 211, number));
    }
    (void)outputOf("gsf createole " + path_ + " " + (folder_ / "f*[0-9] 2>&1"));
    ComPtr<IStorage> root;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(root->destroyElement(u"f33"), com::kOk);
    root.reset();
    expected.erase(u"/f33");
    Contents found;
    ASSERT_EQ(readFile(path_, found), com::kOk);
    EXPECT_TRUE(found == expected);
}

TEST_F(ForeignFileTest, AnswersAFailureCodeForWhatCannotBe) {
    for (const auto& row : damages()) {
        SCOPED_TRACE(row.what);
        Buffer file = good_;
        put32(&file[row.offset], row.value);
        store(path_, file);
        Contents found;
        EXPECT_EQ(readFile(path_, found), row.expected);
        EXPECT_EQ(found.size(), row.left);
        ComPtr<IStorage> storage;
        if (com::succeeded(stgOpenStorage(path_, kOpenReadWrite, storage))) {
            folder_.logged.clear();
            EXPECT_EQ(writeItem(*storage.get(), 1, 2), kFileCorrupt);
            EXPECT_TRUE(folder_.logged.starts_with("'" + path_ + "' is not changed: ")) << folder_.logged;
            EXPECT_EQ(storage->destroyElement(itemName(3)), kFileCorrupt);
            storage.reset();
        }
        EXPECT_EQ(load(path_), file);
    }
}

TEST_F(ForeignFileTest, NoneOfSeveralDamagedStreamsIsRead) {
    put32(&good_[entryAt(kLarge) + kAtSize], 0x7FFFFFFF);
    put32(&good_[entryAt(get32(&good_[entryAt(kSecondItem) + kAtChild])) + kAtStart], 0);
    store(path_, good_);
    Contents found;
    EXPECT_EQ(readFile(path_, found), kFileCorrupt);
    EXPECT_EQ(found.size(), 19U);
}

TEST_F(ForeignFileTest, ACutFileIsReadAsFarAsItGoes) {
    for (std::size_t length = 0; length < good_.size(); length += length < 600 ? 37 : 511) {
        const Buffer cut(good_.begin(), good_.begin() + static_cast<std::ptrdiff_t>(length));
        store(path_, cut);
        Contents found;
        EXPECT_TRUE(com::failed(readFile(path_, found))) << length;
        for (const auto& [path, bytes] : found) {
            EXPECT_TRUE(contents_.contains(path) && contents_[path] == bytes) << length;
        }
        EXPECT_TRUE(survivesUse(path_)) << length;
    }
}

} // namespace
} // namespace storage::testing
