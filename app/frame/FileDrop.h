#pragma once

#include <QObject>
#include <QStringList>

class QDropEvent;
class QWidget;

/// Takes the files that are dropped anywhere on the main window: also on a box, which would otherwise take their names
/// for typed text. None is taken while a command waits or a question is open. Owned by the main window. User-interface
/// thread.
class FileDrop : public QObject {
    Q_OBJECT
public:
    explicit FileDrop(QWidget& mainWindow);

    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    /// Comes once the drop is over: whoever has dragged does not wait for what is done with the files.
    void dropped(const QStringList& paths);

private:
    bool mayDrop() const;
    void take(QDropEvent& event, const QStringList& paths);

    QWidget& mainWindow_;
};
