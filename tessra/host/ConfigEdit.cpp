#include "tessra/host/ConfigEdit.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/TomlText.h"
#include "platform/kernel/WholeFile.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace tessra {
namespace {

std::string readText(const std::filesystem::path& file) {
    std::string text;
    const int error = kernel::readRegularFile(file, kernel::kMaxTomlBytes, text);
    if (error != 0 && error != ENOENT) {
        throw ConfigError(file, 0, "can't be read: " + std::generic_category().message(error));
    }
    return error == 0 ? text : std::string();
}

} // namespace

std::string freePortName(const ServiceConfig& config) {
    for (std::uint32_t number = 1; number <= 0xFFFF; ++number) {
        std::string name = "COM" + std::to_string(number);
        if (std::ranges::none_of(config.ports,
                                 [&](const PortConfig& port) { return port.number == number || port.name == name; })) {
            return name;
        }
    }
    throw std::runtime_error("there are too many ports");
}

const PortConfig* portOn(const ServiceConfig& config, const std::filesystem::path& device) {
    const auto realPath = [](const std::filesystem::path& path) {
        std::error_code error;
        auto real = std::filesystem::weakly_canonical(path, error);
        return error ? path : real;
    };
    const auto found = std::ranges::find_if(config.ports, [&](const PortConfig& port) {
        return !port.line.device.empty() && realPath(port.line.device) == realPath(device);
    });
    return found == config.ports.end() ? nullptr : &*found;
}

PortConfig addPortTo(const std::filesystem::path& file, const std::string& name, const LineSetup& line) {
    std::string text = readText(file);
    const std::string end = text.find("\r\n") == std::string::npos ? "\n" : "\r\n";
    text += text.empty() || text.ends_with('\n') ? "" : end;
    text += text.empty() ? "" : end;
    for (const std::string& added :
         {std::string("[[port]]"), "name = " + kernel::quotedToml(name),
          "device = " + kernel::quotedToml(line.device.string()), "baud = " + std::to_string(line.baud)}) {
        text += added + end;
    }
    const ServiceConfig config = parseServiceConfig(text, file);
    const auto port = std::ranges::find(config.ports, name, &PortConfig::name);
    if (port == config.ports.end() || port->line.device != line.device) {
        throw ConfigError(file, 0, "a port can't be added behind what stands in it"); // such as an open text
    }
    if (const auto written = kernel::writeWholeFile(file, text); !written.succeeded()) {
        throw ConfigError(file, 0, "can't be written: " + std::generic_category().message(written.error()));
    }
    return *port;
}

} // namespace tessra
