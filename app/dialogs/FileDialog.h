#pragma once

#include <QString>
#include <optional>

class QWidget;

/// What a file dialog shows. `filters`: text, pattern, text, pattern, each followed by "|", and one more "|" at the
/// end. `defaultExtension`: given to a name that is typed without one; its first three characters count, as the
/// platform for which the texts were made takes no more.
struct FileDialogTexts {
    QString title; ///< empty: the platform's own
    QString filters;
    QString defaultExtension;
};

/// Ask for an existing file, or for one to write (after asking before an existing one is replaced). Answer the full
/// path, or nothing if the user cancelled. The process's current directory stays. User-interface thread.
std::optional<QString> askFileToOpen(QWidget* parent, const FileDialogTexts& texts);
std::optional<QString> askFileToSave(QWidget* parent, const FileDialogTexts& texts);
