#include "cli/ItemSides.h"

#include "cli/CommandText.h"
#include "cli/MoxCommands.h"
#include "cli/PhoneItems.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"
#include "workbench/FieldValues.h"
#include "workbench/ItemJson.h"
#include "workbench/ItemSetLoader.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>

namespace {

using Origin = workbench::ItemSet::Origin;

constexpr std::string_view kCompoundSignature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

std::chrono::system_clock::time_point changeOf(const std::string& path) {
    std::error_code error;
    const auto changed = std::filesystem::last_write_time(path, error);
    return error ? std::chrono::system_clock::now()
                 : std::chrono::time_point_cast<std::chrono::system_clock::duration>(
                       std::chrono::file_clock::to_sys(changed));
}

ItemSide sideOfMox(Calvane& catalog, const std::string& path) {
    MoxItems found = readMoxItems(catalog, path);
    ItemSide side;
    side.about = {Origin::kCalibrationFile, path,
                  std::make_shared<const workbench::Source>(workbench::Source{
                      workbench::FileSource{inputName(path), std::move(found.properties)}, changeOf(path)}),
                  true};
    side.about.unknown = std::move(found.repeated);
    side.items = std::move(found.items);
    side.bringsUndescribed = true;
    side.status = found.isSound ? ExitStatus::kDone : ExitStatus::kFile;
    return side;
}

workbench::JsonItems jsonItems(Calvane& catalog, const std::string& path) {
    const std::string text = readInput(path);
    try {
        return workbench::shownItemsFromJson(text, inputName(path), catalog);
    } catch (const workbench::ValuesRefused& refusal) {
        const bool isText = refusal.kind() == workbench::ValuesRefused::Kind::kText;
        throw BatchFailure(isText ? ExitStatus::kFile : ExitStatus::kValues, refusal.message());
    }
}

ItemSide sideOfJson(Calvane& catalog, const std::string& path, const Arguments& arguments) {
    ItemSide side;
    workbench::JsonItems read = jsonItems(catalog, path);
    for (auto* numbers : {&read.head.failed, &read.head.lost, &read.head.notTried}) {
        std::erase_if(*numbers, [&](std::uint16_t number) { return !isNamed(arguments, number); });
    }
    side.about = workbench::aboutJson(read, inputName(path), inputName(path), changeOf(path));
    side.items = std::move(read.items);
    side.bringsUndescribed = read.head.form == "raw-items";
    side.refused = {read.head.failed.begin(), read.head.failed.end()};
    const bool isWhole = read.head.lost.empty() && read.head.notTried.empty();
    side.status = isWhole ? ExitStatus::kDone : ExitStatus::kIncomplete;
    return side;
}

/// Whether the file has the signature of calibration files, or the ending of their names. Of a pipe nothing is taken.
bool isCalibrationFile(const std::string& path) {
    std::string start;
    // A pipe is not even opened: whoever writes into it would take the end of a first look for that of its reader.
    std::error_code noFile;
    const int error = !std::filesystem::is_regular_file(path, noFile)
                          ? EINVAL
                          : kernel::readRegularFile(path, kCompoundSignature.size(), start);
    const bool hasSignature = (error == 0 || error == EFBIG) && start.starts_with(kCompoundSignature);
    return hasSignature || kernel::lowerCase(path).ends_with(".mox");
}

std::vector<std::uint16_t> undescribedOf(Calvane& catalog, const std::vector<NvItem>& items) {
    const auto supported = catalog.getSupportedNvItems();
    std::vector<std::uint16_t> numbers;
    for (const NvItem& item : items) {
        if (!std::ranges::binary_search(supported, item.getId(), {}, &NvItem::getId)) {
            numbers.push_back(item.getId());
        }
    }
    std::ranges::sort(numbers);
    return numbers;
}

} // namespace

bool isNamed(const Arguments& arguments, std::uint16_t number) {
    return !arguments.itemNumbers || std::ranges::binary_search(*arguments.itemNumbers, number);
}

ItemSide sideOfPort(Calvane& catalog, const Arguments& arguments, const std::vector<std::uint16_t>& undescribed) {
    const auto report = readItems(catalog, arguments, undescribed);
    ItemSide side;
    side.about = {Origin::kPhone, "Phone on " + report.comPort,
                  std::make_shared<const workbench::Source>(
                      workbench::Source{workbench::PhoneSource{report.phone, report.comPort}, report.when}),
                  true};
    side.items = workbench::itemsOf(report, catalog);
    side.undescribed = undescribedOf(catalog, side.items);
    side.bringsUndescribed = true;
    const auto missing = report.numbers(workbench::ReadState::kMissing);
    const auto refused = report.numbers(workbench::ReadState::kFailed);
    side.refused.insert(refused.begin(), refused.end());
    side.about.unknown = side.refused;
    side.about.unknown.insert(missing.begin(), missing.end());
    side.status = missing.empty() ? ExitStatus::kDone : ExitStatus::kIncomplete;
    std::cerr << gapsOf(report);
    return side;
}

ItemSide sideOfFile(Calvane& catalog, const std::string& path, const Arguments& arguments) {
    ItemSide side = isCalibrationFile(path) ? sideOfMox(catalog, path) : sideOfJson(catalog, path, arguments);
    std::erase_if(side.items, [&](const NvItem& item) { return !isNamed(arguments, item.getId()); });
    side.undescribed = undescribedOf(catalog, side.items);
    return side;
}

workbench::Units loadUnits(const Arguments& arguments, bool areNeeded) {
    const bool isNamed = !arguments.unitsPath.empty();
    const std::filesystem::path path =
        isNamed ? std::filesystem::path(arguments.unitsPath) : workbench::Units::pathBeside(arguments.ringPath);
    auto units = failingWith(ExitStatus::kFile, [&] { return workbench::Units::load(path); });
    if (units.isEmpty() && (areNeeded || isNamed)) {
        throw BatchFailure(ExitStatus::kFile, quoted(path.string()) + " has no units and limits, or is not there.");
    }
    return units;
}
