#include "app/dialogs/ShownText.h"

#include "workbench/MessageText.h"

#include <QLabel>
#include <QTextDocument>

namespace {

/// A ring may describe a sub-field by a sentence of 400 letters.
constexpr workbench::TextBounds kLine{500, 1};
/// A box with more is higher than a screen.
constexpr workbench::TextBounds kBox{2400, 10};

} // namespace

QString shownText(std::string_view text) {
    return QString::fromStdString(workbench::withinBounds(workbench::shownText(text), kLine));
}

QString shownLines(std::string_view text) {
    return QString::fromStdString(workbench::withinBounds(workbench::shownMessage(text), kBox));
}

QString plainToolTip(const QString& text) {
    return Qt::mightBeRichText(text) ? "<span style='white-space:pre'>" + text.toHtmlEscaped() + "</span>" : text;
}

QLabel* plainLabel(const char* name) {
    auto* label = new QLabel;
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}
