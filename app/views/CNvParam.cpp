#include "app/views/CNvParam.h"

#include "app/dialogs/DialogTemplate.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/TemplateLayout.h"
#include "app/document/SubFieldText.h"
#include "app/views/EditorHeader.h"
#include "app/views/EditorTable.h"
#include "app/views/SourceText.h"
#include "workbench/LoadedDate.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <algorithm>
#include <array>

namespace {

constexpr int kWriteButtonId = 1001;
constexpr int kHexBoxId = 1002;

constexpr std::array<DialogControl, 2> kControls{{
    {kWriteButtonId, ControlKind::kPushButton, "Write NV", 7, 7, 50, 14},
    {kHexBoxId, ControlKind::kCheckBox, "Hex", 62, 12, 29, 10},
}};
/// The part of the form above its rows, which need no more width than their labels do.
constexpr DialogTemplate kTemplate{103, "", 98, 22, kControls};

// The rows in pixels.
constexpr int kLabelRight = 1010;
constexpr int kGapAboveRows = 20;
constexpr int kRowHeight = 20;
constexpr int kGapBetweenRows = 5;

/// Three parts of one colour and one of another.
QColor mixed(const QColor& most, const QColor& rest) {
    const auto part = [](int a, int b) { return (3 * a + b) / 4; };
    return {part(most.red(), rest.red()), part(most.green(), rest.green()), part(most.blue(), rest.blue())};
}

} // namespace

CNvParam::CNvParam(CCalvaneDoc& document, EditHistory& history, const SafeHands* safeHands, QWidget* parent)
    : QScrollArea(parent), document_(document), history_(history), safeHands_(safeHands),
      header_(new EditorHeader(this)), table_(new EditorTable(*this)), form_(new QWidget) {
    setObjectName("form_103");
    setHelpPart(*this, "edit");
    setFocusPolicy(Qt::ClickFocus);
    createControls(*form_, kTemplate);
    writeButton_ = &control<QPushButton>(*form_, kWriteButtonId);
    hexBox_ = &control<QCheckBox>(*form_, kHexBoxId);
    setWidget(form_);
    measureRows();
    connect(writeButton_, &QPushButton::clicked, this, &CNvParam::writeNv);
    connect(hexBox_, &QCheckBox::clicked, this, &CNvParam::toggleHex);
    connect(table_, &EditorTable::selectionChanged, this, &CNvParam::showNotice);
    document_.addView(this);
}

CNvParam::~CNvParam() {
    document_.removeView(this);
}

void CNvParam::measureRows() {
    // A row is as high as its text needs where the desktop's font is larger than usual.
    rowHeight_ = std::max(kRowHeight, form_->fontMetrics().height() + 4);
    verticalScrollBar()->setSingleStep(rowHeight_ + kGapBetweenRows);
    // Values that can't be edited are there to be read, so they are only a little paler than the others.
    QPalette palette = QApplication::palette(form_);
    palette.setColor(
        QPalette::Disabled, QPalette::Text,
        mixed(palette.color(QPalette::Active, QPalette::Text), palette.color(QPalette::Disabled, QPalette::Base)));
    editPalette_ = palette;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        rows_[i].setEditPalette(editPalette_);
        placeRow(i);
    }
    setScrollExtent();
    placeHeader();
}

void CNvParam::placeHeader() {
    const int height = header_->sizeHint().height();
    setViewportMargins(0, height, 0, 0);
    header_->setGeometry(frameWidth(), frameWidth(), width() - 2 * frameWidth(), height);
}

void CNvParam::setWritingAllowed(bool allowed) {
    writeButton_->setEnabled(allowed);
}

void CNvParam::activate() {
    document_.setActiveEditor("NvParam");
}

void CNvParam::deactivate() {
    store();
    document_.setActiveEditor("null");
}

void CNvParam::focusEditing() {
    const auto canEdit = [](const EditorRow& row) { return row.edit().isVisible() && row.edit().isEnabled(); };
    const auto first = std::find_if(rows_.begin(), rows_.end(), canEdit);
    if (first != rows_.end()) {
        first->edit().setFocus(Qt::ShortcutFocusReason);
    } else {
        writeButton_->isEnabled() ? writeButton_->setFocus(Qt::ShortcutFocusReason) : setFocus();
    }
}

void CNvParam::onUpdate() {
    const NvItem* item = document_.selectedItem();
    const bool safe = isOn(safeHands_);
    if (document_.selectedIndex() == -1 && !safe) {
        showMarks();
        return;
    }
    if (item == nullptr) {
        showNothing();
    } else if (safe && isShown(*item)) {
        refreshRows(*item);
    } else {
        buildRows(*item);
    }
    showMarks();
}

void CNvParam::onListToBeReplaced() {
    if (isOn(safeHands_)) {
        storeTyped();
    }
}

bool CNvParam::isShown(const NvItem& item) const {
    return shown_ && shown_->getId() == item.getId() && shown_->getName() == item.getName() &&
           shown_->hasLayoutOf(item);
}

void CNvParam::showNothing() {
    shown_.reset();
    waiting_ = {};
    horizontalScrollBar()->setValue(0);
    verticalScrollBar()->setValue(0);
    showRows(0);
    table_->itemShown();
    setScrollExtent();
}

void CNvParam::showMarks() {
    const NvItem* item = document_.selectedItem();
    if (item == nullptr || !isShown(*item)) {
        header_->showItem(nullptr, 0, false);
        return;
    }
    const auto compared = document_.baseline().compared(*item);
    const auto* known = document_.baseline().values().find(item->getId());
    const QString source = known == nullptr ? QString() : sourceText(*known->source);
    for (std::size_t i = 0; i < shownRows().size() && i < compared.size(); ++i) {
        rows_[i].showChange(compared[i], source);
    }
    const auto isEqual = [](const workbench::SubFieldRow& row) { return row.state == workbench::RowState::kEqual; };
    const auto equal = static_cast<std::size_t>(std::ranges::count_if(compared, isEqual));
    header_->showItem(item, compared.size() - equal, known != nullptr);
    showNotice();
    showMatches();
}

void CNvParam::markRows(std::function<bool(const SubItem&)> fits) {
    fits_ = std::move(fits);
    showMatches();
}

void CNvParam::showMatches() {
    const NvItem* item = document_.selectedItem();
    const bool marks = fits_ && item != nullptr && isShown(*item);
    const auto subItems = marks ? item->getSubItems() : std::vector<SubItem>();
    for (std::size_t i = 0; i < shownRows().size(); ++i) {
        rows_[i].showMatch(i < subItems.size() && fits_(subItems[i]));
    }
}

void CNvParam::makeRow() {
    const std::size_t index = rows_.size();
    // One line that scrolls sideways: no value needs a second one, and half a value is never hidden below the box.
    rows_.emplace_back(form_, static_cast<int>(index));
    EditorRow& row = rows_.back();
    row.setEditPalette(editPalette_);
    QWidget::setTabOrder(index == 0 ? hexBox_ : static_cast<QWidget*>(&rows_[index - 1].edit()), &row.edit());
    connect(&row.edit(), &QLineEdit::returnPressed, this, [this, index] { takeTyped(index); });
    connect(&row.edit(), &SubFieldEdit::dropped, this, [this, index] { dropTyped(index); });
    connect(&row.edit(), &QLineEdit::textEdited, this, [this, index] { judgeAgain(index); });
    table_->addRow(row);
}

void CNvParam::placeRow(std::size_t index) {
    const int top = writeButton_->geometry().bottom() + 1 + kGapAboveRows +
                    static_cast<int>(index) * (rowHeight_ + kGapBetweenRows);
    rows_[index].place(top, rowHeight_);
}

int CNvParam::rowsBottom() const {
    const int top = writeButton_->geometry().bottom() + 1 + kGapAboveRows;
    return top + shownRows_ * (rowHeight_ + kGapBetweenRows) + rowHeight_;
}

void CNvParam::keepFocusInPane() {
    // A row that is hidden or disabled while it has the focus would pass it on, maybe to the other pane.
    if (form_->isAncestorOf(QApplication::focusWidget())) {
        setFocus();
    }
}

void CNvParam::showRows(std::size_t count) {
    keepFocusInPane();
    while (rows_.size() < count) {
        makeRow();
        placeRow(rows_.size() - 1);
    }
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        rows_[i].setVisible(i < count);
    }
    shownRows_ = static_cast<int>(count);
}

void CNvParam::fillRow(std::size_t index, bool isTime, const SubItem& subItem, SubItemType type) {
    rows_[index].show(subItem, type, isTime ? dateText(subItem.value) : subItem.value);
}

void CNvParam::buildRows(const NvItem& item) {
    shown_ = item;
    waiting_ = {};
    horizontalScrollBar()->setValue(0);
    verticalScrollBar()->setValue(0);
    const auto subItems = item.getSubItems();
    const auto types = item.getSubItemTypes();
    const std::string name = item.getName();
    const bool isStamp = name == workbench::kLoadedDateItem || name == workbench::kCalibrationDateItem;
    form_->setUpdatesEnabled(false);
    showRows(subItems.size());
    for (std::size_t i = 0; i < subItems.size(); ++i) {
        fillRow(i, item.isTime(), subItems[i], types[i]);
        rows_[i].showUnit(item.isTime() ? nullptr : document_.units().find(item.getId(), i));
        rows_[i].edit().setEnabled(!isStamp && item.isWritable());
    }
    table_->itemShown();
    if (!subItems.empty()) {
        hexBox_->setEnabled(!isStamp);
    }
    setScrollExtent();
    form_->setUpdatesEnabled(true);
    if (hexBox_->isChecked()) {
        toggleHex(true);
    }
}

void CNvParam::refreshRows(const NvItem& item) {
    shown_ = item;
    const auto subItems = item.getSubItems();
    const auto types = item.getSubItemTypes();
    for (std::size_t i = 0; i < shownRows().size(); ++i) {
        if (rows_[i].isTyped() || rows_[i].isHeld()) {
            continue;
        }
        const int cursor = rows_[i].edit().cursorPosition();
        fillRow(i, item.isTime(), subItems[i], types[i]);
        if (hexBox_->isChecked()) {
            rows_[i].edit().showInBase(16);
        }
        rows_[i].edit().setCursorPosition(cursor);
    }
}

void CNvParam::setScrollExtent() {
    int right = TemplateLayout::of(*form_)->naturalSize().width();
    for (const EditorRow& row : shownRows()) {
        right = std::max(right, row.right(kLabelRight));
    }
    form_->resize(right, rowsBottom());
}

void CNvParam::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    horizontalScrollBar()->setValue(0);
    verticalScrollBar()->setValue(0);
    setScrollExtent();
    placeHeader();
}

bool CNvParam::event(QEvent* event) {
    // The buttons are laid out anew when the form has taken the new font.
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange ||
        event->type() == QEvent::PaletteChange) {
        QMetaObject::invokeMethod(this, &CNvParam::measureRows, Qt::QueuedConnection);
    }
    return QScrollArea::event(event);
}

void CNvParam::toggleHex(bool checked) {
    for (const EditorRow& row : shownRows()) {
        row.edit().showInBase(checked ? 16 : 10);
    }
    for (std::size_t i = 0; i < shownRows().size(); ++i) {
        judgeAgain(i); // what a held value may be is told in the base that is shown
    }
}
