#pragma once

#include "app/document/UserInterface.h"

#include <optional>
#include <string>

class QWidget;

/// Ask for an existing file, or for one to write (after asking before an existing one is replaced). Answer the full
/// path, or nothing if the user cancelled. The process's current directory stays. User-interface thread.
std::optional<std::string> askFileToOpen(QWidget* parent, const FileQuestion& question);
std::optional<std::string> askFileToSave(QWidget* parent, const FileQuestion& question);
