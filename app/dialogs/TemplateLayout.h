#pragma once

#include "app/dialogs/DialogTemplate.h"

#include <QObject>
#include <vector>

/// Places the controls of a template within their parent, in dialog units of the parent's font, and does so again when
/// the font, the style or the parent's size changes. Nothing is cut off: a static text takes what free room there is to
/// its right, and where some control still needs more than the template gives it, the unit grows for the whole dialog,
/// so that nothing overlaps either.
///
/// Owned by the widget that it lays out. User-interface thread.
class TemplateLayout : public QObject {
    Q_OBJECT

public:
    /// `widgets`: the children of `parent` for the rows of `form`, in their order.
    TemplateLayout(QWidget* parent, const DialogTemplate& form, std::vector<QWidget*> widgets);

    /// The layout of a widget that createControls() filled.
    static TemplateLayout* of(const QWidget& parent);

    /// What the template takes in the current font, in pixels, and the least to which its anchored controls can shrink.
    QSize naturalSize() const { return naturalSize_; }
    QSize smallestSize() const { return smallestSize_; }

signals:
    /// The natural size has changed with the font or the style.
    void sizesChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// Pixels per dialog unit.
    struct Units {
        qreal x;
        qreal y;
    };

    /// Measures everything in the current font, then places it.
    void measure();
    void place();
    /// The free room to the right of a control, in dialog units, its own width included.
    int roomToTheRight(std::size_t row) const;
    /// The units at which every control is large enough for its text.
    Units largeEnoughUnits() const;
    /// The place of a control in a dialog of natural size.
    QRect naturalRect(std::size_t row) const;
    /// What the dialog can lose before one of the controls that shrink with it is too small for use.
    QSize largestLoss() const;

    QWidget* parent_;
    const DialogTemplate& form_;
    std::vector<QWidget*> widgets_;
    std::vector<QSize> leastSizes_; ///< at which each control shows its whole text
    Units units_{};
    QSize naturalSize_;
    QSize smallestSize_;
};
