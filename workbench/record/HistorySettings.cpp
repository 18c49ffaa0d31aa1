#include "workbench/record/HistorySettings.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"
#include "platform/kernel/TomlText.h"
#include "platform/kernel/WholeFile.h"

// A text such as "[:a]" violates an assertion of the library, which refuses it properly behind that.
#define TOML_ASSERT(expr) static_assert(true)
#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace record {
namespace {

constexpr const char* kTable = "history";
constexpr const char* kRecordKey = "record";
constexpr const char* kStoreKey = "store";
constexpr const char* kKeepKey = "keep";
constexpr int kDaysOfYear = 365;

[[noreturn]] void fail(const std::filesystem::path& file, std::size_t line, const std::string& reason) {
    throw std::runtime_error(file.string() + (line == 0 ? "" : ":" + std::to_string(line)) + ": " + reason);
}

std::string textOf(const std::filesystem::path& file) {
    std::string text;
    const int error = kernel::readRegularFile(file, kernel::kMaxTomlBytes, text);
    if (error != 0 && error != ENOENT && error != EFBIG) {
        fail(file, 0, "can't be read: " + std::generic_category().message(error));
    }
    return error == ENOENT ? std::string() : text;
}

toml::table parse(const std::string& text, const std::filesystem::path& file) {
    if (const auto fault = kernel::findTomlFault(text)) {
        fail(file, fault->line, fault->reason);
    }
    try {
        return toml::parse(text, file.string());
    } catch (const toml::parse_error& error) {
        fail(file, error.source().begin.line, std::string(error.description()));
    }
}

/// The keys of the table, each checked.
class SettingsReader {
public:
    SettingsReader(const toml::table& parsed, const std::filesystem::path& file) : file_(file) {
        for (const auto& [key, node] : parsed) {
            table_ = node.as_table();
            if (key != kTable || table_ == nullptr) {
                failAt(node, "there is nothing but a table [history] here, and no '" + std::string(key.str()) + "'");
            }
        }
    }

    void read(HistorySettings& settings) const {
        if (table_ == nullptr) {
            return;
        }
        for (const auto& [key, node] : *table_) {
            if (key == kRecordKey) {
                settings.isOn = valueOf<bool>(node, "'record' must be true or false");
            } else if (key == kStoreKey) {
                settings.sharedUrl = valueOf<std::string>(node, "'store' must be a text");
                checkStore(node, settings.sharedUrl);
            } else if (key == kKeepKey) {
                settings.keep = periodOf(node);
            } else {
                failAt(node, "unknown key '" + std::string(key.str()) + "' in [history]");
            }
        }
    }

    const toml::table* table() const { return table_; }

private:
    [[noreturn]] void failAt(const toml::node& node, const std::string& reason) const {
        fail(file_, node.source().begin.line, reason);
    }

    template <class Type>
    Type valueOf(const toml::node& node, const char* otherwise) const {
        const auto value = node.value_exact<Type>();
        if (!value) {
            failAt(node, otherwise);
        }
        return *value;
    }

    void checkStore(const toml::node& node, const std::string& url) const {
        try {
            if (!url.empty()) {
                checkSharedUrl(url);
            }
        } catch (const std::runtime_error& error) {
            failAt(node, error.what());
        }
    }

    std::optional<std::chrono::days> periodOf(const toml::node& node) const {
        constexpr const char* kExpected = "'keep' must be a period such as \"1y\", \"6m\", \"2w\" or \"30d\"";
        const auto text = valueOf<std::string>(node, kExpected);
        const auto period = parsePeriod(text);
        if (!period && !text.empty()) {
            failAt(node, kExpected);
        }
        return period;
    }

    const std::filesystem::path& file_;
    const toml::table* table_ = nullptr;
};

HistorySettings parsed(const std::string& text, const std::filesystem::path& own) {
    HistorySettings settings{.file = own / kStoreFileName};
    const std::filesystem::path file = own / kSettingsFileName;
    const toml::table table = parse(text, file);
    SettingsReader(table, file).read(settings);
    return settings;
}

/// Where the parser has seen a place of the text, which counts columns in characters.
std::size_t offsetOf(std::string_view text, toml::source_position position) {
    std::size_t at = 0;
    for (toml::source_index line = 1; line < position.line; ++line) {
        at = text.find('\n', at) + 1;
    }
    for (toml::source_index column = 1; column < position.column && at < text.size(); ++column) {
        at += std::max<std::size_t>(kernel::utf8Length(text.substr(at)), 1);
    }
    return at;
}

/// Gives one key of the table its value, in the place where it stands, or in a line of its own.
void putValue(std::string& text, const std::filesystem::path& file, const char* key, const std::string& value) {
    const toml::table whole = parse(text, file);
    const toml::table* table = whole[kTable].as_table();
    const std::string end = text.find("\r\n") == std::string::npos ? "\n" : "\r\n";
    const std::string line = std::string(key) + " = " + value + end;
    if (table == nullptr) {
        text += text.empty() || text.ends_with('\n') ? "" : end;
        text += (text.empty() ? "" : end) + "[history]" + end + line;
        return;
    }
    if (const toml::node* node = table->get(key)) {
        const std::size_t begin = offsetOf(text, node->source().begin);
        text.replace(begin, offsetOf(text, node->source().end) - begin, value);
        return;
    }
    const std::size_t header = text.find('\n', offsetOf(text, table->source().begin));
    text.insert(header == std::string::npos ? text.size() : header + 1,
                header == std::string::npos ? end + line : line);
}

/// Makes a text with the settings `before` one with those that are wanted, with a new line in front of the others.
/// False where that is not to be had.
bool put(std::string& text, const std::filesystem::path& own, const HistorySettings& before,
         const HistorySettings& wanted) {
    const std::filesystem::path file = own / kSettingsFileName;
    try {
        if (wanted.keep != before.keep) {
            putValue(text, file, kKeepKey, wanted.keep ? "\"" + periodText(*wanted.keep) + "\"" : "\"\"");
        }
        if (wanted.sharedUrl != before.sharedUrl) {
            putValue(text, file, kStoreKey, kernel::quotedToml(wanted.sharedUrl));
        }
        if (wanted.isOn != before.isOn) {
            putValue(text, file, kRecordKey, wanted.isOn ? "true" : "false");
        }
        return parsed(text, own) == wanted;
    } catch (const std::runtime_error&) {
        return false;
    }
}

/// The URL's characters behind a percent sign as they are meant.
std::string decoded(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte =
            text[at] == '%' ? kernel::wholeNumber<std::uint8_t>(text.substr(at + 1, 2), 16) : std::nullopt;
        plain += byte ? static_cast<char>(*byte) : text[at];
        at += byte ? 2 : 0;
    }
    return plain;
}

bool holdsPassword(std::string_view rest) {
    const std::string_view authority = rest.substr(0, rest.find('/'));
    if (const auto at = authority.find('@');
        authority.substr(0, at).find(':') != std::string_view::npos && at != std::string_view::npos) {
        return true;
    }
    const auto question = rest.find('?');
    rest.remove_prefix(question == std::string_view::npos ? rest.size() : question + 1);
    while (!rest.empty()) {
        const std::string_view parameter = rest.substr(0, rest.find('&'));
        const std::string key = kernel::lowerCase(decoded(parameter.substr(0, parameter.find('='))));
        if (key.ends_with("password")) {
            return true;
        }
        rest.remove_prefix(std::min(parameter.size() + 1, rest.size()));
    }
    return false;
}

constexpr std::array<std::string_view, 2> kSchemes{"postgresql://", "postgres://"};

} // namespace

HistorySettings readSettings(const std::filesystem::path& own) {
    return parsed(textOf(own / kSettingsFileName), own);
}

void saveSettings(const std::filesystem::path& own, const HistorySettings& settings) {
    const std::filesystem::path file = own / kSettingsFileName;
    std::string text = textOf(file);
    const HistorySettings before = parsed(text, own);
    HistorySettings wanted = settings;
    wanted.file = before.file;
    if (!put(text, own, before, wanted)) {
        fail(file, 0, "the settings can't be put into what stands in it");
    }
    if (wanted == before) {
        return;
    }
    if (const auto written = kernel::writeWholeFile(file, text); !written.succeeded()) {
        fail(file, 0, "can't be written: " + std::generic_category().message(written.error()));
    }
}

HistorySettings settingsFor(const std::string& place, const std::filesystem::path& own) {
    HistorySettings settings{.isOn = place != "none", .file = own / kStoreFileName};
    if (isUrl(place)) {
        checkSharedUrl(place);
        settings.sharedUrl = place;
        settings.isOfOneRun = true;
    } else if (settings.isOn) {
        settings.file = place;
        settings.isOwnFile = false;
    }
    return settings;
}

bool isUrl(const std::string& place) {
    return place.find("://") != std::string::npos;
}

std::optional<std::chrono::days> parsePeriod(const std::string& text) {
    constexpr int kMonthsOfYear = 12;
    constexpr int kDaysOfWeek = 7;
    constexpr int kMostOfAny = 9999;
    const auto count = text.empty() ? std::nullopt : kernel::wholeNumber<int>(text.substr(0, text.size() - 1));
    if (!count || *count < 1 || *count > kMostOfAny) {
        return std::nullopt;
    }
    switch (text.back()) {
    case 'd':
        return std::chrono::days(*count);
    case 'w':
        return std::chrono::days(*count * kDaysOfWeek);
    case 'm':
        return std::chrono::days(*count * kDaysOfYear / kMonthsOfYear);
    case 'y':
        return std::chrono::days(*count * kDaysOfYear);
    default:
        return std::nullopt;
    }
}

std::string periodText(std::chrono::days period) {
    const auto days = period.count();
    return days % kDaysOfYear == 0 ? std::to_string(days / kDaysOfYear) + "y" : std::to_string(days) + "d";
}

void checkSharedUrl(const std::string& url) {
    const auto scheme =
        std::ranges::find_if(kSchemes, [&](std::string_view each) { return std::string_view(url).starts_with(each); });
    if (scheme == kSchemes.end()) {
        throw std::runtime_error("a shared store is a PostgreSQL database, named as \"postgresql://HOST/DATABASE\"");
    }
    if (std::ranges::any_of(url, [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; })) {
        throw std::runtime_error("the address of a shared store has no blanks or control characters");
    }
    if (holdsPassword(std::string_view(url).substr(scheme->size()))) {
        throw std::runtime_error("the address of a shared store holds a password, which belongs into the file "
                                 "~/.pgpass, or the one that PGPASSFILE names");
    }
}

} // namespace record
