#include "app/frame/StatusButton.h"

#include <algorithm>

namespace {

constexpr int kSmallestWidth = 80;
constexpr int kLargestWidth = 600;
constexpr int kTextMargin = 14;
constexpr int kFrame = 12; ///< around the text and its margin, as styles draw it

} // namespace

StatusButton::StatusButton(QWidget* parent) : QToolButton(parent) {
    setAutoRaise(true);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    hide();
}

void StatusButton::setFullText(const QString& text) {
    if (text == fullText_) {
        return;
    }
    fullText_ = text;
    setToolTip(text.toHtmlEscaped());
    setAccessibleName(text);
    setHidden(text.isEmpty());
    updateGeometry();
    showText();
}

QSize StatusButton::sizeHint() const {
    const int needed = fontMetrics().horizontalAdvance(fullText_) + kTextMargin + kFrame;
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
    setText(fontMetrics().elidedText(fullText_, Qt::ElideRight, width() - kTextMargin).replace('&', "&&"));
}
