#pragma once

#include "app/document/UserInterface.h"

#include <optional>
#include <string>

class QWidget;

/// Ask for an existing file, or for one to write (after asking before an existing one is replaced). Answer the full
/// path, or nothing if the user cancelled. The process's current directory stays. User-interface thread.
///
/// They begin in the folder of the last file that was opened or told to rememberFolderOf().
std::optional<std::string> askFileToOpen(QWidget* parent, const FileQuestion& question);
std::optional<std::string> askFileToSave(QWidget* parent, const FileQuestion& question);

/// To be called when a file has been written: only a folder that serves is worth coming back to.
void rememberFolderOf(const std::string& path);

/// Whether nothing stands at the path. False as well where that can't be told within a second.
bool isGone(const std::string& path);
