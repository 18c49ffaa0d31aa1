#include "app/dialogs/MessageBox.h"

#include "workbench/MessageText.h"

#include <QFontMetrics>
#include <QGridLayout>
#include <QMessageBox>
#include <QScreen>
#include <algorithm>

namespace {

/// A text of more characters makes a box that is higher than a screen.
constexpr qsizetype kLongestText = 1200;

/// What matters stands at the beginning and, mostly, at the end.
QString withoutMiddle(const QString& text) {
    return text.left(kLongestText / 2) + "\n[...]\n" + text.right(kLongestText / 2);
}

/// Makes a box wide enough for its caption, which the desktop draws in a bold font beside its buttons.
void makeRoomForCaption(QMessageBox& box) {
    constexpr int kButtonsPixels = 140;
    QFont bold = box.font();
    bold.setBold(true);
    const int needed = QFontMetrics(bold).horizontalAdvance(box.windowTitle()) + kButtonsPixels;
    if (auto* grid = qobject_cast<QGridLayout*>(box.layout())) {
        const int width = std::min(needed, box.screen()->availableSize().width() * 3 / 4);
        grid->addItem(new QSpacerItem(width, 0), grid->rowCount(), 0, 1, grid->columnCount());
    }
}

} // namespace

void showMessageBox(QWidget* owner, const QString& message, const QString& caption, MessageIcon icon) {
    QString text = QString::fromStdString(workbench::shownMessage(message.toStdString()));
    while (text.endsWith('\n')) {
        text.chop(1);
    }
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
    makeRoomForCaption(box);
    box.exec();
}
