#include "app/frame/StatusPane.h"

#include <algorithm>

namespace {

/// The width to which a wide pane can shrink and a narrow one can grow. A port's name fits in it.
constexpr int kSmallestWidth = 119;
constexpr int kTextMargin = 12;

} // namespace

StatusPane::StatusPane(int id, const QString& text, int widthPixels, QWidget* parent)
    : QLabel(parent), widthPixels_(widthPixels), text_(*this, Qt::ElideMiddle) {
    setObjectName("pane_" + QString::number(id));
    setProperty("paneId", id);
    setTextFormat(Qt::PlainText);
    setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    setFullText(text);
}

void StatusPane::setFullText(const QString& text) {
    if (!text_.set(text)) {
        return;
    }
    // A narrow pane grows with its text; a wide one shortens it.
    const int needed = text_.width() + kTextMargin;
    currentWidth_ = std::max(widthPixels_, wholeTextShown_ ? needed : std::min(needed, kSmallestWidth));
    setMaximumWidth(currentWidth_);
    updateGeometry();
    showText();
}

void StatusPane::setPrompt(const QString& prompt) {
    prompt_ = prompt;
    showText();
}

QSize StatusPane::sizeHint() const {
    return {currentWidth_, QLabel::sizeHint().height()};
}

QSize StatusPane::minimumSizeHint() const {
    return {wholeTextShown_ ? currentWidth_ : std::min(currentWidth_, kSmallestWidth),
            QLabel::minimumSizeHint().height()};
}

void StatusPane::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    showText();
}

void StatusPane::showText() {
    if (pixmap().isNull()) {
        setText(text_.cut(prompt_.isEmpty() ? text_.whole() : prompt_, contentsRect().width()));
    }
}
