#include "app/SubFieldEdit.h"

#include "app/SubFieldText.h"
#include "app/dialogs/DialogControls.h"

SubFieldEdit::SubFieldEdit(QWidget* parent) : QLineEdit(parent) {
    keepToOneLine(*this);
    connect(this, &QLineEdit::textEdited, this, [this] { isNoHex_ = false; });
}

void SubFieldEdit::showValue(const QString& text, bool isDate) {
    date_ = isDate ? text : QString();
    isNoHex_ = false;
    setText(text);
    setCursorPosition(0);
}

void SubFieldEdit::showInBase(int base) {
    const std::string typed = text().toStdString();
    const bool isDate = !date_.isEmpty() && text() == date_;
    const bool isNumber = base == 16 ? !isNoHex_ && isDecimalNumber(typed) : isHexNumber(typed);
    isNoHex_ = base == 10 && isModified() && !isNumber && !isDate;
    if (isDate || typed.empty() || (isModified() && !isNumber))
        forgetHistory();
    else
        setTextKeepingMark(QString::fromStdString(base == 16 ? hexFromDecimal(typed) : decimalFromHex(typed)));
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
    if (text().isEmpty())
        return Check::kEmpty;
    return isNoHex_ || !isDecimalNumber(text().toStdString()) ? Check::kNotDecimal : Check::kFits;
}
