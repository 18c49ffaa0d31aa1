#include "app/dialogs/DialogControls.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QStyledItemDelegate>
#include <algorithm>

namespace {

/// Gives every line the same size, so that the list need not ask for each, and the width that the list was given.
class LineDelegate : public QStyledItemDelegate {
public:
    explicit LineDelegate(DialogListBox* list) : QStyledItemDelegate(list), list_(list) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return {std::max(list_->horizontalExtent(), 1), QFontMetrics(option.font).height() + 2};
    }

private:
    DialogListBox* list_;
};

} // namespace

DialogListBox::DialogListBox(QWidget* parent) : QListView(parent) {
    setItemDelegate(new LineDelegate(this));
    setUniformItemSizes(true);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(SingleSelection);
    setHorizontalScrollMode(ScrollPerPixel);
    setTextElideMode(Qt::ElideNone);
    setTabKeyNavigation(false);
}

void DialogListBox::setMultipleSelection(bool multiple) {
    setSelectionMode(multiple ? MultiSelection : SingleSelection);
}

void DialogListBox::setHorizontalExtent(int pixels) {
    if (pixels != horizontalExtent_) {
        horizontalExtent_ = pixels;
        scheduleDelayedItemsLayout();
    }
}

QItemSelectionModel::SelectionFlags DialogListBox::selectionCommand(const QModelIndex& index,
                                                                    const QEvent* event) const {
    return selectionMode() == MultiSelection ? QItemSelectionModel::NoUpdate
                                             : QListView::selectionCommand(index, event);
}

void DialogListBox::mousePressEvent(QMouseEvent* event) {
    QListView::mousePressEvent(event);
    const QModelIndex index = indexAt(event->position().toPoint());
    if (selectionMode() == MultiSelection && event->button() == Qt::LeftButton && index.isValid()) {
        emit lineChosen(index.row(), event->modifiers());
    }
}

void DialogListBox::keyPressEvent(QKeyEvent* event) {
    if (selectionMode() == MultiSelection && event->key() == Qt::Key_Space && currentIndex().isValid()) {
        emit lineChosen(currentIndex().row(), event->modifiers());
        return;
    }
    QListView::keyPressEvent(event);
}

DialogComboBox::DialogComboBox(bool editable, QWidget* parent) : QComboBox(parent) {
    setEditable(editable);
    setInsertPolicy(NoInsert);
    if (editable) {
        setCompleter(nullptr);
    }
}

void DialogComboBox::showPopup() {
    emit droppingDown();
    QComboBox::showPopup();
}
