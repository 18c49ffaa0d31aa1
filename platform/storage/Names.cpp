#include "platform/storage/Names.h"

#include "platform/storage/Status.h"

#include <algorithm>
#include <cstring>

namespace storage {

Name::Name(std::u16string_view units) : length_(static_cast<std::uint16_t>(units.size())) {
    std::ranges::copy(units, units_.begin());
}

Name Name::checked(std::u16string_view units) {
    constexpr std::u16string_view kForbidden(u"/\\:!\0", 5);
    if (units.empty() || units.size() > kMaxNameUnits || units.find_first_of(kForbidden) != units.npos) {
        throw Failure(kInvalidName);
    }
    return Name(units);
}

std::weak_ordering operator<=>(const Name& left, const Name& right) {
    if (left.length_ != right.length_) {
        return left.length_ <=> right.length_;
    }
    // Names that stand side by side begin alike.
    std::size_t at = 0;
    while (at + 4 <= left.length_ && std::memcmp(&left.units_[at], &right.units_[at], 8) == 0) {
        at += 4;
    }
    for (; at < left.length_; ++at) {
        const auto order = upperCase(left.units_[at]) <=> upperCase(right.units_[at]);
        if (std::is_neq(order)) {
            return order;
        }
    }
    return std::weak_ordering::equivalent;
}

} // namespace storage
