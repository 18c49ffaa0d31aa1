#include "platform/devices/DeviceSource.h"

#include "platform/kernel/FileDescriptor.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>

using namespace devices;
namespace fs = std::filesystem;

namespace {

// A pseudo-terminal, which stands for a serial device.
class Terminal {
public:
    Terminal() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_EQ(::grantpt(master_.number()) + ::unlockpt(master_.number()), 0);
        name = ::ptsname(master_.number());
    }
    fs::path name;

private:
    kernel::FileDescriptor master_;
};

// Who is not root can't see what programs of other users have open.
const std::string kFree = ::geteuid() == 0 ? "free; " : "free as far as can be seen; ";

class FolderOfDevices : public testing::Test {
protected:
    // "name: state" for each device, between semicolons.
    std::string listed() const {
        std::string all;
        for (const SerialDevice& device : source_->list()) {
            all += device.path.filename().string() + ": " + stateText(device) + "; ";
        }
        return all;
    }
    // Whether a change is told, or has been since the last call.
    bool isTold(int timeoutMs = 10000) const {
        pollfd file{source_->changes(), POLLIN, 0};
        const bool told = ::poll(&file, 1, timeoutMs) == 1;
        source_->takeChanges();
        return told;
    }

    const TemporaryFolder folder_;
    const Terminal terminal_;
    const std::unique_ptr<DeviceSource> source_ = makeFolderDevices(folder_.path);
};

TEST_F(FolderOfDevices, DevicesThatComeAndLeaveAreTold) {
    writeText(folder_ / "no device", "");
    fs::create_symlink("/dev/null", folder_ / "no line");
    EXPECT_TRUE(isTold());
    EXPECT_EQ(listed(), "");
    EXPECT_FALSE(isTold(0)) << "a list changes nothing";
    fs::create_symlink(terminal_.name, folder_ / "b");
    EXPECT_TRUE(isTold());
    fs::create_symlink("/nowhere", folder_ / "a");
    EXPECT_TRUE(isTold());
    EXPECT_EQ(listed(), "a: gone; b: " + kFree);
    fs::remove(folder_ / "b");
    EXPECT_TRUE(isTold());
    EXPECT_EQ(listed(), "a: gone; ");
}

TEST_F(FolderOfDevices, WhoUsesADeviceIsNamedAndToldAsItBeginsAndEnds) {
    fs::create_symlink(terminal_.name, folder_ / "a");
    EXPECT_EQ(listed(), "a: " + kFree);
    while (isTold(0)) {
    }
    for (const bool isLocked : {true, false}) { // a program that does not lock is found by its open files
        int toUser[2];
        ASSERT_EQ(::pipe2(toUser, O_CLOEXEC), 0);
        const pid_t user = ::fork();
        if (user == 0) {
            constexpr int kPipe = 3;
            ::dup2(toUser[0], kPipe);
            ::closefrom(kPipe + 1); // the test's own end of the terminal among them
            const int device = ::open(terminal_.name.c_str(), O_RDWR | O_NOCTTY);
            char end = 0;
            if (isLocked) {
                ::flock(device, LOCK_EX);
            }
            ::_exit(::read(kPipe, &end, 1) == 0 ? 0 : 1);
        }
        EXPECT_TRUE(isTold());
        const std::string state = "a: in use: calvane_devices (process " + std::to_string(user) + ") uses it; ";
        EXPECT_EQ(listed(), state) << isLocked;
        ::close(toUser[0]);
        ::close(toUser[1]);
        ::waitpid(user, nullptr, 0);
        EXPECT_TRUE(isTold());
        EXPECT_EQ(listed(), "a: " + kFree);
    }
}

TEST_F(FolderOfDevices, APermissionThatIsMissingNamesTheGroupThatHasIt) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a device away";
    }
    fs::create_symlink(terminal_.name, folder_ / "a");
    ASSERT_EQ(::chown(terminal_.name.c_str(), 0, 20), 0);
    const std::pair<mode_t, std::string> rows[] = {
        {0660, "a: no permission: only members of the group dialout may use it; "},
        {0640, "a: no permission: no group may use it, only its owner; "},
        {0666, "a: free as far as can be seen; "},
    };
    for (const auto& [mode, state] : rows) {
        ASSERT_EQ(::chmod(terminal_.name.c_str(), mode), 0);
        ASSERT_EQ(::chmod(folder_.path.c_str(), 0755), 0);
        EXPECT_EQ(inChild([this, expected = state] {
                      return ::setgid(65534) + ::setuid(65534) == 0 && listed() == expected ? 0 : 1;
                  }),
                  0)
            << state;
    }
}

TEST(SystemDevices, AreThoseWithHardwareBehindThem) {
    const auto source = makeDevices({});
    for (const SerialDevice& device : source->list()) {
        EXPECT_EQ(device.path.parent_path(), "/dev");
        EXPECT_FALSE(device.path.string().starts_with("/dev/tty0")) << "a console";
        EXPECT_NE(device.state, DeviceState::kGone);
    }
    pollfd file{source->changes(), POLLIN, 0};
    EXPECT_GE(::poll(&file, 1, 0), 0);
}

} // namespace
