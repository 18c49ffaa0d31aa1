#pragma once

#include "app/frame/CommandPart.h"
#include "app/views/EditorTable.h"

#include <functional>

/// The commands that work on several values of the editor at once, in the menus and in the context menu of its boxes.
class TableCommands : public QObject, public CommandPart {
    Q_OBJECT
public:
    /// `runCommand`: runs a command as the menus do. `table` outlives this.
    TableCommands(EditorTable& table, std::function<void(CommandId)> runCommand);

    bool owns(CommandId command) const override;
    void run(CommandId command) override;
    bool canRun(CommandId command) const override;

private:
    void fillMenu(QMenu* menu);

    EditorTable& table_;
    std::function<void(CommandId)> runCommand_;
};
