#include "cli/OutputFile.h"

#include "platform/kernel/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

void writeOutput(const std::filesystem::path& path, const std::string& content) {
    int error = 0;
    if (path == "-") {
        const bool written = std::fwrite(content.data(), 1, content.size(), stdout) == content.size();
        error = written && std::fflush(stdout) == 0 ? 0 : errno;
    } else {
        const auto result = kernel::writeWholeFile(path, content);
        error = result.openError != 0 ? result.openError : result.writeError;
    }
    if (error != 0) {
        throw std::runtime_error("Can't write '" + (path == "-" ? "standard output" : path.string()) +
                                 "': " + std::generic_category().message(error));
    }
}
