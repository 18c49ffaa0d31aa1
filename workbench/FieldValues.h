#pragma once

#include "engine/NvItem.h"
#include "platform/kernel/MessageException.h"

#include <cstddef>
#include <map>
#include <string>

namespace workbench {

/// Values, or the text that holds them, that are not taken.
class ValuesRefused : public kernel::MessageException {
public:
    enum class Kind {
        kText,   ///< the text is none of its kind
        kValues, ///< the values don't fit the decoder ring or a type
    };

    ValuesRefused(Kind kind, const std::string& message, bool wouldWrap = false)
        : MessageException(message), kind_(kind), wouldWrap_(wouldWrap) {}

    Kind kind() const { return kind_; }
    /// Whether they are taken where wrapping is allowed.
    bool wouldWrap() const { return wouldWrap_; }

private:
    Kind kind_;
    bool wouldWrap_;
};

/// Stores one decimal text per sub-field, separated by commas. All of them are checked before: a text that is no
/// number, or that its type stores as another number (300 in a BYTE), throws ValuesRefused with field, value and
/// range. With `wrap` the latter is stored as the type table says, where that takes it. What NvItem::setData() throws
/// comes through.
void setTypedValues(NvItem& item, const std::string& values, bool wrap);

/// The same for some of the sub-fields, by their positions, which the item has; the others keep what the item's bytes
/// say.
void setTypedFields(NvItem& item, const std::map<std::size_t, std::string>& values, bool wrap);

} // namespace workbench
