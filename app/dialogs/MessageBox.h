#pragma once

#include "app/document/UserInterface.h"

#include <QString>

class QWidget;

/// Shows `message`, as workbench::shownMessage() makes it readable, over `owner` with an OK button until the user
/// confirms it. Of a very long one the middle is shown on demand.
void showMessageBox(QWidget* owner, const QString& message, const QString& caption, MessageIcon icon);
