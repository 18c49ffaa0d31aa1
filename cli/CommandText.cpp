#include "cli/CommandText.h"

#include "cli/FailureLog.h"
#include "cli/ShownStream.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/PendingWrite.h"
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
#include <utility>

namespace {

/// 65,536 items of 128 sub-fields each stay below this as JSON.
constexpr std::size_t kMaxInputBytes = std::size_t{1} << 30;

} // namespace

std::string quoted(const std::string& name) {
    return "'" + workbench::shownText(name) + "'";
}

void flushOutput() {
    static bool isTold = false;
    std::cout.flush();
    if (!std::cout && !std::exchange(isTold, true)) {
        throw BatchFailure(ExitStatus::kFile, "Can't write to standard output: " + outputProblem(errno));
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
        const kernel::PendingWrite pending;
        const bool written = std::fwrite(content.data(), 1, content.size(), stdout) == content.size();
        error = written && std::fflush(stdout) == 0 ? 0 : errno;
    } else {
        error = kernel::writeWholeFile(path, content).error();
    }
    if (error != 0) {
        throw BatchFailure(ExitStatus::kFile, "Can't write " +
                                                  (path == "-" ? "'standard output'" : quoted(path.string())) + ": " +
                                                  outputProblem(error));
    }
}

std::string outputProblem(int error) {
    return error == ENXIO ? "nobody reads it" : std::generic_category().message(error);
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

ExitStatus statusOf(const std::exception& failure) {
    const auto* known = dynamic_cast<const BatchFailure*>(&failure);
    return known == nullptr ? ExitStatus::kOtherFailure : known->status();
}

std::string withPlace(const std::string& message) {
    const std::string place = FailureLog::takeFirst();
    return place.empty() || message.find(place) != std::string::npos ? message : message + " (" + place + ")";
}

std::string textOf(const std::exception& failure, const std::string& port) {
    const ExitStatus status = statusOf(failure);
    const bool isOfPort = status == ExitStatus::kNoPhone || status == ExitStatus::kRefused;
    const std::string message = kernel::messageOf(failure);
    if (isOfPort && message.find(port) == std::string::npos) {
        return port + ": " + message;
    }
    return status == ExitStatus::kFile ? withPlace(message) : message;
}

ExitStatus report(const std::exception& failure, const std::string& port) {
    tellFailure(textOf(failure, port));
    return statusOf(failure);
}
