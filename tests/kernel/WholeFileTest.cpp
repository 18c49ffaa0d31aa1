// Files written as a whole, where that goes well and where it does not.

#include "platform/kernel/WholeFile.h"

#include "platform/kernel/SignalHold.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

class WholeFile : public testing::Test {
protected:
    WholeFile() {
        fs::create_directories(folder / "sub");
        fs::current_path(folder.path);
    }
    ~WholeFile() override { fs::current_path("/"); }

    static struct stat statusOf(const fs::path& path) {
        struct stat status {};
        ::stat(path.c_str(), &status);
        return status;
    }
    std::set<fs::path> files() const { return {fs::recursive_directory_iterator(folder.path), {}}; }

    const TemporaryFolder folder;
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
        {"an older and longer one", [] { writeText("old", "an older and longer text"); }, "old", "old"},
        {"the longest name", [] {}, longest, longest},
        {"access rights", [] { ::chmod("old", 0604); }, "old", "old"},
        {"owner and group", [] { (void)!::chown("old", 1, 2); }, "old", "old"},
        {"another name of it", [] { fs::create_hard_link("old", "other"); }, "other", "old"},
        {"a link", [] { fs::create_symlink("sub/file", "link"), writeText("sub/file", "x"); }, "link", "sub/file"},
        {"a chain of links", [] { fs::create_symlink("../link", "sub/chain"); }, "sub/chain", "sub/file"},
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
        EXPECT_EQ(readText(row.file), row.what);
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
    fs::create_symlink("round", "round");
    const struct {
        std::string path;
        int error;
    } rows[] = {{"no/such", ENOENT}, {"sub", EISDIR}, {"round", ELOOP}};
    const auto before = files();
    for (const auto& row : rows) {
        EXPECT_EQ(kernel::writeWholeFile(row.path, "y").openError, row.error) << row.path;
    }
    EXPECT_EQ(files(), before);
    EXPECT_EQ(kernel::writeWholeFile("/dev/full", "y").writeError, ENOSPC) << "a device is written in place";
}

TEST_F(WholeFile, IsWrittenInPlaceWhereItCannotBeExchanged) {
    for (const char* name : {"someone's", "sub/fixed"}) {
        writeText(name, "a text of before");
        ::chmod(name, 0666);
    }
    ::chmod(folder.path.c_str(), 0777);
    ::chmod("sub", 0555);
    const int failed = inChild([] {
        // The superuser may do all of this.
        EXPECT_TRUE(::geteuid() != 0 || (::setgid(65534) == 0 && ::setuid(65534) == 0));
        for (const char* name : {"someone's", "sub/fixed"}) {
            const struct stat old = statusOf(name);
            EXPECT_TRUE(kernel::writeWholeFile(name, "new").succeeded()) << name;
            EXPECT_EQ(readText(name), "new");
            EXPECT_EQ(statusOf(name).st_uid, old.st_uid) << name;
        }
        writeText("protected", "x");
        ::chmod("protected", 0444);
        EXPECT_EQ(kernel::writeWholeFile("protected", "new").openError, EACCES) << "although it is ours";
        EXPECT_EQ(kernel::writeWholeFile("sub/new", "new").openError, EACCES);
        return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(failed, 0);
    ::chmod("sub", 0755);
}

TEST_F(WholeFile, IsLeftAsItWasWhereThereIsNoRoom) {
    writeText("old", "old");
    writeText("shared", "shared");
    fs::create_hard_link("shared", "other");
    const auto before = files();
    for (const char* name : {"old", "other", "new"}) {
        const FileSizeLimit small(1 << 20);
        EXPECT_EQ(kernel::writeWholeFile(name, std::string(2 << 20, 'x')).writeError, EFBIG) << name;
    }
    EXPECT_EQ(files(), before);
    EXPECT_EQ(readText("old") + readText("shared"), "oldshared");
}

TEST_F(WholeFile, ASignalWaitsForTheEndOfTheLastHold) {
    const struct {
        const char* what;
        int signal;
        void (*before)(int);
        int end;
    } rows[] = {
        {"interrupt", SIGINT, SIG_DFL, SIGINT},
        {"termination", SIGTERM, SIG_DFL, SIGTERM},
        {"hang-up", SIGHUP, SIG_DFL, SIGHUP},
        {"ignored", SIGHUP, SIG_IGN, 0},
        {"handled by the program", SIGTERM, [](int) {}, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        fs::remove("after");
        const int end = inChild([&] {
            (void)std::signal(row.signal, row.before);
            {
                const kernel::SignalHold outer;
                {
                    const kernel::SignalHold inner;
                    (void)std::raise(row.signal);
                }
                writeText("after", "x");
            }
            writeText("later", "x");
            return 0;
        });
        EXPECT_EQ(end, -row.end);
        EXPECT_TRUE(fs::exists("after"));
        EXPECT_EQ(fs::remove("later"), row.end == 0) << "it is raised as soon as it may";
    }
    const auto isRaisedAfterAHold = [] {
        { const kernel::SignalHold past; }
        return std::raise(SIGTERM);
    };
    EXPECT_EQ(inChild(isRaisedAfterAHold), -SIGTERM) << "no hold, no waiting";
}

TEST_F(WholeFile, ASignalFindsAFileOfSeveralNamesWhole) {
    const std::string old(1000, 'o');
    const std::string content(64 << 20, 'n');
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        writeText("shared", old);
        if (!fs::exists("other")) {
            fs::create_hard_link("shared", "other");
        }
        const auto before = files();
        const pid_t child = ::fork();
        if (child == 0) {
            kernel::WholeFileOptions options;
            options.toDisk = false;
            (void)kernel::writeWholeFile("shared", content, options);
            ::_exit(0);
        }
        const struct timespec unwritten = statusOf("shared").st_mtim;
        int status = 0;
        while (statusOf("shared").st_size == 1000 && statusOf("shared").st_mtim.tv_nsec == unwritten.tv_nsec &&
               ::waitpid(child, &status, WNOHANG) == 0) {
        }
        ::kill(child, signal);
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << "the signal came too late to tell anything";
        EXPECT_TRUE(readText("other") == content) << signal;
        EXPECT_EQ(files(), before);
    }
}

} // namespace
