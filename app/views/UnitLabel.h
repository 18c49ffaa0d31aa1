#pragma once

#include "app/views/SubFieldEdit.h"
#include "workbench/Units.h"

#include <QLabel>

/// The value of a sub-field's box in its unit, at the right end of the box: "-12.5 dBm", while one types too. One that
/// is not permitted is red and says so: "-12.5 dBm, low". The tooltip says it whole, with the permitted band.
///
/// Belongs to the box, to which its clicks go. User-interface thread.
class UnitLabel : public QLabel {
    Q_OBJECT
public:
    explicit UnitLabel(SubFieldEdit& edit);

    /// Null: the value has no unit. `unit` outlives what is shown.
    void showUnit(const workbench::FieldUnit* unit, SubItemType type);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    /// Shows the present value.
    void refresh();
    void showColor();
    void place();

    SubFieldEdit& edit_;
    const workbench::FieldUnit* unit_ = nullptr;
    SubItemType type_{};
    QStringList texts_; ///< from the whole one to the shortest; empty where the box holds no number
    bool permitted_ = true;
};
