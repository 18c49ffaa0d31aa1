#include "app/views/CNvParam.h"

#include "app/dialogs/DialogTemplate.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/TemplateLayout.h"
#include "app/document/LoadedDate.h"
#include "app/document/SubFieldText.h"

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
constexpr int kFirstEditId = 7000;
constexpr int kFirstLabelId = 8000;

constexpr std::array<DialogControl, 2> kControls{{
    {kWriteButtonId, ControlKind::kPushButton, "Write NV", 7, 7, 50, 14},
    {kHexBoxId, ControlKind::kCheckBox, "Hex", 62, 12, 29, 10},
}};
/// The part of the form above its rows, which need no more width than their labels do.
constexpr DialogTemplate kTemplate{103, "", 98, 22, kControls};

// The rows in pixels.
constexpr int kEditLeft = 10;
constexpr int kEditRight = 180;
constexpr int kLabelLeft = 190;
constexpr int kLabelRight = 1010;
constexpr int kGapAboveRows = 20;
constexpr int kRowHeight = 20;
constexpr int kGapBetweenRows = 5;

/// Three parts of one colour and one of another.
QColor mixed(const QColor& most, const QColor& rest) {
    const auto part = [](int a, int b) { return (3 * a + b) / 4; };
    return {part(most.red(), rest.red()), part(most.green(), rest.green()), part(most.blue(), rest.blue())};
}

void setControlId(QWidget* control, int id) {
    control->setObjectName("ctl_" + QString::number(id));
    control->setProperty("controlId", id);
}

} // namespace

CNvParam::CNvParam(CCalvaneDoc& document, QWidget* parent)
    : QScrollArea(parent), document_(document), form_(new QWidget) {
    setObjectName("form_103");
    setFocusPolicy(Qt::ClickFocus);
    createControls(*form_, kTemplate);
    writeButton_ = &control<QPushButton>(*form_, kWriteButtonId);
    hexBox_ = &control<QCheckBox>(*form_, kHexBoxId);
    setWidget(form_);
    measureRows();
    connect(writeButton_, &QPushButton::clicked, this, &CNvParam::writeNv);
    connect(hexBox_, &QCheckBox::clicked, this, &CNvParam::toggleHex);
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
        rows_[i].edit->setPalette(editPalette_);
        placeRow(i);
    }
    setScrollExtent();
}

void CNvParam::setWritingAllowed(bool allowed) {
    writeButton_->setEnabled(allowed);
}

void CNvParam::activate() {
    document_.setActiveEditor("NvParam");
}

void CNvParam::deactivate() {
    storeEdits();
    document_.setActiveEditor("null");
}

void CNvParam::focusEditing() {
    const auto canEdit = [](const Row& row) { return row.edit->isVisible() && row.edit->isEnabled(); };
    const auto first = std::find_if(rows_.begin(), rows_.end(), canEdit);
    if (first != rows_.end()) {
        first->edit->setFocus(Qt::ShortcutFocusReason);
    } else {
        writeButton_->isEnabled() ? writeButton_->setFocus(Qt::ShortcutFocusReason) : setFocus();
    }
}

void CNvParam::onUpdate() {
    if (document_.selectedIndex() == -1) {
        return;
    }
    if (const NvItem* item = document_.selectedItem()) {
        buildRows(*item);
    } else {
        showNothing();
    }
}

void CNvParam::showNothing() {
    horizontalScrollBar()->setValue(0);
    verticalScrollBar()->setValue(0);
    showRows(0);
    setScrollExtent();
}

CNvParam::Row CNvParam::makeRow() {
    const int index = static_cast<int>(rows_.size());
    // One line that scrolls sideways: no value needs a second one, and half a value is never hidden below the box.
    Row row{new SubFieldEdit(form_), new QLabel(form_)};
    setControlId(row.edit, kFirstEditId + index);
    setControlId(row.label, kFirstLabelId + index);
    row.label->setTextFormat(Qt::PlainText);
    row.edit->setPalette(editPalette_);
    QWidget::setTabOrder(rows_.empty() ? hexBox_ : static_cast<QWidget*>(rows_.back().edit), row.edit);
    return row;
}

void CNvParam::placeRow(std::size_t index) {
    const int top = writeButton_->geometry().bottom() + 1 + kGapAboveRows +
                    static_cast<int>(index) * (rowHeight_ + kGapBetweenRows);
    rows_[index].edit->setGeometry(kEditLeft, top, kEditRight - kEditLeft, rowHeight_);
    rows_[index].label->setGeometry(kLabelLeft, top, kLabelRight - kLabelLeft, rowHeight_);
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
        rows_.push_back(makeRow());
        placeRow(rows_.size() - 1);
    }
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        rows_[i].edit->setVisible(i < count);
        rows_[i].label->setVisible(i < count);
    }
    shownRows_ = static_cast<int>(count);
}

void CNvParam::buildRows(const NvItem& item) {
    horizontalScrollBar()->setValue(0);
    verticalScrollBar()->setValue(0);
    const auto subItems = item.getSubItems();
    const std::string name = item.getName();
    const bool isStamp = name == kLoadedDateItem || name == kCalibrationDateItem;
    form_->setUpdatesEnabled(false);
    showRows(subItems.size());
    for (std::size_t i = 0; i < subItems.size(); ++i) {
        Row& row = rows_[i];
        const std::string shown = item.isTime() ? dateText(subItems[i].value) : subItems[i].value;
        row.edit->showValue(QString::fromStdString(shown), shown != subItems[i].value);
        row.edit->setEnabled(!isStamp && item.isWritable());
        row.label->setText(QString::fromStdString(typeLabel(subItems[i].typeName) + subItems[i].description));
        row.edit->setAccessibleName(row.label->text());
    }
    if (!subItems.empty()) {
        hexBox_->setEnabled(!isStamp);
    }
    setScrollExtent();
    form_->setUpdatesEnabled(true);
    if (hexBox_->isChecked()) {
        toggleHex(true);
    }
}

void CNvParam::setScrollExtent() {
    int right = TemplateLayout::of(*form_)->naturalSize().width();
    for (const Row& row : shownRows()) {
        right = std::max(right, std::min(kLabelLeft + row.label->sizeHint().width() + kEditLeft, kLabelRight));
    }
    form_->resize(right, rowsBottom());
}

void CNvParam::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    horizontalScrollBar()->setValue(0);
    verticalScrollBar()->setValue(0);
    setScrollExtent();
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
    for (const Row& row : shownRows()) {
        row.edit->showInBase(checked ? 16 : 10);
    }
}

bool CNvParam::leaveHex() {
    if (!hexBox_->isChecked()) {
        return false;
    }
    hexBox_->setChecked(false);
    toggleHex(false);
    return true;
}

void CNvParam::returnToHex() {
    hexBox_->setChecked(true);
    toggleHex(true);
}

void CNvParam::forgetHistory() {
    for (const Row& row : shownRows()) {
        row.edit->forgetHistory();
    }
}

bool CNvParam::isAnyRowModified() const {
    return std::ranges::any_of(shownRows(), [](const Row& row) { return row.edit->isModified(); });
}

SubFieldEdit::Check CNvParam::checkRows() {
    for (const Row& row : shownRows()) {
        const SubFieldEdit::Check check = row.edit->check();
        if (check == SubFieldEdit::Check::kFits) {
            continue;
        }
        const char* wrong =
            check == SubFieldEdit::Check::kEmpty ? " is empty. Fail to store data" : " is not a decimal number";
        showMessageBox(this, row.label->text() + wrong, "", MessageIcon::kNone);
        return check;
    }
    return SubFieldEdit::Check::kFits;
}

QString CNvParam::joinedRows() const {
    QStringList texts;
    for (const Row& row : shownRows()) {
        texts << row.edit->text();
    }
    return texts.join(',');
}

void CNvParam::storeEdits() {
    const bool wasHex = leaveHex();
    if (isAnyRowModified()) {
        const auto check = checkRows();
        if (check == SubFieldEdit::Check::kNotDecimal) {
            return;
        }
        if (check == SubFieldEdit::Check::kFits) {
            storeRows();
        }
    }
    if (wasHex) {
        returnToHex();
    }
}

void CNvParam::storeRows() {
    if (document_.selectedItem() == nullptr) {
        return;
    }
    try {
        document_.storeItemData(static_cast<std::size_t>(document_.selectedIndex()), joinedRows().toStdString());
        forgetHistory();
    } catch (const Calvane::Exception&) {
        showMessageBox(this, "Can't store parameters.", "Exception Thrown", MessageIcon::kError);
    }
}

void CNvParam::writeNv() {
    if (document_.isWaiting()) {
        return;
    }
    const bool wasHex = leaveHex();
    if (shownRows_ > 0 && document_.selectedItem() != nullptr) {
        const auto check = checkRows();
        if (check == SubFieldEdit::Check::kNotDecimal) {
            return;
        }
        if (check == SubFieldEdit::Check::kFits) {
            writeRows();
        }
    }
    if (wasHex) {
        returnToHex();
    }
}

void CNvParam::writeRows() {
    const NvItem* selected = document_.selectedItem();
    if (selected == nullptr) {
        return;
    }
    const std::string name = selected->getName();
    try {
        if (document_.writeItem(name, joinedRows().toStdString())) {
            forgetHistory();
        } else {
            showMessageBox(
                this, "Error: unable to find NV item '" + QString::fromStdString(name) + "' in the document object.",
                "You should never get here!!", MessageIcon::kError);
        }
    } catch (const Calvane::Exception& failure) {
        showMessageBox(this, failure.what(), "Exception Thrown!!!", MessageIcon::kError);
    }
}
