#include "app/dialogs/MessageBox.h"

#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"
#include "workbench/MessageText.h"

#include <QFontMetrics>
#include <QGridLayout>
#include <QMessageBox>
#include <QScreen>
#include <algorithm>

namespace {

/// What is shown on demand of a longer text: a window takes no second for it.
constexpr workbench::TextBounds kDetails{20000, 200};

} // namespace

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

void showMessageBox(QWidget* owner, const QString& message, const QString& caption, MessageIcon icon) {
    std::string whole = workbench::shownMessage(message.toStdString());
    whole.erase(whole.find_last_not_of('\n') + 1);
    const QString text = shownLines(whole);
    QMessageBox box(owner);
    box.setTextFormat(Qt::PlainText); // texts hold '<' and what files and phones say
    box.setText(text);
    if (text.toStdString() != whole) {
        box.setDetailedText(QString::fromStdString(workbench::withinBounds(whole, kDetails)));
    }
    box.setWindowTitle(caption);
    setHelpPart(box, "messages");
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
