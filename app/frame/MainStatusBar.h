#pragma once

#include <QStatusBar>

class CCalvaneDoc;
class StatusPane;

/// The main window's status bar: a logo, the calibration file and the port of the active document, and the state of the
/// keyboard's locks. Owned by the main window. User-interface thread.
///
/// A prompt or a notice stands in the widest pane, in place of the file's name, for as long as there is one.
/// QStatusBar's own messages would hide the port as well.
class MainStatusBar : public QStatusBar {
    Q_OBJECT
public:
    explicit MainStatusBar(QWidget* parent);
    ~MainStatusBar() override;

    /// Shows what `document` has to show; null: there is none.
    void showDocument(const CCalvaneDoc* document);
    /// What a command does; empty: nothing.
    void setPrompt(const QString& prompt);
    /// What is going on, for as long as it does; comes before a prompt. Empty: nothing.
    void setNotice(const QString& notice);
    const QString& notice() const { return notice_; }
    /// Asks for the locks where they can have changed: that costs a way to the display and back.
    void showKeyboardLocks();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    StatusPane* addIndicator(const char* indicator);
    void showPrompt();

    StatusPane* filePane_;
    StatusPane* portPane_;
    StatusPane* capsPane_;
    StatusPane* numPane_;
    StatusPane* scrollPane_;
    QString prompt_;
    QString notice_;
    bool locksMayDiffer_ = true;
};
