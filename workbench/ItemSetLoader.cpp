#include "workbench/ItemSetLoader.h"

#include "calfile/MoxFile.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/RegularFile.h"
#include "workbench/MessageText.h"
#include "workbench/PhoneReader.h"
#include "workbench/PortReason.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>

namespace workbench {
namespace {

/// 65,536 items of 128 sub-fields each stay below this.
constexpr std::size_t kMaxJsonBytes = std::size_t{1} << 30;

std::string nameOf(const std::string& path) {
    return std::filesystem::path(path).filename().string();
}

std::string textOf(const std::string& path) {
    std::string text;
    if (const int error = kernel::readRegularFile(path, kMaxJsonBytes, text); error != 0) {
        throw std::runtime_error("Can't read '" + path + "': " +
                                 (error == EINVAL ? "it is no regular file" : std::generic_category().message(error)));
    }
    return text;
}

std::shared_ptr<const Source> fileSource(const std::string& path, std::optional<PhoneProperties> properties = {}) {
    return std::make_shared<const Source>(
        Source{FileSource{path, std::move(properties)}, std::chrono::system_clock::now()});
}

/// What a read did not bring, added to `about`.
void addGaps(ItemSet::About& about, const std::vector<std::uint16_t>& lost, const std::vector<std::uint16_t>& failed,
             const std::vector<std::uint16_t>& notTried) {
    addCount(about.remark, lost.size(), " missing: the phone did not answer");
    addCount(about.remark, failed.size(), " refused by the phone");
    addCount(about.remark, notTried.size(), " not tried, as the read ended before");
    for (const auto& numbers : {lost, failed, notTried}) {
        about.unknown.insert(numbers.begin(), numbers.end());
    }
}

/// What could be read of a calibration file.
struct MoxContent {
    std::multimap<std::uint16_t, ItemData> items;
    std::optional<PhoneProperties> properties;
    std::size_t failures = 0;
    bool isWhole = true;
};

MoxContent contentOf(const std::string& path) {
    MoxContent content;
    MoxFile file;
    file.open(path);
    if (const auto record = file.readMobilePropertyInfo()) {
        content.properties = {record->esn, record->nvMajorVersion, record->nvMinorVersion, record->softwareVersion,
                              record->clientName};
    }
    auto record = file.begin();
    const auto end = file.end();
    // After an item that can't be read, the walk goes on behind it.
    for (bool isRead = true; !isRead || record != end;) {
        if (isRead) {
            content.items.emplace((*record).id, (*record).data);
        }
        try {
            isRead = false;
            ++record;
            isRead = true;
        } catch (const MoxFile::Exception&) {
            ++content.failures;
        }
    }
    content.isWhole = file.isWhole();
    return content;
}

} // namespace

ItemSet::About aboutJson(const JsonItems& read, std::string label, std::string path,
                         std::chrono::system_clock::time_point when) {
    const JsonHead& head = read.head;
    FileSource file{std::move(path), {}};
    if (!head.comPort.empty()) {
        file.read = PhoneSource{head.phone, head.comPort};
    }
    ItemSet::About about{ItemSet::Origin::kJsonFile, std::move(label),
                         std::make_shared<const Source>(Source{std::move(file), head.when.value_or(when)}),
                         read.bringsAllBytes};
    addGaps(about, head.lost, head.failed, head.notTried);
    return about;
}

ItemSetLoader::ItemSetLoader(const std::string& ringPath) {
    try {
        catalog_.loadDecoderRingFile(ringPath);
    } catch (const CalvaneException& failure) {
        ringFault_ = failure.what();
    }
}

std::shared_ptr<const ItemSet> ItemSetLoader::made(ItemSet::About about, std::vector<NvItem> items) const {
    if (!ringFault_.empty()) {
        about.remark += (about.remark.empty() ? "" : "; ") + ringFault_;
    }
    return std::make_shared<const ItemSet>(std::move(about), std::move(items));
}

std::shared_ptr<const ItemSet> ItemSetLoader::fromCalibrationFile(const std::string& path) {
    MoxContent content;
    try {
        content = contentOf(path);
    } catch (const MoxFile::Exception& failure) {
        throw std::runtime_error("'" + path + "': " + shownMessage(failure.what(), path));
    }
    const std::vector<NvItem> supported = catalog_.getSupportedNvItems();
    std::vector<NvItem> items;
    std::set<std::uint16_t> unknown;
    std::string remark;
    std::size_t repeated = 0;
    std::size_t undescribed = 0;
    for (auto at = content.items.begin(); at != content.items.end(); at = content.items.upper_bound(at->first)) {
        const auto known = std::ranges::lower_bound(supported, at->first, {}, &NvItem::getId);
        if (content.items.count(at->first) > 1) {
            ++repeated;
            unknown.insert(at->first);
        } else if (known == supported.end() || known->getId() != at->first) {
            ++undescribed;
        } else {
            items.push_back(*known);
            items.back().setRawData(at->second);
        }
    }
    addCount(remark, content.failures, " can't be read");
    addCount(remark, repeated, " left out, as they stand in the file more than once");
    addCount(remark, undescribed, " left out, as the decoder ring does not describe them");
    if (!content.isWhole) {
        remark += std::string(remark.empty() ? "" : ", ") + "the file is damaged and may have had more items";
    }
    return made({ItemSet::Origin::kCalibrationFile, nameOf(path), fileSource(path, content.properties), true, remark,
                 std::move(unknown)},
                std::move(items));
}

std::shared_ptr<const ItemSet> ItemSetLoader::fromJsonFile(const std::string& path) {
    JsonItems read = shownItemsFromJson(textOf(path), path, catalog_);
    const std::vector<NvItem> supported = catalog_.getSupportedNvItems();
    const auto isUndescribed = [&](std::uint16_t number) {
        return !std::ranges::binary_search(supported, number, {}, &NvItem::getId);
    };
    for (auto* numbers : {&read.head.lost, &read.head.failed, &read.head.notTried}) {
        std::erase_if(*numbers, isUndescribed);
    }
    ItemSet::About about = aboutJson(read, nameOf(path), path, std::chrono::system_clock::now());
    addCount(about.remark, std::erase_if(read.items, [&](const NvItem& item) { return isUndescribed(item.getId()); }),
             " left out, as the decoder ring does not describe them");
    return made(std::move(about), std::move(read.items));
}

std::shared_ptr<const ItemSet> ItemSetLoader::fromPhone(const std::string& comPort, const WorkControl& control) {
    std::vector<std::uint16_t> numbers;
    for (const NvItem& item : catalog_.getSupportedNvItems()) {
        numbers.push_back(item.getId());
    }
    TessraServer& session = *catalog_.getTessraServer();
    const ReadReport report = PhoneReader(session, comPort).read(numbers, control);
    if (report.cancelled) {
        return nullptr;
    }
    if (!report.failure.empty()) {
        throw std::runtime_error(report.failure);
    }
    auto source = std::make_shared<const Source>(Source{PhoneSource{report.phone, comPort}, report.when});
    ItemSet::About about{ItemSet::Origin::kPhone, "Phone on " + comPort, std::move(source), true};
    addGaps(about, report.numbers(ReadState::kMissing), report.numbers(ReadState::kFailed), {});
    return made(std::move(about), itemsOf(report, catalog_));
}

} // namespace workbench
