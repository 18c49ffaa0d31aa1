#include "cli/FileUses.h"

#include "platform/kernel/WholeFile.h"
#include "tessra/host/ServiceConfig.h"
#include "workbench/record/HistorySettings.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Verb = Arguments::Verb;

/// Which file it is: device, inode, and below a folder the name of a file that is not there yet.
using Identity = std::tuple<dev_t, ino_t, std::string>;

constexpr std::pair<int, const char*> kStreams[] = {{STDOUT_FILENO, "Standard output"},
                                                    {STDERR_FILENO, "Standard error"}};

struct FileUse {
    std::string what; ///< such as "--json 'p.mox'" or "the decoder ring"
    std::optional<Identity> identity;
    bool isDevice = false;   ///< or a pipe: it may be written to twice, and read once
    bool isStandard = false; ///< standard input or output, named "-"
};

FileUse useOf(const std::string& what, const std::filesystem::path& path) {
    struct stat status {};
    if (path.empty() || path == "-") {
        return {what, std::nullopt};
    }
    if (::stat(path.c_str(), &status) == 0) {
        return {what, Identity(status.st_dev, status.st_ino, ""), !S_ISREG(status.st_mode)};
    }
    const std::filesystem::path end = kernel::endOfLinks(path);
    const std::filesystem::path folder = end.has_parent_path() ? end.parent_path() : ".";
    if (::stat(folder.c_str(), &status) != 0) {
        return {what, std::nullopt};
    }
    return {what, Identity(status.st_dev, status.st_ino, end.filename())};
}

/// An input that may be standard input.
FileUse streamUse(const std::string& what, const std::string& path) {
    struct stat status {};
    if (path != "-" || ::fstat(STDIN_FILENO, &status) != 0) {
        return useOf(what, path);
    }
    return {what, Identity(status.st_dev, status.st_ino, ""), !S_ISREG(status.st_mode), true};
}

/// Whether a run with a phone is recorded in a file that is named.
bool isRecording(const Arguments& arguments) {
    constexpr std::array kVerbs{Verb::kRead, Verb::kSet, Verb::kWrite, Verb::kDiff, Verb::kCheck};
    return std::ranges::find(kVerbs, arguments.verb) != kVerbs.end() && arguments.historyPlace != "none" &&
           !record::isUrl(arguments.historyPlace);
}

std::vector<FileUse> namedInputs(const Arguments& arguments) {
    return {
        useOf("the decoder ring", arguments.ringPath),
        useOf("the file of the service's ports", arguments.servicePath),
        useOf("the file of the service programming code", arguments.accessCodePath),
        streamUse("the command's input", arguments.inputPath),
        streamUse("the left side", arguments.sides[0].isPort ? "" : arguments.sides[0].name),
        streamUse("the right side", arguments.sides[1].isPort ? "" : arguments.sides[1].name),
        useOf("the file of units", arguments.unitsPath),
        useOf("the list of items", arguments.listPath),
        useOf("the read to go on with", arguments.resumePath == arguments.jsonPath ? "" : arguments.resumePath),
        useOf("the calibration file", arguments.verb == Verb::kRead ? "" : arguments.moxPath),
        useOf("the record", isRecording(arguments) ? "" : arguments.historyPlace),
    };
}

std::vector<FileUse> inputsOf(const Arguments& arguments, const tessra::ServiceConfig& service) {
    auto inputs = namedInputs(arguments);
    for (const tessra::PortConfig& port : service.ports) {
        inputs.push_back(useOf("the device of " + port.name, port.line.device));
        inputs.push_back(useOf("the memory of the phone on " + port.name, port.memory));
        if (!port.memory.empty()) {
            inputs.push_back(useOf("the lock of that memory", port.memory.string() + ".lock"));
        }
        inputs.push_back(useOf("the initial memory of the phone on " + port.name, port.initial));
    }
    return inputs;
}

/// Whether items, differences or ports go to standard output because no file is named for them. With the report there,
/// they stand in it.
bool printsResults(const Arguments& arguments) {
    constexpr std::array kVerbs{Verb::kRead, Verb::kDiff, Verb::kCheck, Verb::kPorts};
    return std::ranges::find(kVerbs, arguments.verb) != kVerbs.end() && !arguments.namesOnly &&
           arguments.jsonPath.empty() && arguments.textPath.empty() && arguments.reportPath != "-" &&
           (arguments.verb != Verb::kRead || arguments.moxPath.empty());
}

std::vector<FileUse> outputsOf(const Arguments& arguments) {
    const auto named = [](const std::string& option, const std::string& path) {
        FileUse use = useOf(option + " '" + path + "'", path);
        use.isStandard = path == "-";
        return use;
    };
    return {named("--text", arguments.textPath),
            named("--json", arguments.jsonPath),
            named("--mox", arguments.verb == Verb::kRead ? arguments.moxPath : ""),
            named("--report", arguments.reportPath),
            named("--log", arguments.logPath),
            named("--trace", arguments.tracePath),
            named("--history", isRecording(arguments) ? arguments.historyPlace : ""),
            named("the file", arguments.history.outputPath),
            {"What is printed", std::nullopt, false, printsResults(arguments)},
            {"--hex", std::nullopt, false, arguments.hex},
            {"--changed-only-names", std::nullopt, false, arguments.namesOnly}};
}

[[noreturn]] void refuse(const std::string& output, const std::string& other) {
    throw BatchFailure(ExitStatus::kWrongUsage, output + " is " + other + ". Nothing was done.");
}

void refuseTwoReaders(const std::vector<FileUse>& inputs) {
    for (auto left = inputs.begin(); left != inputs.end(); ++left) {
        for (auto right = inputs.begin(); right != left; ++right) {
            const bool isOnce = left->isDevice || (left->isStandard && right->isStandard);
            if (left->identity && isOnce && left->identity == right->identity) {
                refuse(left->what, right->what + " as well, which can be read once");
            }
        }
    }
}

/// The ports as far as they can be known; why not, is told by whoever needs them.
tessra::ServiceConfig portsOf(const Arguments& arguments) {
    tessra::ServiceConfig config;
    if (!arguments.devicePath.empty()) {
        config.ports.emplace_back().line.device = arguments.devicePath;
        return config;
    }
    try {
        return tessra::loadServiceConfig(arguments.servicePath);
    } catch (const tessra::ConfigError&) {
        return {};
    }
}

} // namespace

void refuseFilesOfTwoUses(const std::vector<Arguments>& ports) {
    for (const Arguments& port : ports) {
        refuseFilesOfTwoUses(port);
    }
    for (auto left = ports.begin(); left != ports.end(); ++left) {
        for (auto right = ports.begin(); right != ports.end(); ++right) {
            Arguments other = *right;
            other.logPath.clear(); // the lines of all ports may stand in one
            other.historyPlace.clear();
            auto uses = outputsOf(other);
            std::ranges::move(namedInputs(*right), std::back_inserter(uses));
            for (const FileUse& output : left == right ? std::vector<FileUse>() : outputsOf(*left)) {
                for (const FileUse& use : uses) {
                    if (output.identity && !output.isDevice && output.identity == use.identity) {
                        refuse(output.what + " of " + left->comPort, use.what + " of " + right->comPort);
                    }
                }
            }
        }
    }
}

void refuseFilesOfTwoUses(const Arguments& arguments) {
    auto outputs = outputsOf(arguments);
    const auto named = static_cast<std::ptrdiff_t>(outputs.size());
    for (const auto& [descriptor, what] : kStreams) {
        struct stat status {};
        if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
            outputs.push_back({what, Identity(status.st_dev, status.st_ino, "")});
        }
    }
    for (auto left = outputs.begin(); left != outputs.end(); ++left) {
        // Both streams may go to one file.
        for (auto right = outputs.begin(); right != left && right != outputs.begin() + named; ++right) {
            if (left->identity && !left->isDevice && left->identity == right->identity) {
                refuse(left->what, "the file of " + right->what);
            }
            if (left->isStandard && right->isStandard) {
                refuse(left->what, "standard output, as " + right->what + " is");
            }
        }
    }
    refuseTwoReaders(namedInputs(arguments));
    for (const FileUse& input : inputsOf(arguments, portsOf(arguments))) {
        for (const FileUse& output : outputs) {
            if (output.identity && output.identity == input.identity) {
                refuse(output.what, input.what + ", which is read");
            }
        }
    }
}
