#include "app/ConfigurationFile.h"

#include "platform/kernel/RegularFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

/// A name longer than this is no port's; the rest of such a line is not read.
constexpr std::size_t kLongestLineBytes = 4096;
/// Rests of longer names may follow the first line; a file of more bytes was made for something else.
constexpr std::size_t kLongestPortFileBytes = 256;

class OpenFile {
public:
    OpenFile(const std::filesystem::path& path, int flags) : descriptor_(open(path.c_str(), flags | O_CLOEXEC, 0666)) {
        if (descriptor_ < 0)
            fail(path);
    }
    ~OpenFile() { close(descriptor_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int descriptor() const { return descriptor_; }
    [[noreturn]] static void fail(const std::filesystem::path& path) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }

private:
    const int descriptor_;
};

std::string firstLine(const std::filesystem::path& path, int flags) {
    const OpenFile file(path, flags);
    std::string text(kLongestLineBytes, '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t got = read(file.descriptor(), text.data() + length, text.size() - length);
        if (got < 0 && errno != EINTR)
            OpenFile::fail(path);
        if (got == 0)
            break;
        length += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    if (length == 0)
        return kDefaultComPort;
    text.resize(length);
    return text.substr(0, text.find_first_of("\r\n"));
}

} // namespace

bool looksLikePortFile(const std::filesystem::path& path) {
    std::string text;
    if (const int error = kernel::readRegularFile(path, kLongestPortFileBytes, text)) {
        if (error == EFBIG)
            return false;
        throw std::system_error(error, std::generic_category(), path.string());
    }
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return (c >= ' ' && c <= '~') || c == '\r' || c == '\n' || c == '\t'; });
}

std::string readConfiguredComPort(const std::filesystem::path& path) {
    return firstLine(path, O_RDWR | O_CREAT);
}

std::string readComPortOf(const std::filesystem::path& path) {
    return firstLine(path, O_RDONLY);
}

void writeConfiguredComPort(const std::filesystem::path& path, const std::string& comPort) {
    const OpenFile file(path, O_RDWR | O_CREAT);
    const std::string line = comPort + "\n";
    std::size_t written = 0;
    while (written < line.size()) {
        const ssize_t put = write(file.descriptor(), line.data() + written, line.size() - written);
        if (put < 0 && errno != EINTR)
            OpenFile::fail(path);
        written += put > 0 ? static_cast<std::size_t>(put) : 0;
    }
}
