#include "app/views/SubFieldEdit.h"

#include "app/dialogs/DialogControls.h"
#include "app/document/SubFieldText.h"

#include <QKeyEvent>
#include <charconv>
#include <cstdint>

SubFieldEdit::SubFieldEdit(QWidget* parent) : QLineEdit(parent) {
    keepToOneLine(*this);
}

void SubFieldEdit::showValue(const QString& text, bool isDate) {
    date_ = isDate ? text : QString();
    refused_.clear();
    base_ = 10;
    setText(text);
    setCursorPosition(0);
}

bool SubFieldEdit::isRefused() const {
    // Typing makes undo available; without it the text is still the refused one.
    return !refused_.isEmpty() && text() == refused_ && !isUndoAvailable();
}

void SubFieldEdit::showInBase(int base) {
    const std::string typed = text().toStdString();
    base_ = base;
    const bool isDate = showsDate();
    const bool isNumber = !isRefused() && (base == 16 ? fitsHex(typed) : isHexNumber(typed));
    if (!isDate && (!isModified() || isNumber) && !typed.empty()) {
        refused_.clear();
        setTextKeepingMark(QString::fromStdString(base == 16 ? hexFromDecimal(typed) : decimalFromHex(typed)));
        return;
    }
    refused_ = isDate ? QString() : text();
    forgetHistory();
}

void SubFieldEdit::putText(const QString& text) {
    refused_.clear();
    setText(text);
    setModified(true);
}

void SubFieldEdit::forgetHistory() {
    setTextKeepingMark(text());
}

void SubFieldEdit::setTextKeepingMark(const QString& text) {
    const bool modified = isModified();
    const int cursor = cursorPosition();
    setText(text);
    setCursorPosition(cursor);
    setModified(modified); // typed text stays an edit in either base
}

SubFieldEdit::Check SubFieldEdit::check() const {
    if (text().isEmpty()) {
        return Check::kEmpty;
    }
    return isRefused() || !isDecimalNumber(text().toStdString()) ? Check::kNotDecimal : Check::kFits;
}

bool SubFieldEdit::isNumber() const {
    const std::string typed = text().toStdString();
    return !isRefused() && (base_ == 16 ? isHexNumber(typed) : isDecimalNumber(typed));
}

std::string SubFieldEdit::decimalText(SubItemType type) const {
    std::string decimal = text().toStdString();
    if (base_ != 16 || !isNumber()) {
        return decimal;
    }
    decimal = decimalFromHex(decimal);
    std::int64_t bits = 0;
    if (type == SubItemType::QWORD && decimal.starts_with('-')) {
        std::from_chars(decimal.data(), decimal.data() + decimal.size(), bits);
        decimal = std::to_string(static_cast<std::uint64_t>(bits));
    }
    return decimal;
}

bool SubFieldEdit::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride) {
        auto* key = static_cast<QKeyEvent*>(event);
        if ((key->matches(QKeySequence::Undo) && !isUndoAvailable()) ||
            (key->matches(QKeySequence::Redo) && !isRedoAvailable())) {
            key->ignore();
            return false;
        }
    }
    return QLineEdit::event(event);
}

void SubFieldEdit::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        emit dropped();
    }
    QLineEdit::keyPressEvent(event);
}
