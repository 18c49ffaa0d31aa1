#pragma once

#include "platform/kernel/LittleEndian.h"
#include "platform/kernel/Trace.h"
#include "platform/storage/Status.h"
#include "platform/storage/Storage.h"
#include "tests/storage/StrictCheck.h"
#include "tests/support/Processes.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

namespace storage::testing {

using kernel::get16;
using kernel::get32;
using kernel::put16;
using kernel::put32;
using kernel::put64;

inline constexpr std::uint32_t kCreateWrite = kCreate | kShareExclusive | kWrite;
inline constexpr std::uint32_t kCreateReadWrite = kCreate | kShareExclusive | kReadWrite;
inline constexpr std::uint32_t kOpenRead = kShareExclusive | kRead;
inline constexpr std::uint32_t kOpenReadWrite = kShareExclusive | kReadWrite;

/// A folder of its own, in memory, where no disk is waited for; and the error log's last line. Gone with the object.
class TestFolder {
public:
    TestFolder() {
        std::string name = "/dev/shm/calvane-storage-XXXXXX";
        folder_ = ::mkdtemp(name.data());
        kernel::setErrorLog([this](std::string_view text) { logged = text; });
    }
    ~TestFolder() {
        kernel::setErrorLog({});
        std::filesystem::remove_all(folder_);
    }

    std::string operator/(const std::string& name) const { return (folder_ / name).string(); }
    std::size_t fileCount() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder_), {}));
    }

    std::string logged;

private:
    std::filesystem::path folder_;
};

inline Buffer load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void store(const std::string& path, const Buffer& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// Bytes that tell their seed, so that two contents are never alike, and none of them zero.
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
    const std::string digits = std::to_string(100000000 + number).substr(1);
    return {digits.begin(), digits.end()};
}

inline Status writeStream(IStorage& parent, std::u16string_view name, const Buffer& contents) {
    ComPtr<IStream> stream;
    std::uint32_t transferred = 0;
    const Status status = parent.createStream(name, kCreateWrite, stream);
    return com::succeeded(status) ? stream->write(contents, transferred) : status;
}

/// An item as the calibration file holds it: a storage with one stream. The first failure's status.
inline Status writeItem(IStorage& parent, unsigned number, std::uint32_t seed, std::size_t length = 134) {
    ComPtr<IStorage> item;
    const Status status = parent.createStorage(itemName(number), kCreateWrite, item);
    return com::succeeded(status) ? writeStream(*item.get(), u"00000000", pattern(length, seed)) : status;
}

/// Everything below a storage, read through the interfaces, as far as it can be read; the first failure's status.
inline Status readTree(IStorage& storage, Contents& tree, const std::u16string& path = u"/", unsigned levels = 200) {
    ComPtr<IEnumElements> children;
    Status first = storage.enumElements(children);
    const auto keep = [&](Status status) { first = com::succeeded(first) ? status : first; };
    tree[path] = {};
    ElementInfo info;
    Status next = children->next(info);
    for (; next == com::kOk; next = children->next(info)) {
        ComPtr<IStorage> child;
        ComPtr<IStream> stream;
        if (info.kind == ElementKind::kStream) {
            // In a damaged file a stream may claim any size.
            Buffer bytes(std::min<std::uint64_t>(info.size, 1U << 24));
            std::uint32_t transferred = 0;
            Status status = storage.openStream(info.name, kOpenRead, stream);
            status = com::succeeded(status) ? stream->read(bytes, transferred) : status;
            keep(status);
            if (com::succeeded(status)) {
                tree[path + info.name] = bytes;
            }
        } else if (levels > 0) {
            keep(storage.openStorage(info.name, kOpenRead, child));
            keep(readTree(*child.get(), tree, path + info.name + u"/", levels - 1));
        }
    }
    keep(next);
    return com::failed(first) ? first : com::kOk;
}

inline Status readFile(const std::string& path, Contents& tree) {
    ComPtr<IStorage> root;
    tree.clear();
    const Status status = stgOpenStorage(path, kOpenRead, root);
    return com::failed(status) ? status : readTree(*root.get(), tree);
}

} // namespace storage::testing
