#include "cli/PhoneItems.h"

#include "cli/CommandText.h"
#include "cli/Interruption.h"
#include "cli/PhoneAccount.h"
#include "cli/PhoneProgress.h"
#include "cli/Run.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

namespace {

/// The items to ask for. A number that the ring does not describe is refused like a value that does not fit it, before
/// the phone is asked for anything: nobody could tell what its bytes mean. Of a range, the described ones are meant.
std::vector<std::uint16_t> numbersToRead(Calvane& catalog, const Arguments& arguments,
                                         const std::vector<std::uint16_t>& undescribed) {
    std::vector<std::uint16_t> known = undescribed;
    for (const NvItem& item : catalog.getSupportedNvItems()) {
        known.push_back(item.getId());
    }
    std::ranges::sort(known);
    if (!arguments.itemNumbers) {
        return known;
    }
    if (const auto unknown = missingNumbers(arguments.singleNumbers, known); !unknown.empty()) {
        throw BatchFailure(ExitStatus::kValues, "The decoder ring does not describe " + joined(unknown) + ".");
    }
    std::vector<std::uint16_t> numbers;
    std::ranges::set_intersection(*arguments.itemNumbers, known, std::back_inserter(numbers));
    if (numbers.empty()) {
        throw BatchFailure(ExitStatus::kValues, "The decoder ring describes none of these items.");
    }
    return numbers;
}

} // namespace

workbench::ReadReport readItems(Calvane& catalog, const Arguments& arguments,
                                const std::vector<std::uint16_t>& undescribed) {
    const auto numbers = numbersToRead(catalog, arguments, undescribed);
    const Interruption interruption;
    PhoneProgress progress(*arguments.run, "read");
    workbench::PhoneReader reader(*catalog.getTessraServer(), arguments.comPort,
                                  {.repeats = arguments.retries, .expected = {}});
    auto report = reader.read(numbers, progress.control());
    arguments.run->report().setRead(report);
    if (const ExitStatus end = endOf(report); end != ExitStatus::kDone) {
        throw BatchFailure(end, failureOf(report) + "\n" + progress.stoppedAt() +
                                    "\nNothing was printed or written to a file.");
    }
    return report;
}

std::string gapsOf(const workbench::ReadReport& report) {
    std::map<std::pair<workbench::ReadState, std::string>, std::vector<std::uint16_t>> gaps;
    for (const auto& reading : report.readings) {
        if (reading.state == workbench::ReadState::kMissing || reading.state == workbench::ReadState::kFailed) {
            gaps[{reading.state, reading.reason}].push_back(reading.number);
        }
    }
    std::string text;
    for (const auto& [kind, numbers] : gaps) {
        text += (kind.first == workbench::ReadState::kMissing ? "Missing: " : "Failed: ") + joined(numbers) + ": " +
                kind.second + "\n";
    }
    return text;
}
