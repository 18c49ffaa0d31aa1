#include "app/frame/TableCommands.h"

#include <QMenu>
#include <algorithm>
#include <utility>

namespace {

using Operation = EditorTable::Operation;

struct TableCommand {
    CommandId id;
    Operation operation;
};

constexpr TableCommand kTableCommands[] = {
    {CommandId::kCopyValues, Operation::kCopyValues},
    {CommandId::kCopyWithDescriptions, Operation::kCopyWithDescriptions},
    {CommandId::kPasteValues, Operation::kPaste},
    {CommandId::kFillDown, Operation::kFillDown},
    {CommandId::kAddOrMultiply, Operation::kAddOrMultiply},
    {CommandId::kInterpolate, Operation::kInterpolate},
};

const TableCommand* find(CommandId command) {
    const auto* found = std::ranges::find(kTableCommands, command, &TableCommand::id);
    return found == std::end(kTableCommands) ? nullptr : found;
}

} // namespace

TableCommands::TableCommands(EditorTable& table, std::function<void(CommandId)> runCommand)
    : table_(table), runCommand_(std::move(runCommand)) {
    connect(&table, &EditorTable::menuWanted, this, &TableCommands::fillMenu);
}

bool TableCommands::owns(CommandId command) const {
    return find(command) != nullptr;
}

void TableCommands::run(CommandId command) {
    table_.run(find(command)->operation);
}

bool TableCommands::canRun(CommandId command) const {
    return table_.canRun(find(command)->operation);
}

void TableCommands::fillMenu(QMenu* menu) {
    for (const TableCommand& command : kTableCommands) {
        const std::string_view text = documentMenuText(command.id);
        QAction* action = menu->addAction(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
        action->setEnabled(table_.canRun(command.operation));
        connect(action, &QAction::triggered, this, [this, id = command.id] { runCommand_(id); });
    }
}
