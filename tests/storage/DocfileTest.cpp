#include "platform/com/Messages.h"
#include "platform/storage/Sectors.h"
#include "tests/storage/Support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

namespace storage::testing {
namespace {

namespace fs = std::filesystem;

class DocfileTest : public ::testing::Test {
protected:
    DocfileTest() {
        std::string pattern = (fs::temp_directory_path() / "calvane-storage-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        path_ = (folder_ / "file.mox").string();
    }
    ~DocfileTest() override { fs::remove_all(folder_); }

    static Buffer load(const fs::path& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void fill(unsigned items) {
        ComPtr<IStorage> root;
        ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
        for (unsigned number = 1; number <= items; ++number) {
            ASSERT_EQ(writeItem(*root.get(), number, number), com::kOk);
        }
    }
    // Runs `body` in a child process and answers its exit code, or minus the signal that ended it.
    // With `killAfter`, the child is killed that long after it wrote to `ready`.
    template <class Body>
    static int inChild(Body&& body, std::chrono::microseconds killAfter = {}) {
        int ready[2]{};
        EXPECT_EQ(pipe(ready), 0);
        const pid_t child = fork();
        if (child == 0) {
            ready_ = ready[1];
            body();
            _exit(0);
        }
        close(ready[1]);
        if (killAfter.count() > 0) {
            char byte = 0;
            EXPECT_EQ(read(ready[0], &byte, 1), 1);
            usleep(static_cast<useconds_t>(killAfter.count()));
            kill(child, SIGKILL);
        }
        close(ready[0]);
        int status = 0;
        waitpid(child, &status, 0);
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    std::string run(const std::string& command) {
        std::string out;
        FILE* pipe = popen(("cd '" + folder_.string() + "' && " + command + " 2>&1").c_str(), "r");
        char buffer[4096];
        for (std::size_t got = 0; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
            out.append(buffer, got);
        }
        EXPECT_EQ(pclose(pipe), 0) << command << ": " << out;
        return out;
    }

    static inline int ready_ = -1;
    fs::path folder_;
    std::string path_;
};

TEST_F(DocfileTest, ASmallFileByteByByte) {
    {
        ComPtr<IStorage> root;
        ComPtr<IStream> stream;
        std::uint32_t transferred = 0;
        ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
        ASSERT_EQ(root->createStream(u"File_Version", kCreateWrite, stream), com::kOk);
        ASSERT_EQ(stream->write(Buffer{1, 0, 0, 0, 0, 0}, transferred), com::kOk);
        EXPECT_EQ(transferred, 6U);
    }
    const Buffer file = load(path_);
    struct {
        std::size_t offset;
        std::vector<std::uint8_t> bytes;
    } const rows[]{
        {0, {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {24, {0x3E, 0, 3, 0, 0xFE, 0xFF, 9, 0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}},
        {52, {0, 0, 0, 0, 0, 0x10, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF}},
        // The allocation table: itself, the directory, the mini stream, its allocation table.
        {512, {0xFD, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF}},
        {1024, {'R', 0, 'o', 0, 'o', 0, 't', 0, ' ', 0, 'E', 0, 'n', 0, 't', 0, 'r', 0, 'y', 0, 0, 0}},
        {1088, {22, 0, 5, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0}},
        {1140, {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0}},
        {1152, {'F', 0, 'i', 0, 'l', 0, 'e', 0, '_', 0, 'V', 0, 'e', 0, 'r', 0}},
        {1216, {26, 0, 2, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
        {1268, {0, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0}},
        {1536, {1, 0, 0, 0, 0, 0, 0}},
        {2048, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
    };
    ASSERT_EQ(file.size(), 2560U);
    for (const auto& row : rows) {
        EXPECT_TRUE(std::equal(row.bytes.begin(), row.bytes.end(), file.begin() + static_cast<long>(row.offset)))
            << "at " << row.offset;
    }
    Tree tree;
    EXPECT_EQ(strictCheck(file, tree), "");
}

TEST_F(DocfileTest, RefusesWithTheCodeAndItsText) {
    fill(1);
    std::ofstream(folder_ / "text") << std::string(3000, 'x');
    ComPtr<IStorage> out;
    struct {
        const char* what;
        Status status;
        Status expected;
        const char* text;
    } const rows[]{
        {"missing file", stgOpenStorage((folder_ / "no").string(), kOpenRead, out), kFileNotFound,
         "%1 could not be found.\r\n"},
        {"missing folder", stgCreateDocfile((folder_ / "no/file").string(), kCreateReadWrite, out), kPathNotFound,
         "The path %1 could not be found.\r\n"},
        {"no compound file", stgOpenStorage((folder_ / "text").string(), kOpenRead, out), kInvalidHeader,
         "The file %1 is not a valid compound file.\r\n"},
        {"there already", stgCreateDocfile(path_, kOpenReadWrite, out), kFileAlreadyExists, "%1 already exists.\r\n"},
        {"sharing that is none", stgOpenStorage(path_, 0x2, out), kInvalidFlag, "Invalid flag error.\r\n"},
        {"transactions", stgOpenStorage(path_, 0x10012, out), kInvalidFlag, "Invalid flag error.\r\n"},
        {"creating by opening", stgOpenStorage(path_, 0x1012, out), kInvalidFlag, "Invalid flag error.\r\n"},
        {"creating for reading", stgCreateDocfile(path_, 0x1010, out), kInvalidFlag, "Invalid flag error.\r\n"},
        {"a folder", stgOpenStorage(folder_.string(), kOpenRead, out), kAccessDenied, "Access Denied.\r\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.status, row.expected) << row.what;
        EXPECT_EQ(com::systemMessage(row.expected), row.text) << row.what;
    }
    Tree tree;
    EXPECT_EQ(strictCheck(load(path_), tree), "");
}

TEST_F(DocfileTest, IsOpenOnceInThisProcessAndInAnother) {
    fill(2);
    ComPtr<IStorage> root;
    ComPtr<IStorage> second;
    ComPtr<IEnumElements> children;
    ASSERT_EQ(stgOpenStorage(path_, kOpenRead, root), com::kOk);
    EXPECT_EQ(stgOpenStorage(path_, kOpenRead, second), kShareViolation);
    EXPECT_EQ(stgCreateDocfile(path_, kCreateReadWrite, second), kShareViolation);
    EXPECT_EQ(inChild([&] { _exit(stgOpenStorage(path_, kOpenRead, second) == kShareViolation ? 3 : 1); }), 3);
    ASSERT_EQ(root->enumElements(children), com::kOk);
    root.reset();
    EXPECT_EQ(stgOpenStorage(path_, kOpenReadWrite, second), kShareViolation) << "an enumeration keeps it open";
    ElementInfo info;
    EXPECT_EQ(children->next(info), com::kOk);
    EXPECT_EQ(info.name, u"00000001");
    children.reset();
    EXPECT_EQ(stgOpenStorage(path_, kOpenReadWrite, second), com::kOk);
}

TEST_F(DocfileTest, ElementsKeepTheirRights) {
    fill(2);
    ComPtr<IStorage> root;
    ComPtr<IStorage> item;
    ComPtr<IStorage> again;
    ComPtr<IStream> stream;
    Buffer bytes(10);
    std::uint32_t count = 0;
    ASSERT_EQ(stgOpenStorage(path_, kOpenRead, root), com::kOk);
    EXPECT_EQ(root->destroyElement(u"00000001"), kAccessDenied);
    EXPECT_EQ(root->createStorage(u"x", kCreateWrite, item), kAccessDenied);
    EXPECT_EQ(root->openStorage(u"00000001", kOpenReadWrite, item), kAccessDenied);
    ASSERT_EQ(root->openStorage(u"00000001", kOpenRead, item), com::kOk);
    EXPECT_EQ(root->openStorage(u"00000001", kOpenRead, again), kAccessDenied) << "open already";
    ASSERT_EQ(item->openStream(u"00000000", kOpenRead, stream), com::kOk);
    EXPECT_EQ(stream->write(bytes, count), kAccessDenied);
    root.reset();
    item.reset();
    ASSERT_EQ(stream->moveTo(130), com::kOk);
    EXPECT_EQ(stream->read(bytes, count), com::kOk);
    EXPECT_EQ(count, 4U);
    stream.reset();

    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(root->openStorage(u"00000001", kOpenReadWrite, item), com::kOk);
    ASSERT_EQ(item->openStream(u"00000000", kOpenReadWrite, stream), com::kOk);
    for (const auto name : {u"", u"a/b", u"a\\b", u"a:b", u"a!b", u"12345678901234567890123456789012"}) {
        EXPECT_EQ(root->createStorage(name, kCreateWrite, again), kInvalidName);
    }
    EXPECT_EQ(root->createStorage(u"00000002", kShareExclusive | kWrite, again), kFileAlreadyExists);
    ASSERT_EQ(root->destroyElement(u"00000001"), com::kOk);
    EXPECT_EQ(stream->read(bytes, count), kReverted);
    EXPECT_EQ(item->openStream(u"00000000", kOpenRead, stream), kReverted);
    EXPECT_EQ(root->destroyElement(u"00000001"), kFileNotFound);
}

TEST_F(DocfileTest, NamesDifferByMoreThanCase) {
    ComPtr<IStorage> root;
    ComPtr<IStorage> child;
    ASSERT_EQ(stgCreateDocfile(path_, kCreateReadWrite, root), com::kOk);
    const char16_t* const names[]{u"zz", u"b", u"\u00E4", u"AAA", u"\u0444", u"\u01C6", u"\u0250"};
    for (const auto name : names) {
        ASSERT_EQ(root->createStorage(name, kShareExclusive | kWrite, child), com::kOk);
        child.reset();
    }
    for (const auto name : {u"ZZ", u"B", u"\u00C4", u"aaa", u"\u0424", u"\u01C4"}) {
        EXPECT_EQ(root->openStorage(name, kOpenRead, child), com::kOk);
        child.reset();
    }
    ComPtr<IEnumElements> children;
    ASSERT_EQ(root->enumElements(children), com::kOk);
    std::vector<std::u16string> found;
    for (ElementInfo info; children->next(info) == com::kOk;) {
        found.push_back(info.name);
    }
    EXPECT_EQ(found, (std::vector<std::u16string>{u"b", u"\u00E4", u"\u01C6", u"\u0250", u"\u0444", u"zz", u"AAA"}));
    EXPECT_EQ(toUtf8(toUtf16("gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80")), "gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80");
}

TEST_F(DocfileTest, EnumerationSurvivesRemovals) {
    fill(50);
    ComPtr<IStorage> root;
    ComPtr<IEnumElements> children;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(root->enumElements(children), com::kOk);
    unsigned found = 0;
    for (ElementInfo info; children->next(info) == com::kOk; ++found) {
        EXPECT_EQ(info.name, itemName(found + 1));
        ASSERT_EQ(root->destroyElement(info.name), com::kOk);
    }
    EXPECT_EQ(found, 50U);
}

TEST_F(DocfileTest, ChurnAndPruneLeaveNothingBehind) {
    fill(300);
    const auto before = fs::file_size(path_);
    {
        ComPtr<IStorage> root;
        ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
        for (unsigned round = 1; round <= 5; ++round) {
            for (unsigned number = 300; number > 0; --number) {
                ASSERT_EQ(writeItem(*root.get(), number, 1000 + number), com::kOk);
            }
        }
    }
    EXPECT_EQ(fs::file_size(path_), before);
    {
        ComPtr<IStorage> root;
        ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
        for (unsigned number = 2; number <= 300; ++number) {
            ASSERT_EQ(root->destroyElement(itemName(number)), com::kOk);
        }
    }
    Tree tree;
    EXPECT_EQ(strictCheck(load(path_), tree), "");
    EXPECT_EQ(tree.size(), 3U);
}

// The list of allocation sectors leaves the header for sectors of its own with the 110th.
TEST_F(DocfileTest, CrossesTheHeadersListOfAllocationSectors) {
    auto image = std::make_shared<MemoryImage>();
    ComPtr<IStorage> root;
    ComPtr<IStream> stream;
    std::uint32_t transferred = 0;
    ASSERT_EQ(createContainer(std::make_unique<MemoryFile>(image), root), com::kOk);
    ASSERT_EQ(root->createStream(u"large", kCreateReadWrite, stream), com::kOk);
    const std::size_t sizes[]{13700, 13800, 13838, 13839, 13840, 13841, 13842, 13843, 13844, 14000, 30200, 30400};
    for (const std::size_t sectors : sizes) {
        const Buffer bytes = pattern(sectors * 512, static_cast<std::uint32_t>(sectors));
        ASSERT_EQ(stream->moveTo(0), com::kOk);
        ASSERT_EQ(stream->write(bytes, transferred), com::kOk);
        stream.reset();
        root.reset();
        Tree tree;
        ASSERT_EQ(strictCheck(image->bytes, tree), "") << sectors;
        ASSERT_TRUE(tree[u"/large"] == bytes) << sectors;
        ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
        ASSERT_EQ(root->openStream(u"large", kOpenReadWrite, stream), com::kOk);
    }
}

// What others write and what is read all the same, made by changing a good file. `updated`: that a change repairs it.
TEST_F(DocfileTest, ReadsHarmlessDeviationsAndRepairsThem) {
    fill(20);
    const Buffer good = load(path_);
    const std::size_t entries = 512 * (get32(&good[48]) + 1);
    struct {
        const char* what;
        std::function<void(Buffer&)> deviate;
    } const rows[]{
        {"minor version 0x21", [](Buffer& file) { file[24] = 0x21; }},
        {"all black",
         [&](Buffer& file) {
             for (std::size_t at = entries; at < entries + 512; at += 128) {
                 file[at + 67] = 1;
             }
         }},
        {"all red",
         [&](Buffer& file) {
             for (std::size_t at = entries + 128; at < entries + 512; at += 128) {
                 file[at + 67] = 0;
             }
         }},
        {"bytes behind the end", [](Buffer& file) { file.insert(file.end(), 777, 0xAA); }},
        {"rubbish in the upper half of a size", [&](Buffer& file) { put32(&file[entries + 2 * 128 + 124], 0xABCD); }},
        {"counts in the header", [](Buffer& file) { put32(&file[64], 99); }},
    };
    for (const auto& row : rows) {
        Buffer file = good;
        row.deviate(file);
        Tree expected;
        Tree found;
        ASSERT_EQ(strictCheck(good, expected), "");
        EXPECT_EQ(readImage(file, found), com::kOk) << row.what;
        EXPECT_TRUE(found == expected) << row.what;
        auto image = imageOf(file);
        ComPtr<IStorage> root;
        ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk) << row.what;
        ASSERT_EQ(root->destroyElement(itemName(20)), com::kOk) << row.what;
        ASSERT_EQ(writeItem(*root.get(), 20, 20), com::kOk) << row.what;
        root.reset();
        EXPECT_EQ(readImage(image->bytes, found), com::kOk) << row.what;
        EXPECT_TRUE(found == expected) << row.what;
    }
}

TEST_F(DocfileTest, ReadsAndUpdatesVersion4) {
    const Buffer file = emptyVersion4();
    Tree tree;
    ASSERT_EQ(strictCheck(file, tree), "");
    auto image = imageOf(file);
    ComPtr<IStorage> root;
    ASSERT_EQ(openImage(image, kOpenReadWrite, root), com::kOk);
    Tree expected{{u"/", {}}};
    for (unsigned number = 1; number <= 100; ++number) {
        const std::size_t length = number * 97;
        ASSERT_EQ(writeItem(*root.get(), number, number, length), com::kOk);
        expected[u"/" + itemName(number) + u"/"] = {};
        expected[u"/" + itemName(number) + u"/00000000"] = pattern(length, number);
    }
    root.reset();
    ASSERT_EQ(strictCheck(image->bytes, tree), "");
    EXPECT_TRUE(tree == expected);
}

TEST_F(DocfileTest, AFileThatMayNotBeWrittenIsRead) {
    fill(3);
    fs::permissions(path_, fs::perms(0444));
    fs::permissions(folder_, fs::perms(0555));
    EXPECT_EQ(inChild([&] {
                  // The superuser may write anything.
                  if (geteuid() == 0 && (chmod(folder_.c_str(), 0555) != 0 || setuid(65534) != 0)) {
                      _exit(1);
                  }
                  ComPtr<IStorage> root;
                  Tree tree;
                  if (stgOpenStorage(path_, kOpenReadWrite, root) != kAccessDenied ||
                      stgCreateDocfile(path_, kCreateReadWrite, root) != kAccessDenied ||
                      stgCreateDocfile((folder_ / "new").string(), kCreateReadWrite, root) != kAccessDenied) {
                      _exit(2);
                  }
                  if (stgOpenStorage(path_, kOpenRead, root) != com::kOk || readTree(*root.get(), tree) != com::kOk) {
                      _exit(4);
                  }
                  _exit(tree.size() == 7 ? 3 : 5);
              }),
              3);
    fs::permissions(folder_, fs::perms(0755));
}

TEST_F(DocfileTest, AFileCutWhileItIsOpenFailsWithACode) {
    fill(200);
    const Buffer whole = load(path_);
    ComPtr<IStorage> root;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    fs::resize_file(path_, 4096);
    EXPECT_EQ(writeItem(*root.get(), 1, 1), kReadFault);
    Tree tree;
    EXPECT_TRUE(com::failed(readTree(*root.get(), tree)));
    root.reset();
    EXPECT_EQ(load(path_), Buffer(whole.begin(), whole.begin() + 4096)) << "nothing was written into what is left";
}

TEST_F(DocfileTest, AFileSizeLimitIsAFullDisk) {
    fill(5);
    EXPECT_EQ(inChild([&] {
                  signal(SIGXFSZ, SIG_DFL);
                  const rlimit limit{40000, 40000};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  ComPtr<IStorage> root;
                  Status status = stgOpenStorage(path_, kOpenReadWrite, root);
                  for (unsigned number = 6; com::succeeded(status) && number < 1000; ++number) {
                      status = writeItem(*root.get(), number, number);
                  }
                  root.reset();
                  _exit(status == kMediumFull ? 3 : 1);
              }),
              3);
    Tree tree;
    ASSERT_EQ(strictCheck(load(path_), tree), "");
    EXPECT_GT(tree.size(), 60U);
}

// A process that is killed anywhere in a long run of creations, replacements and removals.
TEST_F(DocfileTest, AKilledWriterLeavesWholeItems) {
    std::mt19937 random(7);
    unsigned unfinished = 0;
    fill(20);
    const Buffer start = load(path_);
    for (unsigned round = 0; round < 300; ++round) {
        std::ofstream(path_, std::ios::binary)
            .write(reinterpret_cast<const char*>(start.data()), static_cast<std::streamsize>(start.size()));
        inChild(
            [&] {
                ComPtr<IStorage> root;
                stgOpenStorage(path_, kOpenReadWrite, root);
                if (write(ready_, "", 1) != 1) {
                    _exit(1);
                }
                for (unsigned at = 0;; ++at) {
                    writeItem(*root.get(), 1 + at % 150, 1 + at % 150, at % 7 == 0 ? 5000 : 134);
                    if (at % 5 == 0) {
                        root->destroyElement(itemName(1 + at * 7 % 150));
                    }
                }
            },
            std::chrono::microseconds(1 + random() % 8000));
        ComPtr<IStorage> root;
        Tree tree;
        ASSERT_EQ(stgOpenStorage(path_, round % 2 == 0 ? kOpenRead : kOpenReadWrite, root), com::kOk) << round;
        ASSERT_EQ(readTree(*root.get(), tree), com::kOk) << round;
        unfinished += fs::file_size(path_) > 60000 ? 1 : 0;
        for (const auto& [path, bytes] : tree) {
            if (path.size() > 1 && path.back() == u'/') {
                const auto number = static_cast<unsigned>(std::stoul(toUtf8(path.substr(1, 8))));
                const Buffer& item = tree[path + u"00000000"];
                ASSERT_TRUE(item == pattern(134, number) || item == pattern(5000, number))
                    << round << " item " << number;
            }
        }
        if (round % 2 != 0) {
            ASSERT_EQ(writeItem(*root.get(), 1, 1), com::kOk);
            root.reset();
            ASSERT_EQ(strictCheck(load(path_), tree, {.bytesInFreeSectors = true}), "") << round;
        }
    }
    EXPECT_GT(unfinished, 100U) << "most children were killed while they had the file open";
}

// A process that is killed while it makes a file: its path has nothing, or all that was written before the file was
// closed, and nothing else is left in the folder.
TEST_F(DocfileTest, AKilledCreatorLeavesNoneOrAll) {
    const int unnamed = open(folder_.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600);
    const bool leavesNothing = unnamed >= 0;
    close(unnamed);
    std::mt19937 random(9);
    unsigned complete = 0;
    // Follows the time that a creation takes here and now, which is mostly the disk's.
    unsigned span = 2000;
    for (unsigned round = 0; round < 150; ++round) {
        fs::remove(path_);
        inChild(
            [&] {
                if (write(ready_, "", 1) != 1) {
                    _exit(1);
                }
                fill(30);
                for (;;) {
                    pause();
                }
            },
            std::chrono::microseconds(1 + random() % span));
        for (const auto& entry : fs::directory_iterator(folder_)) {
            EXPECT_TRUE(entry.path() == path_ || !leavesNothing) << entry.path();
        }
        span = fs::exists(path_) ? std::max(span - span / 8, 100U) : span + span / 8;
        if (fs::exists(path_)) {
            Tree tree;
            ASSERT_EQ(strictCheck(load(path_), tree), "") << round;
            ASSERT_EQ(tree.size(), 61U) << round;
            ++complete;
        }
    }
    EXPECT_GT(complete, 5U);
    EXPECT_LT(complete, 145U) << "some are killed before the file has its path";
}

// Two that create one file: the first to finish has it.
TEST_F(DocfileTest, TheLaterOfTwoCreatorsIsTold) {
    for (const std::uint32_t mode : {kCreateReadWrite, kShareExclusive | kReadWrite}) {
        fs::remove(path_);
        ComPtr<IStorage> later;
        ASSERT_EQ(stgCreateDocfile(path_, mode, later), com::kOk);
        fill(3);
        const Buffer first = load(path_);
        EXPECT_EQ(writeItem(*later.get(), 9, 9), com::kOk);
        EXPECT_EQ(later->flush(), kFileAlreadyExists);
        later.reset();
        EXPECT_EQ(load(path_), first);
        EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1);
    }
}

TEST_F(DocfileTest, LibgsfReadsEveryStreamThatWeWrote) {
    fill(60);
    {
        ComPtr<IStorage> root;
        ComPtr<IStream> stream;
        std::uint32_t transferred = 0;
        ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
        ASSERT_EQ(writeItem(*root.get(), 7, 777), com::kOk);
        ASSERT_EQ(root->createStream(u"large", kCreateWrite, stream), com::kOk);
        ASSERT_EQ(stream->write(pattern(70000, 5), transferred), com::kOk);
        for (unsigned number = 20; number < 50; ++number) {
            ASSERT_EQ(root->destroyElement(itemName(number)), com::kOk);
        }
    }
    Tree tree;
    ASSERT_EQ(strictCheck(load(path_), tree), "");
    std::size_t streams = 0;
    for (const auto& [path, bytes] : tree) {
        if (path.back() != u'/') {
            EXPECT_EQ(run("gsf cat file.mox " + toUtf8(path.substr(1))), std::string(bytes.begin(), bytes.end()));
            ++streams;
        }
    }
    EXPECT_EQ(streams, 31U);
}

TEST_F(DocfileTest, ReadsAndUpdatesWhatLibgsfWrote) {
    std::string files;
    Tree expected{{u"/", {}}};
    for (unsigned number = 1; number <= 40; ++number) {
        const std::string name = "f" + std::to_string(number);
        const Buffer bytes = pattern(number * 211, number);
        std::ofstream(folder_ / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        files += " " + name;
        expected[u"/" + toUtf16(name)] = bytes;
    }
    run("gsf createole file.mox" + files);
    Tree found;
    ComPtr<IStorage> root;
    ASSERT_EQ(stgOpenStorage(path_, kOpenReadWrite, root), com::kOk);
    ASSERT_EQ(readTree(*root.get(), found), com::kOk);
    EXPECT_TRUE(found == expected);
    ASSERT_EQ(root->destroyElement(u"f3"), com::kOk);
    ASSERT_EQ(root->destroyElement(u"f33"), com::kOk);
    ASSERT_EQ(writeItem(*root.get(), 345, 345), com::kOk);
    root.reset();
    expected.erase(u"/f3");
    expected.erase(u"/f33");
    expected[u"/00000345/"] = {};
    expected[u"/00000345/00000000"] = pattern(134, 345);
    found.clear();
    ASSERT_EQ(stgOpenStorage(path_, kOpenRead, root), com::kOk);
    ASSERT_EQ(readTree(*root.get(), found), com::kOk);
    EXPECT_TRUE(found == expected);
    const Buffer item = pattern(134, 345);
    EXPECT_EQ(run("gsf cat file.mox 00000345/00000000"), std::string(item.begin(), item.end()));
}

} // namespace
} // namespace storage::testing
