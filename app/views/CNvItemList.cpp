#include "app/views/CNvItemList.h"

#include "app/dialogs/CSearchDlg.h"
#include "app/dialogs/FocusHelp.h"
#include "app/document/ItemSearch.h"
#include "app/views/ChangedLines.h"
#include "app/views/FilterBar.h"
#include "app/views/ListFilter.h"

#include <QApplication>
#include <QKeyEvent>
#include <QSettings>
#include <QVBoxLayout>
#include <algorithm>

namespace {

constexpr int kListBoxId = 1000;
constexpr const char* kBarSetting = "frame/filterBar";

QString noticeOf(const char* text, const std::string& sought) {
    return QString(text).arg(QString::fromStdString(sought));
}

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
      bar_(new FilterBar(this)), listBox_(new NvItemListBox(this)), filter_(new ListFilter(document, *bar_, this)) {
    setObjectName("form_102");
    listBox_->setObjectName("ctl_" + QString::number(kListBoxId));
    listBox_->setProperty("controlId", kListBoxId);
    listBox_->setAccessibleName(tr("NV items"));
    listBox_->setItemDelegate(new ChangeMarkDelegate(listBox_->itemDelegate(), filter_->query(), listBox_));
    listBox_->setModel(lines_);
    setFocusProxy(listBox_);
    setHelpPart(*bar_, "filter");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(bar_);
    layout->addWidget(listBox_);
    connect(listBox_->selectionModel(), &QItemSelectionModel::selectionChanged, this, &CNvItemList::selectionChanged);
    connectFilter();
    document_.addView(this);
}

CNvItemList::~CNvItemList() {
    document_.removeView(this);
}

void CNvItemList::connectFilter() {
    bar_->setVisible(QSettings().value(kBarSetting, false).toBool());
    connect(filter_, &ListFilter::shownChanged, this, &CNvItemList::showFiltered);
    connect(bar_, &FilterBar::left, listBox_, [this] { listBox_->setFocus(Qt::ShortcutFocusReason); });
    connect(bar_, &FilterBar::accepted, listBox_, [this] {
        listBox_->setFocus(Qt::ShortcutFocusReason);
        if (!listBox_->selectionModel()->hasSelection() && lines_->rowCount() > 0) {
            listBox_->selectionModel()->setCurrentIndex(lines_->index(0, 0), QItemSelectionModel::ClearAndSelect);
        }
    });
}

void CNvItemList::onUpdate() {
    if (document_.listChanged()) {
        filter_->listChanged();
        lines_->setItems(&document_.nvItems(), filter_->shown());
        marked_ = -1;
        document_.clearListChanged();
        if (isOn(safeHands_)) {
            const int position = positionOf(selectedNumber_);
            document_.setSelectedIndex(position);
            showSelected(position);
        }
        emit filterChanged();
    }
    showMarks();
    rememberSelected();
}

void CNvItemList::showMarks() {
    lines_->valuesChanged();
    filter_->valuesChanged();
}

void CNvItemList::showFiltered() {
    // The place in the whole list, to which it goes back when the filter is emptied.
    if (lines_->rowCount() > 0 && lines_->rowCount() == lines_->listed()) {
        top_ = lines_->positionOf(listBox_->indexAt(QPoint(0, 0)).row());
    }
    const int before = lines_->rowOf(marked_);
    const bool wasOutOfSight =
        before >= 0 && !listBox_->viewport()->rect().intersects(listBox_->visualRect(lines_->index(before, 0)));
    lines_->setShown(filter_->shown());
    const int row = lines_->rowOf(marked_);
    telling_ = false;
    if (row >= 0) {
        listBox_->selectionModel()->setCurrentIndex(lines_->index(row, 0), QItemSelectionModel::ClearAndSelect);
    }
    telling_ = true;
    listBox_->scrollTo(lines_->index(lines_->firstRowFrom(top_), 0), QAbstractItemView::PositionAtTop);
    if (row >= 0 && !wasOutOfSight) {
        listBox_->scrollTo(lines_->index(row, 0));
    }
    emit filterChanged();
}

void CNvItemList::rememberSelected() {
    const NvItem* selected = document_.selectedItem();
    selectedNumber_ = selected == nullptr ? std::nullopt : std::optional(selected->getId());
}

std::span<const NvItem> CNvItemList::listedItems() const {
    const std::span<const NvItem> items(document_.nvItems());
    return items.first(std::min(items.size(), static_cast<std::size_t>(lines_->listed())));
}

int CNvItemList::positionOf(std::optional<std::uint16_t> number) const {
    const auto items = listedItems();
    const auto found = std::ranges::find_if(items, [&](const NvItem& item) { return item.getId() == number; });
    return found == items.end() ? -1 : static_cast<int>(found - items.begin());
}

void CNvItemList::showSelected(int position) {
    marked_ = position;
    telling_ = false;
    if (const int row = lines_->rowOf(position); row < 0) {
        listBox_->selectionModel()->clearSelection();
    } else {
        const QModelIndex line = lines_->index(row, 0);
        listBox_->selectionModel()->setCurrentIndex(line, QItemSelectionModel::ClearAndSelect);
        listBox_->scrollTo(line);
    }
    telling_ = true;
}

void CNvItemList::selectItem(std::uint16_t number) {
    if (const int position = positionOf(number); position >= 0) {
        select(position);
    }
}

void CNvItemList::selectionChanged() {
    if (!telling_) {
        return;
    }
    const QModelIndexList selected = listBox_->selectionModel()->selectedIndexes();
    choose(selected.isEmpty() ? -1 : lines_->positionOf(selected.first().row()));
}

void CNvItemList::choose(int position) {
    if (isOn(safeHands_) && mayLeave_ && position != document_.selectedIndex() && !mayLeave_()) {
        showSelected(document_.selectedIndex());
        return;
    }
    marked_ = position;
    document_.setSelectedIndex(position);
    document_.updateAllViews();
}

void CNvItemList::select(int position) {
    const int row = lines_->rowOf(position);
    if (row < 0) {
        showSelected(position); // the item that was selected has a line no more than this one
        choose(position);
        return;
    }
    const QModelIndex line = lines_->index(row, 0);
    const bool selectedAlready = listBox_->selectionModel()->isSelected(line);
    listBox_->selectionModel()->setCurrentIndex(line, QItemSelectionModel::ClearAndSelect);
    listBox_->scrollTo(line);
    if (selectedAlready) {
        selectionChanged();
    }
}

void CNvItemList::search() {
    if (searchDialog_ == nullptr) {
        searchDialog_ = new CSearchDlg(this);
    }
    if (searchDialog_->exec() != QDialog::Accepted) {
        return;
    }
    const std::string asked = searchDialog_->searchText();
    const auto find = [&] { return findLongest(listedItems(), asked); };
    const auto first = find();
    sought_ = first ? asked.substr(0, first->length) : "";
    if (!first) {
        emit searchNotice({});
        return;
    }
    emit searchNotice(sought_ == asked ? QString() : noticeOf("Only \"%1\" was found", sought_));
    clearFilter();
    emit aboutToSelect();
    // While a message about what was typed was shown, a read may have replaced the list.
    if (const auto found = find()) {
        select(static_cast<int>(found->position));
    }
}

void CNvItemList::findAgain(bool forward) {
    const auto find = [&] { return findNext(listedItems(), sought_, document_.selectedIndex(), forward); };
    if (!find()) {
        emit searchNotice(noticeOf("No item with \"%1\"", sought_));
        return;
    }
    emit searchNotice({});
    clearFilter();
    emit aboutToSelect();
    if (const auto found = find()) {
        select(static_cast<int>(*found));
    }
}

void CNvItemList::clearFilter() {
    bar_->clear();
}

void CNvItemList::editFilter() {
    setFilterShown(true);
    bar_->focusLine();
}

void CNvItemList::setFilterShown(bool shown) {
    if (shown == isFilterShown()) {
        return;
    }
    if (!shown) {
        const bool hadFocus = bar_->isAncestorOf(QApplication::focusWidget());
        clearFilter();
        if (hadFocus) {
            listBox_->setFocus();
        }
    }
    bar_->setVisible(shown);
    QSettings().setValue(kBarSetting, shown);
}

bool CNvItemList::isFilterShown() const {
    return !bar_->isHidden();
}
