#include "tests/storage/Support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

namespace storage::testing {
namespace {

// Creates, replaces, updates and removes items and a large stream, one call after the other, and notes the tree after
// each as it should be. Stops at the first failure.
class Script {
public:
    explicit Script(const std::shared_ptr<MemoryImage>& image) : image_(image) {}

    // The trees that the file may hold when the script ends here: the last one that was reached, and the next one.
    void run() {
        ComPtr<IStorage> root;
        if (com::failed(openImage(image_, kOpenReadWrite, root))) {
            return;
        }
        for (unsigned number = 1; number <= 12; ++number) {
            if (!item(*root.get(), number, number)) {
                return;
            }
        }
        const std::size_t sizes[]{300, 5000, 20000, 4096, 100, 9000};
        for (const std::size_t size : sizes) {
            if (!large(*root.get(), size)) {
                return;
            }
        }
        for (unsigned number = 1; number <= 12; number += 2) {
            if (!item(*root.get(), number, 100 + number) || !remove(*root.get(), itemName(number + 1))) {
                return;
            }
        }
        if (!remove(*root.get(), u"large") || com::failed(root->flush())) {
            return;
        }
        for (unsigned number = 20; number <= 24 && item(*root.get(), number, number); ++number) {
        }
    }

    const Tree& reached() const { return reached_; }
    const Tree& next() const { return next_; }

private:
    bool done(Status status) {
        if (com::succeeded(status)) {
            reached_ = next_;
        }
        return com::succeeded(status);
    }
    bool item(IStorage& root, unsigned number, unsigned seed) {
        next_ = reached_;
        const std::u16string path = u"/" + itemName(number) + u"/";
        next_[path] = {};
        next_[path + u"00000000"] = pattern(134, seed);
        return done(writeItem(root, number, seed));
    }
    bool large(IStorage& root, std::size_t size) {
        next_ = reached_;
        next_[u"/large"] = pattern(size, static_cast<std::uint32_t>(size));
        ComPtr<IStream> stream;
        std::uint32_t transferred = 0;
        const Status status = root.createStream(u"large", kCreateWrite, stream);
        return done(com::failed(status) ? status : stream->write(next_[u"/large"], transferred));
    }
    bool remove(IStorage& root, const std::u16string& name) {
        next_ = reached_;
        std::erase_if(next_, [&](const auto& row) {
            return row.first == u"/" + name || row.first.starts_with(u"/" + name + u"/");
        });
        return done(root.destroyElement(name));
    }

    std::shared_ptr<MemoryImage> image_;
    Tree reached_{{u"/", {}}};
    Tree next_{{u"/", {}}};
};

std::shared_ptr<MemoryImage> emptyContainer() {
    auto image = std::make_shared<MemoryImage>();
    ComPtr<IStorage> root;
    EXPECT_EQ(createContainer(std::make_unique<MemoryFile>(image), root), com::kOk);
    root.reset();
    image->changes = 0;
    return image;
}

// What an open for reading and one for writing find in the file that was left, and that the latter makes it perfect.
void expectOldOrNew(const Buffer& left, const Script& script) {
    Tree found;
    ASSERT_EQ(readImage(left, found), com::kOk);
    ASSERT_TRUE(found == script.reached() || found == script.next());
    auto image = imageOf(left);
    ComPtr<IStorage> root;
    ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(writeItem(*root.get(), 77, 77), com::kOk);
    root.reset();
    found[u"/" + itemName(77) + u"/"] = {};
    found[u"/" + itemName(77) + u"/00000000"] = pattern(134, 77);
    Tree repaired;
    ASSERT_EQ(strictCheck(image->bytes, repaired, {.bytesInFreeSectors = true}), "");
    ASSERT_TRUE(repaired == found);
}

struct Interruption {
    const char* name;
    unsigned sixteenths;
    bool forGood;
};

class InterruptionTest : public ::testing::TestWithParam<Interruption> {};

// Each call that changes the file in turn is the one that fails.
TEST_P(InterruptionTest, LeavesEveryItemOldOrNew) {
    unsigned failAt = 1;
    for (bool failed = true; failed; ++failAt) {
        auto image = emptyContainer();
        image->failAt = failAt;
        image->sixteenthsWritten = GetParam().sixteenths;
        image->failsForGood = GetParam().forGood;
        Script script(image);
        script.run();
        failed = image->changes >= failAt;
        expectOldOrNew(image->bytes, script);
        if (HasFatalFailure()) {
            FAIL() << "at call " << failAt;
        }
    }
    EXPECT_GT(failAt, 60U);
}

INSTANTIATE_TEST_SUITE_P(Calls, InterruptionTest,
                         ::testing::Values(Interruption{"NothingWritten", 0, true}, Interruption{"CutEarly", 1, true},
                                           Interruption{"CutHalfWay", 8, true}, Interruption{"CutLate", 15, true},
                                           Interruption{"WrittenButEnded", 16, true},
                                           Interruption{"OneFailureHalfWay", 8, false},
                                           Interruption{"OneFailureAfterAll", 16, false}),
                         [](const auto& row) { return std::string(row.param.name); });

// After a call that failed once, the file takes further changes as if nothing had been.
TEST(InterruptionTest, GoesOnAfterOneFailure) {
    for (unsigned failAt = 1; failAt < 60; ++failAt) {
        auto image = emptyContainer();
        ComPtr<IStorage> root;
        ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
        image->changes = 0;
        image->failAt = failAt;
        image->failsForGood = false;
        image->sixteenthsWritten = 8;
        Tree expected{{u"/", {}}};
        Tree found;
        for (unsigned number = 1; number <= 40; ++number) {
            const Status status = writeItem(*root.get(), number, number, number % 5 == 0 ? 6000 : 134);
            if (com::succeeded(status)) {
                expected[u"/" + itemName(number) + u"/"] = {};
                expected[u"/" + itemName(number) + u"/00000000"] = pattern(number % 5 == 0 ? 6000 : 134, number);
                ASSERT_EQ(readImage(image->bytes, found), com::kOk) << failAt;
                ASSERT_TRUE(found == expected) << failAt << ": an end after item " << number;
            }
            if (number % 8 == 0) {
                (void)root->flush();
            }
        }
        ASSERT_GE(expected.size(), 79U) << failAt;
        root.reset();
        ASSERT_EQ(strictCheck(image->bytes, found), "") << failAt;
        ASSERT_TRUE(found == expected) << failAt;
    }
}

// After a power cut the disk holds each sector as it was at the last flush or later.
Buffer afterPowerCut(const Buffer& flushed, const Buffer& present, std::mt19937& random) {
    Buffer disk = flushed;
    disk.resize(random() % 2 == 0 ? disk.size() : present.size());
    // Sectors in any order, or all from one on.
    const std::size_t cut = random() % (2 * disk.size());
    for (std::size_t at = 0; at < std::min(disk.size(), present.size()); at += 512) {
        if (cut > disk.size() ? random() % 2 == 0 : at >= cut) {
            std::copy_n(&present[at], std::min({std::size_t{512}, disk.size() - at, present.size() - at}), &disk[at]);
        }
    }
    return disk;
}

// What is found after a power cut was once the file, and is not older than the last flush.
TEST(InterruptionTest, KeepsEveryItemWhenThePowerFails) {
    auto image = emptyContainer();
    ComPtr<IStorage> root;
    ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
    std::vector<Tree> states{{{u"/", {}}}};
    std::mt19937 random(3);
    unsigned damaged = 0;
    Buffer flushed = image->bytes;
    image->onFlush = [&] { flushed = image->bytes; };
    image->onChange = [&] {
        Tree found;
        damaged += readImage(afterPowerCut(flushed, image->bytes, random), found) != com::kOk ||
                   std::ranges::find(states, found) == states.end();
    };
    for (unsigned seed = 1; seed <= 600; ++seed) {
        // A journal sets the same places again and again; the large item's end brings on a checkpoint.
        const unsigned number = seed % 20 == 0 ? 20 : seed % 7;
        const std::size_t length = number == 20 ? 5000 : 134;
        Tree next = states.back();
        next[u"/" + itemName(number) + u"/"] = {};
        next[u"/" + itemName(number) + u"/00000000"] = pattern(length, seed);
        states.push_back(next);
        ASSERT_EQ(writeItem(*root.get(), number, seed, length), com::kOk);
        if (seed % 60 == 0) {
            ASSERT_EQ(root->flush(), com::kOk);
            states.erase(states.begin(), states.end() - 1);
        }
    }
    root.reset();
    EXPECT_EQ(damaged, 0U);
}

// A long save grows into places where a journal stood, and a record leaves out what it takes for zero there.
TEST(InterruptionTest, KeepsZerosWhereAJournalStoodWhenThePowerFails) {
    auto image = emptyContainer();
    std::mt19937 random(3);
    Buffer flushed = image->bytes;
    image->onFlush = [&] { flushed = image->bytes; };
    ComPtr<IStorage> root;
    ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
    const auto contents = [](unsigned number) {
        Buffer bytes(134);
        put32(&bytes[6], number);
        bytes.back() = 1;
        return bytes;
    };
    for (unsigned number = 1; number <= 1000; ++number) {
        ASSERT_EQ(writeItem(*root.get(), number, contents(number)), com::kOk);
        if (number % 16 != 0) {
            continue;
        }
        Tree found;
        ASSERT_EQ(readImage(afterPowerCut(flushed, image->bytes, random), found), com::kOk) << number;
        const auto items = static_cast<unsigned>(found.size() / 2);
        ASSERT_LE(items, number);
        for (unsigned item = 1; item <= items; ++item) {
            ASSERT_EQ(found[u"/" + itemName(item) + u"/00000000"], contents(item)) << item << " of " << number;
        }
    }
}

// A disk that is full at every possible length: what was written stays, what failed is not there, and nothing of it.
TEST(InterruptionTest, KeepsWhatFitsOnAFullDisk) {
    for (std::uint64_t limit = 1536; limit < 120000; limit += 3571) {
        auto image = emptyContainer();
        image->limit = limit;
        ComPtr<IStorage> root;
        ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
        Tree expected{{u"/", {}}};
        Status status = com::kOk;
        for (unsigned number = 1; number <= 300 && com::succeeded(status); ++number) {
            status = writeItem(*root.get(), number, number);
            if (com::succeeded(status)) {
                expected[u"/" + itemName(number) + u"/"] = {};
                expected[u"/" + itemName(number) + u"/00000000"] = pattern(134, number);
            }
        }
        EXPECT_EQ(status, kMediumFull);
        root.reset();
        Tree found;
        ASSERT_EQ(strictCheck(image->bytes, found), "") << limit;
        ASSERT_TRUE(found == expected) << limit;
    }
}

// A disk that goes away in the middle of a change: every further call says so.
TEST(InterruptionTest, AnswersTheFailureWhenTheDiskIsGone) {
    auto image = emptyContainer();
    ComPtr<IStorage> root;
    ComPtr<IStorage> item;
    ComPtr<IStream> stream;
    ComPtr<IEnumElements> before;
    ComPtr<IEnumElements> children;
    ElementInfo info;
    std::uint64_t size = 0;
    std::uint32_t transferred = 0;
    ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(writeItem(*root.get(), 345, 1), com::kOk);
    ASSERT_EQ(root->openStorage(itemName(345), kOpenReadWrite, item), com::kOk);
    ASSERT_EQ(item->openStream(u"00000000", kOpenReadWrite, stream), com::kOk);
    ASSERT_EQ(root->enumElements(before), com::kOk);
    ASSERT_EQ(root->flush(), com::kOk);
    image->readable = false;
    image->failAt = image->changes + 1;
    EXPECT_EQ(stream->write(pattern(134, 2), transferred), kWriteFault);
    const struct {
        const char* what;
        Status status;
    } rows[]{
        {"write", stream->write(pattern(134, 2), transferred)},
        {"read", stream->read({}, transferred)},
        {"size", stream->size(size)},
        {"stat", item->stat(info)},
        {"next", before->next(info)},
        {"enumerate", root->enumElements(children)},
        {"open", root->openStorage(itemName(1), kOpenRead, item)},
        {"create", writeItem(*root.get(), 1, 1)},
        {"flush", root->flush()},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.status, kReadFault) << row.what;
    }
}

// An item that is replaced is the old one until the new one is complete.
TEST(InterruptionTest, ReplacesAnItemInOneStep) {
    auto image = emptyContainer();
    ComPtr<IStorage> root;
    ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(writeItem(*root.get(), 345, 1), com::kOk);
    const std::u16string path = u"/00000345/00000000";
    ComPtr<IStorage> item;
    ComPtr<IStream> stream;
    Tree found;
    const auto left = [&] { return readImage(image->bytes, found) == com::kOk ? found[path] : Buffer{}; };
    ASSERT_EQ(root->createStorage(itemName(345), kCreateWrite, item), com::kOk);
    EXPECT_EQ(left(), pattern(134, 1));
    ASSERT_EQ(item->createStream(u"00000000", kCreateWrite, stream), com::kOk);
    EXPECT_EQ(left(), pattern(134, 1));
    std::uint32_t transferred = 0;
    ASSERT_EQ(stream->write(pattern(134, 2), transferred), com::kOk);
    EXPECT_EQ(left(), pattern(134, 2));
}

} // namespace
} // namespace storage::testing
