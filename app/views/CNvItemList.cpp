#include "app/views/CNvItemList.h"

#include "app/dialogs/CSearchDlg.h"
#include "app/document/ItemSearch.h"
#include "app/views/ChangedLines.h"

#include <QKeyEvent>
#include <QVBoxLayout>
#include <algorithm>
#include <span>

namespace {

constexpr int kListBoxId = 1000;

} // namespace

NvItemListBox::NvItemListBox(QWidget* parent) : DialogListBox(parent) {
    setUniformItemSizes(true);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
}

QItemSelectionModel::SelectionFlags NvItemListBox::selectionCommand(const QModelIndex& index,
                                                                    const QEvent* event) const {
    const auto flags = DialogListBox::selectionCommand(index, event);
    const bool takesAway = flags & (QItemSelectionModel::Toggle | QItemSelectionModel::Deselect);
    const bool clears = (flags & QItemSelectionModel::Clear) && !index.isValid();
    if (clears) {
        return QItemSelectionModel::NoUpdate;
    }
    return takesAway ? QItemSelectionModel::ClearAndSelect : flags;
}

void NvItemListBox::keyPressEvent(QKeyEvent* event) {
    const bool vertical = event->key() == Qt::Key_Down || event->key() == Qt::Key_Up;
    if (vertical && !selectionModel()->hasSelection() && model()->rowCount() > 0) {
        // Without a selection an arrow key selects the line at which the list stands, rather than the one after it.
        const QModelIndex start = currentIndex().isValid() ? currentIndex() : model()->index(0, 0);
        selectionModel()->setCurrentIndex(start, QItemSelectionModel::ClearAndSelect);
        return;
    }
    DialogListBox::keyPressEvent(event);
}

CNvItemList::CNvItemList(CCalvaneDoc& document, const SafeHands* safeHands, QWidget* parent)
    : QWidget(parent), document_(document), safeHands_(safeHands), lines_(new ChangedLinesModel(document, this)),
      listBox_(new NvItemListBox(this)) {
    setObjectName("form_102");
    listBox_->setObjectName("ctl_" + QString::number(kListBoxId));
    listBox_->setProperty("controlId", kListBoxId);
    listBox_->setAccessibleName(tr("NV items"));
    listBox_->setItemDelegate(new ChangeMarkDelegate(listBox_->itemDelegate(), listBox_));
    listBox_->setModel(lines_);
    setFocusProxy(listBox_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(listBox_);
    connect(listBox_->selectionModel(), &QItemSelectionModel::selectionChanged, this, &CNvItemList::selectionChanged);
    document_.addView(this);
}

CNvItemList::~CNvItemList() {
    document_.removeView(this);
}

void CNvItemList::onUpdate() {
    if (document_.listChanged()) {
        lines_->setItems(&document_.nvItems());
        document_.clearListChanged();
        if (isOn(safeHands_)) {
            const int row = rowOf(selectedNumber_);
            document_.setSelectedIndex(row);
            showSelected(row);
        }
    }
    showMarks();
    rememberSelected();
}

void CNvItemList::showMarks() {
    lines_->valuesChanged();
}

void CNvItemList::rememberSelected() {
    const NvItem* selected = document_.selectedItem();
    selectedNumber_ = selected == nullptr ? std::nullopt : std::optional(selected->getId());
}

int CNvItemList::rowOf(std::optional<std::uint16_t> number) const {
    const auto& items = document_.nvItems();
    const auto end = items.begin() + std::min<std::ptrdiff_t>(std::ssize(items), lines_->rowCount());
    const auto found = std::find_if(items.begin(), end, [&](const NvItem& item) { return item.getId() == number; });
    return found == end ? -1 : static_cast<int>(found - items.begin());
}

void CNvItemList::showSelected(int row) {
    telling_ = false;
    if (row < 0) {
        listBox_->selectionModel()->clearSelection();
    } else {
        const QModelIndex line = lines_->index(row, 0);
        listBox_->selectionModel()->setCurrentIndex(line, QItemSelectionModel::ClearAndSelect);
        listBox_->scrollTo(line);
    }
    telling_ = true;
}

void CNvItemList::selectItem(std::uint16_t number) {
    if (const int row = rowOf(number); row >= 0) {
        selectLine(row);
    }
}

void CNvItemList::selectionChanged() {
    if (!telling_) {
        return;
    }
    const QModelIndexList selected = listBox_->selectionModel()->selectedIndexes();
    const int row = selected.isEmpty() ? -1 : selected.first().row();
    if (isOn(safeHands_) && mayLeave_ && row != document_.selectedIndex() && !mayLeave_()) {
        showSelected(document_.selectedIndex());
        return;
    }
    document_.setSelectedIndex(row);
    document_.updateAllViews();
}

void CNvItemList::search() {
    if (searchDialog_ == nullptr) {
        searchDialog_ = new CSearchDlg(this);
    }
    if (searchDialog_->exec() != QDialog::Accepted) {
        return;
    }
    // An item appended since the last rebuild has no line that could be found.
    const auto find = [this] {
        const std::span<const NvItem> items(document_.nvItems());
        const auto lines = std::min(items.size(), static_cast<std::size_t>(lines_->rowCount()));
        return findItem(items.first(lines), searchDialog_->searchText());
    };
    if (!find()) {
        return;
    }
    emit aboutToSelect();
    // While a message about what was typed was shown, a read may have replaced the list.
    if (const auto found = find()) {
        selectLine(static_cast<int>(*found));
    }
}

void CNvItemList::selectLine(int row) {
    const QModelIndex line = lines_->index(row, 0);
    const bool selectedAlready = listBox_->selectionModel()->isSelected(line);
    listBox_->selectionModel()->setCurrentIndex(line, QItemSelectionModel::ClearAndSelect);
    listBox_->scrollTo(line);
    if (selectedAlready) {
        selectionChanged();
    }
}
