#pragma once

#include "app/compare/CompareModel.h"

#include <QTreeView>
#include <cstdint>
#include <optional>
#include <set>

/// Shows a CompareModel. Its current row, open rows and scroll place survive a reset of the model, as far as their
/// items are shown; Ctrl+C copies the selected rows, of an item all its sub-fields that are shown. User-interface
/// thread.
class CompareTree : public QTreeView {
    Q_OBJECT
public:
    /// `model` outlives this.
    explicit CompareTree(CompareModel& model, QWidget* parent = nullptr);

    /// Goes to the next row that differs, or the one before, from the end on to the begin; false where there is none.
    bool stepToDifference(bool forward);
    void copySelected() const;

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    /// The columns share the width, until the user gives one another.
    void resizeEvent(QResizeEvent* event) override;

private:
    /// The row shown below or above; invalid at the end.
    QModelIndex following(const QModelIndex& at, bool forward) const;
    QModelIndex lastIn(const QModelIndex& item) const;
    /// What the column of the numbers takes at least, in pixels.
    int numberWidth() const;
    void remember();
    void restore();

    CompareModel& model_;
    std::set<std::uint16_t> open_; ///< numbers of the items whose rows are open
    std::optional<std::uint16_t> current_;
    int scrollPlace_ = 0;
    bool isFitting_ = false;
    bool isSizedByUser_ = false;
};
