#include "cli/FieldValues.h"

#include "cli/ExitStatus.h"
#include "workbench/TypedValues.h"

namespace {

using workbench::TypedValue;

/// What is wrong with `text`; empty where nothing is.
std::string complaint(const TypedValue& typed, const SubItem& field, SubItemType type, const std::string& text,
                      bool wrap) {
    if (typed.verdict == TypedValue::Verdict::kFits ||
        (typed.verdict == TypedValue::Verdict::kChanged && wrap && !typed.stored.empty())) {
        return {};
    }
    std::string message = "'" + text + "' for '" + field.description + "' ";
    if (typed.verdict != TypedValue::Verdict::kChanged) {
        message += "is no decimal number: ";
    } else if (typed.stored.empty()) {
        message += "is out of range: ";
    } else {
        message += "would be stored as " + typed.stored + ": ";
    }
    message += "a " + std::string(subItemTypeInfo(type).displaySpelling) + " is from " + typed.smallest + " to " +
               typed.largest + ".";
    return typed.stored.empty() ? message : message + " If it is meant, say --wrap.";
}

} // namespace

void setTypedValues(NvItem& item, const std::string& values, bool wrap) {
    const auto fields = item.getSubItems();
    const auto types = item.getSubItemTypes();
    std::size_t start = 0;
    for (std::size_t index = 0; index < fields.size() && start <= values.size(); ++index) {
        const std::size_t comma = std::min(values.find(',', start), values.size());
        const std::string text = values.substr(start, comma - start);
        const std::string wrong =
            complaint(workbench::checkTypedValue(types[index], text), fields[index], types[index], text, wrap);
        if (!wrong.empty()) {
            throw BatchFailure(ExitStatus::kValues, wrong);
        }
        start = comma + 1;
    }
    item.setData(values);
}
