#include "app/document/DocumentSets.h"

#include "app/document/CCalvaneDoc.h"
#include "app/document/WriteRequest.h"

using workbench::ItemSet;

namespace {

std::shared_ptr<const ItemSet> setOf(const CCalvaneDoc& document, ItemSet::Origin origin, std::string label,
                                     std::vector<NvItem> items) {
    // The bytes behind the sub-fields are none of a document's: what it holds there depends on how it was read.
    return std::make_shared<const ItemSet>(
        ItemSet::About{origin, std::move(label), document.baseline().lastSource(), false}, std::move(items));
}

} // namespace

std::shared_ptr<const ItemSet> itemsOf(const CCalvaneDoc& document, std::string label) {
    std::vector<NvItem> items;
    for (std::size_t position = 0; position < document.nvItems().size(); ++position) {
        if (hasValue(document, position)) {
            items.push_back(document.nvItems()[position]);
        }
    }
    return setOf(document, ItemSet::Origin::kDocument, std::move(label), std::move(items));
}

std::shared_ptr<const ItemSet> lastKnownItemsOf(const CCalvaneDoc& document, std::string label) {
    std::vector<NvItem> items;
    for (const NvItem& item : document.nvItems()) {
        if (auto known = document.baseline().values().itemOf(item)) {
            items.push_back(std::move(*known));
        }
    }
    return setOf(document, ItemSet::Origin::kLastKnown, std::move(label), std::move(items));
}
