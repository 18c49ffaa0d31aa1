#pragma once

#include <cstdint>
#include <string>

/// What a calibration file can say of the phone that its items come from.
struct PhoneProperties {
    std::uint32_t esn = 0;
    std::uint8_t nvMajorVersion = 0;
    std::uint8_t nvMinorVersion = 0;
    std::string softwareVersion;
    std::string clientName;

    bool operator==(const PhoneProperties&) const = default;
};
