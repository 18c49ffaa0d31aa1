#pragma once

#include "app/frame/CommandPart.h"

class QWidget;

/// Tools > Trace: opens the program's one window of packets, or brings it to the front. It belongs to the main window,
/// and outlives the document window from which it was opened. User-interface thread.
class TracePart : public CommandPart {
public:
    explicit TracePart(QWidget& window) : window_(window) {}

    bool owns(CommandId command) const override { return command == CommandId::kTrace; }
    bool canRun(CommandId command) const override;
    void run(CommandId command) override;

private:
    QWidget& window_;
};
