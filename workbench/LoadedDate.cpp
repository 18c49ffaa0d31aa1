#include "workbench/LoadedDate.h"

namespace workbench {

std::int32_t loadedDateStamp(std::time_t now) {
    std::tm epoch{};
    epoch.tm_year = 70;
    epoch.tm_mday = 1;
    epoch.tm_isdst = -1;
    return static_cast<std::int32_t>(now - std::mktime(&epoch));
}

} // namespace workbench
