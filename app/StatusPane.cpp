#include "app/StatusPane.h"

namespace {

constexpr int kSmallestWidth = 40;

} // namespace

StatusPane::StatusPane(int id, const QString& text, int widthPixels, QWidget* parent)
    : QLabel(parent), widthPixels_(widthPixels) {
    setObjectName("pane_" + QString::number(id));
    setProperty("paneId", id);
    setTextFormat(Qt::PlainText);
    setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    setMaximumWidth(widthPixels);
    setFullText(text);
}

void StatusPane::setFullText(const QString& text) {
    if (text == fullText_)
        return;
    fullText_ = text;
    setToolTip(text);
    showText();
}

QSize StatusPane::sizeHint() const {
    return {widthPixels_, QLabel::sizeHint().height()};
}

QSize StatusPane::minimumSizeHint() const {
    return {std::min(widthPixels_, kSmallestWidth), QLabel::minimumSizeHint().height()};
}

void StatusPane::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    showText();
}

void StatusPane::showText() {
    if (pixmap().isNull())
        setText(fontMetrics().elidedText(fullText_, Qt::ElideMiddle, contentsRect().width()));
}
