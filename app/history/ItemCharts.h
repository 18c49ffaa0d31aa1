#pragma once

#include "workbench/record/Unusual.h"

#include <QChartView>
#include <QPointF>
#include <functional>
#include <optional>
#include <vector>

class QValueAxis;

/// The values of one sub-field as a picture: those that a phone has had, or those that all phones have. Without any
/// input of its own. User-interface thread.
class ItemChart : public QChartView {
    Q_OBJECT
public:
    explicit ItemChart(QWidget* parent = nullptr);

    /// Values that each hold until the next one begins: milliseconds and value, ascending; the last one holds until
    /// now. `axis` says what they are in.
    void showSteps(std::vector<QPointF> values, const QString& axis);

    /// How many phones have which value. `valueOf` gives the place of a raw value on the axis.
    struct Spread {
        record::Histogram histogram;
        double median = 0;
        double lowest = 0; ///< of what is usual
        double highest = 0;
        bool isKnown = false; ///< what is usual
        std::optional<double> own = {};
        bool isOwnUnusual = false;
        QString unusualWord = "unusual"; ///< for the own one
        std::function<double(double raw)> valueOf;
    };
    void showSpread(Spread spread, const QString& axis);
    void clear();

protected:
    void changeEvent(QEvent* event) override;

private:
    void draw(std::function<void()> drawing);
    void drawSteps(const std::vector<QPointF>& values, const QString& axis);
    void drawSpread(const Spread& spread, const QString& axis);
    void addLine(const QPointF& from, const QPointF& to, const QPen& pen, const QString& name);
    /// Gives the chart its axes and brings all series to them.
    void setAxes(QAbstractAxis* across, QValueAxis* upward);

    std::function<void()> drawing_; ///< again, in another palette's colours
};
