#include "app/frame/TracePart.h"

#include "app/frame/CCalvaneApp.h"
#include "app/frame/QtUserInterface.h"
#include "app/trace/TraceWindow.h"

namespace {

const std::optional<TraceSource>& source() {
    return static_cast<CCalvaneApp*>(qApp)->traceSource();
}

} // namespace

bool TracePart::canRun(CommandId) const {
    return source().has_value();
}

void TracePart::run(CommandId) {
    QWidget* mainWindow = window_.window();
    auto* trace = mainWindow->findChild<TraceWindow*>();
    if (trace == nullptr) {
        trace = new TraceWindow(std::make_shared<QtUserInterface>(mainWindow), *source(), mainWindow);
    }
    trace->setWindowState(trace->windowState() & ~Qt::WindowMinimized);
    trace->show();
    trace->raise();
    trace->activateWindow();
}
