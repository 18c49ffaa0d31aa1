#include "cli/PortFiles.h"

#include "cli/CommandText.h"

#include <array>
#include <filesystem>
#include <set>
#include <string_view>

namespace {

using Path = std::string Arguments::*;

struct PathOption {
    const char* name;
    Path path;
};

constexpr std::array kOutputs{PathOption{"--text", &Arguments::textPath}, PathOption{"--json", &Arguments::jsonPath},
                              PathOption{"--report", &Arguments::reportPath},
                              PathOption{"--trace", &Arguments::tracePath}};
constexpr std::array kInputs{
    PathOption{"--from-json", &Arguments::inputPath}, PathOption{"--list", &Arguments::listPath},
    PathOption{"--spc-file", &Arguments::accessCodePath}, PathOption{"--resume", &Arguments::resumePath},
    PathOption{"--units", &Arguments::unitsPath}};
/// What verbs that read a phone write to, and others read.
constexpr PathOption kCalibrationFile{"--mox", &Arguments::moxPath};

constexpr std::string_view kMark = "{port}";

void replaceMarks(std::string& path, std::string port) {
    if (port.empty()) {
        return; // a dry run may have none
    }
    for (char& character : port) {
        character = character == '/' ? '_' : character;
    }
    for (std::size_t at = 0; (at = path.find(kMark, at)) != std::string::npos; at += port.size()) {
        path.replace(at, kMark.size(), port);
    }
}

void refuseOutput(const Arguments& arguments, const PathOption& option) {
    const std::string& path = arguments.*option.path;
    std::set<std::string> paths;
    for (const std::string& port : arguments.comPorts) {
        if (!path.empty() && !paths.insert(forPort(arguments, port).*option.path).second) {
            throw BatchFailure(ExitStatus::kWrongUsage, std::string(option.name) + " " + quoted(path) +
                                                            " would be written by several ports: put {port} into its "
                                                            "name. Nothing was done.");
        }
    }
}

void refuseInput(const Arguments& arguments, const PathOption& option) {
    for (const std::string& port : arguments.comPorts) {
        const std::string path = forPort(arguments, port).*option.path;
        std::error_code ignored; // what is not there is told when it is to be read
        const auto type = std::filesystem::status(path, ignored).type();
        if (path == "-" || type == std::filesystem::file_type::fifo || type == std::filesystem::file_type::character) {
            throw BatchFailure(ExitStatus::kWrongUsage, std::string(option.name) + " " + quoted(path) +
                                                            " can be read by one port alone. Nothing was done.");
        }
    }
}

} // namespace

Arguments forPort(Arguments arguments, const std::string& port) {
    for (const auto& option : kOutputs) {
        replaceMarks(arguments.*option.path, port);
    }
    for (const auto& option : kInputs) {
        replaceMarks(arguments.*option.path, port);
    }
    replaceMarks(arguments.moxPath, port);
    replaceMarks(arguments.logPath, port); // without the mark, the lines of all ports stand in one
    arguments.comPort = port;
    arguments.comPorts.clear();
    return arguments;
}

void refuseSharedFiles(const Arguments& arguments) {
    for (const auto& option : kOutputs) {
        refuseOutput(arguments, option);
    }
    for (const auto& option : kInputs) {
        refuseInput(arguments, option);
    }
    if (arguments.verb == Arguments::Verb::kRead) {
        refuseOutput(arguments, kCalibrationFile);
    } else {
        refuseInput(arguments, {"--from-mox", kCalibrationFile.path});
    }
}
