#include "app/frame/StatusButton.h"

#include <algorithm>

namespace {

constexpr int kSmallestWidth = 80;
constexpr int kLargestWidth = 600;
constexpr int kTextMargin = 14;
constexpr int kFrame = 12; ///< around the text and its margin, as styles draw it

} // namespace

StatusButton::StatusButton(QWidget* parent) : QToolButton(parent), text_(*this, Qt::ElideRight) {
    setAutoRaise(true);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    hide();
}

void StatusButton::setFullText(const QString& text) {
    if (!text_.set(text)) {
        return;
    }
    setAccessibleName(text);
    setHidden(text.isEmpty());
    updateGeometry();
    showText();
}

QSize StatusButton::sizeHint() const {
    const int needed = text_.width() + kTextMargin + kFrame;
    return {std::min(needed, kLargestWidth), QToolButton::sizeHint().height()};
}

QSize StatusButton::minimumSizeHint() const {
    return {std::min(sizeHint().width(), kSmallestWidth), QToolButton::sizeHint().height()};
}

void StatusButton::resizeEvent(QResizeEvent* event) {
    QToolButton::resizeEvent(event);
    showText();
}

void StatusButton::showText() {
    setText(text_.cut(text_.whole(), width() - kTextMargin).replace('&', "&&"));
}
