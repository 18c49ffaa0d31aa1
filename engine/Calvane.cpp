#include "engine/Calvane.h"

#include "calfile/MoxFile.h"
#include "engine/DecoderRing.h"
#include "phonelink/TessraServer.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kResetTimeoutMs = 100000;

/// The ring line of an item that the ring does not describe.
std::string defaultRingLine(std::uint16_t nvItemId) {
    return "No Name," + std::to_string(nvItemId) + ",ReadWrite,<BYTE,no description>#";
}

} // namespace

Calvane::Calvane() {
    const std::string prefix = "Calvane::Calvane() - ";
    try {
        file_ = std::make_unique<MoxFile>();
        session_ = std::make_unique<TessraServer>("Calvane");
    } catch (const MoxFile::Exception& error) {
        throw Exception(prefix + error.what());
    } catch (const TessraServer::Exception& error) {
        throw Exception(prefix + error.what());
    }
}

Calvane::~Calvane() {
    // The file first: closing it is work for the worker, which a phone service that hangs keeps from the session's end
    // on, and the file would wait for it without limit.
    file_.reset();
    session_.reset();
}

void Calvane::loadDecoderRingFile(const std::string decoderRingFile) {
    loaded_.clear();
    unsupported_.clear();
    supported_.clear();
    items::loadDecoderRing(decoderRingFile, supported_);
}

std::size_t Calvane::supportedCount() const {
    return supported_.size();
}

std::vector<NvItem> Calvane::getSupportedNvItems() {
    std::vector<NvItem> items;
    items.reserve(supported_.size());
    for (const auto& [number, item] : supported_) {
        items.push_back(item);
    }
    return items;
}

NvItem Calvane::getSupportedNvItem(unsigned short nvItemId) {
    const auto found = supported_.find(nvItemId);
    if (found == supported_.end()) {
        throw Exception("Calvane::getSupportedNvItem( std::string nvItemName ) - The NV item id '" +
                        std::to_string(nvItemId) + "' is not found in the decoder ring file.");
    }
    return found->second;
}

NvItem Calvane::getSupportedNvItem(std::string nvItemName) {
    const NvItem* found = findSupported(nvItemName);
    if (found == nullptr) {
        throw Exception("Calvane::getSupportedNvItem( std::string nvItemName ) - The NV item '" + nvItemName +
                        "' is not found in the decoder ring file.");
    }
    return *found;
}

void Calvane::setNvItem(const NvItem& nvItem) {
    setNvItem(nvItem.getId(), nvItem.getData());
}

void Calvane::setNvItem(const std::string nvItemName, const unsigned char* data) {
    setNvItem(supportedNumber(nvItemName), data);
}

void Calvane::setNvItem(const std::string nvItemName, const std::string commaDelimitedDataString) {
    setNvItem(supportedNumber(nvItemName), commaDelimitedDataString);
}

void Calvane::setNvItem(unsigned short nvItemId, const std::string commaDelimitedDataString) {
    const auto found = supported_.find(nvItemId);
    if (found == supported_.end()) {
        throw Exception("NV Item ID: '" + std::to_string(nvItemId) + "' is not supported by the Calvane.");
    }
    found->second.setData(commaDelimitedDataString);
    loaded_[nvItemId] = &found->second;
}

void Calvane::setNvItem(unsigned short nvItemId, const unsigned char* data) {
    setData(nvItemId, data);
}

NvItem Calvane::describedItem(std::uint16_t nvItemId) const {
    const auto found = supported_.find(nvItemId);
    return found != supported_.end() ? found->second : NvItem(defaultRingLine(nvItemId));
}

NvItem& Calvane::setData(std::uint16_t nvItemId, const unsigned char* data) {
    auto found = supported_.find(nvItemId);
    if (found == supported_.end()) {
        found = unsupported_.insert_or_assign(nvItemId, NvItem(defaultRingLine(nvItemId))).first;
    }
    found->second.setData(data);
    loaded_[nvItemId] = &found->second;
    return found->second;
}

void Calvane::resetPhone() {
    try {
        session_->reset(kResetTimeoutMs);
    } catch (const TessraServer::Exception& error) {
        throw Exception(error.what());
    }
}

void Calvane::clearNvItems() {
    loaded_.clear();
    unsupported_.clear();
}

TessraServer* Calvane::getTessraServer() {
    return session_.get();
}

std::uint16_t Calvane::supportedNumber(const std::string& nvItemName) {
    const NvItem* found = findSupported(nvItemName);
    if (found == nullptr) {
        throw Exception("NV Item: '" + nvItemName + "' is not supported by the Calvane.");
    }
    return found->getId();
}

NvItem* Calvane::findSupported(const std::string& nvItemName) {
    const auto found = std::find_if(supported_.begin(), supported_.end(),
                                    [&](const auto& entry) { return entry.second.getName() == nvItemName; });
    return found == supported_.end() ? nullptr : &found->second;
}
