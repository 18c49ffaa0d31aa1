#pragma once

#include <QObject>
#include <QTimer>

class CMainFrame;

/// The way out of the program, from the wish to leave to the last document. Owned by the main window. User-interface
/// thread.
///
/// A command that waits for a phone or a disk is seen through first: half a write is worse than a late end. A read from
/// the phone is cancelled and ends before its next item, out of sight. Then the document windows go, and each document
/// writes its configuration.
class ProgramEnd : public QObject {
    Q_OBJECT
public:
    explicit ProgramEnd(CMainFrame& mainFrame);

    /// The user wants to leave. Asking again changes nothing.
    void request();
    /// A command may have ended: begins if the user wants to leave.
    void beginIfAsked();
    /// A read has ended, or a document window has gone: goes on with what has begun.
    void goOn();

signals:
    /// A command runs, or a message is to be read: the user's wish is kept.
    void putOff();
    /// The documents are about to go.
    void begun();
    /// Once: the last document has gone and the main window is hidden.
    void ended();

private:
    enum class State { kNotAsked, kAsked, kBegun, kEnded };

    bool mayBegin() const;
    void begin();
    void finish();
    void leaveHungRead();

    CMainFrame& mainFrame_;
    State state_ = State::kNotAsked;
    QTimer readEndTimer_; ///< runs while a read is waited for
};
