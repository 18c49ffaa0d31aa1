#include "workbench/ItemSet.h"

#include <algorithm>
#include <ctime>

namespace workbench {
namespace {

std::string localTime(std::chrono::system_clock::time_point when) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char text[sizeof "2000-01-01 00:00"];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts)};
}

const FileSource* fileOf(const ItemSet& set) {
    const auto& source = set.about().source;
    return source == nullptr ? nullptr : std::get_if<FileSource>(&source->from);
}

/// The phone and port of the read that the values come from; null where nobody tells of one.
const PhoneSource* phoneOf(const ItemSet& set) {
    if (const FileSource* file = fileOf(set)) {
        return file->read ? &*file->read : nullptr;
    }
    const auto& source = set.about().source;
    return source == nullptr ? nullptr : std::get_if<PhoneSource>(&source->from);
}

/// The record of the file that the values come from; null where there is none.
const PhoneProperties* recordOf(const ItemSet& set) {
    const FileSource* const file = fileOf(set);
    return file == nullptr || !file->properties ? nullptr : &*file->properties;
}

std::string whoText(const ItemSet& set) {
    if (const PhoneSource* phone = phoneOf(set)) {
        return shortName(phone->phone) + " on " + phone->comPort;
    }
    const PhoneProperties* record = recordOf(set);
    return record == nullptr ? std::string() : "ESN " + std::to_string(record->esn);
}

} // namespace

ItemSet::ItemSet(About about, std::vector<NvItem> items) : about_(std::move(about)), items_(std::move(items)) {
    if (!std::ranges::is_sorted(items_, {}, &NvItem::getId)) {
        std::ranges::stable_sort(items_, {}, &NvItem::getId);
    }
    const auto isSame = [](const NvItem& left, const NvItem& right) { return left.getId() == right.getId(); };
    items_.erase(std::unique(items_.begin(), items_.end(), isSame), items_.end());
}

const NvItem* ItemSet::find(std::uint16_t number) const {
    const auto found = std::ranges::lower_bound(items_, number, {}, &NvItem::getId);
    return found == items_.end() || found->getId() != number ? nullptr : &*found;
}

std::string longLabel(const ItemSet& set) {
    const auto& source = set.about().source;
    if (source == nullptr) {
        return set.about().label;
    }
    const std::string who = whoText(set);
    return set.about().label + " (" + who + (who.empty() ? "" : ", ") + localTime(source->when) + ")";
}

std::string otherPhoneText(const ItemSet& left, const ItemSet& right) {
    const PhoneSource* const leftPhone = phoneOf(left);
    const PhoneSource* const rightPhone = phoneOf(right);
    const PhoneProperties* const leftRecord = recordOf(left);
    const PhoneProperties* const rightRecord = recordOf(right);
    const bool arePhonesOther = leftPhone != nullptr && rightPhone != nullptr && leftPhone->phone.isKnown() &&
                                rightPhone->phone.isKnown() && !isSamePhone(leftPhone->phone, rightPhone->phone);
    const bool areRecordsOther = leftRecord != nullptr && rightRecord != nullptr && leftRecord->esn != rightRecord->esn;
    if (!arePhonesOther && !areRecordsOther) {
        return {};
    }
    return "The values are of two phones: " + whoText(left) + " (left) and " + whoText(right) + " (right).";
}

} // namespace workbench
