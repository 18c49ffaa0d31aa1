#pragma once

#include <QString>

class QWidget;

/// Opens a document as the desktop does when a user double-clicks it.
///
/// Desktops choose a program by the file's name, and have none for "HLP". So an HTML page under another name is copied
/// to the user's cache folder with the ending "html", and the copy is opened. Where the desktop opens no pages, a
/// window of ours over `parent` shows it, and closes with `parent`. A page is shown from `anchor` on, where one is
/// given and what shows the page cares for it. False where there is no such file or nothing can open it. User-interface
/// thread.
bool shellOpen(const QString& path, QWidget* parent, const QString& anchor = {});
