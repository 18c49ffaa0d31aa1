#include "app/frame/ProgramEnd.h"

#include "app/frame/CMainFrame.h"
#include "app/frame/CSplitterFrame.h"

#include <QApplication>
#include <algorithm>
#include <cstdlib>

namespace {

/// A read ends before its next item: within the 2 s that one packet may take. What takes far longer has hung.
constexpr int kReadEndLimitMs = 15000;

bool isAnyBusy(const QList<CSplitterFrame*>& frames) {
    return std::any_of(frames.begin(), frames.end(), [](const CSplitterFrame* frame) { return frame->isBusy(); });
}

} // namespace

ProgramEnd::ProgramEnd(CMainFrame& mainFrame) : QObject(&mainFrame), mainFrame_(mainFrame) {
    readEndTimer_.setSingleShot(true);
    connect(&readEndTimer_, &QTimer::timeout, this, &ProgramEnd::leaveHungRead);
}

bool ProgramEnd::mayBegin() const {
    // A message of the command that has just ended is to be read first.
    return state_ == State::kAsked && !mainFrame_.isAnyWaiting() && QApplication::activeModalWidget() == nullptr;
}

void ProgramEnd::request() {
    if (state_ != State::kNotAsked) {
        return;
    }
    state_ = State::kAsked;
    if (mayBegin()) {
        begin();
    } else {
        emit putOff();
    }
}

void ProgramEnd::beginIfAsked() {
    if (mayBegin()) {
        QMetaObject::invokeMethod(this, &ProgramEnd::begin, Qt::QueuedConnection);
    }
}

void ProgramEnd::goOn() {
    if (state_ == State::kBegun) {
        QMetaObject::invokeMethod(this, &ProgramEnd::finish, Qt::QueuedConnection);
    }
}

void ProgramEnd::begin() {
    if (!mayBegin()) {
        return;
    }
    state_ = State::kBegun;
    emit begun();
    const auto frames = mainFrame_.frames();
    if (isAnyBusy(frames)) {
        mainFrame_.hide(); // the user is done; what is left needs no window
        readEndTimer_.start(kReadEndLimitMs);
    }
    for (CSplitterFrame* frame : frames) {
        frame->closeWhenIdle();
    }
    goOn();
}

void ProgramEnd::finish() {
    const auto frames = mainFrame_.frames();
    if (state_ != State::kBegun || isAnyBusy(frames)) {
        return;
    }
    state_ = State::kEnded;
    readEndTimer_.stop();
    qDeleteAll(frames); // the documents write their configuration; a failure shows its message over the main window
    mainFrame_.hide();
    emit ended();
}

void ProgramEnd::leaveHungRead() {
    if (QApplication::activeModalWidget() != nullptr) {
        readEndTimer_.start(kReadEndLimitMs); // the user has not read that message yet
        return;
    }
    qCritical("A read from the phone does not end; leaving without it.");
    for (CSplitterFrame* frame : mainFrame_.frames()) {
        try {
            frame->document().writeConfiguration();
        } catch (const std::system_error& error) {
            qCritical("%s", error.what());
        }
    }
    std::quick_exit(EXIT_FAILURE);
}
