#include "platform/storage/JournalReader.h"
#include "platform/storage/Sectors.h"
#include "tests/storage/HostileRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <functional>

namespace storage::testing {
namespace {

std::shared_ptr<MemoryImage> fileOf(unsigned items, ComPtr<IStorage>& root) {
    auto image = std::make_shared<MemoryImage>();
    EXPECT_EQ(createContainer(std::make_unique<MemoryFile>(image), root), com::kOk);
    for (unsigned number = 1; number <= items; ++number) {
        EXPECT_EQ(writeItem(*root.get(), number, number, number == 5 ? 5000 : 134), com::kOk);
    }
    return image;
}

// Where each directory entry lies in a file whose allocation sectors are all listed in the header.
std::vector<std::size_t> placesOfEntries(const Buffer& file) {
    std::vector<std::size_t> places;
    for (std::uint32_t at = get32(&file[header::kFirstDirectorySector]); at != kEndOfChain;) {
        for (std::size_t entry = 0; entry < 4; ++entry) {
            places.push_back(512 * (std::size_t{at} + 1) + 128 * entry);
        }
        const std::uint32_t table = get32(&file[header::kDifat + at / 128 * 4]);
        at = get32(&file[512 * (std::size_t{table} + 1) + at % 128 * 4]);
    }
    return places;
}

// Each row damages a good file of a few items in one way that a reader must notice while it reads everything.
TEST(HostileFileTest, AnswersAFailureCodeForWhatCannotBe) {
    ComPtr<IStorage> root;
    auto image = fileOf(9, root);
    root.reset();
    const Buffer good = image->bytes;
    const auto sector = [](std::uint32_t number) { return 512 * (std::size_t{number} + 1); };
    const std::size_t fat = sector(get32(&good[header::kDifat]));
    const std::size_t entries = sector(get32(&good[header::kFirstDirectorySector]));
    const std::size_t miniFat = sector(get32(&good[header::kFirstMiniFatSector]));
    const std::uint32_t directory = get32(&good[header::kFirstDirectorySector]);
    const std::uint32_t miniStream = get32(&good[entries + 116]);
    const std::uint32_t top = get32(&good[entries + 76]);
    const std::size_t topEntry = placesOfEntries(good).at(top);
    struct {
        const char* what;
        std::size_t offset;
        std::uint32_t value;
        Status expected;
    } const rows[]{
        {"wrong signature", 0, 0, kInvalidHeader},
        {"version 5", 26, 0xFFFE0005, kInvalidHeader},
        {"sectors of 2^31 bytes", 30, 0x0006001F, kInvalidHeader},
        {"cutoff of 0", 56, 0, kInvalidHeader},
        {"more allocation sectors than sectors", header::kFatSectors, 0x7FFFFFFF, kFileCorrupt},
        {"no allocation sector", header::kFatSectors, 0, kFileCorrupt},
        {"allocation sector outside of the file", header::kDifat, 0x00FFFFFF, kFileCorrupt},
        {"directory outside of the file", header::kFirstDirectorySector, 0x00FFFFFF, kFileCorrupt},
        {"directory on the allocation table", header::kFirstDirectorySector, 0, kFileCorrupt},
        {"directory in a circle", fat + 4 * directory, directory, kFileCorrupt},
        {"directory into the mini stream", fat + 4 * directory, miniStream, kFileCorrupt},
        {"mini stream into the directory", fat + 4 * miniStream, directory, kFileCorrupt},
        {"root that is none", entries + 64, 0x01010016, kFileCorrupt},
        {"mini stream larger than its sectors", entries + 120, 0x7FFFFFFF, kFileCorrupt},
        {"mini chain in a circle", miniFat, 0, kFileCorrupt},
        {"mini chain into the free", miniFat, kFreeSector, kFileCorrupt},
        {"mini chain out of the stream", miniFat, 0x00FFFFFF, kFileCorrupt},
        {"child outside of the directory", entries + 76, 0x00FFFFFF, kFileCorrupt},
        {"child is the root", entries + 76, 0, kFileCorrupt},
        {"sibling is itself", topEntry + 68, top, kFileCorrupt},
        {"sibling on both sides", topEntry + 68, get32(&good[topEntry + 72]), kFileCorrupt},
        {"name without an end", topEntry + 64, 0x01010200, kFileCorrupt},
    };
    for (const auto& row : rows) {
        Buffer file = good;
        put32(&file[row.offset], row.value);
        Tree tree;
        EXPECT_EQ(readImage(file, tree), row.expected) << row.what;
        EXPECT_TRUE(survivesUse(file)) << row.what;
    }
    for (std::size_t length = 0; length < good.size(); length += length < 600 ? 37 : 511) {
        Tree tree;
        EXPECT_TRUE(com::failed(readImage({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)}, tree)))
            << "cut to " << length;
    }
}

// The number of sectors that such a stream would have is no 32-bit number.
TEST(HostileFileTest, AStreamLargerThanAnyFileIsCorrupt) {
    auto image = imageOf(emptyVersion4());
    ComPtr<IStorage> root;
    ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(writeItem(*root.get(), 1, 1, 5000), com::kOk);
    root.reset();
    const std::size_t stream = 2 * 4096 + 2 * 128;
    ASSERT_EQ(get64(&image->bytes[stream + 120]), 5000U);
    for (const std::uint64_t size : {std::uint64_t{1} << 44, UINT64_MAX}) {
        for (const std::uint32_t start : {get32(&image->bytes[stream + 116]), kEndOfChain}) {
            Buffer file = image->bytes;
            put32(&file[stream + 116], start);
            put64(&file[stream + 120], size);
            Tree tree;
            EXPECT_EQ(readImage(file, tree), kFileCorrupt) << size;
            EXPECT_TRUE(survivesUse(file)) << size;
        }
    }
}

// A storage that hangs from two places reads as its links say, but nothing is written into such a file.
TEST(HostileFileTest, RefusesToChangeADirectoryThatIsNoTree) {
    auto image = std::make_shared<MemoryImage>();
    ComPtr<IStorage> root;
    ASSERT_EQ(createContainer(std::make_unique<MemoryFile>(image), root), com::kOk);
    {
        ComPtr<IStorage> outer;
        ComPtr<IStorage> inner;
        ComPtr<IStorage> beside;
        ASSERT_EQ(root->createStorage(u"outer", kCreateReadWrite, outer), com::kOk);
        ASSERT_EQ(outer->createStorage(u"inner", kCreateReadWrite, inner), com::kOk);
        ASSERT_EQ(root->createStorage(u"zbeside", kCreateReadWrite, beside), com::kOk);
    }
    root.reset();
    const Buffer good = image->bytes;
    const auto places = placesOfEntries(good);
    struct {
        const char* what;
        std::uint32_t child;
    } const rows[]{{"its parent", 1}, {"itself", 2}, {"beside its parent", 3}, {"the root", 0}};
    for (const auto& row : rows) {
        image->bytes = good;
        put32(&image->bytes[places[2] + 76], row.child);
        const Buffer bad = image->bytes;
        ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk) << row.what;
        ComPtr<IStorage> outer;
        ComPtr<IStorage> inner;
        ASSERT_EQ(root->openStorage(u"outer", kOpenReadWrite, outer), com::kOk) << row.what;
        ASSERT_EQ(outer->openStorage(u"inner", kOpenReadWrite, inner), com::kOk) << row.what;
        EXPECT_EQ(writeItem(*inner.get(), 7, 7), kFileCorrupt) << row.what;
        EXPECT_EQ(writeItem(*root.get(), 7, 7), kFileCorrupt) << row.what;
        EXPECT_EQ(root->destroyElement(u"outer"), kFileCorrupt) << row.what;
        for (auto* held : {&inner, &outer, &root}) {
            held->reset();
        }
        EXPECT_EQ(image->bytes, bad) << row.what;
    }
}

const struct {
    const char16_t* name;
    std::size_t length;
} kStreams[]{{u"a", 5000}, {u"b", 4200}, {u"c", 4000}, {u"d", 4000}};

Buffer fileOfStreams() {
    auto image = std::make_shared<MemoryImage>();
    ComPtr<IStorage> root;
    EXPECT_EQ(createContainer(std::make_unique<MemoryFile>(image), root), com::kOk);
    for (const auto& [name, length] : kStreams) {
        ComPtr<IStream> stream;
        std::uint32_t transferred = 0;
        EXPECT_EQ(root->createStream(name, kCreateWrite, stream), com::kOk);
        EXPECT_EQ(stream->write(pattern(length, name[0]), transferred), com::kOk);
    }
    root.reset();
    return image->bytes;
}

// What is damaged a little reads as far as it is whole, but nothing is written into such a file: a change would spoil
// what is not damaged yet, and its success would hide it.
TEST(HostileFileTest, RefusesToChangeWhatItWouldMakeWorse) {
    auto image = std::make_shared<MemoryImage>();
    ComPtr<IStorage> root;
    Buffer good = fileOfStreams();
    const auto start = [&](std::size_t entry) { return placesOfEntries(good).at(entry) + 116; };
    const auto used = static_cast<std::uint32_t>(good.size() / 512 - 1);
    const std::size_t unused = 512 + 4 * std::size_t{used};
    const std::size_t mini = 512 + 512 * std::size_t{get32(&good[header::kFirstMiniFatSector])};
    ASSERT_EQ(get32(&good[unused]), kFreeSector);
    // A word beyond the file's end is freed with the first change, and hides nothing by that.
    const std::uint32_t second = get32(&good[512 + 4 * std::size_t{get32(&good[start(1)])}]);
    put32(&good[unused + 8], second);
    struct {
        const char* what;
        std::size_t offset;
        std::uint32_t value;
        std::size_t addedBytes;
        // The stream that does not read any more, or reads as another one.
        const char16_t* damaged;
    } const rows[]{
        {"two small streams with one beginning", start(4), get32(&good[start(3)]), 0, u"d"},
        {"a small stream within another", start(4), get32(&good[start(3)]) + 1, 0, u"d"},
        {"a small stream's last mini sector is free", mini + 4 * (get32(&good[start(4)]) + 62), kFreeSector, 0,
         nullptr},
        {"two large streams with one beginning", start(2), get32(&good[start(1)]), 0, u"b"},
        {"a large stream within another", start(2), second, 0, u"b"},
        {"a large stream on the mini stream", start(2), get32(&good[start(0)]), 0, u"b"},
        {"a large stream on the next free sector", start(2), used, 0, u"b"},
        {"a lost sector leads past the table", unused, 1000, 512, nullptr},
    };
    for (const auto& row : rows) {
        image->bytes = good;
        image->bytes.resize(good.size() + row.addedBytes);
        put32(&image->bytes[row.offset], row.value);
        const Buffer bad = image->bytes;
        ASSERT_EQ(openImage(imageOf(bad), kOpenRead, root), com::kOk) << row.what;
        for (const auto& [name, length] : kStreams) {
            Buffer bytes;
            if (row.damaged == nullptr || *name != *row.damaged) {
                EXPECT_EQ(readStream(*root.get(), name, bytes), com::kOk) << row.what;
                EXPECT_EQ(bytes, pattern(length, name[0])) << row.what;
            }
        }
        ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk) << row.what;
        EXPECT_EQ(writeItem(*root.get(), 7, 7), kFileCorrupt) << row.what;
        EXPECT_EQ(root->destroyElement(u"a"), kFileCorrupt) << row.what;
        root.reset();
        EXPECT_EQ(image->bytes, bad) << row.what;
    }
}

// Words of the allocation table that nobody owns: sectors that a change could not damage, whichever of its calls fails.
TEST(HostileFileTest, ChangesWhatItCannotMakeWorse) {
    const Buffer good = fileOfStreams();
    const auto used = static_cast<std::uint32_t>(good.size() / 512 - 1);
    const auto word = [](Buffer& file, std::uint32_t sector, std::uint32_t value) {
        put32(&file[512 + 4 * std::size_t{sector}], value);
    };
    const struct {
        const char* what;
        std::function<void(Buffer&)> damage;
        // Nothing is left of it.
        bool mended;
    } rows[]{
        {"a lost sector leads to a free one",
         [&](Buffer& file) {
             file.resize(file.size() + 1024);
             word(file, used, used + 1);
         },
         false},
        {"a lost sector leads to a free one beyond the end",
         [&](Buffer& file) {
             file.resize(file.size() + 512);
             word(file, used, used + 1);
         },
         false},
        {"sectors beyond the end lead to the directory", [&](Buffer& file) { word(file, used + 2, 1); }, true},
        {"a chain beyond the end into a stream",
         [&](Buffer& file) {
             word(file, used, used + 1);
             word(file, used + 1, get32(&file[placesOfEntries(good).at(1) + 116]) + 1);
         },
         true},
        {"the allocation table at the end, cut short",
         [&](Buffer& file) {
             file.insert(file.end(), file.begin() + 512, file.begin() + 1024);
             put32(&file[header::kDifat], used);
             put32(&file[512 * (std::size_t{used} + 1) + 4 * std::size_t{used}], kFatSector);
             put32(&file[512 * (std::size_t{used} + 1)], kFreeSector);
             std::fill(file.begin() + 512, file.begin() + 1024, std::uint8_t{0});
             file.resize(file.size() - 512 + 4 * (std::size_t{used} + 1));
         },
         true},
    };
    for (const auto& row : rows) {
        for (unsigned failAt = 1; failAt <= 8; ++failAt) {
            auto image = imageOf(good);
            row.damage(image->bytes);
            image->failAt = failAt;
            image->failsForGood = false;
            ComPtr<IStorage> root;
            ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk) << row.what;
            const bool failed = com::failed(writeItem(*root.get(), 7, 7, 30000));
            image->failAt = 0;
            ASSERT_EQ(writeItem(*root.get(), 8, 8, 30000), com::kOk) << row.what << failAt;
            ASSERT_EQ(root->destroyElement(u"b"), com::kOk) << row.what << failAt;
            ASSERT_EQ(writeItem(*root.get(), 9, 9, 30000), com::kOk) << row.what << failAt;
            root.reset();
            Tree expected{{u"/", {}}};
            for (const auto& [name, length] : kStreams) {
                if (*name != u'b') {
                    expected[std::u16string(u"/") + name] = pattern(length, name[0]);
                }
            }
            for (const unsigned number : {7U, 8U, 9U}) {
                if (number != 7 || !failed) {
                    expected[u"/" + itemName(number) + u"/"] = {};
                    expected[u"/" + itemName(number) + u"/00000000"] = pattern(30000, number);
                }
            }
            Tree found;
            ASSERT_EQ(readImage(image->bytes, found), com::kOk) << row.what << failAt;
            ASSERT_TRUE(found == expected) << row.what << failAt;
            if (row.mended) {
                ASSERT_EQ(strictCheck(image->bytes, found), "") << row.what << failAt;
            }
        }
    }
}

// Journals that nobody wrote in earnest, and what carrying them out would take a time for that grows with the square of
// the file's size.
TEST(HostileFileTest, AForgedJournalIsNoneAndCostsLittle) {
    constexpr std::uint64_t kStart = 2 * 1024 * 1024;
    const auto zeros = [](std::initializer_list<std::uint64_t> places) {
        JournalRecord record;
        for (const std::uint64_t place : places) {
            record.addZeros(place, kStart / 4);
        }
        return record;
    };
    JournalRecord data;
    data.addRange(kStart / 2, 8);
    JournalRecord everywhere;
    for (std::uint64_t place = 8192; place < kStart; place += 4) {
        everywhere.addZeros(place, 1);
    }
    for (std::uint64_t place = 8192; place < kStart; place += 4096) {
        everywhere.addRange(place, 8);
    }
    const struct {
        const char* what;
        // The oldest first.
        std::vector<JournalRecord> records;
        bool carriedOut;
    } rows[]{
        {"zeroes the whole file again and again", std::vector(60000, zeros({0})), false},
        {"zeroes before its newest record", {zeros({kStart / 2}), data}, false},
        {"zeroes a place twice", {zeros({kStart / 4, kStart / 4})}, false},
        {"zeroes in no order", {zeros({kStart / 2, kStart / 4})}, false},
        {"zeroes at last", {data, zeros({kStart / 4, kStart / 2})}, true},
        {"zeroes half a million places", {everywhere}, true},
    };
    for (const auto& row : rows) {
        std::uint64_t end = kStart;
        for (const JournalRecord& record : row.records) {
            end += record.sealedSize();
        }
        Buffer file = Sectors::emptyFile();
        file.resize(end);
        for (std::uint64_t number = 0; number < row.records.size(); ++number) {
            JournalRecord record = row.records[number];
            record.seal(end, number);
            end -= record.bytes().size();
            std::ranges::copy(record.bytes(), file.begin() + static_cast<std::ptrdiff_t>(end));
        }
        ASSERT_EQ(end, kStart);
        for (const bool writable : {false, true}) {
            auto image = imageOf(file);
            const std::clock_t before = std::clock();
            ComPtr<IStorage> root;
            EXPECT_EQ(openImage(image, writable ? kOpenReadWrite : kOpenRead, root), com::kOk) << row.what;
            EXPECT_LT(std::clock() - before, 2 * CLOCKS_PER_SEC) << row.what;
            EXPECT_EQ(image->bytesWritten > 0, writable && row.carriedOut) << row.what;
        }
    }
}

// As long as no disk is: bytes at its beginning and its end, and nothing in between.
class SparseFile final : public FileBytes {
public:
    SparseFile(Buffer head, Buffer tail) : head_(std::move(head)), tail_(std::move(tail)) {}

    static constexpr std::uint64_t kSize = std::uint64_t{1} << 60;
    std::uint64_t size() override { return kSize; }
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> out) override {
        for (std::size_t at = 0; at < out.size(); ++at) {
            const std::uint64_t place = offset + at;
            const std::uint64_t fromEnd = kSize - place;
            out[at] = place < head_.size()      ? head_[place]
                      : fromEnd <= tail_.size() ? tail_[tail_.size() - fromEnd]
                                                : std::uint8_t{0};
        }
        return out.size();
    }
    void write(std::uint64_t, ByteView) override { throw Failure(kWriteFault); }
    void resize(std::uint64_t) override { throw Failure(kWriteFault); }
    void flush() override {}

private:
    Buffer head_;
    Buffer tail_;
};

// What a file costs follows what it holds, not the length that it claims.
TEST(HostileFileTest, ALongFileOfNothingTakesNoMemory) {
    ComPtr<IStorage> root;
    auto image = fileOf(9, root);
    root.reset();
    Tree expected;
    ASSERT_EQ(readImage(image->bytes, expected), com::kOk);
    JournalRecord zeros;
    zeros.addZeros(SparseFile::kSize / 4, SparseFile::kSize / 2);
    zeros.seal(SparseFile::kSize, 0);
    JournalRecord far;
    far.addRange(SparseFile::kSize - 4096, 8);
    far.seal(SparseFile::kSize, 0);
    Buffer footer(zeros.bytes().end() - JournalRecord::kFooterBytes, zeros.bytes().end());
    put64(&footer[8], SparseFile::kSize - JournalRecord::kFooterBytes);
    Buffer manyTables = image->bytes;
    put32(&manyTables[header::kFatSectors], 0xFFFFFF00);
    put32(&manyTables[header::kFirstDifatSector], 0xFFFFFF00);
    const struct {
        const char* what;
        const Buffer& head;
        Buffer tail;
        Status expected;
    } rows[]{
        {"nothing behind", image->bytes, {}, com::kOk},
        {"a record that begins with the file", image->bytes, footer, com::kOk},
        {"a record that zeroes half of it", image->bytes, zeros.bytes(), com::kOk},
        {"a record for its end", image->bytes, far.bytes(), com::kOk},
        {"an allocation table for all of it", manyTables, {}, kFileCorrupt},
    };
    for (const auto& row : rows) {
        Tree tree;
        ASSERT_EQ(openContainer(std::make_unique<SparseFile>(row.head, row.tail), kOpenRead, root), row.expected)
            << row.what;
        EXPECT_TRUE(row.expected != com::kOk || (readTree(*root.get(), tree) == com::kOk && tree == expected))
            << row.what;
        root.reset();
    }
}

// What the disk kept of an earlier journal stands where the present one would go on.
TEST(HostileFileTest, AJournalIsNotContinuedByRecordsOfAnother) {
    for (const std::uint64_t second : {8, 9}) {
        Buffer file = Sectors::emptyFile();
        file.resize(4096);
        std::uint64_t end = file.size();
        for (const std::uint64_t number : {std::uint64_t{7}, second}) {
            JournalRecord record;
            std::memset(record.addRange(8 * number, 8), 0xEE, 8);
            record.seal(end, number);
            end -= record.bytes().size();
            std::ranges::copy(record.bytes(), file.begin() + static_cast<std::ptrdiff_t>(end));
        }
        auto journal = findJournal(*std::make_unique<MemoryFile>(imageOf(file)), file.size());
        EXPECT_EQ(journal.records.size(), second == 8 ? 2U : 1U);
    }
}

// One long chain of siblings, as simple writers make it, is read without a stack of that depth.
TEST(HostileFileTest, ReadsATreeAsDeepAsItHasEntries) {
    ComPtr<IStorage> root;
    constexpr unsigned kItems = 20000;
    auto image = std::make_shared<MemoryImage>();
    ASSERT_EQ(createContainer(std::make_unique<MemoryFile>(image), root), com::kOk);
    for (unsigned number = 1; number <= kItems; ++number) {
        ComPtr<IStorage> item;
        ASSERT_EQ(root->createStorage(itemName(number), kCreateWrite, item), com::kOk);
    }
    root.reset();
    // Entries are numbered in the order of creation: hang each on the left of the next.
    const auto places = placesOfEntries(image->bytes);
    put32(&image->bytes[places[0] + 76], kItems);
    for (unsigned number = 1; number <= kItems; ++number) {
        put32(&image->bytes[places[number] + 68], number - 1 == 0 ? 0xFFFFFFFF : number - 1);
        put32(&image->bytes[places[number] + 72], 0xFFFFFFFF);
    }
    Tree tree;
    EXPECT_EQ(readImage(image->bytes, tree), com::kOk);
    EXPECT_EQ(tree.size(), kItems + 1);
    ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(root->destroyElement(itemName(777)), com::kOk);
    root.reset();
    EXPECT_EQ(strictCheck(image->bytes, tree), "");
    EXPECT_EQ(tree.size(), kItems);
}

// What a change may cost, whatever the size of the file.
TEST(HostileFileTest, ChangesStayCheap) {
    ComPtr<IStorage> root;
    auto image = fileOf(3000, root);
    ASSERT_EQ(root->flush(), com::kOk);
    EXPECT_LE(image->writes, 10U * 3000);
    image->writes = 0;
    image->bytesWritten = 0;
    ASSERT_EQ(writeItem(*root.get(), 1234, 1), com::kOk);
    ASSERT_EQ(root->flush(), com::kOk);
    EXPECT_LE(image->bytesWritten, 16U * 1024);
    EXPECT_LE(image->writes, 10U);
}

} // namespace
} // namespace storage::testing
