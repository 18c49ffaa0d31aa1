#pragma once

#include <QStatusBar>

class CCalvaneDoc;
class StatusButton;
class StatusPane;

/// The main window's status bar: a logo, the calibration file and the port of the active document, the state of the
/// keyboard's locks, the phone on that port, and a button with what the last read or write came to. Owned by the main
/// window. User-interface thread.
///
/// The widest pane shows a prompt or a notice, if there is one, instead of the file's name. QStatusBar's own messages
/// would hide the port as well.
class MainStatusBar : public QStatusBar {
    Q_OBJECT
public:
    explicit MainStatusBar(QWidget* parent);
    ~MainStatusBar() override;

    /// Shows the file and the port of `document`; of none where it is null.
    void showDocument(const CCalvaneDoc* document);
    /// The active document's phone, and the text of the button; empty: none.
    void showPhone(const QString& phone, const QString& report);
    /// What a command does; empty: nothing.
    void setPrompt(const QString& prompt);
    /// What is going on, for as long as it does; comes before a prompt. Empty: nothing.
    void setNotice(const QString& notice);
    const QString& notice() const { return notice_; }
    /// Asks for the locks if a key or a window change may have changed them: it costs a round trip to the display.
    void showKeyboardLocks();

signals:
    /// The user wants to see more of what the button says.
    void reportAsked();

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
    StatusPane* phonePane_;
    StatusButton* reportButton_;
    QString prompt_;
    QString notice_;
    bool locksMayDiffer_ = true;
};
