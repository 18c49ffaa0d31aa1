#include "cli/CommandText.h"

#include "cli/ShownStream.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"
#include "platform/kernel/WholeFile.h"
#include "workbench/MessageText.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <set>
#include <system_error>

namespace {

/// 65,536 items of 128 sub-fields each stay below this as JSON.
constexpr std::size_t kMaxInputBytes = std::size_t{1} << 30;

} // namespace

std::string quoted(const std::string& name) {
    return "'" + workbench::shownText(name) + "'";
}

void flushOutput() {
    std::cout.flush();
    if (!std::cout) {
        throw BatchFailure(ExitStatus::kFile, "Can't write to standard output.");
    }
}

std::string inputName(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

std::string readInput(const std::string& path) {
    std::string text;
    if (const int error = kernel::readInput(path, kMaxInputBytes, text); error != 0) {
        throw BatchFailure(ExitStatus::kFile,
                           "Can't read " + quoted(inputName(path)) + ": " + std::generic_category().message(error));
    }
    return text;
}

void writeOutput(const std::filesystem::path& path, const std::string& content) {
    int error = 0;
    if (path == "-") {
        const bool written = std::fwrite(content.data(), 1, content.size(), stdout) == content.size();
        error = written && std::fflush(stdout) == 0 ? 0 : errno;
    } else {
        error = kernel::writeWholeFile(path, content).error();
    }
    if (error != 0) {
        throw BatchFailure(ExitStatus::kFile, "Can't write " +
                                                  (path == "-" ? "'standard output'" : quoted(path.string())) + ": " +
                                                  std::generic_category().message(error));
    }
}

std::vector<std::uint16_t> missingNumbers(const std::vector<std::uint16_t>& wanted,
                                          const std::vector<std::uint16_t>& found) {
    const std::set<std::uint16_t> present(found.begin(), found.end());
    std::vector<std::uint16_t> missing;
    std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(missing),
                 [&present](std::uint16_t number) { return !present.contains(number); });
    return missing;
}

void tellFailure(const std::string& text) {
    const std::string shown = workbench::shownMessage(text);
    std::string line;
    for (std::string_view rest = shown; !rest.empty();) {
        const std::string_view next = rest.substr(0, rest.find('\n'));
        const bool isIndented = next.starts_with('\t');
        const std::string_view words = kernel::trimmed(next);
        if (!line.empty() && !words.empty()) {
            const bool isEnded = std::string_view(".:;,").find(line.back()) != std::string_view::npos;
            line += isEnded ? " " : isIndented ? ", " : ". ";
        }
        line += words;
        rest.remove_prefix(std::min(next.size() + 1, rest.size()));
    }
    std::cerr << Colour::kFailure << "calvane-batch: " + line + "\n" << Colour::kPlain;
}

ExitStatus report(const std::exception& failure, const std::string& port) {
    const auto* known = dynamic_cast<const BatchFailure*>(&failure);
    const ExitStatus status = known == nullptr ? ExitStatus::kOtherFailure : known->status();
    const bool isOfPort = status == ExitStatus::kNoPhone || status == ExitStatus::kRefused;
    const std::string message = kernel::messageOf(failure);
    tellFailure((isOfPort && message.find(port) == std::string::npos ? port + ": " : "") + message);
    return status;
}
