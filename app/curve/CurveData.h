#pragma once

#include "engine/NvItem.h"
#include "workbench/Units.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// One value of a table, on its curve's axis.
struct CurvePoint {
    std::size_t field = 0; ///< the position of the sub-field in the item, from 0
    std::string text;      ///< the stored value in decimal, raw
    std::string description;
    double value = 0;
    std::optional<double> known;    ///< the last known value
    std::optional<double> compared; ///< the value of the item that it is compared with
    std::optional<double> lowest;   ///< the permitted band; nothing for an end without a limit
    std::optional<double> highest;
    workbench::FieldUnit unit; ///< raw as it is where none is known
};

/// The values of one run of an item (workbench/FieldRuns.h). They are in the unit that all of them share; raw where
/// they share none.
struct Curve {
    std::string name; ///< what their descriptions have in common
    std::string axis; ///< the unit, or the type of raw values; curves with one axis can be held side by side
    SubItemType type{};
    bool inUnit = false;
    std::vector<CurvePoint> points;

    /// Where the raw value `text` of a point stands on the axis.
    double valueOf(const CurvePoint& point, std::string_view text) const;
    /// The raw value `steps` beside `text`, at most the last one that the type has on that side.
    std::string stepped(std::string_view text, double steps) const;
    /// How many raw steps of a point a way along the axis is.
    double stepsIn(const CurvePoint& point, double way) const;
    /// Whether a value on the axis is in the point's permitted band.
    bool permits(const CurvePoint& point, double value) const;
};

/// What a plot of an item shows.
struct CurveSet {
    std::string title; ///< number and name of the item
    std::optional<std::uint16_t> item;
    bool editable = false;
    std::vector<Curve> curves;
    std::string note;     ///< why there are no curves; empty where there are
    std::string compared; ///< the name of what it is compared with
};

/// What is known beside the item itself.
struct CurveSources {
    const workbench::Units* units = nullptr;
    std::optional<NvItem> known; ///< the item with its last known values
    const NvItem* compared = nullptr;
    std::string comparedName;
};

/// The curves of an item; null: no item is selected. What is compared counts where it has the item's layout and values.
CurveSet curvesOf(const NvItem* item, const CurveSources& sources);

/// What there is to say of a point whose raw value is `text`: position and value, description, and how the value stands
/// to what is known beside it.
std::vector<std::string> pointTexts(const Curve& curve, std::size_t point, const std::string& text);
