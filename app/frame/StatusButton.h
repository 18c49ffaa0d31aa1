#pragma once

#include "app/frame/StatusText.h"

#include <QToolButton>

/// A flat button of the status bar. Where there is less room than its text takes, the text is cut at its end; the whole
/// of it is the tooltip. Hidden while it has none. User-interface thread.
class StatusButton : public QToolButton {
    Q_OBJECT
public:
    explicit StatusButton(QWidget* parent);

    void setFullText(const QString& text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void showText();

    StatusText text_;
};
