#include "tessra/host/ServiceConfig.h"

#include "platform/kernel/Process.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"
#include "platform/kernel/TomlText.h"
#include "tessra/simulator/ConfigTable.h"
#include "tessra/simulator/FaultKeys.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unordered_map>

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

// A sample that is not beside the file is one that came with the program.
std::filesystem::path initialOf(ConfigTable& table, const std::filesystem::path& folder) {
    std::filesystem::path path = table.path("initial");
    std::error_code ignored;
    if (!path.empty() && path.parent_path() == folder && !std::filesystem::exists(path, ignored)) {
        std::filesystem::path shipped = kernel::programFolders().shipped / path.filename();
        return std::filesystem::exists(shipped, ignored) ? shipped : path;
    }
    return path;
}

PortConfig readPort(ConfigTable& table, const std::filesystem::path& folder) {
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
        port.initial = initialOf(table, folder);
        readPhone(table, port.phone);
    } else {
        table.fail("'kind' must be \"simulated\" or \"serial\"", "kind");
    }
    port.present = table.flag("present", true);
    port.faults = readFaults(table, FaultScope::kPort);
    return port;
}

// The ports so far, by all that no two of them may share.
class PortsByKey {
public:
    // Refuses a port that shares something with an earlier one.
    void add(const ConfigTable& table, const PortConfig& port) {
        if (!names_.emplace(port.name, port.name).second) {
            table.fail("there are two ports '" + port.name + "'");
        }
        require(table, numbers_, port.number, port, "number");
        if (!port.memory.empty()) {
            require(table, memories_, port.memory.lexically_normal().string(), port, "memory file");
        }
        if (!port.line.device.empty()) {
            require(table, devices_, port.line.device.lexically_normal().string(), port, "device");
        }
    }

private:
    template <class Key>
    using Names = std::unordered_map<Key, std::string>;

    template <class Key>
    static void require(const ConfigTable& table, Names<Key>& names, const Key& key, const PortConfig& port,
                        const std::string& what) {
        const auto [other, isNew] = names.emplace(key, port.name);
        if (!isNew) {
            table.fail("the ports '" + other->second + "' and '" + port.name + "' have the same " + what);
        }
    }

    Names<std::string> names_;
    Names<std::uint16_t> numbers_;
    Names<std::string> memories_;
    Names<std::string> devices_;
};

toml::table parse(const std::string& text, const std::filesystem::path& file) {
    if (const auto fault = kernel::findTomlFault(text)) {
        throw ConfigError(file, fault->line, fault->reason);
    }
    try {
        return toml::parse(text, file.string());
    } catch (const toml::parse_error& error) {
        throw ConfigError(file, error.source().begin.line, std::string(error.description()));
    }
}

} // namespace

ServiceConfig loadServiceConfig(const std::filesystem::path& file) {
    std::string text;
    if (const int error = kernel::readRegularFile(file, kernel::kMaxTomlBytes, text); error != 0 && error != EFBIG) {
        throw ConfigError(file, 0, "can't be read: " + std::generic_category().message(error));
    }
    return parseServiceConfig(text, file);
}

ServiceConfig parseServiceConfig(const std::string& text, const std::filesystem::path& file) {
    const toml::table parsed = parse(text, file);
    ServiceConfig config;
    PortsByKey byKey;
    ConfigTable table(file, parsed, "the file");
    config.taskWindow = table.flag("task_window", true);
    table.tables("port", [&](ConfigTable& portTable) {
        PortConfig port = readPort(portTable, file.parent_path());
        byKey.add(portTable, port);
        config.ports.push_back(std::move(port));
    });
    config.faults = readFaults(table, FaultScope::kService);
    table.refuseUnknownKeys();
    return config;
}

} // namespace tessra
