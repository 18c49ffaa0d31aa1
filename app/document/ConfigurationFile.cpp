#include "app/document/ConfigurationFile.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/WriteAll.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>

namespace {

constexpr std::size_t kLongestLineBytes = 4096;
constexpr std::size_t kLongestNameBytes = 64;
constexpr std::size_t kLongestPortFileBytes = kLongestNameBytes + 2; // with a carriage return and a line feed

[[noreturn]] void fail(const std::string& what, int error) {
    throw std::system_error(error, std::generic_category(), what);
}

/// A regular file, open. Anything else is refused before it can keep its reader waiting.
class OpenFile {
public:
    OpenFile(const std::filesystem::path& path, int flags)
        : path_(path.string()), descriptor_(open(path.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666)) {
        struct stat status {};
        if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
            closeAndFail(path_, errno);
        }
        if (S_ISDIR(status.st_mode)) {
            closeAndFail(path_, EISDIR);
        }
        if (!S_ISREG(status.st_mode)) {
            closeAndFail(path_ + ": it is no regular file", EINVAL);
        }
    }
    ~OpenFile() { close(descriptor_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// The beginning of the file, `maxBytes` of it at most.
    std::string readStart(std::size_t maxBytes) const {
        std::string text(maxBytes, '\0');
        std::size_t length = 0;
        while (length < maxBytes) {
            const ssize_t got = read(descriptor_, text.data() + length, maxBytes - length);
            if (got < 0 && errno != EINTR) {
                fail(path_, errno);
            }
            if (got == 0) {
                break;
            }
            length += got > 0 ? static_cast<std::size_t>(got) : 0;
        }
        text.resize(length);
        return text;
    }
    void writeStart(std::string_view text) const {
        if (const int error = kernel::writeAll(descriptor_, text); error != 0) {
            fail(path_, error);
        }
    }

private:
    [[noreturn]] void closeAndFail(const std::string& what, int error) const {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        fail(what, error);
    }

    const std::string path_;
    const int descriptor_;
};

std::string firstLineOf(const std::string& text) {
    return text.substr(0, text.find_first_of("\r\n"));
}

std::string portIn(const OpenFile& file) {
    const std::string text = file.readStart(kLongestLineBytes);
    return text.empty() ? kDefaultComPort : firstLineOf(text);
}

} // namespace

bool isPortName(std::string_view name) {
    return name.size() <= kLongestNameBytes &&
           std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string readConfiguredComPort(const std::filesystem::path& path) {
    return portIn(OpenFile(path, O_RDWR | O_CREAT));
}

std::string readComPortOf(const std::filesystem::path& path) {
    std::string name = portIn(OpenFile(path, O_RDONLY));
    if (!isPortName(name)) {
        throw std::runtime_error(path.string() + ": it does not start with the name of a port");
    }
    return name;
}

bool looksLikePortFile(const std::filesystem::path& path) {
    std::string text;
    if (const int error = kernel::readRegularFile(path, kLongestPortFileBytes, text)) {
        if (error == EFBIG) {
            return false;
        }
        fail(path.string(), error);
    }
    const std::string name = firstLineOf(text);
    return isPortName(name) && text.find_first_not_of("\r\n", name.size()) == std::string::npos;
}

void writeConfiguredComPort(const std::filesystem::path& path, const std::string& comPort) {
    OpenFile(path, O_RDWR | O_CREAT).writeStart(comPort + "\n");
}
