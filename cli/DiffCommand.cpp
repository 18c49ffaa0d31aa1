#include "cli/CommandText.h"
#include "cli/ItemSides.h"
#include "cli/Run.h"
#include "cli/ShownStream.h"
#include "cli/Verbs.h"
#include "workbench/ComparisonRows.h"
#include "workbench/ComparisonText.h"

#include <algorithm>
#include <iostream>
#include <utility>

namespace {

using Side = Arguments::Side;

ItemSide sideOf(Calvane& catalog, const Side& side, const Arguments& arguments, bool withUndescribed) {
    if (!side.isPort) {
        return sideOfFile(catalog, side.name, arguments, withUndescribed);
    }
    Arguments ofPort = arguments;
    ofPort.comPort = side.name;
    return sideOfPort(catalog, ofPort);
}

/// An item that the one phone refuses to give matters where the other side has it.
ExitStatus statusOf(const ItemSide& side, const ItemSide& other) {
    const bool isMissed =
        std::ranges::any_of(other.items, [&](const NvItem& item) { return side.refused.contains(item.getId()); });
    return isMissed ? worse(side.status, ExitStatus::kIncomplete) : side.status;
}

/// What nobody knows of one side can't be compared, whatever the other side has.
std::shared_ptr<const workbench::ItemSet> comparable(ItemSide side, const std::set<std::uint16_t>& unknown) {
    std::erase_if(side.items, [&](const NvItem& item) { return unknown.contains(item.getId()); });
    return std::make_shared<const workbench::ItemSet>(std::move(side.about), std::move(side.items));
}

std::string namesOf(const workbench::SetComparison& comparison, const std::vector<std::uint32_t>& rows) {
    std::string text;
    for (const std::uint32_t position : rows) {
        const workbench::ItemRow& row = comparison.rows()[position];
        text += std::to_string(row.number) + " " + workbench::anyItem(row).getName() + "\n";
    }
    return text;
}

/// What the left side alone has begins with a minus, what the right one has with a plus.
void printColoured(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const Colour colour = line.starts_with('-')   ? Colour::kOld
                              : line.starts_with('+') ? Colour::kNew
                                                      : Colour::kPlain;
        if (colour == Colour::kPlain) {
            std::cout << line << '\n';
        } else {
            std::cout << colour << line << Colour::kPlain << '\n';
        }
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
}

} // namespace

ExitStatus printDiff(Calvane& catalog, const Arguments& arguments) {
    const auto isMox = [](const Side& side) { return !side.isPort && isCalibrationFile(side.name); };
    const bool withUndescribed = isMox(arguments.sides[0]) && isMox(arguments.sides[1]);
    ItemSide left = sideOf(catalog, arguments.sides[0], arguments, withUndescribed);
    ItemSide right = sideOf(catalog, arguments.sides[1], arguments, withUndescribed);
    const ExitStatus status = worse(statusOf(left, right), statusOf(right, left));
    auto unknown = left.unknown;
    unknown.insert(right.unknown.begin(), right.unknown.end());

    const auto comparison = std::make_shared<const workbench::SetComparison>(comparable(std::move(left), unknown),
                                                                             comparable(std::move(right), unknown));
    const auto rows = workbench::ComparisonRows(comparison).find({});
    if (!arguments.jsonPath.empty()) {
        writeOutput(arguments.jsonPath, workbench::comparisonJson(*comparison, rows, true));
    }
    if (arguments.namesOnly) {
        std::cout << namesOf(*comparison, rows);
    } else if (arguments.jsonPath.empty()) {
        printColoured(workbench::comparisonUnified(*comparison, rows));
    }
    if (const std::string identities = comparison->identities(); !identities.empty()) {
        std::cerr << identities << '\n';
    }
    arguments.run->note(comparison->counts() +
                        (unknown.empty() ? "" : ", not compared: " + workbench::namedItems(unknown)) + ".\n");
    if (comparison->rows().empty()) {
        tellFailure("Nothing was compared."); // which is no proof that the sides are equal
        return worse(status, ExitStatus::kIncomplete);
    }
    return worse(status, rows.empty() ? ExitStatus::kDone : ExitStatus::kDifferent);
}
