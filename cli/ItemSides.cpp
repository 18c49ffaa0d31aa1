#include "cli/ItemSides.h"

#include "cli/CommandText.h"
#include "cli/MoxCommands.h"
#include "cli/PhoneItems.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"
#include "workbench/FieldValues.h"
#include "workbench/ItemJson.h"

#include <algorithm>
#include <cerrno>
#include <iostream>

namespace {

using Origin = workbench::ItemSet::Origin;

constexpr std::string_view kCompoundSignature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

std::shared_ptr<const workbench::Source> fileSource(const std::string& path, std::optional<PhoneProperties> record) {
    std::error_code error;
    const auto changed = std::filesystem::last_write_time(path, error);
    const auto when = error ? std::chrono::system_clock::now()
                            : std::chrono::time_point_cast<std::chrono::system_clock::duration>(
                                  std::chrono::file_clock::to_sys(changed));
    return std::make_shared<const workbench::Source>(
        workbench::Source{workbench::FileSource{inputName(path), std::move(record)}, when});
}

/// "'p.mox' has items that the decoder ring does not describe, which are left out: 7, 9."
void tellUndescribed(const std::string& path, const std::vector<std::uint16_t>& numbers) {
    if (!numbers.empty()) {
        std::cerr << quoted(path) << " has " << counted(numbers.size())
                  << " that the decoder ring does not describe, left out: " << joined(numbers) << ".\n";
    }
}

ItemSide sideOfMox(Calvane& catalog, const std::string& path, const Arguments& arguments, bool withUndescribed) {
    MoxItems found = readMoxItems(catalog, path, withUndescribed);
    std::erase_if(found.undescribed, [&](std::uint16_t number) { return !isNamed(arguments, number); });
    ItemSide side;
    side.about = {Origin::kCalibrationFile, path, fileSource(path, found.properties), true};
    side.items = std::move(found.items);
    side.unknown = std::move(found.repeated);
    side.status = found.isSound ? ExitStatus::kDone : ExitStatus::kFile;
    if (!withUndescribed && !found.undescribed.empty()) {
        tellUndescribed(path, found.undescribed);
        side.unknown.insert(found.undescribed.begin(), found.undescribed.end());
        side.status = worse(side.status, ExitStatus::kIncomplete);
    }
    return side;
}

ItemSide sideOfJson(Calvane& catalog, const std::string& path) {
    const std::string text = readInput(path);
    ItemSide side;
    side.about = {Origin::kJsonFile, inputName(path), fileSource(path, std::nullopt), true};
    try {
        for (auto& wanted : workbench::itemsFromJson(text, inputName(path), catalog, false)) {
            side.about.bringsAllBytes = side.about.bringsAllBytes && wanted.bringsAllBytes;
            side.items.push_back(std::move(wanted.item));
            side.items.back().setRawData(side.items.back().rawData()); // values as the bytes have them, not as typed
        }
    } catch (const workbench::ValuesRefused& refusal) {
        const bool isText = refusal.kind() == workbench::ValuesRefused::Kind::kText;
        throw BatchFailure(isText ? ExitStatus::kFile : ExitStatus::kValues, refusal.message());
    }
    return side;
}

} // namespace

bool isNamed(const Arguments& arguments, std::uint16_t number) {
    return !arguments.itemNumbers || std::ranges::binary_search(*arguments.itemNumbers, number);
}

bool isCalibrationFile(const std::string& path) {
    std::string start;
    const int error = path == "-" ? EINVAL : kernel::readRegularFile(path, kCompoundSignature.size(), start);
    const bool hasSignature = (error == 0 || error == EFBIG) && start.starts_with(kCompoundSignature);
    return hasSignature || kernel::lowerCase(path).ends_with(".mox");
}

ItemSide sideOfPort(Calvane& catalog, const Arguments& arguments) {
    const auto report = readItems(catalog, arguments);
    ItemSide side;
    side.about = {Origin::kPhone, "Phone on " + report.comPort,
                  std::make_shared<const workbench::Source>(
                      workbench::Source{workbench::PhoneSource{report.phone, report.comPort}, report.when}),
                  true};
    side.items = workbench::itemsOf(report, catalog);
    const auto missing = report.numbers(workbench::ReadState::kMissing);
    const auto refused = report.numbers(workbench::ReadState::kFailed);
    side.refused.insert(refused.begin(), refused.end());
    side.unknown = side.refused;
    side.unknown.insert(missing.begin(), missing.end());
    side.status = missing.empty() ? ExitStatus::kDone : ExitStatus::kIncomplete;
    std::cerr << gapsOf(report);
    return side;
}

ItemSide sideOfFile(Calvane& catalog, const std::string& path, const Arguments& arguments, bool withUndescribed) {
    ItemSide side =
        isCalibrationFile(path) ? sideOfMox(catalog, path, arguments, withUndescribed) : sideOfJson(catalog, path);
    std::erase_if(side.items, [&](const NvItem& item) { return !isNamed(arguments, item.getId()); });
    return side;
}
