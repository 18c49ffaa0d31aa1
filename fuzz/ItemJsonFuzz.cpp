// The input is the JSON of a few items. What is taken, and exported when a phone has handed it back, has the same bytes
// when it is taken again.
#include "fuzz/FuzzInput.h"
#include "workbench/FieldValues.h"
#include "workbench/ItemJson.h"

#include <algorithm>

namespace {

Calvane& catalogOfTwo() {
    static Calvane catalog;
    static const InputFile ring;
    if (catalog.getSupportedNvItems().empty()) {
        ring.fill("NV_A,10,ReadWrite,<SIGNED_WORD,offset, in dB>#<QWORD,stamp>#\nNV_L\xE4RM,20,ReadWrite,<BYTE,x>#\n");
        catalog.loadDecoderRingFile(ring.path);
    }
    return catalog;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(textOf(data, size));
    std::vector<NvItem> items;
    try {
        const auto raw = workbench::rawItemsFromJson(text, "in", catalogOfTwo(), true);
        require(std::ranges::all_of(raw, &workbench::WantedItem::bringsAllBytes));
        require(workbench::earlierReadFromJson(text, "in").items.size() == raw.size());
    } catch (const workbench::ValuesRefused& refusal) {
        require(std::string_view(refusal.what()).starts_with("in: "));
    }
    try {
        for (const NvItem& item : workbench::shownItemsFromJson(text, "in", catalogOfTwo()).items) {
            require(item.getSubItemCount() > 0);
        }
    } catch (const workbench::ValuesRefused& refusal) {
        require(std::string_view(refusal.what()).starts_with("in: "));
    }
    try {
        for (auto& wanted : workbench::itemsFromJson(text, "in", catalogOfTwo(), true)) {
            NvItem& item = items.emplace_back(std::move(wanted.item));
            item.setRawData(NvItem(item).rawData()); // its texts are as typed until then, -1 for a QWORD too
        }
    } catch (const workbench::ValuesRefused& refusal) {
        require(std::string_view(refusal.what()).starts_with("in: "));
        return 0;
    }
    const auto again = workbench::itemsFromJson(workbench::itemsToJson(items), "again", catalogOfTwo(), false);
    require(std::ranges::equal(items, again, [](const NvItem& left, const workbench::WantedItem& right) {
        return left.getId() == right.item.getId() && std::ranges::equal(left.rawData(), right.item.rawData());
    }));
    return 0;
}
