#include "app/dialogs/ShellOpen.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QSaveFile>
#include <QScreen>
#include <QStandardPaths>
#include <QTextBrowser>
#include <QUrl>

namespace {

bool isHtmlPage(const QByteArray& content) {
    return content.left(256).trimmed().toLower().startsWith("<!doctype html");
}

/// The page under a name that the desktop knows; empty where it can't be written.
QString copyNamedHtml(const QFileInfo& file, const QByteArray& content) {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    const QString path = folder + QLatin1Char('/') + file.completeBaseName() + QStringLiteral(".html");
    QSaveFile copy(path);
    if (folder.isEmpty() || !QDir().mkpath(folder) || !copy.open(QFile::WriteOnly)) {
        return {};
    }
    copy.write(content);
    return copy.commit() ? path : QString();
}

/// A page in a window of its own; Escape closes it.
class PageWindow : public QTextBrowser {
public:
    explicit PageWindow(const QByteArray& content, QWidget* parent) : QTextBrowser(parent) {
        setWindowFlag(Qt::Window);
        setAttribute(Qt::WA_DeleteOnClose);
        setOpenExternalLinks(true);
        QPalette colors = palette();
        if (colors.color(QPalette::Base).lightness() < 128 && colors.color(QPalette::Link).lightness() < 160) {
            colors.setColor(QPalette::Link, colors.color(QPalette::Link).lighter(250)); // dark blue on black
            setPalette(colors);
        }
        setHtml(QString::fromUtf8(content));
        setWindowTitle(documentTitle());
        const int em = fontMetrics().height();
        resize(QSize(45 * em, 45 * em).boundedTo(screen()->availableSize() * 0.9));
    }

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Escape) {
            close();
            return;
        }
        QTextBrowser::keyPressEvent(event);
    }
};

} // namespace

bool shellOpen(const QString& path, QWidget* parent, const QString& anchor) {
    const QFileInfo info(path);
    QFile file(path);
    if (!file.open(QFile::ReadOnly)) {
        return false;
    }
    const QByteArray content = file.readAll();
    const bool page = isHtmlPage(content);
    QString target = info.absoluteFilePath();
    if (page && info.suffix().compare(QLatin1String("html"), Qt::CaseInsensitive) != 0) {
        target = copyNamedHtml(info, content);
    }
    QUrl url = QUrl::fromLocalFile(target);
    if (page && !anchor.isEmpty()) {
        url.setFragment(anchor);
    }
    if (!target.isEmpty() && QDesktopServices::openUrl(url)) {
        return true;
    }
    if (!page) {
        return false;
    }
    auto* window = new PageWindow(content, parent);
    window->show();
    window->scrollToAnchor(anchor);
    return true;
}
