#pragma once

#include <string>

/// What an optional field of a calibration file's properties says while nobody has filled it in.
inline constexpr const char* kOptionalPlaceholder = "<Optional>";

/// The properties that the user gives a calibration file, as typed. A field that holds exactly the placeholder was not
/// given; an empty one was.
struct FileProperties {
    std::string fileName;
    std::string phoneModelId = kOptionalPlaceholder;
    std::string esn = kOptionalPlaceholder;
    std::string nvMajorVersion = kOptionalPlaceholder;
    std::string nvMinorVersion = kOptionalPlaceholder;
    std::string softwareVersion = kOptionalPlaceholder;
    std::string clientName = kOptionalPlaceholder;
};
