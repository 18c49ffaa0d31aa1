#include "workbench/RingInfo.h"

#include "engine/Calvane.h"
#include "platform/kernel/RegularFile.h"
#include "workbench/NumberTexts.h"

#include <sha2.h>

#include <array>
#include <cstdint>

namespace workbench {
namespace {

/// A ring of 65,536 items with the longest lines stays below this.
constexpr std::size_t kMaxBytes = std::size_t{1} << 30;

} // namespace

RingInfo ringInfo(const std::filesystem::path& path, const Calvane& catalog) {
    return {.path = path, .sha256 = fileHash(path), .items = catalog.supportedCount()};
}

std::string ringLine(const RingInfo& ring) {
    return "Decoder ring: " + ring.path.string() + ", SHA-256 " + (ring.sha256.empty() ? "unknown" : ring.sha256) +
           ", " + counted(ring.items);
}

std::string ringLine(const std::filesystem::path& path) {
    try {
        Calvane catalog;
        catalog.loadDecoderRingFile(path.string());
        return ringLine(ringInfo(path, catalog));
    } catch (const std::exception&) {
        return "Decoder ring: " + path.string() + ", which can't be used";
    }
}

std::string fileHash(const std::filesystem::path& path) {
    std::string text;
    if (kernel::readRegularFile(path, kMaxBytes, text) != 0) {
        return {};
    }
    std::array<char, SHA256_DIGEST_STRING_LENGTH> digits{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the library takes unsigned bytes
    return SHA256Data(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), digits.data());
}

} // namespace workbench
