#include "app/views/EditHistory.h"

#include "app/dialogs/ShownText.h"

#include <algorithm>

namespace {

bool hasBytesOf(const NvItem& left, const NvItem& right) {
    return std::ranges::equal(left.rawData(), right.rawData());
}

QString nameOf(const NvItem& item) {
    return shownText(item.getName());
}

} // namespace

class EditHistory::Command : public QUndoCommand {
public:
    Command(EditHistory& history, std::vector<Change> changes, bool done)
        : history_(history), changes_(std::move(changes)), done_(done) {}

    const std::vector<Change>& changes() const { return changes_; }

    void undo() override {
        bool any = false;
        for (const Change& change : changes_) {
            any = history_.exchange(change.after, change.before) || any;
        }
        setObsolete(!any);
    }
    void redo() override {
        if (std::exchange(done_, false)) {
            return;
        }
        bool any = false;
        for (const Change& change : changes_) {
            any = history_.exchange(change.before, change.after) || any;
        }
        setObsolete(!any);
    }

private:
    EditHistory& history_;
    const std::vector<Change> changes_;
    bool done_; ///< before the stack knows the command
};

EditHistory::EditHistory(CCalvaneDoc& document, QObject* parent) : QObject(parent), document_(document) {
    connect(&stack_, &QUndoStack::indexChanged, this, &EditHistory::changed);
}

EditHistory::~EditHistory() {
    disconnect(&stack_, nullptr, this, nullptr); // it reports its own end as a change
}

void EditHistory::storeItemData(std::size_t index, const std::string& values) {
    NvItem before = document_.nvItems().at(index);
    document_.storeItemData(index, values);
    keep(std::move(before), document_.nvItems()[index]);
}

bool EditHistory::writeItem(const std::string& name, const std::string& values) {
    const auto& items = document_.nvItems();
    const auto found = std::ranges::find_if(items, [&](const NvItem& item) { return item.getName() == name; });
    if (found == items.end()) {
        return document_.writeItem(name, values);
    }
    const auto index = static_cast<std::size_t>(found - items.begin());
    NvItem before = *found;
    const bool known = document_.writeItem(name, values);
    keep(std::move(before), items[index]);
    return known;
}

void EditHistory::keep(NvItem before, const NvItem& after) {
    if (before.getSubItems() == after.getSubItems()) {
        return;
    }
    auto command = std::make_unique<Command>(*this, std::vector<Change>{{std::move(before), after}}, true);
    command->setText("Edit of " + nameOf(after));
    stack_.push(command.release());
}

void EditHistory::undo() {
    while (stack_.canUndo() && !restored_) {
        stack_.undo();
    }
    finish();
}

void EditHistory::redo() {
    while (stack_.canRedo() && !restored_) {
        stack_.redo();
    }
    finish();
}

void EditHistory::run(std::vector<Change> changes, const QString& text) {
    if (!changes.empty()) {
        auto command = std::make_unique<Command>(*this, std::move(changes), false);
        command->setText(text);
        stack_.push(command.release());
    }
    finish();
}

void EditHistory::finish() {
    if (const auto number = std::exchange(restored_, std::nullopt)) {
        document_.updateAllViews();
        emit restored(*number);
    }
    emit changed();
}

bool EditHistory::exchange(const NvItem& from, const NvItem& to) {
    const auto& items = document_.nvItems();
    const auto isIt = [&](const NvItem& item) { return item.getId() == from.getId(); };
    const auto found = std::ranges::find_if(items, isIt);
    if (found == items.end()) {
        return false;
    }
    // Typed texts, and having no value, return with the item as a whole.
    NvItem item = *found;
    NvItem atFrom = item;
    if (!item.hasLayoutOf(from) || KeptEdit{from, to}.giveTo(atFrom)) {
        return false; // it holds something else by now
    }
    if (hasBytesOf(item, from)) {
        item = to;
    } else if (!KeptEdit{to, from}.giveTo(item)) {
        return false;
    }
    document_.putItem(item);
    restored_ = restored_.value_or(item.getId());
    return true;
}

std::optional<NvItem> EditHistory::unedited(const NvItem& item) const {
    if (auto known = document_.baseline().values().itemOf(item)) {
        return known;
    }
    for (int i = 0; i < stack_.count(); ++i) {
        const auto* command = dynamic_cast<const Command*>(stack_.command(i));
        for (const Change& change : command->changes()) {
            if (change.before.getId() == item.getId()) {
                return change.before;
            }
        }
    }
    return std::nullopt;
}

void EditHistory::revertField(const NvItem& item, std::size_t field) {
    const auto known = document_.baseline().values().itemOf(item);
    const auto types = item.getSubItemTypes();
    if (!known || field >= types.size()) {
        return;
    }
    std::size_t begin = 0;
    for (std::size_t i = 0; i < field; ++i) {
        begin += subItemTypeInfo(types[i]).bytes;
    }
    workbench::ItemData data{};
    std::ranges::copy(item.rawData(), data.begin());
    std::ranges::copy(known->rawData().subspan(begin, subItemTypeInfo(types[field]).bytes),
                      data.begin() + static_cast<std::ptrdiff_t>(begin));
    NvItem reverted = item;
    reverted.setRawData(data);
    if (!hasBytesOf(reverted, item)) {
        run({{item, reverted}}, "Revert of a Sub-Field of " + nameOf(item));
    }
}

void EditHistory::revertItem(const NvItem& item) {
    const auto reverted = unedited(item);
    if (reverted && document_.baseline().isChanged(item)) {
        run({{item, *reverted}}, "Revert of " + nameOf(item));
    }
}

void EditHistory::revertAll() {
    std::vector<Change> changes;
    for (const NvItem& item : document_.nvItems()) {
        const auto reverted = document_.baseline().isChanged(item) ? unedited(item) : std::nullopt;
        if (reverted) {
            changes.push_back(Change{item, *reverted});
        }
    }
    const QString count = QString::number(changes.size());
    run(std::move(changes), "Revert of " + count + (count == "1" ? " Item" : " Items"));
}
