#include "app/views/EditorHeader.h"

#include "app/dialogs/ShownText.h"
#include "engine/NvItem.h"

#include <QHBoxLayout>
#include <QLabel>

namespace {

QLabel* makeLabel(QWidget* parent, const char* name, bool bold) {
    auto* label = new QLabel(parent);
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setFocusPolicy(Qt::NoFocus);
    QFont font = label->font();
    font.setBold(bold);
    label->setFont(font);
    // A pane that is narrower than the text cuts it off rather than becoming wider.
    label->setMinimumWidth(1);
    return label;
}

QString stateText(const NvItem& item, std::size_t differing, bool isKnown) {
    const std::size_t count = item.getSubItemCount();
    QString text = shownText(item.getAccess()) + ", ";
    if (!isKnown) {
        return text + "never had a value";
    }
    if (differing == 0) {
        return text + "unchanged";
    }
    return text + QString("%1 of %2 %3").arg(differing).arg(count).arg(count == 1 ? "value changed" : "values changed");
}

} // namespace

EditorHeader::EditorHeader(QWidget* parent)
    : QWidget(parent), name_(makeLabel(this, "editor_item", true)), state_(makeLabel(this, "editor_state", false)),
      notice_(makeLabel(this, "editor_notice", true)) {
    setObjectName("editor_header");
    setAutoFillBackground(true);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 3, 6, 3);
    layout->setSpacing(12);
    layout->addWidget(name_);
    layout->addWidget(state_);
    layout->addWidget(notice_, 1);
    showItem(nullptr, 0, false);
}

void EditorHeader::showItem(const NvItem* item, std::size_t differing, bool isKnown) {
    name_->setText(item == nullptr ? QString("No item is selected")
                                   : QString::number(item->getId()) + " " + shownText(item->getName()));
    state_->setText(item == nullptr ? QString() : stateText(*item, differing, isKnown));
    name_->setToolTip(plainToolTip(name_->text()));
    state_->setToolTip(plainToolTip(state_->text()));
}

void EditorHeader::showNotice(const QString& notice) {
    notice_->setText(notice);
    notice_->setToolTip(plainToolTip(notice));
}
