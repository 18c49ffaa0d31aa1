#include "workbench/ItemNumbers.h"

#include "platform/kernel/Text.h"

#include <stdexcept>
#include <string_view>

namespace workbench {
namespace {

constexpr std::size_t kNumbers = 65536;

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

ItemNumbers numbersOf(const std::vector<std::int32_t>& change, const std::vector<bool>& isSingle) {
    ItemNumbers numbers;
    std::int32_t ranges = 0;
    for (std::size_t number = 0; number < kNumbers; ++number) {
        ranges += change[number];
        if (ranges > 0) {
            numbers.all.push_back(static_cast<std::uint16_t>(number));
        }
        if (isSingle[number]) {
            numbers.single.push_back(static_cast<std::uint16_t>(number));
        }
    }
    return numbers;
}

} // namespace

ItemNumbers parseItemNumbers(const std::string& list) {
    // Where ranges begin, and behind which number they end: what a list costs does not depend on their lengths.
    std::vector<std::int32_t> change(kNumbers + 1);
    std::vector<bool> isSingle(kNumbers);
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
        ++change[first];
        --change[last + 1];
        isSingle[first] = isSingle[first] || dash == std::string_view::npos;
        if (comma == std::string_view::npos) {
            return numbersOf(change, isSingle);
        }
        rest.remove_prefix(comma + 1);
    }
}

} // namespace workbench
