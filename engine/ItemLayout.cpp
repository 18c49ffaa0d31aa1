#include "engine/ItemLayout.h"

#include "platform/kernel/Text.h"

#include <algorithm>
#include <cstring>

namespace items {

namespace {

// The block, in words of std::size_t:
//   word        content
//   0           number of sub-fields n
//   1           bytes that the sub-fields cover
//   2           end of text 0, the name
//   3           end of text 1, the access mark
//   4 + i       end of text 2 + i, the description of sub-field i
//   4 + n ...   as bytes: n type codes, then the texts one after the other; their ends count from here
constexpr std::size_t kCountWord = 0;
constexpr std::size_t kDataBytesWord = 1;
constexpr std::size_t kTextEndWord = 2;
constexpr std::size_t kNameText = 0;
constexpr std::size_t kAccessText = 1;
constexpr std::size_t kFirstDescription = 2;

constexpr std::size_t headWords(std::size_t fieldCount) {
    return kTextEndWord + kFirstDescription + fieldCount;
}

} // namespace

std::shared_ptr<std::size_t[]> ItemLayout::Pool::take(std::size_t words) {
    if (words > kBlockWords / 8) {
        return std::make_shared_for_overwrite<std::size_t[]>(words);
    }
    if (words > kBlockWords - used_) {
        block_ = std::make_shared_for_overwrite<std::size_t[]>(kBlockWords);
        used_ = 0;
    }
    const std::size_t start = used_;
    used_ += words;
    return {block_, block_.get() + start};
}

ItemLayout::ItemLayout(std::string_view name, std::string_view accessMark, std::span<const Field> fields, Pool* pool) {
    const std::size_t count = fields.size();
    std::size_t tailBytes = count + name.size() + accessMark.size();
    for (const Field& field : fields) {
        tailBytes += field.description.size();
    }

    const std::size_t tailWords = (tailBytes + sizeof(std::size_t) - 1) / sizeof(std::size_t);
    const std::size_t words = headWords(count) + tailWords;
    auto block = pool ? pool->take(words) : std::make_shared_for_overwrite<std::size_t[]>(words);
    char* const tail = reinterpret_cast<char*>(block.get() + headWords(count));
    std::size_t* const ends = block.get() + kTextEndWord;

    char* write = std::copy(name.begin(), name.end(), tail + count);
    ends[kNameText] = static_cast<std::size_t>(write - tail);
    write = std::transform(accessMark.begin(), accessMark.end(), write, [](char c) { return kernel::lowerCase(c); });
    ends[kAccessText] = static_cast<std::size_t>(write - tail);
    std::size_t dataBytes = 0;
    for (std::size_t i = 0; i < count; ++i) {
        tail[i] = static_cast<char>(fields[i].type);
        dataBytes += subItemTypeInfo(fields[i].type).bytes;
        write = std::copy(fields[i].description.begin(), fields[i].description.end(), write);
        ends[kFirstDescription + i] = static_cast<std::size_t>(write - tail);
    }
    block[kCountWord] = count;
    block[kDataBytesWord] = dataBytes;
    block_ = std::move(block);
}

std::string_view ItemLayout::name() const {
    return textAt(kNameText);
}

std::string_view ItemLayout::accessMark() const {
    return textAt(kAccessText);
}

std::size_t ItemLayout::fieldCount() const {
    return block_ ? block_[kCountWord] : 0;
}

SubItemType ItemLayout::type(std::size_t index) const {
    const char* const tail = reinterpret_cast<const char*>(block_.get() + headWords(fieldCount()));
    return static_cast<SubItemType>(tail[index]);
}

std::string_view ItemLayout::description(std::size_t index) const {
    return textAt(kFirstDescription + index);
}

std::size_t ItemLayout::dataBytes() const {
    return block_ ? block_[kDataBytesWord] : 0;
}

std::size_t ItemLayout::textStart(std::size_t text) const {
    return text == kNameText ? fieldCount() : block_.get()[kTextEndWord + text - 1];
}

std::string_view ItemLayout::textAt(std::size_t text) const {
    if (!block_) {
        return {};
    }
    const char* const tail = reinterpret_cast<const char*>(block_.get() + headWords(fieldCount()));
    return {tail + textStart(text), tail + block_.get()[kTextEndWord + text]};
}

} // namespace items
