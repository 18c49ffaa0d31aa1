// The input is a ring. A ring whose lines the parser takes one by one is loaded, any other is refused.
#include "engine/CalvaneException.h"
#include "engine/DecoderRing.h"
#include "fuzz/FuzzInput.h"
#include "platform/kernel/Text.h"

#include <algorithm>
#include <set>

namespace {

bool areTakenAlone(std::string_view text) {
    std::set<int> numbers;
    text = kernel::withoutByteOrderMark(text);
    while (!text.empty()) {
        const std::string_view whole = text.substr(0, text.find('\n'));
        const std::string_view line = kernel::trimmed(whole);
        text.remove_prefix(std::min(whole.size() + 1, text.size()));
        if (whole.size() > 65536) {
            return false;
        }
        if (line.empty() || line.starts_with("//")) {
            continue;
        }
        try {
            if (!numbers.insert(NvItem(std::string(line)).getId()).second) {
                return false;
            }
        } catch (const CalvaneException&) {
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const InputFile file;
    file.fill(textOf(data, size));
    std::map<std::uint16_t, NvItem> items;
    bool isLoaded = true;
    try {
        items::loadDecoderRing(file.path, items);
    } catch (const CalvaneException& refusal) {
        require(std::string_view(refusal.what()).starts_with("Calvane::Calvane( const string decoderRingFile ) - "));
        isLoaded = false;
    }
    require(isLoaded == areTakenAlone(textOf(data, size)));
    for (const auto& [number, item] : items) {
        require(number == item.getId() && item.describedBytes() <= items::kItemDataBytes);
    }
    return 0;
}
