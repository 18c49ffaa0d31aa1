#pragma once

#include <QString>

class QWidget;

/// Opens a document as the desktop does when a user double-clicks it.
///
/// Desktops go by a file's name, and for none of them "HLP" is a document that something shows; browsers offer to
/// download it. So a file that begins as an HTML page and is not named so is given to the desktop as a copy with the
/// right ending, in the user's cache folder. A desktop that opens no pages at all (no browser) leaves it to a window of
/// our own over `parent`, which closes with it. Answers false where there is no such file or nothing to open it with.
/// User-interface thread.
bool shellOpen(const QString& path, QWidget* parent);
