// How a file is saved: whole or not at all, whatever happens to the process or to a call; and who is kept out
// meanwhile.

#include "tests/storage/Support.h"
#include "tests/storage/SystemCalls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace storage::testing {
namespace {

constexpr unsigned kItems = 3;

class SaveTest : public ::testing::Test {
protected:
    // Writes the items of an edition into the file, which is made where it is not there, and saves it.
    Status writeEdition(unsigned edition, ComPtr<IStorage>& root) const {
        Status status = std::filesystem::exists(path_) ? stgOpenStorage(path_, kOpenReadWrite, root)
                                                       : stgCreateDocfile(path_, kCreateReadWrite, root);
        for (unsigned number = 1; com::succeeded(status) && number <= kItems; ++number) {
            status = writeItem(*root.get(), number, edition + number, number == kItems ? 70000 : 134);
        }
        return com::succeeded(status) ? root->flush() : status;
    }
    void writeEdition(unsigned edition) const {
        ComPtr<IStorage> root;
        ASSERT_EQ(writeEdition(edition, root), com::kOk);
    }

    // The edition that libgsf reads, all items of it; 0 where there is no file, 1 for anything else.
    unsigned editionByLibgsf() const {
        std::string read;
        std::string editions[2];
        for (unsigned number = 1; number <= kItems; ++number) {
            read += outputOf("gsf cat " + path_ + " 0000000" + std::to_string(number) + "/00000000 2>/dev/null");
            for (const unsigned edition : {1U, 2U}) {
                const Buffer item = pattern(number == kItems ? 70000 : 134, 100 * edition + number);
                editions[edition - 1].append(item.begin(), item.end());
            }
        }
        return !std::filesystem::exists(path_) ? 0 : read == editions[0] ? 100 : read == editions[1] ? 200 : 1;
    }

    // The low byte of what another process is answered that opens the file, or creates it.
    int statusElsewhere(bool creates = false) const {
        return inChild([&] {
            ComPtr<IStorage> root;
            const Status status =
                creates ? stgCreateDocfile(path_, kCreateReadWrite, root) : stgOpenStorage(path_, kOpenReadWrite, root);
            return static_cast<int>(com::statusBits(status) & 0xFF);
        });
    }
    static constexpr int kShared = 0x20;

    ~SaveTest() override { SystemCalls::watch = {}; }

    TestFolder folder_;
    const std::string path_ = folder_ / "file.mox";
};

TEST_F(SaveTest, AtWhateverCallTheProcessEndsLibgsfReadsTheOldItemsOrTheNew) {
    for (const bool isNew : {true, false}) {
        int ending = -SIGKILL;
        std::size_t leftBehind = 0;
        for (int last = 1; ending == -SIGKILL; ++last) {
            SCOPED_TRACE((isNew ? "a new file, ended at call " : "ended at call ") + std::to_string(last));
            std::filesystem::remove_all(path_);
            if (!isNew) {
                writeEdition(100);
            }
            ending = inChild([&] {
                int calls = 0;
                SystemCalls::watch = [&](const char* call) {
                    if (++calls < last) {
                        return 0;
                    }
                    // Half of a write happens.
                    return calls == last && std::string(call) == "write" ? EIO : ::kill(::getpid(), SIGKILL);
                };
                ComPtr<IStorage> root;
                const Status status = writeEdition(200, root);
                SystemCalls::watch = {};
                return com::succeeded(status) ? 0 : 1;
            });
            const unsigned edition = editionByLibgsf();
            EXPECT_TRUE(edition == 200 || (edition == (isNew ? 0U : 100U) && ending != 0)) << edition;
            leftBehind = folder_.fileCount() - (edition == 0 ? 0 : 1);
        }
        EXPECT_EQ(leftBehind, isNew ? 0U : 1U) << "the new file has a name of its own between two calls at most";
        EXPECT_EQ(ending, 0);
    }
}

TEST_F(SaveTest, AFailedSaveLeavesTheOldFileAndASecondOneIsMade) {
    for (int failing = 1, failed = 1; failed > 0; ++failing) {
        SCOPED_TRACE(failing);
        std::filesystem::remove_all(path_);
        writeEdition(100);
        ComPtr<IStorage> root;
        ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
        ASSERT_EQ(root->destroyElement(itemName(2)), com::kOk);
        int calls = 0;
        folder_.logged.clear();
        SystemCalls::watch = [&](const char* call) {
            // What fails behind the exchange fails no save.
            return ++calls == failing && std::string(call) != "close" ? ENOSPC : 0;
        };
        const Status status = root->flush();
        SystemCalls::watch = {};
        failed = calls >= failing ? 1 : 0;
        Contents found;
        ASSERT_EQ(strictCheck(load(path_), found), "");
        ASSERT_EQ(found.size(), com::succeeded(status) ? 5U : 7U);
        EXPECT_EQ(folder_.fileCount(), 1U);
        if (com::failed(status)) {
            EXPECT_EQ(status, kMediumFull);
            EXPECT_NE(folder_.logged.find("No space left on device"), std::string::npos) << folder_.logged;
            // A failure that was told is not made good unasked.
            const bool isRepeated = failing % 2 == 0;
            EXPECT_TRUE(!isRepeated || root->flush() == com::kOk);
            root.reset();
            ASSERT_EQ(strictCheck(load(path_), found), "");
            ASSERT_EQ(found.size(), isRepeated ? 5U : 7U);
        }
    }
}

// A file with two names is written in place, others are exchanged.
TEST_F(SaveTest, NobodyElseOpensTheFileBeforeItIsClosed) {
    for (const std::string other : {"", "other.mox"}) {
        writeEdition(100);
        if (!other.empty()) {
            std::filesystem::create_hard_link(path_, folder_ / other);
        }
        ComPtr<IStorage> root;
        ComPtr<IStorage> second;
        ComPtr<IEnumElements> children;
        SystemCalls::watch = [&](const char* call) {
            EXPECT_TRUE(!root || statusElsewhere() == kShared) << "before " << call;
            return 0;
        };
        ASSERT_EQ(writeEdition(200, root), com::kOk);
        SystemCalls::watch = {};
        EXPECT_EQ(stgOpenStorage(path_, kOpenRead, second), kShareViolation);
        ASSERT_EQ(root->enumElements(children), com::kOk);
        root.reset();
        EXPECT_EQ(statusElsewhere(), kShared) << "an enumeration keeps it open";
        children.reset();
        EXPECT_EQ(statusElsewhere(), 0);
        EXPECT_EQ(editionByLibgsf(), 200U);
        EXPECT_TRUE(other.empty() || load(folder_ / other) == load(path_));
    }
}

TEST_F(SaveTest, AFileThatIsExchangedWhileItIsOpenedIsTheNewOne) {
    writeEdition(100);
    const std::string other = folder_ / "other.mox";
    std::filesystem::copy_file(path_, other);
    writeEdition(200);
    SystemCalls::watch = [&](const char* call) {
        if (std::string(call) == "flock") {
            std::filesystem::rename(other, path_);
            SystemCalls::watch = [](const char*) { return 0; };
        }
        return 0;
    };
    ComPtr<IStorage> root;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    SystemCalls::watch = {};
    EXPECT_EQ(statusElsewhere(), kShared);
    ASSERT_EQ(root->destroyElement(itemName(1)), com::kOk);
    EXPECT_EQ(root->flush(), com::kOk);
}

TEST_F(SaveTest, OneOfTwoCreatorsHasThePath) {
    ComPtr<IStorage> first;
    ComPtr<IStorage> second;
    SystemCalls::watch = [](const char* call) { return std::string(call) == "socket" ? EMFILE : 0; };
    EXPECT_EQ(stgCreateDocfile(path_, kCreateReadWrite, first), kTooManyOpenFiles) << "it can't be held";
    SystemCalls::watch = {};
    ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, first), com::kOk);
    ASSERT_EQ(writeItem(*first.get(), 1, 101), com::kOk);
    EXPECT_EQ(stgCreateDocfile(path_, kCreateReadWrite, second), kShareViolation);
    EXPECT_EQ(statusElsewhere(true), kShared);
    EXPECT_EQ(first->flush(), com::kOk);
    EXPECT_EQ(statusElsewhere(true), kShared) << "saved, and open";
    first.reset();
    ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, second), com::kOk);
    EXPECT_GT(load(path_).size(), 1536U) << "the old file stays until the new one is saved";
    second.reset();
    EXPECT_EQ(load(path_).size(), 1536U) << "an empty one";
}

TEST_F(SaveTest, WhatOthersPutAtThePathStays) {
    const struct {
        const char* puttingCall; ///< before which it is put there; empty: before the save
        bool hasNamelessFiles;
    } rows[]{{"", true}, {"", false}, {"fsync", true}};
    for (const auto& row : rows) {
        writeEdition(100);
        ComPtr<IStorage> root;
        ASSERT_EQ(writeEdition(200, root), com::kOk);
        ASSERT_EQ(root->destroyElement(itemName(1)), com::kOk);
        int opened = 0;
        bool isPut = false;
        SystemCalls::watch = [&](const char* call) {
            if (std::string(call) == row.puttingCall && !std::exchange(isPut, true)) {
                std::filesystem::remove(path_);
                std::ofstream(path_) << "theirs";
            }
            return std::string(call) == "open" && ++opened == 1 && !row.hasNamelessFiles ? EOPNOTSUPP : 0;
        };
        SystemCalls::watch("");
        EXPECT_EQ(root->flush(), kFileAlreadyExists);
        EXPECT_EQ(load(path_).size(), 6U);
        std::filesystem::remove(path_);
        opened = 0;
        EXPECT_EQ(root->flush(), com::kOk);
        SystemCalls::watch = {};
        EXPECT_EQ(folder_.fileCount(), 1U);
    }
}

TEST_F(SaveTest, APrunedFileShrinksAndASaveFlushesTwiceWhateverItHolds) {
    for (const unsigned items : {4U, 300U}) {
        ComPtr<IStorage> root;
        ASSERT_EQ(stgCreateDocfile(folder_ / std::to_string(items), kCreateReadWrite, root), com::kOk);
        int flushes = 0;
        SystemCalls::watch = [&](const char* call) { return flushes += std::string(call) == "fsync", 0; };
        for (unsigned number = 1; number <= items; ++number) {
            ASSERT_EQ(writeItem(*root.get(), number, number), com::kOk);
        }
        ASSERT_EQ(root->flush(), com::kOk);
        SystemCalls::watch = {};
        EXPECT_EQ(flushes, 2) << "the file and its folder";
        for (unsigned number = items; number > 4; --number) {
            ASSERT_EQ(root->destroyElement(itemName(number)), com::kOk);
        }
    }
    EXPECT_EQ(load(folder_ / "300"), load(folder_ / "4"));
}

} // namespace
} // namespace storage::testing
