#include "app/frame/FileDrop.h"

#include "app/frame/CSplitterFrame.h"

#include <QApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>

namespace {

/// The local files that are dragged; empty where it is something else.
QStringList filesIn(const QMimeData& data) {
    QStringList paths;
    for (const QUrl& url : data.urls()) {
        if (url.isLocalFile()) {
            paths << url.toLocalFile();
        }
    }
    return paths;
}

} // namespace

FileDrop::FileDrop(QWidget& mainWindow) : QObject(&mainWindow), mainWindow_(mainWindow) {
    mainWindow.setAcceptDrops(true);
    qApp->installEventFilter(this);
}

bool FileDrop::mayDrop() const {
    return !CSplitterFrame::isAnyWaiting(mainWindow_) && QApplication::activeModalWidget() == nullptr;
}

bool FileDrop::eventFilter(QObject* watched, QEvent* event) {
    const bool isDrag =
        event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove || event->type() == QEvent::Drop;
    const auto* widget = isDrag ? qobject_cast<QWidget*>(watched) : nullptr;
    if (widget == nullptr || widget->window() != &mainWindow_) {
        return false;
    }
    auto& drop = static_cast<QDropEvent&>(*event);
    const QStringList paths = filesIn(*drop.mimeData());
    if (paths.isEmpty()) {
        return false;
    }
    take(drop, paths);
    return true;
}

void FileDrop::take(QDropEvent& event, const QStringList& paths) {
    if (!mayDrop()) {
        event.ignore();
        return;
    }
    event.setDropAction(Qt::CopyAction);
    event.accept();
    if (event.type() == QEvent::Drop) {
        QMetaObject::invokeMethod(
            this, [this, paths] { emit dropped(paths); }, Qt::QueuedConnection);
    }
}
