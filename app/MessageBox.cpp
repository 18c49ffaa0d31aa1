#include "app/MessageBox.h"

#include <QMessageBox>

void showMessageBox(QWidget* owner, const QString& text, const QString& caption, MessageIcon icon) {
    QMessageBox box(owner);
    box.setTextFormat(Qt::PlainText); // texts hold '<' and what files and phones say
    box.setText(text);
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
