#pragma once

#include "app/document/SafeHands.h"
#include "app/frame/CommandTable.h"

#include <QString>
#include <functional>

class CCalvaneDoc;
class CNvParam;
class EditHistory;
class QWidget;

/// Stands between the commands of a document's window and the work that they could lose, and carries out the commands
/// of the Edit menu. Where the user does not want safe hands, every command may run.
///
/// Owned by the window, whose parts outlive it. User-interface thread.
class EditGuard {
public:
    EditGuard(QWidget& window, CCalvaneDoc& document, CNvParam& editor, EditHistory& history,
              const SafeHands& safeHands);

    /// Stores what was typed and asks whether edits stay where the command replaces the list. False where the command
    /// must not run: the user does not want it any more, or a typed value can't be stored. `again` is called once that
    /// value is mended or dropped.
    bool mayRun(CommandId command, std::function<void()> again);
    /// The same before the window closes; the user may choose to write first, with `write`, unless that is empty, as
    /// while a read has the phone.
    bool mayClose(std::function<void()> again, const std::function<void()>& write);

    /// The commands of the Edit menu. runEdit() answers false for any other.
    bool runEdit(CommandId command);
    bool canEdit(CommandId command) const;

private:
    bool askWhetherToKeepEdits(const QString& command);
    /// What the user is asked about must be seen.
    void bringToFront();
    void undo();
    void redo();
    void revert(CommandId command);

    QWidget& window_;
    CCalvaneDoc& document_;
    CNvParam& editor_;
    EditHistory& history_;
    const SafeHands& safeHands_;
};
