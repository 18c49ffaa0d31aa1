#include "engine/NvItem.h"

#include "engine/CalvaneException.h"
#include "engine/DecoderRing.h"
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

NvItem::NvItem(std::uint16_t id, items::ItemLayout layout) : layout_(std::move(layout)), id_(id) {}

void NvItem::setDecoderRingString(const std::string decoderRingLine) {
    parseDecoderRingString(decoderRingLine);
}

void NvItem::setData(const unsigned char* data) {
    const std::size_t covered = layout_.fieldCount() == 0 ? data_.size() : layout_.dataBytes();
    // Copied before the rest is cleared: `data` may be this very block, and then nothing may get lost.
    std::copy_n(data, covered, data_.begin());
    std::fill(data_.begin() + static_cast<std::ptrdiff_t>(covered), data_.end(), static_cast<unsigned char>(0));
    typedTexts_.clear();
    valuesFromData_ = true;
}

void NvItem::setData(const std::string commaDelimitedDataString) {
    const std::string& input = commaDelimitedDataString;
    const std::size_t count = layout_.fieldCount();
    std::size_t start = 0;
    std::size_t offset = 0;
    // Set once a field has run into the end of the input. Without any field that has not happened, so no sub-fields and
    // an empty input are one field too many.
    bool exhausted = false;

    for (std::size_t i = 0; i < count; ++i) {
        if (exhausted) {
            throw tooFewValues(getName(), count, i, input);
        }
        const std::size_t comma = input.find(',', start);
        std::string field = input.substr(start, comma - start);

        const SubItemType type = layout_.type(i);
        std::uint64_t value = 0;
        const items::ReadResult result = items::readValueText(type, field, value);
        if (result != items::ReadResult::kOk) {
            refuseField(i, field, result == items::ReadResult::kOutOfRange);
        }
        if (i < typedTexts_.size()) {
            typedTexts_[i] = std::move(field);
        } else {
            typedTexts_.push_back(std::move(field));
        }
        items::storeValue(type, value, data_.data() + offset);
        offset += subItemTypeInfo(type).bytes;

        exhausted = comma == std::string::npos;
        start = exhausted ? input.size() : comma + 1;
    }
    if (!exhausted) {
        throw tooManyValues(getName(), count, input, std::string_view(input).substr(start));
    }
}

std::uint16_t NvItem::getId() const {
    return id_;
}

std::string NvItem::getName() const {
    return std::string(layout_.name());
}

const unsigned char* NvItem::getData() const {
    return data_.data();
}

std::string NvItem::getAccess() const {
    return std::string(layout_.accessMark());
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
    std::vector<SubItem> subItems(layout_.fieldCount());
    std::size_t offset = 0;
    for (std::size_t i = 0; i < subItems.size(); ++i) {
        const SubItemType type = layout_.type(i);
        const bool typed = i < typedTexts_.size();
        SubItem& subItem = subItems[i];
        subItem.description = layout_.description(i);
        if (typed) {
            subItem.value = typedTexts_[i];
        } else if (valuesFromData_) {
            subItem.value = items::valueText(type, data_.data() + offset);
        }
        const SubItemTypeInfo& info = subItemTypeInfo(type);
        subItem.typeName = typed || valuesFromData_ ? info.displaySpelling : info.ringSpelling;
        offset += info.bytes;
    }
    return subItems;
}

void NvItem::parseDecoderRingString(const std::string decoderRingLine) {
    items::RingLine ringLine;
    const auto adopt = [&] {
        layout_ = ringLine.layout();
        id_ = ringLine.number.value_or(id_);
        typedTexts_.clear();
        valuesFromData_ = false;
    };
    try {
        items::parseRingLine(decoderRingLine, ringLine);
    } catch (const CalvaneException&) {
        adopt();
        throw;
    }
    adopt();
}

std::size_t NvItem::getSubItemCount() const {
    return layout_.fieldCount();
}

std::vector<SubItemType> NvItem::getSubItemTypes() const {
    std::vector<SubItemType> types(layout_.fieldCount());
    for (std::size_t i = 0; i < types.size(); ++i) {
        types[i] = layout_.type(i);
    }
    return types;
}

bool NvItem::isWritable() const {
    return layout_.accessMark().find("write") != std::string_view::npos;
}

bool NvItem::isTime() const {
    return layout_.accessMark().find("time") != std::string_view::npos;
}

void NvItem::setCompareByName(bool byName) {
    compareByName_.store(byName, std::memory_order_relaxed);
}

int NvItem::compare(const NvItem& other) const {
    if (compareByName_.load(std::memory_order_relaxed)) {
        return layout_.name().compare(other.layout_.name());
    }
    return int{id_} - int{other.id_};
}

void NvItem::refuseField(std::size_t index, const std::string& field, bool isNumber) const {
    const SubItemType type = layout_.type(index);
    std::string message = std::string(kSetDataPrefix) + "For NV item '" + getName() + "' the data item " +
                          std::to_string(index + 1) + " ('" + std::string(layout_.description(index)) + "') ";
    if (isNumber) {
        message += "must be from " + items::smallestText(type) + " to " + items::largestText(type) + " for the type " +
                   std::string(subItemTypeInfo(type).displaySpelling) + ", and it is: '" + field + "'";
    } else {
        message += "must be a decimal number, and it is: '" + field + "'";
    }
    throw CalvaneException(std::move(message));
}
