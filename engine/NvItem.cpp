#include "engine/NvItem.h"

#include "engine/CalvaneException.h"
#include "engine/DecoderRing.h"
#include "engine/ItemLayout.h"
#include "engine/ValueText.h"
#include "platform/kernel/Text.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view kSetDataPrefix = "Calvane::NvItem::setData( const string commaDelimitedDataString ) - ";

CalvaneException tooFewValues(const std::string& name, std::size_t expected, std::size_t given,
                              const std::string& input) {
    return CalvaneException(std::string(kSetDataPrefix) + "For NV item: '" + name + "' there are " +
                            std::to_string(expected) + " expected data items, and there are only " +
                            std::to_string(given) + " in the passed in comma delimited data string: '" + input + "'");
}

CalvaneException tooManyValues(const std::string& name, std::size_t expected, const std::string& input,
                               std::string_view leftOver) {
    const std::string count = std::to_string(expected);
    return CalvaneException(
        std::string(kSetDataPrefix) + "For NV item '" + name + "' there are " + count +
        " expected data items, and there are more than " + count + " in the passed in comma delimited data string: '" +
        input + "'" + ". The left over string in the buffer is: '" + std::string(kernel::firstWord(leftOver)) + "'");
}

} // namespace

std::atomic<bool> NvItem::compareByName_ = false;

NvItem::NvItem(const std::string decoderRingLine) {
    NvItem::parseDecoderRingString(decoderRingLine);
}

NvItem::NvItem(std::shared_ptr<const items::ItemLayout> layout) : layout_(std::move(layout)) {}

void NvItem::setDecoderRingString(const std::string decoderRingLine) {
    parseDecoderRingString(decoderRingLine);
}

void NvItem::setData(const unsigned char* data) {
    const bool described = !layout().fields.empty();
    // Copied before the rest is cleared: `data` may be this very block, and then nothing may get lost.
    std::copy_n(data, described ? layout().dataBytes : data_.size(), data_.begin());
    if (described) {
        std::fill(data_.begin() + static_cast<std::ptrdiff_t>(layout().dataBytes), data_.end(), std::uint8_t{0});
    }
    typedTexts_.clear();
    valuesFromData_ = true;
}

void NvItem::setData(const std::string commaDelimitedDataString) {
    const std::string& input = commaDelimitedDataString;
    const std::vector<items::ItemLayout::Field>& fields = layout().fields;
    std::size_t start = 0;
    std::size_t offset = 0;
    // Set once a field has run into the end of the input. Without any field that has not happened, so no sub-fields and
    // an empty input are one field too many.
    bool exhausted = false;

    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (exhausted) {
            throw tooFewValues(getName(), fields.size(), i, input);
        }
        const std::size_t comma = input.find(',', start);
        std::string text = input.substr(start, comma - start);

        std::uint64_t value = 0;
        const items::ReadResult result = items::readValueText(fields[i].type, text, value);
        if (result != items::ReadResult::kOk) {
            refuseField(i, text, result == items::ReadResult::kOutOfRange);
        }
        typedTexts_.resize(std::max(typedTexts_.size(), i + 1));
        typedTexts_[i] = std::move(text);
        items::storeValue(fields[i].type, value, data_.data() + offset);
        offset += subItemTypeInfo(fields[i].type).bytes;

        exhausted = comma == std::string::npos;
        start = exhausted ? input.size() : comma + 1;
    }
    if (!exhausted) {
        throw tooManyValues(getName(), fields.size(), input, std::string_view(input).substr(start));
    }
}

std::uint16_t NvItem::getId() const {
    return layout().number;
}

std::string NvItem::getName() const {
    return std::string(layout().name);
}

const unsigned char* NvItem::getData() const {
    return data_.data();
}

std::string NvItem::getAccess() const {
    return layout().accessMark;
}

bool NvItem::operator==(const NvItem& other) const {
    return compare(other) == 0;
}

bool NvItem::operator!=(const NvItem& other) const {
    return compare(other) != 0;
}

bool NvItem::operator>(const NvItem& other) const {
    return compare(other) > 0;
}

bool NvItem::operator<(const NvItem& other) const {
    return compare(other) < 0;
}

std::vector<SubItem> NvItem::getSubItems() const {
    std::vector<SubItem> subItems;
    subItems.reserve(layout().fields.size());
    std::size_t offset = 0;
    for (const auto& [type, description] : layout().fields) {
        const SubItemTypeInfo& info = subItemTypeInfo(type);
        subItems.push_back({std::string(description), std::string(), std::string(info.displaySpelling)});
        SubItem& subItem = subItems.back();
        if (subItems.size() <= typedTexts_.size()) {
            subItem.value = typedTexts_[subItems.size() - 1];
        } else if (valuesFromData_) {
            subItem.value = items::valueText(type, data_.data() + offset);
        } else {
            subItem.typeName = info.ringSpelling;
        }
        offset += info.bytes;
    }
    return subItems;
}

void NvItem::parseDecoderRingString(const std::string decoderRingLine) {
    const auto parsed = std::make_shared<items::ItemLayout>(decoderRingLine);
    parsed->number = getId(); // stays, where the line has none that can be read
    layout_ = parsed;         // also where the rest of the line is refused
    typedTexts_.clear();
    valuesFromData_ = false;
    items::parseRingLine(*parsed);
}

std::size_t NvItem::getSubItemCount() const {
    return layout().fields.size();
}

std::vector<SubItemType> NvItem::getSubItemTypes() const {
    std::vector<SubItemType> types;
    for (const items::ItemLayout::Field& field : layout().fields) {
        types.push_back(field.type);
    }
    return types;
}

bool NvItem::isWritable() const {
    return layout().accessMark.find("write") != std::string::npos;
}

bool NvItem::isTime() const {
    return layout().accessMark.find("time") != std::string::npos;
}

std::span<const std::uint8_t, items::kItemDataBytes> NvItem::rawData() const {
    return data_;
}

void NvItem::setRawData(std::span<const std::uint8_t, items::kItemDataBytes> data) {
    std::copy(data.begin(), data.end(), data_.begin());
    typedTexts_.clear();
    valuesFromData_ = true;
}

std::uint64_t NvItem::layoutHash() const {
    // FNV-1a, which needs no seed and no table.
    std::uint64_t hash = 0xCBF29CE484222325;
    const auto add = [&hash](std::uint8_t byte) { hash = (hash ^ byte) * 0x100000001B3; };
    for (const auto& [type, description] : layout().fields) {
        add(static_cast<std::uint8_t>(type));
        for (const char character : description) {
            add(static_cast<std::uint8_t>(character));
        }
        add('>'); // no description holds it, so fields never run into each other
    }
    return hash;
}

bool NvItem::hasLayoutOf(const NvItem& other) const {
    const auto isSameField = [](const items::ItemLayout::Field& left, const items::ItemLayout::Field& right) {
        return left.type == right.type && left.description == right.description;
    };
    // Copies of one item share their layout.
    return layout_ == other.layout_ || std::ranges::equal(layout().fields, other.layout().fields, isSameField);
}

bool NvItem::hasValues() const {
    return !layout().fields.empty() && (valuesFromData_ || !typedTexts_.empty());
}

std::size_t NvItem::describedBytes() const {
    return layout().dataBytes;
}

void NvItem::setCompareByName(bool byName) {
    compareByName_.store(byName, std::memory_order_relaxed);
}

int NvItem::compare(const NvItem& other) const {
    if (compareByName_.load(std::memory_order_relaxed)) {
        return layout().name.compare(other.layout().name);
    }
    return int{getId()} - int{other.getId()};
}

void NvItem::refuseField(std::size_t index, const std::string& field, bool isNumber) const {
    const auto& [type, description] = layout().fields[index];
    std::string message = std::string(kSetDataPrefix) + "For NV item '" + getName() + "' the data item " +
                          std::to_string(index + 1) + " ('" + std::string(description) + "') ";
    if (isNumber) {
        message += "must be from " + items::smallestText(type) + " to " + items::largestText(type) + " for the type " +
                   std::string(subItemTypeInfo(type).displaySpelling) + ", and it is: '" + field + "'";
    } else {
        message += "must be a decimal number, and it is: '" + field + "'";
    }
    throw CalvaneException(std::move(message));
}

const items::ItemLayout& NvItem::layout() const {
    static const items::ItemLayout empty{""};
    return layout_ == nullptr ? empty : *layout_;
}
