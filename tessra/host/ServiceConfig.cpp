#include "tessra/host/ServiceConfig.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"
#include "tessra/simulator/ConfigTable.h"
#include "tessra/simulator/FaultKeys.h"

#include <algorithm>
#include <system_error>

namespace tessra {
namespace {

struct ModeName {
    std::string_view name;
    PhoneMode mode;
};
constexpr ModeName kModeNames[] = {
    {"online", PhoneMode::kOnline},
    {"offline", PhoneMode::kOffline},
    {"download", PhoneMode::kDownload},
    {"stream_download", PhoneMode::kStreamDownload},
};

// "COM7" has the number 7; 0 for a name that is not of this form.
std::uint16_t numberOf(std::string_view name) {
    const auto number = name.starts_with("COM") ? kernel::wholeNumber<std::uint16_t>(name.substr(3)) : std::nullopt;
    return number.value_or(0);
}

void readPhone(ConfigTable& table, PhoneSetup& phone) {
    table.phoneText("model", kModelField.size, phone.model);
    table.phoneText("software_version", kSoftwareVersionField.size, phone.softwareVersion);
    table.phoneText("serial", kSerialNumberField.size, phone.serialNumber);
    if (const auto spc = table.text("spc")) {
        if (spc->size() != kSpcDigits || spc->find_first_not_of("0123456789") != std::string::npos) {
            table.fail("'spc' must be six digits", "spc");
        }
        phone.spc = *spc;
    }
    if (const auto name = table.text("mode")) {
        const auto row = std::find_if(std::begin(kModeNames), std::end(kModeNames),
                                      [&](const ModeName& each) { return each.name == *name; });
        if (row == std::end(kModeNames)) {
            table.fail("'mode' must be \"online\", \"offline\", \"download\" or \"stream_download\"", "mode");
        }
        phone.mode = row->mode;
    }
    phone.leaveAfterMs = static_cast<std::int32_t>(table.integer("leave_after_ms", -1, kMaxConfigMs).value_or(0));
    phone.awayMs = static_cast<std::int32_t>(table.integer("away_ms", -1, kMaxConfigMs).value_or(phone.awayMs));
}

// A speed that no line has is the line's own failure, which clients get to know when they use it.
void readLine(ConfigTable& table, LineSetup& line) {
    line.device = table.path("device");
    if (line.device.empty()) {
        table.fail("a serial port needs its 'device'");
    }
    if (const auto baud = table.integer("baud", 1, 0xFFFFFFFF)) {
        line.baud = static_cast<std::uint32_t>(*baud);
    }
}

PortConfig readPort(ConfigTable& table) {
    PortConfig port;
    port.name = table.text("name").value_or("");
    if (port.name.empty()) {
        table.fail("a port needs its 'name'");
    }
    const auto number = table.integer("number", 1, 0xFFFF);
    port.number = number ? static_cast<std::uint16_t>(*number) : numberOf(port.name);
    if (port.number == 0) {
        table.fail("the port '" + port.name + "' needs a 'number', as its name is not COM and a number", "name");
    }
    const std::string kind = table.text("kind").value_or(table.has("device") ? "serial" : "simulated");
    if (kind == "serial") {
        readLine(table, port.line);
    } else if (kind == "simulated") {
        port.memory = table.path("memory");
        port.initial = table.path("initial");
        readPhone(table, port.phone);
    } else {
        table.fail("'kind' must be \"simulated\" or \"serial\"", "kind");
    }
    port.present = table.flag("present", true);
    port.faults = readFaults(table, FaultScope::kPort);
    return port;
}

void refuseDoubles(const ConfigTable& table, const std::vector<PortConfig>& ports, const PortConfig& port) {
    for (const PortConfig& other : ports) {
        if (other.name == port.name) {
            table.fail("there are two ports '" + port.name + "'");
        }
        if (other.number == port.number) {
            table.fail("the ports '" + other.name + "' and '" + port.name + "' have the same number");
        }
        if (!port.memory.empty() && other.memory.lexically_normal() == port.memory.lexically_normal()) {
            table.fail("the ports '" + other.name + "' and '" + port.name + "' have the same memory file");
        }
        if (!port.line.device.empty() && other.line.device.lexically_normal() == port.line.device.lexically_normal()) {
            table.fail("the ports '" + other.name + "' and '" + port.name + "' have the same device");
        }
    }
}

// A hand-written file of ports stays far below these. The parser's work on a name of many parts is recursive, so lines
// without bounds could exhaust the stack.
constexpr std::size_t kMaxFileBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxLineBytes = 4096;

void refuseLongLines(const std::filesystem::path& file, std::string_view text) {
    for (std::size_t line = 1; !text.empty(); ++line) {
        const std::size_t length = std::min(text.find('\n'), text.size());
        if (length > kMaxLineBytes) {
            throw ConfigError(file, line, "the line is longer than " + std::to_string(kMaxLineBytes) + " characters");
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
}

toml::table parse(const std::filesystem::path& file) {
    std::string text;
    if (const int error = kernel::readRegularFile(file, kMaxFileBytes, text); error != 0) {
        throw ConfigError(file, 0, "can't be read: " + std::generic_category().message(error));
    }
    refuseLongLines(file, text);
    try {
        return toml::parse(text, file.string());
    } catch (const toml::parse_error& error) {
        throw ConfigError(file, error.source().begin.line, std::string(error.description()));
    }
}

} // namespace

ServiceConfig loadServiceConfig(const std::filesystem::path& file) {
    const toml::table parsed = parse(file);
    ServiceConfig config;
    ConfigTable table(file, parsed, "the file");
    config.taskWindow = table.flag("task_window", true);
    table.tables("port", [&](ConfigTable& portTable) {
        PortConfig port = readPort(portTable);
        refuseDoubles(portTable, config.ports, port);
        config.ports.push_back(std::move(port));
    });
    config.faults = readFaults(table, FaultScope::kService);
    table.refuseUnknownKeys();
    return config;
}

} // namespace tessra
