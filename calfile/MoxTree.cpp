#include "calfile/MoxTree.h"

#include "calfile/MoxFailures.h"
#include "platform/kernel/Trace.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

namespace mox {
namespace {

using StreamPtr = storage::ComPtr<storage::IStream>;

// Creates a stream in `parent` and writes it in one piece. Answers how many bytes it took.
std::uint32_t writeStream(const StoragePtr& parent, std::u16string_view name, std::span<const std::uint8_t> bytes) {
    StreamPtr stream;
    check(parent->createStream(name, kNewElement, stream));
    std::uint32_t written = 0;
    check(stream->write(bytes, written));
    return written;
}

// The items' storages that are named by fewer than eight digits, or by more.
std::multimap<std::uint16_t, std::u16string> otherItemNames(const StoragePtr& defaultStorage) {
    std::multimap<std::uint16_t, std::u16string> names;
    EnumPtr children;
    check(defaultStorage->enumElements(children));
    storage::ElementInfo child;
    while (nextNumbered(children, child)) {
        const auto number = numberOf(child.name);
        if (number && child.name != std::u16string_view(NumberName(*number))) {
            names.emplace(*number, child.name);
        }
    }
    return names;
}

// The item is there whole, or as it was before.
void writeItem(const StoragePtr& defaultStorage, const Record& record) {
    StoragePtr item;
    check(defaultStorage->createStorage(NumberName(record.id), kNewElement, item));
    const std::uint32_t written = writeStream(item, kItemStream, itemBytes(record));
    if (written < kItemStreamBytes) {
        throw MoxException("MoxFile::writeToDiskImpl() - Tried to write NV Item: '" + std::to_string(record.id) +
                           "' but was only able to write " + std::to_string(written) + " out of " +
                           std::to_string(kItemStreamBytes) + " bytes");
    }
}

} // namespace

bool nextNumbered(const EnumPtr& children, storage::ElementInfo& child) {
    com::Status status = com::kOk;
    while ((status = children->next(child)) == com::kOk) {
        if (child.kind == storage::ElementKind::kStorage && isNumberName(child.name)) {
            return true;
        }
    }
    if (com::failed(status)) {
        std::string text = hresultText(status);
        text.erase(text.find_last_not_of("\r\n") + 1);
        kernel::logError("MoxFile - An enumeration ended with a failure: " + text);
    }
    return false;
}

void writeVersionStream(const StoragePtr& root) {
    const std::uint32_t written = writeStream(root, kVersionStream, kVersionBytes);
    if (written < kVersionBytes.size()) {
        throw MoxException("MoxFile::writeToDiskImpl() - Tried to write the File_Version Stream but was only able to "
                           "write " +
                           std::to_string(written) + " out of " + std::to_string(kVersionBytes.size()) + ".");
    }
}

void writeItems(const StoragePtr& defaultStorage, std::span<const Record> records) {
    auto otherNames = otherItemNames(defaultStorage);
    for (const Record& record : records) {
        writeItem(defaultStorage, record);
        const auto [first, last] = otherNames.equal_range(record.id);
        std::for_each(first, last, [&](const auto& other) { check(defaultStorage->destroyElement(other.second)); });
        otherNames.erase(first, last);
    }
}

void writeProperties(const StoragePtr& defaultStorage, const Properties& properties) {
    const auto bytes = propertyBytes(properties);
    const std::uint32_t written = writeStream(defaultStorage, kPropertyStream, bytes);
    if (written < bytes.size()) {
        throw MoxException("MoxFile::writeToDiskImpl() - Tried to write the Mobile_Property_Info but was only able to "
                           "write " +
                           std::to_string(written) + " out of " + std::to_string(bytes.size()));
    }
}

std::optional<Properties> readProperties(const StoragePtr& defaultStorage) {
    StreamPtr stream;
    const com::Status status = defaultStorage->openStream(kPropertyStream, kForReading, stream);
    if (status == storage::kFileNotFound) {
        return std::nullopt;
    }
    check(status);
    std::vector<std::uint8_t> bytes(12 + 2 * kMaxPropertyTextBytes);
    std::uint32_t read = 0;
    check(stream->read(bytes, read));
    return propertiesOf(std::span(bytes).first(read));
}

void removeItems(const StoragePtr& defaultStorage, std::span<const std::uint16_t> numbers) {
    std::optional<std::multimap<std::uint16_t, std::u16string>> otherNames;
    for (const std::uint16_t number : numbers) {
        const com::Status status = defaultStorage->destroyElement(NumberName(number));
        if (status != storage::kFileNotFound) {
            check(status);
            continue;
        }
        if (!otherNames) {
            otherNames = otherItemNames(defaultStorage);
        }
        const auto other = otherNames->find(number);
        if (other == otherNames->end()) {
            check(status);
        }
        check(defaultStorage->destroyElement(other->second));
        otherNames->erase(other);
    }
}

std::uint32_t readItemData(const StoragePtr& defaultStorage, std::u16string_view name,
                           std::span<std::uint8_t, kItemDataBytes> data) {
    StoragePtr item;
    check(defaultStorage->openStorage(name, kForReading, item));
    StreamPtr stream;
    check(item->openStream(kItemStream, kForReading, stream));
    check(stream->moveTo(kItemDataOffset));
    std::fill(data.begin(), data.end(), std::uint8_t{0});
    std::uint32_t read = 0;
    check(stream->read(data, read));
    return read;
}

} // namespace mox
