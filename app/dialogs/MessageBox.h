#pragma once

#include "app/document/UserInterface.h"

#include <QString>

class QWidget;

/// Shows `text` over `owner` with an OK button until the user confirms it. Of a very long text the middle is shown on
/// demand.
void showMessageBox(QWidget* owner, const QString& text, const QString& caption, MessageIcon icon);
