#include "workbench/FieldValues.h"

#include "workbench/TypedValues.h"

#include <algorithm>

namespace workbench {

namespace {

void requireTaken(const TypedValue& typed, const SubItem& field, SubItemType type, const std::string& text, bool wrap) {
    const bool wouldWrap = !typed.stored.empty();
    if (typed.verdict == TypedValue::Verdict::kFits || (wouldWrap && wrap)) {
        return;
    }
    std::string message = "'" + text + "' for '" + field.description + "' ";
    if (typed.verdict != TypedValue::Verdict::kChanged) {
        message += "is no decimal number: ";
    } else if (!wouldWrap) {
        message += "is out of range: ";
    } else {
        message += "would be stored as " + typed.stored + ": ";
    }
    message += "a " + std::string(subItemTypeInfo(type).displaySpelling) + " is from " + typed.smallest + " to " +
               typed.largest + ".";
    throw ValuesRefused(ValuesRefused::Kind::kValues, message, wouldWrap);
}

} // namespace

void setTypedValues(NvItem& item, const std::string& values, bool wrap) {
    const auto fields = item.getSubItems();
    const auto types = item.getSubItemTypes();
    std::size_t start = 0;
    for (std::size_t index = 0; index < fields.size() && start <= values.size(); ++index) {
        const std::size_t comma = std::min(values.find(',', start), values.size());
        const std::string text = values.substr(start, comma - start);
        requireTaken(checkTypedValue(types[index], text), fields[index], types[index], text, wrap);
        start = comma + 1;
    }
    item.setData(values);
}

void setTypedFields(NvItem& item, const std::map<std::size_t, std::string>& values, bool wrap) {
    NvItem whole = item;
    whole.setRawData(item.rawData());
    std::string text;
    std::size_t position = 0;
    for (const SubItem& field : whole.getSubItems()) {
        const auto given = values.find(position);
        text += (position++ == 0 ? "" : ",") + (given == values.end() ? field.value : given->second);
    }
    setTypedValues(item, text, wrap);
}

} // namespace workbench
