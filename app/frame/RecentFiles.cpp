#include "app/frame/RecentFiles.h"

#include <QFileInfo>
#include <QSettings>

QStringList RecentFiles::paths() const {
    return QSettings().value(setting_).toStringList().mid(0, most_);
}

void RecentFiles::add(const QString& path) const {
    const QString file = QFileInfo(path).absoluteFilePath();
    QStringList files = paths();
    files.removeAll(file);
    files.prepend(file);
    QSettings().setValue(setting_, files.mid(0, most_));
}

void RecentFiles::remove(const QString& path) const {
    QStringList files = paths();
    files.removeAll(path);
    QSettings().setValue(setting_, files);
}
