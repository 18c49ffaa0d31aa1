#pragma once

#include "platform/storage/Docfile.h"
#include "platform/storage/Sectors.h"
#include "tests/storage/MemoryFile.h"
#include "tests/storage/StrictCheck.h"

#include <string>

namespace storage::testing {

inline constexpr std::uint32_t kCreateWrite = kCreate | kShareExclusive | kWrite;
inline constexpr std::uint32_t kCreateReadWrite = kCreate | kShareExclusive | kReadWrite;
inline constexpr std::uint32_t kOpenRead = kShareExclusive | kRead;
inline constexpr std::uint32_t kOpenReadWrite = kShareExclusive | kReadWrite;

// Bytes that tell their seed, so that two contents are never alike, and none of them zero.
inline Buffer pattern(std::size_t length, std::uint32_t seed) {
    Buffer bytes(length);
    std::uint32_t state = seed * 2654435761U + 1;
    for (auto& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24 | 1);
    }
    return bytes;
}

inline std::u16string itemName(unsigned number) {
    std::string digits = std::to_string(number);
    digits.insert(0, 8 - digits.size(), '0');
    return toUtf16(digits);
}

// An item as the calibration file holds it: a storage with one stream of 134 bytes. The first failure's status.
inline Status writeItem(IStorage& parent, unsigned number, const Buffer& contents) {
    ComPtr<IStorage> item;
    ComPtr<IStream> stream;
    std::uint32_t transferred = 0;
    Status status = parent.createStorage(itemName(number), kCreateWrite, item);
    if (com::succeeded(status)) {
        status = item->createStream(u"00000000", kCreateWrite, stream);
    }
    return com::succeeded(status) ? stream->write(contents, transferred) : status;
}

inline Status writeItem(IStorage& parent, unsigned number, std::uint32_t seed, std::size_t length = 134) {
    return writeItem(parent, number, pattern(length, seed));
}

inline Status readStream(IStorage& parent, std::u16string_view name, Buffer& out) {
    ComPtr<IStream> stream;
    std::uint64_t size = 0;
    std::uint32_t transferred = 0;
    Status status = parent.openStream(name, kOpenRead, stream);
    if (com::succeeded(status) && com::succeeded(status = stream->size(size))) {
        out.assign(static_cast<std::size_t>(std::min<std::uint64_t>(size, 1U << 24)), 0);
        status = stream->read(out, transferred);
        out.resize(transferred);
    }
    return status;
}

// In a hostile file storages may lead back to where they hang; no deeper than this is looked.
inline constexpr unsigned kHostileLevels = 32;

// Everything at most `levels` storages below a storage, read through the interfaces. The first failure's status.
inline Status readTree(IStorage& storage, Tree& tree, unsigned levels = kHostileLevels,
                       const std::u16string& path = u"/") {
    tree[path] = {};
    ComPtr<IEnumElements> children;
    Status status = storage.enumElements(children);
    ElementInfo info;
    while (com::succeeded(status) && (status = children->next(info)) == com::kOk) {
        if (info.kind == ElementKind::stream) {
            status = readStream(storage, info.name, tree[path + info.name]);
        } else if (levels > 0) {
            ComPtr<IStorage> child;
            status = storage.openStorage(info.name, kOpenRead, child);
            if (com::succeeded(status)) {
                status = readTree(*child.get(), tree, levels - 1, path + info.name + u"/");
            }
        }
    }
    return com::failed(status) ? status : com::kOk;
}

inline Status openImage(const std::shared_ptr<MemoryImage>& image, std::uint32_t mode, ComPtr<IStorage>& root) {
    return openContainer(std::make_unique<MemoryFile>(image), mode, root);
}

inline Buffer emptyVersion4() {
    Buffer file(3 * 4096);
    const Buffer small = Sectors::emptyFile();
    std::copy_n(small.begin(), 512, file.begin());
    file[26] = 4;
    file[30] = 12;
    file[40] = 1;
    std::fill(file.begin() + 4096, file.begin() + 8192, std::uint8_t{0xFF});
    put32(&file[4096], kFatSector);
    put32(&file[4100], kEndOfChain);
    for (std::size_t at = 8192; at < file.size(); at += 128) {
        std::copy_n(small.begin() + (at == 8192 ? 1024 : 1152), 128, file.begin() + static_cast<long>(at));
    }
    return file;
}

inline std::shared_ptr<MemoryImage> imageOf(Buffer bytes) {
    auto image = std::make_shared<MemoryImage>();
    image->bytes = std::move(bytes);
    return image;
}

inline Status readImage(const Buffer& bytes, Tree& tree, unsigned levels = kHostileLevels) {
    ComPtr<IStorage> root;
    tree.clear();
    const Status status = openImage(imageOf(bytes), kOpenRead, root);
    return com::failed(status) ? status : readTree(*root.get(), tree, levels);
}

} // namespace storage::testing
