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

bool isCode(std::string_view text) {
    return text.size() == tessra::kSpcDigits && text.find_first_not_of("0123456789") == text.npos;
}

std::string readCode(const std::string& path) {
    errno = 0;
    std::ifstream file(path);
    // A longer line is none, however long.
    std::array<char, tessra::kSpcDigits + 3> line{};
    file.getline(line.data(), line.size());
    const int error = errno;
    if (!file.is_open() || file.bad() || error != 0) {
        throw BatchFailure(ExitStatus::kFile,
                           "Can't read " + quoted(path) + ": " + std::generic_category().message(error));
    }
    std::string_view code(line.data());
    code.remove_suffix(code.ends_with('\r') ? 1 : 0);
    if (file.fail() || !isCode(code)) {
        throw BatchFailure(ExitStatus::kFile, quoted(path) + " does not begin with a line of six digits, the service "
                                                             "programming code. Nothing was written.");
    }
    return std::string(code);
}

} // namespace

std::string accessCodeOf(const Arguments& arguments) {
    if (arguments.accessCode.empty() && !arguments.accessCodePath.empty()) {
        return readCode(arguments.accessCodePath);
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    const char* const inEnvironment = std::getenv("CALVANE_SPC");
    const bool isArgument = !arguments.accessCode.empty();
    const std::string code = isArgument ? arguments.accessCode : inEnvironment == nullptr ? "" : inEnvironment;
    if (!code.empty() && !isCode(code)) {
        // The text itself is not told: it may be a code with a slip of the finger.
        throw BatchFailure(ExitStatus::kWrongUsage, std::string(isArgument ? "--spc" : "CALVANE_SPC") +
                                                        ": a service programming code has six digits.");
    }
    return code;
}
