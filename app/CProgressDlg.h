#pragma once

#include "app/ProgressLines.h"
#include "app/dialogs/DialogTemplate.h"

#include <QTimer>

/// The window that shows how far a read from the phone has come: each line in its edit box, its numbers in the bar.
///
/// Modeless; owned by the document window, and above the main window. addLine() may be called from any thread and never
/// waits for the window; everything else belongs to the user-interface thread. Lines show in the order in which they
/// came, one event each.
class CProgressDlg : public TemplateDialog, public ProgressWindow {
    Q_OBJECT
public:
    explicit CProgressDlg(QWidget* mainWindow);

    void addLine(std::string line) override;

protected:
    void customEvent(QEvent* event) override;

private:
    void showOldestLine();

    QTimer paintTimer_; ///< runs while something that has come is not painted
    ProgressQueue lines_;
};
