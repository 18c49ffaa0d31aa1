#include "app/views/CNvItemList.h"

#include "app/dialogs/CSearchDlg.h"
#include "app/dialogs/ItemLinesModel.h"
#include "app/document/ItemSearch.h"

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

CNvItemList::CNvItemList(CCalvaneDoc& document, QWidget* parent)
    : QWidget(parent), document_(document), lines_(new ItemLinesModel(this)), listBox_(new NvItemListBox(this)) {
    setObjectName("form_102");
    listBox_->setObjectName("ctl_" + QString::number(kListBoxId));
    listBox_->setProperty("controlId", kListBoxId);
    listBox_->setAccessibleName(tr("NV items"));
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
    if (!document_.listChanged()) {
        return;
    }
    lines_->setItems(&document_.nvItems());
    document_.clearListChanged();
}

void CNvItemList::selectionChanged() {
    const QModelIndexList selected = listBox_->selectionModel()->selectedIndexes();
    document_.setSelectedIndex(selected.isEmpty() ? -1 : selected.first().row());
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
