#include "platform/storage/Directory.h"

#include "platform/storage/Tolerances.h"

#include <algorithm>
#include <cstring>

namespace storage {

void EntryWriter::reset() {
    std::memset(bytes_, 0, kEntryBytes);
    setLeft(kNoEntry);
    setRight(kNoEntry);
    setChild(kNoEntry);
}

void EntryWriter::makeRoot() {
    reset();
    setName(u"Root Entry");
    bytes_[66] = static_cast<std::uint8_t>(EntryType::root);
    setBlack(true);
    setContents(kEndOfChain, 0);
}

void EntryWriter::makeChild(std::u16string_view name, EntryType type) {
    std::memset(bytes_, 0, 67);
    std::memset(bytes_ + 76, 0, kEntryBytes - 76);
    setName(name);
    bytes_[66] = static_cast<std::uint8_t>(type);
    setChild(kNoEntry);
    setContents(type == EntryType::stream ? kEndOfChain : 0, 0);
}

void EntryWriter::setName(std::u16string_view name) {
    for (std::size_t at = 0; at < name.size(); ++at) {
        put16(bytes_ + 2 * at, name[at]);
    }
    put16(bytes_ + 64, static_cast<std::uint16_t>(2 * name.size() + 2));
}

Directory::Directory(Allocation& allocation)
    : allocation_(allocation), perSectorShift_(allocation.sectors().sectorShift() - 7),
      sectors_(allocation.tableChain(allocation.sectors().headerField(header::kFirstDirectorySector))) {
    if (sectors_.empty() || read(kRootEntry).type() != EntryType::root) {
        throw Failure(kFileCorrupt);
    }
}

EntryWriter Directory::changeBytes(std::uint32_t id, std::uint32_t offset, std::uint32_t length) {
    if (id >= count()) {
        throw Failure(kFileCorrupt);
    }
    return EntryWriter(
        allocation_.sectors().change(sectors_[id >> perSectorShift_], offsetInSector(id) + offset, length) - offset);
}

std::uint64_t Directory::sizeOf(std::uint32_t id) const {
    return tolerance::streamSize(allocation_.sectors().majorVersion(), read(id).size());
}

std::uint32_t Directory::allocate() {
    if (const auto known = free_.takeFirst()) {
        return *known;
    }
    while (scanned_ < count()) {
        if (read(scanned_++).type() == EntryType::free) {
            return scanned_ - 1;
        }
    }
    grow();
    return scanned_++;
}

void Directory::release(std::uint32_t id) {
    change(id).reset();
    free_.add(id);
}

void Directory::grow() {
    const auto present = static_cast<std::uint32_t>(sectors_.size());
    if (count() > 0xFFFFFF00U - (16U << perSectorShift_)) {
        throw Failure(kFileTooLarge);
    }
    const std::uint32_t added = std::clamp(present / 16, 1U, 16U);
    allocation_.extendTable(sectors_, added, 0);
    for (std::uint32_t id = present << perSectorShift_; id < count(); ++id) {
        change(id).reset();
    }
    if (allocation_.sectors().majorVersion() != 3) {
        allocation_.sectors().setHeaderField(header::kDirectorySectors, static_cast<std::uint32_t>(sectors_.size()));
    }
}

} // namespace storage
