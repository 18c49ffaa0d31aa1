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
    // What was typed since can be undone; without that, the text is the very one that was refused.
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
    setModified(modified); // what was typed stays an edit, whichever way it is shown
}

SubFieldEdit::Check SubFieldEdit::check() const {
    if (text().isEmpty()) {
        return Check::kEmpty;
    }
    return isRefused() || !isDecimalNumber(text().toStdString()) ? Check::kNotDecimal : Check::kFits;
}
