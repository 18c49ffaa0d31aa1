#pragma once

#include "app/document/UserInterface.h"

#include <QString>

class QMessageBox;
class QWidget;

/// Shows `message`, as workbench::shownMessage() makes it readable, over `owner` with an OK button until the user
/// confirms it. Of a very long one the middle is shown on demand.
void showMessageBox(QWidget* owner, const QString& message, const QString& caption, MessageIcon icon);

/// Makes a box wide enough for its caption, which the desktop draws in a bold font beside its buttons. To be called
/// when the box has its texts.
void makeRoomForCaption(QMessageBox& box);
