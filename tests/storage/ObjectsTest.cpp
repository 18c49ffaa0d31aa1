// What the calls on files, storages and streams answer.

#include "tests/storage/Support.h"
#include "tests/storage/SystemCalls.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace storage::testing {
namespace {

class ObjectsTest : public ::testing::Test {
protected:
    void fill(unsigned items) const {
        ComPtr<IStorage> root;
        ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
        for (unsigned number = 1; number <= items; ++number) {
            ASSERT_EQ(writeItem(*root.get(), number, number), com::kOk);
        }
    }

    TestFolder folder_;
    const std::string path_ = folder_ / "file.mox";
};

TEST_F(ObjectsTest, RefusesWithTheCode) {
    fill(1);
    const Buffer before = load(path_);
    ComPtr<IStorage> out;
    EXPECT_EQ(stgOpenStorage(folder_ / "no", kOpenRead, out), kFileNotFound);
    EXPECT_EQ(stgCreateDocfile(folder_ / "no/file", kCreateReadWrite, out), kPathNotFound);
    EXPECT_EQ(stgCreateDocfile(path_, kOpenReadWrite, out), kFileAlreadyExists);
    EXPECT_EQ(stgOpenStorage(folder_ / "", kOpenRead, out), kAccessDenied);
    EXPECT_EQ(load(path_), before);
}

TEST_F(ObjectsTest, StoragesAndStreamsKeepTheirRightsUntilTheyAreReplaced) {
    fill(2);
    ComPtr<IStorage> root;
    ComPtr<IStorage> item;
    ComPtr<IStorage> again;
    ComPtr<IStream> stream;
    Buffer bytes(10);
    std::uint32_t count = 0;
    ASSERT_EQ(stgOpenStorage(path_, kOpenRead, root), com::kOk);
    EXPECT_EQ(root->destroyElement(u"00000001"), kAccessDenied);
    EXPECT_EQ(root->openStorage(u"00000001", kOpenReadWrite, item), kAccessDenied);
    root.reset();
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(root->openStorage(u"00000001", kOpenRead, item), com::kOk);
    EXPECT_EQ(root->openStorage(u"00000001", kOpenRead, again), kAccessDenied) << "open already";
    ASSERT_EQ(item->openStream(u"00000000", kOpenRead, stream), com::kOk);
    EXPECT_EQ(stream->write(bytes, count), kAccessDenied);
    EXPECT_EQ(root->createStorage(u"a/b", kCreateWrite, again), kInvalidName);
    EXPECT_EQ(root->createStorage(u"00000002", kShareExclusive | kWrite, again), kFileAlreadyExists);
    ASSERT_EQ(root->createStorage(u"00000001", kCreateWrite, again), com::kOk);
    EXPECT_EQ(stream->read(bytes, count), kReverted);
    EXPECT_EQ(item->openStream(u"00000000", kOpenRead, stream), kReverted);
}

TEST_F(ObjectsTest, AnEnumerationGoesByTheNamesAndSeesChanges) {
    ComPtr<IStorage> root;
    ComPtr<IStorage> child;
    ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
    const char16_t* const names[]{u"zz", u"b", u"\u00E4", u"AAA", u"\u0444", u"\u01C6", u"\u0250", u"ab"};
    for (const auto name : names) {
        ASSERT_EQ(root->createStorage(name, kShareExclusive | kWrite, child), com::kOk);
        child.reset();
    }
    EXPECT_EQ(root->openStorage(u"\u0424", kOpenRead, child), com::kOk) << "in the other case";
    child.reset();
    ComPtr<IEnumElements> children;
    ASSERT_EQ(root->enumElements(children), com::kOk);
    std::vector<std::u16string> found;
    for (ElementInfo info; children->next(info) == com::kOk;) {
        found.push_back(info.name);
        ASSERT_EQ(root->destroyElement(info.name), com::kOk);
        if (info.name == u"ab") {
            ASSERT_EQ(root->destroyElement(u"zz"), com::kOk) << "the next one";
            ASSERT_EQ(root->createStorage(u"zzz", kCreateWrite, child), com::kOk);
        }
    }
    EXPECT_EQ(found,
              (std::vector<std::u16string>{u"b", u"\u00E4", u"\u01C6", u"\u0250", u"\u0444", u"ab", u"AAA", u"zzz"}));
}

TEST_F(ObjectsTest, WhatAFileLosesWhileItIsReadIsNotTakenForZeros) {
    fill(3);
    SystemCalls::watch = [&](const char* call) {
        return std::string(call) == "pread" ? ::truncate(path_.c_str(), 3000) : 0;
    };
    ComPtr<IStorage> root;
    EXPECT_EQ(stgOpenStorage(path_, kOpenRead, root), kReadFault);
    SystemCalls::watch = {};
}

TEST_F(ObjectsTest, AFileThatMayNotBeWrittenIsRead) {
    fill(3);
    ::chmod(path_.c_str(), 0444);
    ::chmod((folder_ / "").c_str(), 0755);
    const int outcome = inChild([&] {
        // The superuser may write anything.
        ComPtr<IStorage> root;
        Contents tree;
        const bool isUser = ::geteuid() != 0 || ::setuid(65534) == 0;
        const bool isRefused = stgOpenStorage(path_, kOpenReadWrite, root) == kAccessDenied;
        return isUser && isRefused && readFile(path_, tree) == com::kOk && tree.size() == 7 ? 3 : 1;
    });
    EXPECT_EQ(outcome, 3);
}

} // namespace
} // namespace storage::testing
