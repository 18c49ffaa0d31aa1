#include "app/document/ConfigurationFile.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/WholeFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>

namespace {

constexpr std::size_t kLongestFileBytes = std::size_t{16} << 20;
constexpr std::size_t kLongestLineBytes = 4096;
constexpr std::size_t kLongestNameBytes = 64;

[[noreturn]] void fail(const std::string& what, int error) {
    throw std::system_error(error, std::generic_category(), what);
}

std::string contentOf(const std::filesystem::path& path) {
    std::string text;
    if (const int error = kernel::readRegularFile(path, kLongestFileBytes, text); error != 0) {
        fail(path.string() + (error == EINVAL ? ": it is no regular file" : ""), error);
    }
    return text;
}

void replaceContent(const std::filesystem::path& path, const std::string& content) {
    if (const int error = kernel::writeWholeFile(path, content).error(); error != 0) {
        fail(path.string(), error);
    }
}

/// The content of a file that is to be written later; makes the file if there is none.
std::string contentToUpdate(const std::filesystem::path& path) {
    if (!std::filesystem::exists(path)) {
        replaceContent(path, "");
    }
    std::string text = contentOf(path);
    if (::access(path.c_str(), W_OK) != 0) {
        fail(path.string(), errno);
    }
    return text;
}

std::size_t lineEndIn(const std::string& text) {
    return std::min(text.find_first_of("\r\n"), text.size());
}

std::string firstLineOf(const std::string& text) {
    return text.substr(0, std::min(lineEndIn(text), kLongestLineBytes));
}

std::string portIn(const std::string& text) {
    return text.empty() ? kDefaultComPort : firstLineOf(text);
}

bool isPortName(std::string_view name) {
    return name.size() <= kLongestNameBytes &&
           std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

bool holdsPortNameAlone(const std::string& text) {
    const std::string name = firstLineOf(text);
    const bool isAlone = text.find_first_not_of("\r\n", name.size()) == std::string::npos;
    return isPortName(name) && isAlone && text.size() <= kLongestNameBytes + 2; // a carriage return and a line feed
}

} // namespace

std::string readConfiguredComPort(const std::filesystem::path& path) {
    return portIn(contentToUpdate(path));
}

void writeConfiguredComPort(const std::filesystem::path& path, const std::string& comPort) {
    std::string text = contentToUpdate(path);
    if (lineEndIn(text) > kLongestLineBytes && comPort == portIn(text)) {
        return; // the line goes on behind what was taken of it
    }
    const std::string line = comPort + "\n";
    replaceContent(path, text.replace(0, line.size(), line));
}

std::string readComPortOf(const std::filesystem::path& path) {
    std::string name = portIn(contentOf(path));
    if (!isPortName(name)) {
        throw std::runtime_error(path.string() + ": it does not start with the name of a port");
    }
    return name;
}

void replaceComPortOf(const std::filesystem::path& path, const std::string& comPort) {
    try {
        if (!holdsPortNameAlone(contentOf(path))) {
            throw std::runtime_error(path.string() + " holds more than the name of a port, so it stays as it is.");
        }
        if (!isPortName(comPort)) {
            throw std::runtime_error("'" + comPort + "' can't be kept in a file: a port's name has at most 64 " +
                                     "characters, all printable ones of ASCII.");
        }
        replaceContent(path, comPort + "\n");
    } catch (const std::system_error& error) {
        throw std::runtime_error("Couldn't write " + path.string() + ": " + error.code().message());
    }
}
