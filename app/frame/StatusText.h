#pragma once

#include <QString>
#include <QWidget>

/// The text of a part of the status bar, which is cut to the room that there is. The whole of it is the part's tooltip.
/// User-interface thread; the part outlives it.
class StatusText {
public:
    StatusText(QWidget& part, Qt::TextElideMode mode) : part_(part), mode_(mode) {}

    /// Takes the text; false where it has that one already.
    bool set(const QString& text);
    const QString& whole() const { return text_; }
    /// How many pixels the whole of it takes.
    int width() const { return part_.fontMetrics().horizontalAdvance(text_); }
    /// `text`, which may be another one that stands in its place, cut to so many pixels.
    QString cut(const QString& text, int pixels) const { return part_.fontMetrics().elidedText(text, mode_, pixels); }

private:
    QWidget& part_;
    const Qt::TextElideMode mode_;
    QString text_;
};
