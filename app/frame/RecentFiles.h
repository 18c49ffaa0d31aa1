#pragma once

#include <QString>
#include <QStringList>

/// The files of one kind that were used last, kept in the program's settings. User-interface thread.
class RecentFiles {
public:
    /// `setting` names their place in the settings; the oldest beyond `most` are forgotten.
    RecentFiles(const char* setting, int most) : setting_(setting), most_(most) {}

    /// Full paths, the newest first.
    QStringList paths() const;
    /// Puts the file in front. A path without a folder counts from the current one.
    void add(const QString& path) const;
    void remove(const QString& path) const;

private:
    const char* setting_;
    int most_;
};

/// The files with a port's name that Open has opened.
inline RecentFiles recentPortFiles() {
    return {"recent/files", 4};
}

/// The calibration files that any document has read or written.
inline RecentFiles recentCalibrationFiles() {
    return {"recent/calibrationFiles", 8};
}
