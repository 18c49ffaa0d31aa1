// The document's list of items: what replaces it, which edits stay in it, and its order.

#include "app/document/CCalvaneDoc.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace {

using PositionsByNumber = std::map<std::uint16_t, std::size_t>;

/// Of two items with one number the first counts.
PositionsByNumber positionsByNumber(const std::vector<NvItem>& items) {
    PositionsByNumber positions;
    for (std::size_t position = 0; position < items.size(); ++position) {
        positions.emplace(items[position].getId(), position);
    }
    return positions;
}

} // namespace

const NvItem* CCalvaneDoc::selectedItem() const {
    if (selectedIndex_ < 0 || static_cast<std::size_t>(selectedIndex_) >= nvItems_.size()) {
        return nullptr;
    }
    return &nvItems_[static_cast<std::size_t>(selectedIndex_)];
}

std::size_t CCalvaneDoc::positionOf(std::string_view name) const {
    const auto found =
        std::find_if(nvItems_.begin(), nvItems_.end(), [&](const NvItem& item) { return item.getName() == name; });
    return static_cast<std::size_t>(found - nvItems_.begin());
}

std::size_t CCalvaneDoc::positionOf(std::uint16_t number) const {
    const auto found =
        std::find_if(nvItems_.begin(), nvItems_.end(), [&](const NvItem& item) { return item.getId() == number; });
    return static_cast<std::size_t>(found - nvItems_.begin());
}

void CCalvaneDoc::tellListToBeReplaced() {
    for (DocumentView* view : views_) {
        view->onListToBeReplaced();
    }
}

std::vector<KeptEdit> CCalvaneDoc::editsToKeep() {
    tellListToBeReplaced();
    auto edits = keepsEdits_ ? baseline_.edits(nvItems_) : std::vector<KeptEdit>();
    for (const KeptEdit& dropped : droppedEdits_) {
        std::erase_if(edits, [&](KeptEdit& edit) { return !edit.leaveOut(dropped.edited); });
    }
    return edits;
}

void CCalvaneDoc::setKeepsEdits(bool keeps) {
    keepsEdits_ = keeps;
    droppedEdits_.clear();
}

void CCalvaneDoc::keepLaterEdits() {
    keepsEdits_ = true;
    droppedEdits_ = baseline_.edits(nvItems_);
}

void CCalvaneDoc::replaceItems(std::vector<NvItem> items, const std::vector<KeptEdit>& edits) {
    nvItems_ = std::move(items);
    changedItems_.clear();
    listChanged_ = true;
    baseline_.itemsChanged();
    const auto positions = edits.empty() ? PositionsByNumber() : positionsByNumber(nvItems_);
    const std::size_t replacing = nvItems_.size();
    for (const KeptEdit& edit : edits) {
        const auto found = positions.find(edit.edited.getId());
        if (found == positions.end()) {
            changedItems_.insert(nvItems_.size());
            nvItems_.push_back(edit.edited);
        } else if (edit.giveTo(nvItems_[found->second])) {
            changedItems_.insert(found->second);
        }
    }
    if (nvItems_.size() > replacing) {
        sortItems(sortAlphabetical_);
    }
}

void CCalvaneDoc::takeItemsFromPhone(std::vector<NvItem> items, workbench::PhoneIdentity phone,
                                     const std::string& comPort) {
    fileName_.clear();
    const auto edits = editsToKeep();
    baseline_.takeFromPhone(items, std::move(phone), comPort);
    listSource_ = baseline_.lastSource();
    replaceItems(std::move(items), edits);
    updateAllViews();
}

void CCalvaneDoc::takeItemsFromRecord(std::vector<NvItem> items,
                                      const std::shared_ptr<const workbench::Source>& source) {
    fileName_.clear();
    const auto edits = editsToKeep();
    baseline_.takeFromRecord(items, source);
    listSource_ = source;
    for (const NvItem& item : items) {
        catalog_->setNvItem(item); // what is listed next has these values
    }
    replaceItems(std::move(items), edits);
    updateAllViews();
}

void CCalvaneDoc::addItemsFromPhone(const std::vector<NvItem>& items, workbench::PhoneIdentity phone,
                                    const std::string& comPort) {
    tellListToBeReplaced();
    baseline_.takeFromPhone(items, std::move(phone), comPort);
    const auto listed = positionsByNumber(nvItems_);
    std::ranges::copy_if(items, std::back_inserter(nvItems_),
                         [&](const NvItem& item) { return !listed.contains(item.getId()); });
    sortItems(sortAlphabetical_);
}

void CCalvaneDoc::replaceItem(std::size_t position, NvItem item) {
    nvItems_.at(position) = std::move(item);
    baseline_.itemsChanged();
}

void CCalvaneDoc::appendItem(NvItem item) {
    nvItems_.push_back(std::move(item));
    baseline_.itemsChanged();
}

void CCalvaneDoc::takeCustomizedList(std::vector<NvItem> items) {
    std::set<std::size_t> changed;
    const auto positions = positionsByNumber(items);
    for (const std::size_t position : changedItems_) {
        const NvItem& edited = nvItems_[position];
        const auto found = positions.find(edited.getId());
        // An item that was taken out and in again has the catalog's values, so it is no longer an edited one.
        if (found != positions.end() && std::ranges::equal(items[found->second].rawData(), edited.rawData())) {
            changed.insert(found->second);
        }
    }
    replaceItems(std::move(items), {});
    changedItems_ = std::move(changed);
}

void CCalvaneDoc::sortItems(bool alphabetical) {
    if (nvItems_.empty()) {
        return;
    }
    NvItem::setCompareByName(alphabetical);
    // What is compared is fetched once from each item, and ordered with its position, so that the changed items can be
    // followed to their new places.
    struct Key {
        std::string name;
        std::uint16_t number;
        std::size_t position;
    };
    std::vector<Key> order;
    order.reserve(nvItems_.size());
    for (const NvItem& item : nvItems_) {
        order.push_back({alphabetical ? item.getName() : std::string(), item.getId(), order.size()});
    }
    std::ranges::stable_sort(order, [alphabetical](const Key& left, const Key& right) {
        return alphabetical ? left.name < right.name : left.number < right.number;
    });
    std::vector<NvItem> sorted;
    sorted.reserve(order.size());
    std::set<std::size_t> changed;
    for (const Key& key : order) {
        if (changedItems_.contains(key.position)) {
            changed.insert(changed.end(), sorted.size());
        }
        sorted.push_back(std::move(nvItems_[key.position]));
    }
    nvItems_ = std::move(sorted);
    changedItems_ = std::move(changed);
    sortAlphabetical_ = alphabetical;
    listChanged_ = true;
    updateAllViews();
}

void CCalvaneDoc::setItemData(std::size_t position, const std::string& values) {
    NvItem item = nvItems_.at(position); // a copy, as texts before one that doesn't fit are stored at once
    item.setData(values);
    nvItems_[position] = std::move(item);
    baseline_.itemsChanged();
}

void CCalvaneDoc::storeItemData(std::size_t index, const std::string& values) {
    setItemData(index, values);
    changedItems_.insert(index);
}

bool CCalvaneDoc::putItem(const NvItem& value) {
    const std::size_t position = positionOf(value.getId());
    if (position == nvItems_.size()) {
        return false;
    }
    putItem(position, value);
    return true;
}
