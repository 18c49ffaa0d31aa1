#pragma once

#include "engine/CalvaneException.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace workbench {

/// What a raw value of one sub-field means: raw * factor + offset, in `unit`. What is stored and written stays raw.
/// The limits are in the unit.
struct FieldUnit {
    std::string unit; ///< "dBm", "MHz"; may be empty
    double factor = 1;
    double offset = 0;
    std::optional<double> least;
    std::optional<double> most;
    std::optional<double> nominal;
    std::optional<double> tolerance; ///< either side of `nominal`, which then has a value

    double physical(double raw) const { return raw * factor + offset; }
    /// The permitted band: what lies between least and most and within the tolerance of nominal; an end without a limit
    /// is nullopt.
    std::optional<double> lowest() const;
    std::optional<double> highest() const;
    /// A value on a limit is permitted, also where the factor is none that a computer can hold, as a tenth.
    bool permits(double physicalValue) const;
};

/// The units and limits that a side file beside the decoder ring gives (docs/units.md). Empty without one. Once loaded,
/// any thread may ask it.
class Units {
public:
    Units() = default;
    /// Of the file at `path`; where there is none, empty. Throws CalvaneException, whose message names file and line,
    /// for a file that can't be read or has a fault.
    static Units load(const std::filesystem::path& path);
    /// The side file of the ring at `ring`: the same name with ".units" in place of its extension.
    static std::filesystem::path pathBeside(const std::filesystem::path& ring);

    /// Null where nothing is known of the sub-field at position `field`, from 0.
    const FieldUnit* find(std::uint16_t item, std::size_t field) const;
    bool isEmpty() const { return items_.empty(); }

private:
    /// What one line says of the sub-fields at the positions from `first` to `last`.
    struct Range {
        std::size_t first = 0;
        std::size_t last = 0;
        FieldUnit unit;
    };

    /// What a line says; throws CalvaneException without file and line.
    void takeLine(std::string_view line);

    std::map<std::uint16_t, std::vector<Range>> items_;
};

/// A value in its unit for people, as "-12.5 dBm": as many decimals as factor and offset have, three at most, or more
/// where neighbouring raw values would look the same otherwise.
std::string physicalText(const FieldUnit& unit, double raw);
/// The number of it alone, "-12.5".
std::string physicalNumber(const FieldUnit& unit, double raw);
/// The same for a value that is in the unit already, a limit for instance.
std::string unitText(const FieldUnit& unit, double physicalValue);
/// The value in its unit, and ", low" or ", high" behind one that is not permitted.
std::string judgedText(const FieldUnit& unit, double raw);
/// The permitted band as "-50.0 dBm to 24.0 dBm", "at least 3.20 V", "at most 10 us"; empty without limits.
std::string bandText(const FieldUnit& unit);

} // namespace workbench
