#pragma once

#include <cstdint>
#include <ctime>
#include <string_view>

namespace workbench {

/// The item with the time at which the phone's items were last written.
inline constexpr std::string_view kLoadedDateItem = "NV_RF_NV_LOADED_DATE_I";
/// The item with the time at which the phone was calibrated.
inline constexpr std::string_view kCalibrationDateItem = "NV_RF_CAL_DATE_I";

/// What the item is stamped with at the time `now`: the seconds since 1 January 1970 00:00:00 in local time.
std::int32_t loadedDateStamp(std::time_t now);

} // namespace workbench
