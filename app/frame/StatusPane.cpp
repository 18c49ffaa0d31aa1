#include "app/frame/StatusPane.h"

#include <QTextDocument>
#include <algorithm>

namespace {

/// The width to which a wide pane can shrink and a narrow one can grow. A port's name fits in it.
constexpr int kSmallestWidth = 119;
constexpr int kTextMargin = 12;

} // namespace

StatusPane::StatusPane(int id, const QString& text, int widthPixels, QWidget* parent)
    : QLabel(parent), widthPixels_(widthPixels) {
    setObjectName("pane_" + QString::number(id));
    setProperty("paneId", id);
    setTextFormat(Qt::PlainText);
    setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    setFullText(text);
}

void StatusPane::setFullText(const QString& text) {
    if (text == fullText_) {
        return;
    }
    fullText_ = text;
    // A tooltip has no plain format: a text that looks like markup is escaped.
    setToolTip(Qt::mightBeRichText(text) ? "<span style='white-space:pre'>" + text.toHtmlEscaped() + "</span>" : text);
    // A narrow pane grows with its text; a wide one shortens it.
    const int needed = fontMetrics().horizontalAdvance(text) + kTextMargin;
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
        setText(
            fontMetrics().elidedText(prompt_.isEmpty() ? fullText_ : prompt_, Qt::ElideMiddle, contentsRect().width()));
    }
}
