#pragma once

#include "app/dialogs/DialogTemplate.h"

/// Says which program this is, and which version. User-interface thread.
class CAboutDlg : public TemplateDialog {
    Q_OBJECT
public:
    explicit CAboutDlg(QWidget* parent = nullptr);
};
