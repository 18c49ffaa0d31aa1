#include "cli/AccessCode.h"

#include "cli/CommandText.h"
#include "tessra/Packet.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <system_error>

namespace {

std::string readCode(const std::string& path) {
    std::ifstream file(path);
    // A longer line is none, however long.
    std::array<char, tessra::kSpcDigits + 3> line{};
    errno = 0;
    file.getline(line.data(), line.size());
    const int error = errno;
    if (!file.is_open() || file.bad() || error != 0) {
        throw BatchFailure(ExitStatus::kFile,
                           "Can't read " + quoted(path) + ": " + std::generic_category().message(error));
    }
    std::string_view code(line.data());
    code.remove_suffix(code.ends_with('\r') ? 1 : 0);
    if (file.fail() || code.size() != tessra::kSpcDigits || code.find_first_not_of("0123456789") != code.npos) {
        throw BatchFailure(ExitStatus::kFile, quoted(path) + " does not begin with a line of six digits, the service "
                                                             "programming code. Nothing was written.");
    }
    return std::string(code);
}

} // namespace

std::string accessCodeOf(const Arguments& arguments) {
    if (!arguments.accessCode.empty()) {
        return arguments.accessCode;
    }
    if (!arguments.accessCodePath.empty()) {
        return readCode(arguments.accessCodePath);
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    const char* const code = std::getenv("CALVANE_SPC");
    return code == nullptr ? "" : code;
}
