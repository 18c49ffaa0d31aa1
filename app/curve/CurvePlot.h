#pragma once

#include "app/curve/CurveChart.h"

#include <QChartView>
#include <optional>

class QRubberBand;

/// The curves of an item with mouse and keys: points are chosen, dragged up and down and moved by keys, the plot is
/// zoomed and moved.
///
/// A point that is moved is shown at its new place only; the new value is reported once, when the button or key is
/// released. Escape drops it. Owned by its pane; user-interface thread.
class CurvePlot : public QChartView {
    Q_OBJECT
public:
    explicit CurvePlot(QWidget* parent = nullptr);

    /// Shows another set. What was being moved goes back; the chosen point and the view stay where it is the same item.
    void showSet(CurveSet set);
    const CurveSet& set() const { return set_; }
    CurveChart& curves() const { return *chart_; }

    const std::optional<CurvePlace>& chosen() const { return chosen_; }
    void choose(std::optional<CurvePlace> place);
    /// The point of the sub-field at this position in the item; the chosen one stays where it has none.
    void chooseField(std::size_t field);
    /// The chosen point in one line; empty where there is none.
    QString chosenText() const;

    void showWhole();
    bool isZoomed() const { return !chart_->view().isWhole(); }

signals:
    /// The user wants this raw value, in decimal, for the sub-field.
    void edited(std::size_t field, const QString& text);
    /// Another point is chosen, or is being moved, or the view is another.
    void changed();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    /// A chosen point on its way to another value.
    struct Move {
        std::string text;            ///< its value now
        std::optional<QPointF> from; ///< where the mouse took it; nothing for a key
        bool begun = false;
    };

    const Curve& curveOf(CurvePlace place) const { return set_.curves[place.curve]; }
    const CurvePoint& pointOf(CurvePlace place) const { return curveOf(place).points[place.point]; }
    bool has(CurvePlace place) const;
    /// The point at a place of the plot; nothing where none is near.
    std::optional<CurvePlace> pointAt(const QPointF& position) const;
    void rebuild();
    /// Shows the chosen point `steps` beside its stored value, or beside where a key has moved it.
    void moveChosen(double steps);
    void moveByKey(double steps);
    void finishMove();
    void dropMove();
    void chooseBeside(int way);
    void chooseEnd(bool last);
    void chooseCurve(int way);
    void setView(const PlotView& view);
    /// Brings the chosen point into view.
    void reveal();
    void zoomTo(const QRect& rect);
    /// What there is to say of a point, at the place where it is shown.
    QStringList textsOf(CurvePlace place) const;

    CurveChart* chart_;
    CurveSet set_;
    std::optional<CurvePlace> chosen_;
    std::optional<Move> move_;
    QRubberBand* band_;
    std::optional<QPoint> bandFrom_;
    std::optional<QPoint> panFrom_;
};
