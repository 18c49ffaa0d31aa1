#include "tessra/ServiceConfig.h"

#include "platform/kernel/RegularFile.h"
#include "tessra/ConfigError.h"

#include <toml++/toml.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <string_view>
#include <system_error>

namespace tessra {
namespace {

constexpr std::int64_t kMaxMs = 24 * 3600 * 1000;

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

// Reads one table of the file key by key. Every failure is a ConfigError at its line; what has not been asked for when
// all keys were read is unknown.
class TableReader {
public:
    TableReader(const std::filesystem::path& file, const toml::table& table, std::string_view what)
        : file_(file), table_(table), what_(what) {}

    [[noreturn]] void fail(const std::string& reason, const toml::node* at = nullptr) const {
        const toml::node& place = at != nullptr ? *at : static_cast<const toml::node&>(table_);
        throw ConfigError(file_, place.source().begin.line, reason);
    }

    bool has(std::string_view key) const { return table_.contains(key); }

    const toml::node* find(std::string_view key) {
        asked_.insert(key);
        return table_.get(key);
    }

    std::optional<std::int64_t> integer(std::string_view key, std::int64_t min, std::int64_t max) {
        const toml::node* node = find(key);
        if (node == nullptr) {
            return std::nullopt;
        }
        const auto value = node->value_exact<std::int64_t>();
        if (!value || *value < min || *value > max) {
            fail("'" + std::string(key) + "' must be a whole number from " + std::to_string(min) + " to " +
                     std::to_string(max),
                 node);
        }
        return value;
    }

    bool flag(std::string_view key, bool otherwise) {
        const toml::node* node = find(key);
        if (node == nullptr) {
            return otherwise;
        }
        const auto value = node->value_exact<bool>();
        if (!value) {
            fail("'" + std::string(key) + "' must be true or false", node);
        }
        return *value;
    }

    std::optional<std::string> text(std::string_view key) {
        const toml::node* node = find(key);
        if (node == nullptr) {
            return std::nullopt;
        }
        auto value = node->value_exact<std::string>();
        if (!value || value->empty()) {
            fail("'" + std::string(key) + "' must be a text that is not empty", node);
        }
        return value;
    }

    // A text for a phone: printable ASCII of at most `maxBytes` characters.
    void phoneText(std::string_view key, std::size_t maxBytes, std::string& target) {
        const auto value = text(key);
        if (!value) {
            return;
        }
        if (value->size() > maxBytes || !std::all_of(value->begin(), value->end(), [](unsigned char character) {
                return character >= 0x20 && character < 0x7F;
            })) {
            fail("'" + std::string(key) + "' must be at most " + std::to_string(maxBytes) +
                     " printable ASCII characters",
                 find(key));
        }
        target = *value;
    }

    std::filesystem::path path(std::string_view key) {
        const auto value = text(key);
        return value ? file_.parent_path() / *value : std::filesystem::path();
    }

    // The tables of an array of tables ([[key]]).
    template <class Read>
    void tables(std::string_view key, Read read) {
        const toml::node* node = find(key);
        if (node == nullptr) {
            return;
        }
        const toml::array* array = node->as_array();
        if (array == nullptr || (!array->empty() && !array->is_homogeneous<toml::table>())) {
            fail("'" + std::string(key) + "' must be tables, each under [[" + std::string(key) + "]]", node);
        }
        for (const toml::node& element : *array) {
            read(TableReader(file_, *element.as_table(), key));
        }
    }

    void finish() const {
        for (const auto& [key, node] : table_) {
            if (!asked_.contains(key.str())) {
                throw ConfigError(file_, key.source().begin.line,
                                  "unknown key '" + std::string(key.str()) + "' in " + std::string(what_));
            }
        }
    }

private:
    const std::filesystem::path& file_;
    const toml::table& table_;
    std::string_view what_;
    std::set<std::string_view> asked_;
};

// Which calls a rule meets: the one numbered "on", those from "from" on, or all.
void readOccasion(TableReader& reader, FaultRule& rule) {
    constexpr std::int64_t kMaxCalls = 0xFFFFFFFF;
    const auto on = reader.integer("on", 1, kMaxCalls);
    const auto from = reader.integer("from", 1, kMaxCalls);
    if (on && from) {
        reader.fail("a fault has either 'on' or 'from'", reader.find("from"));
    }
    rule.firstCall = static_cast<std::uint32_t>(on.value_or(from.value_or(1)));
    rule.lastCall = on ? rule.firstCall : rule.lastCall;
}

void readKind(TableReader& reader, FaultRule& rule) {
    struct Numbered {
        std::string_view key;
        FaultKind kind;
        std::int64_t max;
    };
    struct Plain {
        std::string_view key;
        FaultKind kind;
    };
    constexpr Numbered kNumbered[] = {
        {"nv_status", FaultKind::kNvStatus, 0xFFFF},
        {"server_code", FaultKind::kServerCode, 0xFFFFFFFF},
        {"short_answer", FaultKind::kShortAnswer, kMaxPacketBytes},
    };
    constexpr Plain kPlain[] = {
        {"no_answer", FaultKind::kNoAnswer},     {"bad_response", FaultKind::kBadResponse},
        {"vanish", FaultKind::kVanish},          {"throw", FaultKind::kThrowException},
        {"null_object", FaultKind::kNullObject}, {"wrong_object", FaultKind::kWrongObject},
    };
    const auto choose = [&](FaultKind kind, std::string_view key) {
        if (rule.kind != FaultKind::kNone) {
            reader.fail("a fault does one thing; for more, write another", reader.find(key));
        }
        rule.kind = kind;
    };
    for (const Numbered& row : kNumbered) {
        if (const auto value = reader.integer(row.key, 0, row.max)) {
            choose(row.kind, row.key);
            rule.value = static_cast<std::uint32_t>(*value);
        }
    }
    for (const Plain& row : kPlain) {
        if (reader.flag(row.key, false)) {
            choose(row.kind, row.key);
        }
    }
}

FaultRule readFault(TableReader& reader, FaultScope scope) {
    FaultRule rule;
    const std::string name = reader.text("call").value_or("");
    const auto call = callNamed(name);
    if (!call) {
        reader.fail(name.empty() ? "a fault needs its 'call'" : "there is no call '" + name + "'", reader.find("call"));
    }
    rule.call = *call;
    if (const auto item = reader.integer("item", 0, 0xFFFF)) {
        rule.item = static_cast<std::uint16_t>(*item);
    }
    rule.delayMs = static_cast<std::uint32_t>(reader.integer("delay_ms", 0, kMaxMs).value_or(0));
    readOccasion(reader, rule);
    readKind(reader, rule);
    reader.finish();
    if (const std::string problem = faultProblem(rule, scope); !problem.empty()) {
        reader.fail(problem);
    }
    if (rule.kind == FaultKind::kNone && rule.delayMs == 0) {
        reader.fail("a fault needs something to do, such as 'no_answer' or 'delay_ms'");
    }
    return rule;
}

// "COM7" has the number 7; 0 for a name that is not of this form.
std::uint16_t numberOf(std::string_view name) {
    std::uint16_t number = 0;
    if (name.starts_with("COM")) {
        const auto [end, error] = std::from_chars(name.data() + 3, name.data() + name.size(), number);
        number = error == std::errc() && end == name.data() + name.size() ? number : std::uint16_t{0};
    }
    return number;
}

void readPhone(TableReader& reader, PhoneSetup& phone) {
    reader.phoneText("model", kModelField.size, phone.model);
    reader.phoneText("software_version", kSoftwareVersionField.size, phone.softwareVersion);
    reader.phoneText("serial", kSerialNumberField.size, phone.serialNumber);
    if (const auto spc = reader.text("spc")) {
        if (spc->size() != kSpcDigits || spc->find_first_not_of("0123456789") != std::string::npos) {
            reader.fail("'spc' must be six digits", reader.find("spc"));
        }
        phone.spc = *spc;
    }
    if (const auto name = reader.text("mode")) {
        const auto row = std::find_if(std::begin(kModeNames), std::end(kModeNames),
                                      [&](const ModeName& each) { return each.name == *name; });
        if (row == std::end(kModeNames)) {
            reader.fail("'mode' must be \"online\", \"offline\", \"download\" or \"stream_download\"",
                        reader.find("mode"));
        }
        phone.mode = row->mode;
    }
    phone.leaveAfterMs = static_cast<std::int32_t>(reader.integer("leave_after_ms", -1, kMaxMs).value_or(0));
    phone.awayMs = static_cast<std::int32_t>(reader.integer("away_ms", -1, kMaxMs).value_or(phone.awayMs));
}

// A speed that no line has is the line's own failure, which clients get to know when they use it.
void readLine(TableReader& reader, LineSetup& line) {
    line.device = reader.path("device");
    if (line.device.empty()) {
        reader.fail("a serial port needs its 'device'");
    }
    if (const auto baud = reader.integer("baud", 1, 0xFFFFFFFF)) {
        line.baud = static_cast<std::uint32_t>(*baud);
    }
}

PortConfig readPort(TableReader& reader) {
    PortConfig port;
    port.name = reader.text("name").value_or("");
    if (port.name.empty()) {
        reader.fail("a port needs its 'name'");
    }
    const auto number = reader.integer("number", 1, 0xFFFF);
    port.number = number ? static_cast<std::uint16_t>(*number) : numberOf(port.name);
    if (port.number == 0) {
        reader.fail("the port '" + port.name + "' needs a 'number', as its name is not COM and a number",
                    reader.find("name"));
    }
    const std::string kind = reader.text("kind").value_or(reader.has("device") ? "serial" : "simulated");
    if (kind == "serial") {
        readLine(reader, port.line);
    } else if (kind == "simulated") {
        port.memory = reader.path("memory");
        port.initial = reader.path("initial");
        readPhone(reader, port.phone);
    } else {
        reader.fail("'kind' must be \"simulated\" or \"serial\"", reader.find("kind"));
    }
    port.present = reader.flag("present", true);
    reader.tables("fault", [&](TableReader fault) { port.faults.push_back(readFault(fault, FaultScope::kPort)); });
    reader.finish();
    return port;
}

void refuseDoubles(const TableReader& reader, const std::vector<PortConfig>& ports, const PortConfig& port) {
    for (const PortConfig& other : ports) {
        if (other.name == port.name) {
            reader.fail("there are two ports '" + port.name + "'");
        }
        if (other.number == port.number) {
            reader.fail("the ports '" + other.name + "' and '" + port.name + "' have the same number");
        }
        if (!port.memory.empty() && other.memory.lexically_normal() == port.memory.lexically_normal()) {
            reader.fail("the ports '" + other.name + "' and '" + port.name + "' have the same memory file");
        }
        if (!port.line.device.empty() && other.line.device.lexically_normal() == port.line.device.lexically_normal()) {
            reader.fail("the ports '" + other.name + "' and '" + port.name + "' have the same device");
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
    const toml::table table = parse(file);
    ServiceConfig config;
    TableReader reader(file, table, "the file");
    config.taskWindow = reader.flag("task_window", true);
    reader.tables("port", [&](TableReader portReader) {
        PortConfig port = readPort(portReader);
        refuseDoubles(portReader, config.ports, port);
        config.ports.push_back(std::move(port));
    });
    reader.tables("fault", [&](TableReader fault) { config.faults.push_back(readFault(fault, FaultScope::kService)); });
    reader.finish();
    return config;
}

} // namespace tessra
