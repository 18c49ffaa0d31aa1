#pragma once

#include "app/dialogs/DialogTemplate.h"
#include "app/document/ProgressLines.h"

#include <QTimer>

class QLineEdit;
class QProgressBar;
class QPushButton;

/// The window that shows how far a read from the phone has come: each line in its edit box, its numbers in the bar.
///
/// Modeless; owned by the document window, and above the main window. addLine() may be called from any thread and never
/// waits for the window; everything else belongs to the user-interface thread.
///
/// Lines are shown in their order, those that arrive within 33 ms together. Of more than 2000 at a time only the newest
/// is shown: showing all would slow the read. When the window hides, it shows the last line.
class CProgressDlg : public TemplateDialog, public ProgressWindow {
    Q_OBJECT
public:
    explicit CProgressDlg(QWidget* mainWindow);

    void addLine(std::string line) override;

    void setVisible(bool visible) override;

    /// Whether the window has a button that ends the read. None at first.
    void setCancelOffered(bool offered);

signals:
    void cancelRequested();

protected:
    void customEvent(QEvent* event) override;

private:
    void showLines();
    void showLine(const std::string& line);

    QProgressBar& bar_;
    QLineEdit& text_;
    QPushButton& cancel_;
    QTimer pause_; ///< runs after lines were shown; those that come meanwhile wait for its end
    ProgressQueue lines_;
};
