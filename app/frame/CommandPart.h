#pragma once

#include "app/frame/CommandTable.h"

class QWidget;

/// Some of the commands of a document's window, carried out beside the document and its panes: those of the filter, of
/// the curve and so on. Owned by the window. User-interface thread.
class CommandPart {
public:
    virtual ~CommandPart() = default;

    /// Whether the command is one of its own; the other functions are called for those alone.
    virtual bool owns(CommandId command) const = 0;
    /// Called while no other command waits; nothing typed has been stored yet.
    virtual void run(CommandId command) = 0;
    /// Whether the command would do anything now.
    virtual bool canRun(CommandId) const { return true; }
    /// Whether what the command shows or hides is shown.
    virtual bool isChecked(CommandId) const { return false; }
    /// What gets the focus when the user goes from pane to pane by key; null while there is nothing.
    virtual QWidget* pane() const { return nullptr; }
};
