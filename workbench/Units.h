#pragma once

#include "engine/CalvaneException.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>

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
    bool permits(double physicalValue) const;
};

/// The units and limits that a side file beside the decoder ring gives (docs/units.md). Empty without one.
class Units {
public:
    Units() = default;
    /// Throws CalvaneException, whose message names file and line, for a file that can't be read or has a fault.
    static Units load(const std::filesystem::path& path);
    /// The side file of the ring at `ring`: the same name with ".units" in place of its extension.
    static std::filesystem::path pathBeside(const std::filesystem::path& ring);

    /// Null where nothing is known of the sub-field at position `field`, from 0.
    const FieldUnit* find(std::uint16_t item, std::size_t field) const;
    bool isEmpty() const { return units_.empty(); }

private:
    std::map<std::pair<std::uint16_t, std::size_t>, FieldUnit> units_;
};

/// A value in its unit for people, as "-12.5 dBm": as many decimals as the factor has, three at most.
std::string physicalText(const FieldUnit& unit, double raw);

} // namespace workbench
