#pragma once

#include "engine/NvItem.h"

#include <string>
#include <string_view>

namespace workbench {

/// What the text of one sub-field would do.
struct TypedValue {
    enum class Verdict {
        kFits, ///< it is stored as it was typed
        kEmpty,
        kNoNumber, ///< no decimal number
        kChanged,  ///< a number that the type stores as another one, see `stored`
    };
    Verdict verdict = Verdict::kFits;
    std::string smallest; ///< the type's own range, in decimal
    std::string largest;
    std::string stored; ///< for kChanged: what the sub-field would hold then; empty where the item refuses the number
};

/// Judges one decimal text before anything is stored. Blanks around the number, a plus sign and leading zeros are no
/// change.
TypedValue checkTypedValue(SubItemType type, std::string_view text);

} // namespace workbench
