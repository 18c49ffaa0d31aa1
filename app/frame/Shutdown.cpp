#include "app/frame/Shutdown.h"

#include "app/frame/CSplitterFrame.h"

#include <QApplication>
#include <algorithm>
#include <cstdlib>

Shutdown::Shutdown(QWidget& mainWindow) : QObject(&mainWindow), mainWindow_(mainWindow) {
    readEndTimer_.setSingleShot(true);
    readEndTimer_.setInterval(kReadEndLimitMs);
    connect(&readEndTimer_, &QTimer::timeout, this, &Shutdown::abandonHungRead);
}

bool Shutdown::mayStart() const {
    // A message of the command that has just ended is to be read first.
    return state_ == State::kRequested && !CSplitterFrame::isAnyWaiting(mainWindow_) &&
           QApplication::activeModalWidget() == nullptr;
}

void Shutdown::request() {
    if (state_ != State::kNotRequested) {
        return;
    }
    state_ = State::kRequested;
    if (mayStart()) {
        start();
    } else {
        emit postponed();
    }
}

void Shutdown::startIfRequested() {
    if (mayStart()) {
        QMetaObject::invokeMethod(this, &Shutdown::start, Qt::QueuedConnection);
    }
}

void Shutdown::finishIfIdle() {
    if (state_ == State::kStarted) {
        QMetaObject::invokeMethod(this, &Shutdown::finish, Qt::QueuedConnection);
    }
}

bool Shutdown::mayAllClose() {
    const auto closeAgain = [this] { mainWindow_.close(); };
    return std::ranges::all_of(CSplitterFrame::allIn(mainWindow_), [&](CSplitterFrame* frame) {
        return frame->isClosing() || frame->mayClose(closeAgain);
    });
}

void Shutdown::start() {
    if (!mayStart()) {
        return;
    }
    state_ = State::kAsking;
    if (!mayAllClose()) {
        state_ = State::kNotRequested;
        emit refused();
        return;
    }
    state_ = State::kStarted;
    emit started();
    if (CSplitterFrame::isAnyBusy(mainWindow_)) {
        mainWindow_.hide(); // the user is done; what is left needs no window
        readEndTimer_.start();
    }
    for (CSplitterFrame* frame : CSplitterFrame::allIn(mainWindow_)) {
        frame->closeWhenIdle();
    }
    finishIfIdle();
}

void Shutdown::finish() {
    if (state_ != State::kStarted || CSplitterFrame::isAnyBusy(mainWindow_)) {
        return;
    }
    state_ = State::kFinished;
    readEndTimer_.stop();
    // The documents write their configuration; a failure shows its message over the main window.
    qDeleteAll(CSplitterFrame::allIn(mainWindow_));
    mainWindow_.hide();
    emit finished();
}

void Shutdown::abandonHungRead() {
    if (QApplication::activeModalWidget() != nullptr) {
        readEndTimer_.start(); // the user has not read that message yet
        return;
    }
    qCritical("A read from the phone does not end; leaving without it.");
    for (CSplitterFrame* frame : CSplitterFrame::allIn(mainWindow_)) {
        try {
            frame->document().writeConfiguration();
        } catch (const std::system_error& error) {
            qCritical("%s", error.what());
        }
    }
    std::quick_exit(EXIT_FAILURE);
}
