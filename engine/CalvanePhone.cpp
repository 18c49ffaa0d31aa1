// The catalog's transfers from and to the phone.

#include "engine/Calvane.h"
#include "engine/NvStatus.h"
#include "phonelink/TessraServer.h"

#include <array>

namespace {

const std::string kWritePrefix = "Calvane::writeToPhone( const string comPort ) - ";
/// What a read calls an item that the ring does not describe.
constexpr const char* kUnknownName = "No Name";

/// A write's refusal of one item, as the two forms of the write word it.
struct RefusalText {
    const char* prefix;
    const char* gap; ///< between the sentence and the status text
};

constexpr RefusalText kLoadedRefusal{"Calvane::writeToPhone( const string comPort, bool throwException )", "  "};
constexpr RefusalText kListRefusal{
    "Calvane::writeToPhone( const string comPort, const vector< NvItem >& nvItems, bool throwException )", " "};

[[noreturn]] void throwRefused(const RefusalText& text, const NvItem& item, std::string_view statusText) {
    throw Calvane::Exception(text.prefix + std::string(" - Unable to write '") + item.getName() + "' to the phone." +
                             text.gap + "(" + std::string(statusText) + ")");
}

} // namespace

std::vector<NvItem> Calvane::getNvItemsFromPhone(const std::string comPort, void* context, ProgressCallback callback) {
    std::vector<std::uint16_t> numbers;
    numbers.reserve(supported_.size());
    for (const auto& [number, item] : supported_) {
        numbers.push_back(number);
    }
    return getNvItemsFromPhone(comPort, numbers, context, callback);
}

std::vector<NvItem> Calvane::getNvItemsFromPhone(const std::string comPort) {
    return getNvItemsFromPhone(comPort, nullptr, nullptr);
}

std::vector<NvItem> Calvane::getNvItemsFromPhone(const std::string comPort, const std::vector<std::uint16_t>& nvItemIds,
                                                 void* context, ProgressCallback callback) {
    try {
        session_->connect(comPort);
        loaded_.clear();
        return readConnected(nvItemIds, context, callback);
    } catch (const TessraServer::Exception& error) {
        throw Exception(std::string("Calvane::getNvItemsFromPhone( const string comPort ) - ") + error.what());
    }
}

std::vector<NvItem> Calvane::readConnected(const std::vector<std::uint16_t>& nvItemIds, void* context,
                                           ProgressCallback callback) {
    std::vector<NvItem> items;
    std::uint32_t position = 0;
    for (const std::uint16_t number : nvItemIds) {
        ++position;
        if (callback != nullptr) {
            const auto described = supported_.find(number);
            callback(context, number, described == supported_.end() ? kUnknownName : described->second.getName(),
                     static_cast<std::uint32_t>(nvItemIds.size()), position);
        }
        std::array<std::uint8_t, TessraServer::kNvDataBytes> data{};
        std::uint16_t status = 0;
        session_->readNv(number, data.data(), status);
        if (status == nvstatus::kSuccess) {
            items.push_back(setData(number, data.data()));
        }
    }
    return items;
}

std::string Calvane::writeToPhone(const std::string comPort, const std::vector<NvItem>& nvItems, bool offlineFirst,
                                  const std::set<int>* toleratedIds) {
    std::string report;
    openForWriting(comPort, offlineFirst);
    for (const NvItem& item : nvItems) {
        const auto failure = writeItem(item);
        if (!failure) {
            continue;
        }
        if (toleratedIds == nullptr || !toleratedIds->contains(item.getId())) {
            throwRefused(kListRefusal, item, *failure);
        }
        report += std::to_string(item.getId()) + " Had the following error while writing to the phone - ";
        report += *failure;
        report += "\n";
    }
    return report;
}

std::string Calvane::writeToPhone(const std::string comPort, bool offlineFirst, const std::set<int>* toleratedIds) {
    std::string report;
    openForWriting(comPort, offlineFirst);
    for (const auto& [number, item] : loaded_) {
        const auto failure = writeItem(*item);
        if (!failure) {
            continue;
        }
        if (toleratedIds == nullptr || !toleratedIds->contains(number)) {
            throwRefused(kLoadedRefusal, *item, *failure);
        }
        report += report.empty() ? "" : "\n\n";
        report += "NV Item ID: " + std::to_string(number) + " had the following error while writing to the phone - ";
        report += *failure;
    }
    return report;
}

void Calvane::openForWriting(const std::string& comPort, bool offlineFirst) {
    try {
        session_->connect(comPort);
        if (offlineFirst) {
            session_->offline();
        }
    } catch (const TessraServer::Exception& error) {
        throw Exception(kWritePrefix + error.what());
    }
}

std::optional<std::string_view> Calvane::writeItem(const NvItem& item) {
    if (!item.isWritable()) {
        return std::nullopt;
    }
    std::uint16_t status = 0;
    try {
        session_->writeNv(item.getId(), item.getData(), status);
    } catch (const TessraServer::Exception& error) {
        throw Exception(kWritePrefix + error.what());
    }
    return nvstatus::writeFailureText(status);
}
