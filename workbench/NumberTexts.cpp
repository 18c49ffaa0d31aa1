#include "workbench/NumberTexts.h"

#include "workbench/MessageText.h"

namespace workbench {

namespace {

/// More numbers than these are counted instead of named.
constexpr std::size_t kMaxNamedNumbers = 20;

} // namespace

std::string counted(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " item" : " items");
}

std::string joined(const std::vector<std::uint16_t>& numbers) {
    std::string text;
    for (std::size_t first = 0; first < numbers.size();) {
        std::size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) {
            ++last;
        }
        text += (text.empty() ? "" : ", ") + std::to_string(numbers[first]);
        if (last - first >= 2) {
            text += "-" + std::to_string(numbers[last]);
            first = last + 1;
        } else {
            ++first;
        }
    }
    return text;
}

std::string namedItems(const std::set<std::uint16_t>& numbers) {
    return numbers.size() > kMaxNamedNumbers ? counted(numbers.size())
                                             : "item " + joined({numbers.begin(), numbers.end()});
}

std::set<std::uint16_t> repeatedNumbers(const std::vector<std::uint16_t>& numbers) {
    std::set<std::uint16_t> seen;
    std::set<std::uint16_t> repeated;
    for (const std::uint16_t number : numbers) {
        if (!seen.insert(number).second) {
            repeated.insert(number);
        }
    }
    return repeated;
}

std::string repeatedText(const std::string& path, const std::set<std::uint16_t>& repeated) {
    return "'" + shownText(path) + "' has " + namedItems(repeated) +
           " more than once, under names of different length.";
}

} // namespace workbench
