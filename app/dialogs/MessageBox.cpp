#include "app/dialogs/MessageBox.h"

#include <QMessageBox>

namespace {

/// A text of more characters makes a box that is higher than a screen.
constexpr qsizetype kLongestText = 1200;

/// What matters stands at the beginning and, mostly, at the end.
QString withoutMiddle(const QString& text) {
    return text.left(kLongestText / 2) + "\n[...]\n" + text.right(kLongestText / 2);
}

} // namespace

void showMessageBox(QWidget* owner, const QString& text, const QString& caption, MessageIcon icon) {
    QMessageBox box(owner);
    box.setTextFormat(Qt::PlainText); // texts hold '<' and what files and phones say
    box.setText(text.size() <= kLongestText ? text : withoutMiddle(text));
    if (text.size() > kLongestText) {
        box.setDetailedText(text);
    }
    box.setWindowTitle(caption);
    box.setStandardButtons(QMessageBox::Ok);
    switch (icon) {
    case MessageIcon::kNone:
        box.setIcon(QMessageBox::NoIcon);
        break;
    case MessageIcon::kExclamation:
        box.setIcon(QMessageBox::Warning);
        break;
    case MessageIcon::kError:
        box.setIcon(QMessageBox::Critical);
        break;
    }
    box.exec();
}
