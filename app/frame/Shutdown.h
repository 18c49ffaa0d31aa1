#pragma once

#include <QObject>
#include <QTimer>

/// The way out of the program, from the user's wish to leave to the last document. Owned by the main window.
/// User-interface thread.
///
/// Each document window may ask what is to become of changed items, and refuse.
///
/// A command that waits for a phone or a disk is seen through first: half a write is worse than a late end. A read from
/// the phone is cancelled and ends before its next item, while the main window is hidden. Then the document windows go,
/// and each document writes its configuration.
class Shutdown : public QObject {
    Q_OBJECT
public:
    static constexpr int kReadEndLimitMs = 15000;

    /// `mainWindow` holds the document windows.
    explicit Shutdown(QWidget& mainWindow);

    /// The user wants to leave. Asking again changes nothing.
    void request();
    /// Starts if the user wants to leave and the command that ran has ended.
    void startIfRequested();
    /// A read has ended, or a document window has gone: finishes when it was the last one.
    void finishIfIdle();
    /// How long a read may take to end once it is cancelled. It ends before its next item, within the 2 s of a packet;
    /// one that takes longer than this hangs, and the program is left without it.
    void setReadEndLimit(int ms) { readEndTimer_.setInterval(ms); }

signals:
    /// A command runs, or a message is still to be read: the program ends later.
    void postponed();
    /// A document window stays, and so does the program.
    void refused();
    /// The documents are about to go.
    void started();
    /// Once: the last document has gone and the main window is hidden.
    void finished();

private:
    enum class State { kNotRequested, kRequested, kAsking, kStarted, kFinished };

    bool mayStart() const;
    /// Whether no document window wants to stay.
    bool mayAllClose();
    void start();
    void finish();
    void abandonHungRead();

    QWidget& mainWindow_;
    State state_ = State::kNotRequested;
    QTimer readEndTimer_; ///< runs while a read is waited for
};
