#pragma once

#include "app/frame/StatusText.h"

#include <QLabel>

/// One pane of the status bar: sunken, of a wanted width. Where there is less room its text is shortened in the middle.
class StatusPane : public QLabel {
    Q_OBJECT
public:
    StatusPane(int id, const QString& text, int widthPixels, QWidget* parent);

    /// Replaces the text; the whole of it is also the tooltip.
    void setFullText(const QString& text);
    const QString& fullText() const { return text_.whole(); }
    /// Lets the pane grow to the width of its text, and not shrink below it.
    void setWholeTextShown() { wholeTextShown_ = true; }
    /// Stands in place of the text until it is empty again. The pane keeps its width.
    void setPrompt(const QString& prompt);
    const QString& prompt() const { return prompt_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void showText();

    const int widthPixels_;
    int currentWidth_ = 0;
    bool wholeTextShown_ = false;
    StatusText text_;
    QString prompt_;
};
