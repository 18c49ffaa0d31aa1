// Files that cannot be what they claim to be: a code for what cannot be read, the rest read, and nothing written.

#include "platform/storage/Format.h"
#include "tests/storage/HostileRun.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <ctime>

namespace storage::testing {
namespace {

using namespace format;

class DamagedFileTest : public ::testing::Test {
protected:
    // Nine items of 134 bytes, of which the fifth has 5000.
    DamagedFileTest() {
        ComPtr<IStorage> root;
        EXPECT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
        for (unsigned number = 1; number <= 9; ++number) {
            EXPECT_EQ(writeItem(*root.get(), number, number, number == 5 ? 5000 : 134), com::kOk);
        }
        root.reset();
        good_ = load(path_);
        EXPECT_EQ(strictCheck(good_, contents_), "");
    }

    struct Damage {
        const char* what;
        std::size_t offset;
        std::uint32_t value;
        Status expected;
        std::size_t left; // of the 19 storages and streams
    };
    std::vector<Damage> damages() const {
        const auto sector = [](std::uint32_t number) { return 512 * (std::size_t{number} + 1); };
        const std::uint32_t directory = get32(&good_[kAtFirstDirectory]);
        const std::size_t fat = sector(get32(&good_[kAtDifat]));
        const std::size_t root = sector(directory);
        const std::size_t miniFat = sector(get32(&good_[kAtFirstMiniFat]));
        const std::uint32_t miniStream = get32(&good_[root + kAtStart]);
        const std::uint32_t top = get32(&good_[root + kAtChild]);
        const auto entry = [&](std::uint32_t id) { return root + std::size_t{kEntryBytes} * id; };
        // The nine items, and behind them their streams.
        const std::size_t third = entry(12);
        const std::size_t fifth = entry(14);
        return {
            {"wrong signature", 0, 0, kInvalidHeader, 0},
            {"version 5", 26, 0xFFFE0005, kInvalidHeader, 0},
            {"sectors of 2^31 bytes", 30, 0x0006001F, kInvalidHeader, 0},
            {"cutoff of 0", 56, 0, kInvalidHeader, 0},
            {"more allocation sectors than sectors", kAtFatSectors, 0x7FFFFFFF, kFileCorrupt, 0},
            {"no allocation sector", kAtFatSectors, 0, kFileCorrupt, 0},
            {"allocation sector outside of the file", kAtDifat, 0x00FFFFFF, kFileCorrupt, 0},
            {"directory outside of the file", kAtFirstDirectory, 0x00FFFFFF, kFileCorrupt, 0},
            {"directory on the allocation table", kAtFirstDirectory, 0, kFileCorrupt, 0},
            {"directory in a circle", fat + 4 * directory, directory, kFileCorrupt, 0},
            {"directory into the mini stream", fat + 4 * directory, miniStream, kFileCorrupt, 0},
            {"mini stream into the directory", fat + 4 * miniStream, directory, kFileCorrupt, 0},
            {"root that is none", root + kAtNameBytes, 0x01010016, kFileCorrupt, 0},
            {"mini chain into the free", miniFat, kNoEntry, kFileCorrupt, 18},
            {"mini chain out of the stream", miniFat, 0x00FFFFFF, kFileCorrupt, 18},
            {"mini chain in a circle", miniFat, 0, com::kOk, 19},
            {"two small streams with one beginning", third + kAtStart, 0, com::kOk, 19},
            {"stream that begins nowhere", fifth + kAtStart, 0x00FFFFFF, kFileCorrupt, 18},
            {"large stream on the mini stream", fifth + kAtStart, miniStream, kFileCorrupt, 18},
            {"stream longer than the file", fifth + kAtSize, 0x7FFFFFFF, kFileCorrupt, 18},
            {"child outside of the directory", root + kAtChild, 0x00FFFFFF, kFileCorrupt, 1},
            {"child is the root", root + kAtChild, 0, kFileCorrupt, 1},
            {"sibling is itself", entry(top) + kAtLeft, top, kFileCorrupt, 11},
            {"sibling on both sides", entry(top) + kAtLeft, get32(&good_[entry(top) + kAtRight]), kFileCorrupt, 11},
            {"siblings cut off", entry(top) + kAtLeft, kNoEntry, com::kOk, 11},
            {"name without an end", entry(top) + kAtNameBytes, 0x01010200, kFileCorrupt, 17},
            {"one name twice", entry(2) + 14, 0x31, kFileCorrupt, 17},
            {"a storage of no type", entry(2) + kAtNameBytes, 0x01030012, kFileCorrupt, 17},
        };
    }

    TestFolder folder_;
    const std::string path_ = folder_ / "file.mox";
    Buffer good_;
    Contents contents_;
};

TEST_F(DamagedFileTest, AnswersAFailureCodeForWhatCannotBe) {
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
            EXPECT_EQ(storage->destroyElement(itemName(2)), kFileCorrupt);
            storage.reset();
        }
        EXPECT_EQ(load(path_), file);
    }
}

// The chain would give as many bytes as are asked for.
TEST_F(DamagedFileTest, AStreamThatIsLongerThanItsCircleAnswersAFailure) {
    const std::size_t fifth = 512 * (std::size_t{get32(&good_[kAtFirstDirectory])} + 1) + 14 * kEntryBytes;
    const std::uint32_t start = get32(&good_[fifth + kAtStart]);
    put32(&good_[fifth + kAtSize], 0x7FFFFFFF);
    put32(&good_[512 + 4 * start], start);
    store(path_, good_);
    Contents found;
    EXPECT_EQ(readFile(path_, found), kFileCorrupt);
    EXPECT_EQ(found.size(), contents_.size() - 1);
}

TEST_F(DamagedFileTest, IsReadAsFarAsItWasCut) {
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

TEST_F(DamagedFileTest, AFileThatIsCutWhileItIsOpenIsWrittenWhole) {
    ComPtr<IStorage> root;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    std::filesystem::resize_file(path_, 700);
    ASSERT_EQ(writeItem(*root.get(), 1, 1), com::kOk);
    root.reset();
    EXPECT_EQ(load(path_), good_);
}

// What a file costs follows what it holds, not the length that it claims.
TEST_F(DamagedFileTest, ALongFileOfNothingTakesNeitherMemoryNorTime) {
    Buffer manyTables = good_;
    put32(&manyTables[kAtFatSectors], 0x003FFF00);
    put32(&manyTables[kAtFirstDifat], 0x003FFF00);
    rusage before{};
    ::getrusage(RUSAGE_SELF, &before);
    for (const bool isGood : {true, false}) {
        store(path_, isGood ? good_ : manyTables);
        std::filesystem::resize_file(path_, std::uintmax_t{1} << 42);
        Contents found;
        EXPECT_EQ(readFile(path_, found), isGood ? com::kOk : kFileCorrupt);
        EXPECT_EQ(found == contents_, isGood);
    }
    rusage after{};
    ::getrusage(RUSAGE_SELF, &after);
#ifdef __SANITIZE_ADDRESS__
    constexpr long kMostKilobytes = 1024 * 1024; // the sanitizer keeps a byte for each eight, of holes as well
#else
    constexpr long kMostKilobytes = 64 * 1024;
#endif
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, kMostKilobytes);
    EXPECT_LT(after.ru_utime.tv_sec + after.ru_stime.tv_sec - before.ru_utime.tv_sec - before.ru_stime.tv_sec, 3);
}

} // namespace
} // namespace storage::testing
