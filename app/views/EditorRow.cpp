#include "app/views/EditorRow.h"

#include "app/dialogs/ShownText.h"
#include "app/document/SubFieldText.h"
#include "app/views/MatchColours.h"
#include "app/views/UnitLabel.h"

#include <QLabel>
#include <algorithm>
#include <utility>

namespace {

constexpr int kFirstEditId = 7000;
constexpr int kFirstLabelId = 8000;

// In pixels.
constexpr int kEditLeft = 10;
constexpr int kEditRight = 180;
constexpr int kLabelLeft = 190;
constexpr int kLabelRight = 1010;
constexpr int kHintGap = 16;

void setControlId(QWidget* control, int id) {
    control->setObjectName("ctl_" + QString::number(id));
    control->setProperty("controlId", id);
}

QString inBase(int base, const std::string& decimal) {
    return QString::fromStdString(base == 16 ? hexFromDecimal(decimal) : decimal);
}

QString fault(workbench::TypedValue::Verdict verdict, int base) {
    switch (verdict) {
    case workbench::TypedValue::Verdict::kEmpty:
        return "empty, ";
    case workbench::TypedValue::Verdict::kNoNumber:
        return base == 16 ? "no hexadecimal number, " : "no decimal number, ";
    default:
        return {};
    }
}

} // namespace

EditorRow::EditorRow(QWidget* form, int index)
    : edit_(new SubFieldEdit(form)), label_(new QLabel(form)), mark_(new QLabel(form)), palette_(edit_->palette()) {
    setControlId(edit_, kFirstEditId + index);
    setControlId(label_, kFirstLabelId + index);
    label_->setTextFormat(Qt::PlainText);
    mark_->setAlignment(Qt::AlignCenter);
    QFont bold = mark_->font();
    bold.setBold(true);
    mark_->setFont(bold);
}

void EditorRow::place(int top, int height) {
    edit_->setGeometry(kEditLeft, top, kEditRight - kEditLeft, height);
    label_->setGeometry(kLabelLeft, top, kLabelRight - kLabelLeft, height);
    mark_->setGeometry(0, top, kEditLeft, height);
    if (hint_ != nullptr) {
        const int left = kLabelLeft + label_->sizeHint().width() + kHintGap;
        hint_->setGeometry(left, top, hint_->sizeHint().width(), height);
    }
}

void EditorRow::setVisible(bool visible) {
    edit_->setVisible(visible);
    label_->setVisible(visible);
    if (!visible) {
        changed_ = false;
        changeText_.clear();
        held_ = false;
    }
    showMarks();
}

void EditorRow::setEditPalette(const QPalette& palette) {
    palette_ = palette;
    showPalette();
}

int EditorRow::right(int limit) const {
    const int right = std::min(kLabelLeft + label_->sizeHint().width() + kEditLeft, limit);
    return held_ ? std::max(right, hint_->geometry().right() + kEditLeft) : right;
}

void EditorRow::show(const SubItem& subItem, SubItemType type, const std::string& shown) {
    type_ = type;
    agreed_.clear();
    edit_->showValue(QString::fromStdString(shown), shown != subItem.value);
    label_->setText(shownText(typeLabel(subItem.typeName) + subItem.description));
    edit_->setAccessibleName(label_->text());
    release();
}

void EditorRow::showChange(const workbench::SubFieldRow& row, const QString& source) {
    changed_ = row.state != workbench::RowState::kEqual;
    const QString known = row.right.empty() ? "It has never had a value."
                                            : "Was " + QString::fromStdString(row.right) + " (" + source + ")";
    changeText_ = changed_ ? known : QString();
    showMarks();
}

void EditorRow::showUnit(const workbench::FieldUnit* unit) {
    if (unit_ == nullptr && unit != nullptr) {
        unit_ = new UnitLabel(*edit_);
    }
    if (unit_ != nullptr) {
        unit_->showUnit(unit, type_);
    }
}

void EditorRow::showMatch(bool matches) {
    if (std::exchange(matches_, matches) == matches) {
        return;
    }
    QPalette colours; // those of the form, where nothing is set
    if (matches) {
        colours.setColor(QPalette::Window, matchGround(palette_.color(QPalette::Active, QPalette::Window)));
    }
    label_->setPalette(colours);
    label_->setAutoFillBackground(matches);
    label_->setAccessibleDescription(matches ? "fits the filter" : "");
    QFont font = label_->font();
    font.setUnderline(matches);
    label_->setFont(font);
}

bool EditorRow::isTyped() const {
    return edit_->isModified() && !edit_->showsDate();
}

workbench::TypedValue EditorRow::judge() const {
    using Verdict = workbench::TypedValue::Verdict;
    workbench::TypedValue typed = workbench::checkTypedValue(type_, edit_->decimalText(type_));
    if (edit_->text().isEmpty()) {
        typed.verdict = Verdict::kEmpty;
    } else if (!edit_->isNumber()) {
        typed.verdict = Verdict::kNoNumber;
    } else if (typed.verdict == Verdict::kChanged && !agreed_.empty() && agreed_ == edit_->text().toStdString()) {
        typed.verdict = Verdict::kFits;
    }
    return typed;
}

std::string EditorRow::storedText() const {
    const std::string text = edit_->decimalText(type_);
    const workbench::TypedValue typed = workbench::checkTypedValue(type_, text);
    return typed.verdict == workbench::TypedValue::Verdict::kChanged ? typed.stored : text;
}

void EditorRow::hold(const workbench::TypedValue& typed) {
    if (hint_ == nullptr) {
        hint_ = new QLabel(edit_->parentWidget());
        hint_->setObjectName(edit_->objectName() + "_hint");
        hint_->setTextFormat(Qt::PlainText);
        hint_->setFont(mark_->font());
    }
    const int base = edit_->base();
    QString text = fault(typed.verdict, base) + inBase(base, typed.smallest) + " to " + inBase(base, typed.largest);
    if (!typed.stored.empty()) {
        text += "; Enter stores it as " + inBase(base, typed.stored);
    }
    hint_->setText(text);
    held_ = true;
    place(edit_->y(), edit_->height());
    showMarks();
}

void EditorRow::release() {
    if (std::exchange(held_, false)) {
        showMarks();
    }
}

QString EditorRow::hint() const {
    return held_ ? hint_->text() : QString();
}

void EditorRow::agree() {
    const workbench::TypedValue typed = judge();
    if (held_ && typed.verdict == workbench::TypedValue::Verdict::kChanged && !typed.stored.empty()) {
        agreed_ = edit_->text().toStdString();
    }
}

void EditorRow::showMarks() {
    // Of 128 rows most stay as they are when another item is shown, and setting what is set already is not free.
    const bool shown = !edit_->isHidden();
    const QString mark = held_ ? "!" : changed_ ? "*" : "";
    if (mark_->text() != mark || mark_->isHidden() != (mark.isEmpty() || !shown)) {
        mark_->setText(mark);
        mark_->setVisible(shown && !mark.isEmpty());
    }
    if (hint_ != nullptr) {
        hint_->setVisible(shown && held_);
    }
    if (const QString tip = plainToolTip(held_ ? hint() : changeText_); edit_->toolTip() != tip) {
        edit_->setToolTip(tip);
        edit_->setAccessibleDescription(held_ ? "Not stored: " + hint() : changeText_);
    }
    if (QFont font = edit_->font(); font.bold() != changed_) {
        font.setBold(changed_);
        edit_->setFont(font);
    }
    if (paletteOfHeld_ != held_) {
        showPalette();
    }
}

void EditorRow::showPalette() {
    QPalette palette = palette_;
    if (held_) {
        const QColor base = palette.color(QPalette::Active, QPalette::Base);
        palette.setColor(QPalette::Base, {(3 * base.red() + 255) / 4, 3 * base.green() / 4, 3 * base.blue() / 4});
    }
    edit_->setPalette(palette);
    paletteOfHeld_ = held_;
}
