#include "cli/TypedValues.h"

#include "platform/kernel/Text.h"

#include <stdexcept>
#include <string>

namespace {

/// The number as it is printed: without blanks around it, plus sign and leading zeros.
std::string plain(const std::string& text) {
    std::string number(kernel::trimmed(text));
    const bool negative = number.starts_with('-');
    if (negative || number.starts_with('+')) {
        number.erase(0, 1);
    }
    number.erase(0, number.find_first_not_of('0'));
    return number.empty() ? "0" : (negative ? "-" : "") + number;
}

} // namespace

void requireStoredAsTyped(const NvItem& item) {
    NvItem stored = item;
    stored.setData(item.getData());
    const auto typedFields = item.getSubItems();
    const auto storedFields = stored.getSubItems();
    for (std::size_t index = 0; index < typedFields.size(); ++index) {
        if (plain(typedFields[index].value) != storedFields[index].value) {
            throw std::runtime_error("'" + typedFields[index].value + "' for '" + typedFields[index].description +
                                     "' would be stored as " + storedFields[index].value + " in a " +
                                     typedFields[index].typeName + ".");
        }
    }
}
