#include "cli/OutputFile.h"

#include "platform/kernel/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace {

[[noreturn]] void fail(const std::string& name, int reason) {
    throw std::runtime_error("Can't write " + name + ": " + std::generic_category().message(reason));
}

} // namespace

void writeOutput(const std::filesystem::path& path, const std::string& content) {
    if (path == "-") {
        if (std::fwrite(content.data(), 1, content.size(), stdout) != content.size() || std::fflush(stdout) != 0) {
            fail("'standard output'", errno);
        }
        return;
    }
    const auto result = kernel::writeWholeFile(path, content);
    if (!result.succeeded()) {
        fail("'" + path.string() + "'", result.openError != 0 ? result.openError : result.writeError);
    }
}
