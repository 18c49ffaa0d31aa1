#include "app/views/SubFieldEdit.h"

#include "app/dialogs/DialogControls.h"
#include "app/document/SubFieldText.h"

SubFieldEdit::SubFieldEdit(QWidget* parent) : QLineEdit(parent) {
    keepToOneLine(*this);
}

void SubFieldEdit::showValue(const QString& text, bool isDate) {
    date_ = isDate ? text : QString();
    refused_.clear();
    setText(text);
    setCursorPosition(0);
}

bool SubFieldEdit::isRefused() const {
    // Typing makes undo available; without it the text is still the refused one.
    return !refused_.isEmpty() && text() == refused_ && !isUndoAvailable();
}

void SubFieldEdit::showInBase(int base) {
    const std::string typed = text().toStdString();
    const bool isDate = !date_.isEmpty() && text() == date_;
    const bool isNumber = !isRefused() && (base == 16 ? fitsHex(typed) : isHexNumber(typed));
    if (!isDate && (!isModified() || isNumber) && !typed.empty()) {
        refused_.clear();
        setTextKeepingMark(QString::fromStdString(base == 16 ? hexFromDecimal(typed) : decimalFromHex(typed)));
        return;
    }
    refused_ = isDate ? QString() : text();
    forgetHistory();
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
