#include "cli/ItemNumbers.h"

#include "platform/kernel/Text.h"

#include <set>
#include <stdexcept>
#include <string_view>

namespace {

[[noreturn]] void refuse(std::string_view part) {
    throw std::invalid_argument("'" + std::string(part) +
                                "' is neither an item number (0 to 65535) nor a range such as 20-30");
}

std::uint16_t parseNumber(std::string_view text, std::string_view part) {
    const auto number = kernel::wholeNumber<std::uint16_t>(kernel::trimmed(text));
    if (!number) {
        refuse(part);
    }
    return *number;
}

} // namespace

ItemNumbers parseItemNumbers(const std::string& list) {
    std::set<std::uint16_t> all;
    std::set<std::uint16_t> single;
    std::string_view rest = list;
    for (;;) {
        const auto comma = rest.find(',');
        const std::string_view part = rest.substr(0, comma);
        const auto dash = part.find('-');
        const std::uint32_t first = parseNumber(part.substr(0, dash), part);
        const std::uint32_t last = dash == std::string_view::npos ? first : parseNumber(part.substr(dash + 1), part);
        if (last < first) {
            refuse(part);
        }
        for (std::uint32_t number = first; number <= last; ++number) {
            all.insert(static_cast<std::uint16_t>(number));
        }
        if (dash == std::string_view::npos) {
            single.insert(static_cast<std::uint16_t>(first));
        }
        if (comma == std::string_view::npos) {
            return {{all.begin(), all.end()}, {single.begin(), single.end()}};
        }
        rest.remove_prefix(comma + 1);
    }
}
