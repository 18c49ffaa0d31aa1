#include "cli/CommandText.h"
#include "cli/ItemSides.h"
#include "cli/Run.h"
#include "cli/ShownStream.h"
#include "cli/Verbs.h"
#include "workbench/ComparisonRows.h"
#include "workbench/ComparisonText.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <iterator>
#include <utility>

namespace {

using workbench::RowState;
using Sides = std::array<ItemSide, 2>;

/// More numbers than these are counted instead of named.
constexpr std::size_t kMaxNamedNumbers = 20;

ItemSide sideOfPhone(Calvane& catalog, const std::string& port, const Arguments& arguments,
                     const std::vector<std::uint16_t>& undescribed) {
    Arguments ofPort = arguments;
    ofPort.comPort = port;
    try {
        return sideOfPort(catalog, ofPort, undescribed);
    } catch (const BatchFailure& failure) {
        const bool isOfPort = failure.status() == ExitStatus::kNoPhone;
        const bool isNamed = failure.message().find(port) != std::string::npos;
        throw BatchFailure(failure.status(), (isOfPort && !isNamed ? port + ": " : "") + failure.message());
    }
}

/// Both sides. The files come first: a phone is also asked for the items in them that the ring does not describe.
Sides readSides(Calvane& catalog, const Arguments& arguments) {
    Sides sides;
    std::vector<std::uint16_t> undescribed;
    for (std::size_t at = 0; at < sides.size(); ++at) {
        if (!arguments.sides[at].isPort) {
            sides[at] = sideOfFile(catalog, arguments.sides[at].name, arguments);
            undescribed = sides[at].undescribed;
        }
    }
    for (std::size_t at = 0; at < sides.size(); ++at) {
        if (arguments.sides[at].isPort) {
            arguments.run->report().beginSide(at);
            sides[at] = sideOfPhone(catalog, arguments.sides[at].name, arguments, undescribed);
        }
    }
    return sides;
}

/// An item that the one phone refuses to give matters where the other side has it.
ExitStatus statusOf(const ItemSide& side, const ItemSide& other) {
    const bool isMissed =
        std::ranges::any_of(other.items, [&](const NvItem& item) { return side.refused.contains(item.getId()); });
    return isMissed ? worse(side.status, ExitStatus::kIncomplete) : side.status;
}

/// Items that the ring does not describe are told and not compared where the other side can't have any.
void leaveOutUndescribed(ItemSide& side, const ItemSide& other) {
    if (other.bringsUndescribed || !other.undescribed.empty() || side.undescribed.empty()) {
        return;
    }
    const std::set<std::uint16_t> numbers(side.undescribed.begin(), side.undescribed.end());
    std::cerr << ::quoted(side.about.label) << " has " << counted(numbers.size())
              << " that the decoder ring does not describe, left out"
              << (numbers.size() > kMaxNamedNumbers ? "" : ": " + joined(side.undescribed)) << ".\n";
    std::erase_if(side.items, [&](const NvItem& item) { return numbers.contains(item.getId()); });
    side.about.unknown.insert(numbers.begin(), numbers.end());
    side.status = worse(side.status, ExitStatus::kIncomplete);
}

/// Most of 65,536 numbers are refused by a phone, and neither the ring nor the other side has them.
void forgetRefused(Calvane& catalog, ItemSide& side, const ItemSide& other) {
    std::set<std::uint16_t> known;
    for (const auto& items : {catalog.getSupportedNvItems(), other.items}) {
        std::ranges::transform(items, std::inserter(known, known.end()), &NvItem::getId);
    }
    std::erase_if(side.about.unknown,
                  [&](std::uint16_t number) { return side.refused.contains(number) && !known.contains(number); });
}

std::shared_ptr<const workbench::ItemSet> setOf(ItemSide side) {
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
    const bool isJson = !arguments.jsonPath.empty();
    const workbench::Units units = isJson ? loadUnits(arguments, false) : workbench::Units();
    auto [left, right] = readSides(catalog, arguments);
    leaveOutUndescribed(left, right);
    leaveOutUndescribed(right, left);
    forgetRefused(catalog, left, right);
    forgetRefused(catalog, right, left);
    const ExitStatus status = worse(statusOf(left, right), statusOf(right, left));

    const auto comparison =
        std::make_shared<const workbench::SetComparison>(setOf(std::move(left)), setOf(std::move(right)));
    auto rows = workbench::ComparisonRows(comparison).find({});
    std::erase_if(rows, [&](std::uint32_t row) { return comparison->rows()[row].state == RowState::kNotCompared; });
    if (isJson) {
        writeOutput(arguments.jsonPath, workbench::comparisonJson(*comparison, rows, true, units));
    }
    if (arguments.namesOnly) {
        std::cout << namesOf(*comparison, rows);
    } else if (!isJson) {
        printColoured(workbench::comparisonUnified(*comparison, rows));
    }
    if (const std::string identities = comparison->identities(); !identities.empty()) {
        std::cerr << identities << '\n';
    }
    arguments.run->note(comparison->counts() + ".\n");
    if (comparison->rows().size() == comparison->count(RowState::kNotCompared)) {
        tellFailure("Nothing was compared."); // which is no proof that the sides are equal
        return worse(status, ExitStatus::kIncomplete);
    }
    return worse(status, rows.empty() ? ExitStatus::kDone : ExitStatus::kDifferent);
}
