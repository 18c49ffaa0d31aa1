// Files written as a whole, where that goes well and where it does not.

#include "platform/kernel/WholeFile.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr int kCantArrange = 77;

class WholeFile : public testing::Test {
public:
    WholeFile() {
        fs::create_directories(folder / "sub");
        fs::current_path(folder);
    }
    ~WholeFile() override {
        fs::current_path("/");
        fs::remove_all(folder);
    }

protected:
    static void put(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
    static std::string contents(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static struct stat statusOf(const fs::path& path) {
        struct stat status {};
        ::stat(path.c_str(), &status);
        return status;
    }
    std::set<fs::path> files() const { return {fs::recursive_directory_iterator(folder), {}}; }

    /// Runs expectations where the process may be changed for good; kCantArrange if `work` answers false.
    static int inChild(const std::function<bool()>& work) {
        const pid_t child = ::fork();
        if (child == 0) {
            const bool arranged = work();
            ::_exit(!arranged ? kCantArrange : HasFailure() ? 1 : 0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const fs::path folder = fs::temp_directory_path() / ("calvane-whole-file-" + std::to_string(::getpid()));
};

TEST_F(WholeFile, StaysTheFileThatItWas) {
    const std::string longest(255, 'n');
    const mode_t before = ::umask(027);
    const struct {
        const char* what;
        std::function<void()> arrange;
        std::string path; ///< what is written to
        std::string file; ///< where the content has to be
    } rows[] = {
        {"a new file", [] {}, "new", "new"},
        {"a new file of the longest name", [] {}, longest, longest},
        {"an older and longer one", [] { put("old", "an older and longer text"); }, "old", "old"},
        {"the longest name", [] {}, longest, longest},
        {"access rights", [] { ::chmod("old", 0604); }, "old", "old"},
        {"owner and group", [] { (void)!::chown("old", 1, 2); }, "old", "old"},
        {"another name of it", [] { fs::create_hard_link("old", "other"); }, "other", "old"},
        {"a link", [] { fs::create_symlink("sub/file", "link"), put("sub/file", "x"); }, "link", "sub/file"},
        {"a chain of links", [] { fs::create_symlink("../link", "sub/chain"); }, "sub/chain", "sub/file"},
        {"a link to no file", [] { fs::remove("sub/file"); }, "link", "sub/file"},
        {"a chain to no file", [] { fs::remove("sub/file"); }, "sub/chain", "sub/file"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        row.arrange();
        auto expected = files();
        expected.insert(folder / row.file);
        const bool isNew = !fs::exists(row.file);
        const struct stat old = statusOf(row.file);
        const auto result = kernel::writeWholeFile(row.path, row.what);
        EXPECT_TRUE(result.succeeded()) << result.openError << ' ' << result.writeError;
        EXPECT_EQ(contents(row.file), row.what);
        EXPECT_EQ(files(), expected);
        const struct stat now = statusOf(row.file);
        EXPECT_EQ(now.st_mode, isNew ? S_IFREG | 0640 : old.st_mode);
        EXPECT_EQ(now.st_uid, isNew ? ::geteuid() : old.st_uid);
        EXPECT_EQ(now.st_gid, isNew ? ::getegid() : old.st_gid);
        EXPECT_EQ(now.st_nlink, isNew ? 1 : old.st_nlink);
        EXPECT_EQ(now.st_ino == old.st_ino, old.st_nlink > 1) << "in place only where it has several names";
    }
    EXPECT_TRUE(fs::is_symlink("link") && fs::is_symlink("sub/chain"));
    ::umask(before);
}

TEST_F(WholeFile, SaysWhatCannotBeOpened) {
    put("file", "x");
    fs::create_symlink("round", "round");
    const struct {
        std::string path;
        int error;
    } rows[] = {{"no/such", ENOENT}, {"sub", EISDIR},    {"file/x", ENOTDIR},
                {"round", ELOOP},    {"round/x", ELOOP}, {std::string(256, 'n'), ENAMETOOLONG}};
    const auto before = files();
    for (const auto& row : rows) {
        const auto result = kernel::writeWholeFile(row.path, "y");
        EXPECT_EQ(result.openError, row.error) << row.path;
        EXPECT_EQ(result.writeError, 0) << row.path;
    }
    EXPECT_EQ(files(), before);
    EXPECT_EQ(kernel::writeWholeFile("/dev/full", "y").writeError, ENOSPC) << "a device is written in place";
}

TEST_F(WholeFile, IsWrittenInPlaceWhereItCannotBeExchanged) {
    for (const char* name : {"someone's", "sub/fixed"}) {
        put(name, "a text of before");
        ::chmod(name, 0666);
    }
    ::chmod(folder.c_str(), 0777);
    ::chmod("sub", 0555);
    auto expected = files();
    expected.insert(folder / "protected");
    const int outcome = inChild([] {
        // The superuser may do all of this.
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
            return false;
        }
        for (const char* name : {"someone's", "sub/fixed"}) {
            const struct stat old = statusOf(name);
            EXPECT_TRUE(kernel::writeWholeFile(name, "new").succeeded()) << name;
            EXPECT_EQ(contents(name), "new");
            EXPECT_EQ(statusOf(name).st_uid, old.st_uid) << name;
        }
        put("protected", "x");
        ::chmod("protected", 0444);
        EXPECT_EQ(kernel::writeWholeFile("protected", "new").openError, EACCES) << "although it is ours";
        EXPECT_EQ(kernel::writeWholeFile("sub/new", "new").openError, EACCES);
        return true;
    });
    EXPECT_EQ(outcome, 0);
    EXPECT_EQ(files(), expected);
    ::chmod("sub", 0755);
}

TEST_F(WholeFile, IsLeftAsItWasByAFullDisk) {
    const int outcome = inChild([this] {
        // A small disk that only this process sees; who is not the superuser becomes one for it.
        const std::string user = std::to_string(::geteuid());
        const std::string group = std::to_string(::getegid());
        if (::unshare(CLONE_NEWNS) != 0) {
            if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
                return false;
            }
            put("/proc/self/setgroups", "deny");
            put("/proc/self/uid_map", user + " " + user + " 1");
            put("/proc/self/gid_map", group + " " + group + " 1");
        }
        if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("tmpfs", (folder / "sub").c_str(), "tmpfs", 0, "size=1m,nr_inodes=8") != 0) {
            return false;
        }
        fs::current_path(folder / "sub");
        put("old", "old");
        put("shared", "shared");
        fs::create_hard_link("shared", "other");
        const auto before = files();
        for (const char* name : {"old", "shared", "new"}) {
            EXPECT_EQ(kernel::writeWholeFile(name, std::string(2 << 20, 'x')).writeError, ENOSPC) << name;
        }
        EXPECT_EQ(files(), before);
        EXPECT_EQ(contents("old") + contents("other"), "oldshared");
        for (int i = 0; i < 8; ++i) {
            put("filler" + std::to_string(i), "");
        }
        for (const char* name : {"old", "another"}) {
            EXPECT_EQ(kernel::writeWholeFile(name, "x").openError, ENOSPC) << name << ": no room for a new file";
        }
        EXPECT_EQ(contents("old"), "old");
        EXPECT_TRUE(kernel::writeWholeFile("other", "x").succeeded()) << "in place there is room for a little";
        return true;
    });
    if (outcome == kCantArrange) {
        GTEST_SKIP() << "no disk of its own may be mounted here";
    }
    EXPECT_EQ(outcome, 0);
}

} // namespace
