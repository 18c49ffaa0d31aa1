#pragma once

#include "app/curve/CurveData.h"
#include "app/curve/CurveScale.h"

#include <QChart>
#include <vector>

class QPalette;
class QValueAxis;
class QXYSeries;

/// One point of a set of curves.
struct CurvePlace {
    std::size_t curve = 0;
    std::size_t point = 0;

    bool operator==(const CurvePlace&) const = default;
};

/// A set of curves over their positions as a chart: axes, grid and legend, and behind each curve what it is held
/// against (last known and compared values, the permitted band). An axis for each unit or type; the first on the left,
/// the others on the right. Without any input of its own; see CurvePlot. User-interface thread.
class CurveChart : public QChart {
    Q_OBJECT
public:
    CurveChart();

    void showSet(const CurveSet& set, const QPalette& palette);
    /// Leaves out legend and title of the positions, where there is no room for them.
    void setCompact(bool compact);
    /// What of the chart is to be seen.
    void setView(const PlotView& view);
    const PlotView& view() const { return view_; }
    /// How many positions the longest curve has.
    std::size_t positions() const { return count_; }
    /// Shows a point at another place than the set has it, until the next showSet().
    void movePoint(CurvePlace place, double value);
    /// Puts the ring of the chosen point around this one; nullptr: around none.
    void choose(const CurvePlace* place);

    /// Where a point is, and the value at the height `y`, in the chart's coordinates.
    QPointF positionOf(CurvePlace place) const;
    double valueAt(std::size_t curve, double y) const;
    /// The distance between the grid lines of a curve's axis.
    double gridStep(std::size_t curve) const;

private:
    struct Axis {
        std::string text;
        QValueAxis* axis = nullptr;
        AxisRange whole;
        QColor color; ///< of its curves, where they have one
        bool isShared = false;
    };
    struct Line {
        QXYSeries* series = nullptr;
        std::size_t axis = 0;
        QColor color;
    };

    void clear();
    void makeAxes(const CurveSet& set, const QPalette& palette);
    /// The axis of a curve; the last one where it has none yet.
    std::size_t axisOf(const Curve& curve) const;
    /// The permitted band; false where the curve has none. An empty `name` is not in the legend.
    bool addBand(const Curve& curve, const Line& line, const QString& name);
    /// A line behind the curve through another value of its points; false where they have none or no other one.
    bool addBeside(const Curve& curve, const Line& line, std::optional<double> CurvePoint::*value, const QPen& pen,
                   const QString& name);
    void addLine(const Curve& curve, Line& line);
    void addOutside(const CurveSet& set);
    void add(QAbstractSeries* series, std::size_t axis, const QString& name);
    /// The colour of a series in the legend, where its own would not be seen.
    void setMark(QAbstractSeries* series, const QColor& color);
    void setColors(const QPalette& palette);
    void fitTicks();
    QPointF placeOf(CurvePlace place) const;

    QValueAxis* positions_;
    std::vector<Axis> axes_;
    std::vector<Line> lines_;
    QXYSeries* ring_ = nullptr;
    std::size_t count_ = 1;
    PlotView view_;
};
