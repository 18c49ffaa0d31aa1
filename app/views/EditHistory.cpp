#include "app/views/EditHistory.h"

#include "app/dialogs/ShownText.h"
#include "workbench/LoadedDate.h"

#include <algorithm>

namespace {

bool hasBytesOf(const NvItem& left, const NvItem& right) {
    return std::ranges::equal(left.rawData(), right.rawData());
}

QString nameOf(const NvItem& item) {
    return shownText(item.getName());
}

/// Why the user could not type these values into `listed`, which the list may lack; null where he could.
const char* reasonNotToTake(const NvItem* listed, const NvItem& value) {
    if (listed == nullptr) {
        return "not in the list";
    }
    if (!listed->hasLayoutOf(value)) {
        return "it has another layout";
    }
    if (!listed->isWritable()) {
        return "read-only";
    }
    return listed->getName() == workbench::kLoadedDateItem ? "each write sets it anew" : nullptr;
}

/// `item` with the values of another one of its layout. The bytes of an item without sub-fields are its value.
NvItem withFieldsOf(NvItem item, const NvItem& other) {
    const std::size_t bytes = item.getSubItemCount() > 0 ? item.describedBytes() : items::kItemDataBytes;
    workbench::ItemData data{};
    std::ranges::copy(item.rawData(), data.begin());
    std::ranges::copy(other.rawData().first(bytes), data.begin());
    item.setRawData(data);
    return item;
}

} // namespace

class EditHistory::Command : public QUndoCommand {
public:
    Command(EditHistory& history, std::vector<Change> changes, bool done)
        : history_(history), changes_(std::move(changes)), done_(done) {}

    const std::vector<Change>& changes() const { return changes_; }

    void undo() override { go(&Change::after, &Change::before); }
    void redo() override {
        if (!std::exchange(done_, false)) {
            go(&Change::before, &Change::after);
        }
    }

private:
    void go(NvItem Change::*from, NvItem Change::*to) {
        const auto positions = history_.positions();
        bool any = false;
        for (const Change& change : changes_) {
            any = history_.exchange(positions[change.before.getId()], change.*from, change.*to) || any;
        }
        setObsolete(!any);
    }

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

std::vector<std::int32_t> EditHistory::positions() const {
    const auto& items = document_.nvItems();
    std::vector<std::int32_t> positions(std::size_t{1} << 16, -1);
    for (std::size_t position = items.size(); position > 0; --position) {
        positions[items[position - 1].getId()] = static_cast<std::int32_t>(position - 1);
    }
    return positions;
}

bool EditHistory::exchange(std::int32_t position, const NvItem& from, const NvItem& to) {
    if (position < 0) {
        return false;
    }
    const auto place = static_cast<std::size_t>(position);
    // Typed texts, and having no value, return with the item as a whole.
    NvItem item = document_.nvItems()[place];
    NvItem atFrom = item;
    if (!item.hasLayoutOf(from) || KeptEdit{from, to}.giveTo(atFrom)) {
        return false; // it holds something else by now
    }
    if (hasBytesOf(item, from)) {
        item = to;
    } else if (!KeptEdit{to, from}.giveTo(item)) {
        return false;
    }
    document_.putItem(place, item);
    restored_ = restored_.value_or(item.getId());
    return true;
}

std::vector<EditHistory::NotTaken> EditHistory::putItems(const std::vector<NvItem>& values, const QString& text) {
    std::vector<NotTaken> notTaken;
    std::vector<Change> changes;
    auto places = positions();
    constexpr std::int32_t kTaken = -2;
    for (const NvItem& value : values) {
        std::int32_t& place = places[value.getId()];
        if (place == kTaken) {
            continue;
        }
        const NvItem* listed = place < 0 ? nullptr : &document_.nvItems()[static_cast<std::size_t>(place)];
        place = kTaken;
        if (const char* reason = reasonNotToTake(listed, value)) {
            notTaken.push_back({value.getId(), value.getName(), reason});
            continue;
        }
        NvItem after = withFieldsOf(*listed, value);
        if (!hasBytesOf(after, *listed) || !workbench::hasValues(*listed)) {
            changes.push_back({*listed, std::move(after)});
        }
    }
    run(std::move(changes), text);
    return notTaken;
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
