#include "cli/CommandText.h"
#include "cli/Interruption.h"
#include "cli/ItemListing.h"
#include "cli/MoxCommands.h"
#include "cli/PhoneAccount.h"
#include "cli/PhoneProgress.h"
#include "cli/RawRead.h"
#include "cli/Run.h"
#include "cli/Verbs.h"
#include "engine/TextExport.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/MessageException.h"
#include "workbench/ItemJson.h"
#include "workbench/MessageText.h"
#include "workbench/PhoneReader.h"
#include "workbench/PortReason.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <utility>

namespace {

/// The items to ask for. A number that the ring does not describe is refused like a value that does not fit it, before
/// the phone is asked for anything: nobody could tell what its bytes mean. Of a range, the described ones are meant.
std::vector<std::uint16_t> numbersToRead(Calvane& catalog, const Arguments& arguments) {
    std::vector<std::uint16_t> described;
    for (const NvItem& item : catalog.getSupportedNvItems()) {
        described.push_back(item.getId());
    }
    if (!arguments.itemNumbers) {
        return described;
    }
    if (const auto unknown = missingNumbers(arguments.singleNumbers, described); !unknown.empty()) {
        throw BatchFailure(ExitStatus::kValues, "The decoder ring does not describe " + joined(unknown) + ".");
    }
    std::vector<std::uint16_t> numbers;
    std::ranges::set_intersection(*arguments.itemNumbers, described, std::back_inserter(numbers));
    if (numbers.empty()) {
        throw BatchFailure(ExitStatus::kValues, "The decoder ring describes none of these items.");
    }
    return numbers;
}

workbench::ReadReport readItems(Calvane& catalog, const Arguments& arguments) {
    const auto numbers = numbersToRead(catalog, arguments);
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

/// Who the phone is, for a report. One that does not say it may need its reset all the more.
workbench::PhoneIdentity identityOf(TessraServer& session) {
    try {
        return workbench::askIdentity(session);
    } catch (const TessraServer::Exception&) {
        return {};
    }
}

/// "Missing: 20, 31: Timeout waiting for response"; a line for each reason.
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

/// What was read, and what was not.
std::string accountOf(const workbench::ReadReport& report, bool ofAll) {
    const auto without = report.numbers(workbench::ReadState::kNoValue);
    std::string text = "Read " + counted(report.count(workbench::ReadState::kRead)) + " from " + report.comPort + " (" +
                       workbench::shortName(report.phone) + ").";
    if (!without.empty()) {
        text += " The phone has no value for " +
                (ofAll ? "the other " + std::to_string(without.size()) + " of the decoder ring" : joined(without)) +
                ".";
    }
    return text + "\n" + gapsOf(report);
}

/// Writes the items to the files that were asked for, or prints them where none was. Answers an account for the user.
/// A failure says which of the files were written before it.
std::string writeResults(Calvane& catalog, const workbench::ReadReport& read, const Arguments& arguments) {
    const std::vector<NvItem> items = workbench::itemsOf(read, catalog);
    std::string written;
    std::string report;
    try {
        if (!arguments.textPath.empty()) {
            std::ostringstream text;
            items::writeTextExport(text, items);
            writeOutput(arguments.textPath, text.str());
            written += " " + quoted(arguments.textPath);
        }
        if (!arguments.jsonPath.empty()) {
            writeOutput(arguments.jsonPath, workbench::itemsToJson(items, arguments.run->ring(), &read));
            written += " " + quoted(arguments.jsonPath);
        }
        if (!arguments.moxPath.empty()) {
            report = saveToMox(catalog, items, arguments);
        }
    } catch (const std::exception& error) {
        const auto* failure = dynamic_cast<const BatchFailure*>(&error);
        throw BatchFailure(failure == nullptr ? ExitStatus::kFile : failure->status(),
                           kernel::messageOf(error) + (written.empty() ? "" : "\nWritten before it:" + written));
    }
    const bool isReport = arguments.reportPath == "-"; // which has the values
    if (!isReport && arguments.textPath.empty() && arguments.jsonPath.empty() && arguments.moxPath.empty()) {
        printItems(std::cout, items);
    }
    flushOutput();
    return report;
}

} // namespace

ExitStatus printPorts(Calvane& catalog, const Arguments& arguments) {
    std::vector<std::string> ports;
    arguments.run->giveUpWhenInterrupted([&] { ports = catalog.getTessraServer()->getActiveComPorts(); });
    arguments.run->report().setPresentPorts(ports);
    for (const std::string& port : ports) {
        std::cout << workbench::shownText(port) << '\n';
    }
    if (ports.empty()) {
        arguments.run->note("No phone is present on any port.\n");
    }
    return ExitStatus::kDone;
}

ExitStatus readPhone(Calvane& catalog, const Arguments& arguments) {
    if (arguments.raw) {
        return readRaw(catalog, arguments);
    }
    const auto report = readItems(catalog, arguments);
    // What came is worth having, also where something is missing.
    ExitStatus status = report.isComplete() ? ExitStatus::kDone : ExitStatus::kIncomplete;
    std::string account = accountOf(report, !arguments.itemNumbers);
    try {
        account += writeResults(catalog, report, arguments);
    } catch (const std::exception& failure) {
        status = worse(status, ::report(failure));
    }
    arguments.run->account(account, status);
    return status;
}

ExitStatus listItems(Calvane& catalog, const Arguments& arguments) {
    auto items = catalog.getSupportedNvItems();
    const auto described = items.size();
    if (arguments.itemNumbers) {
        items.clear();
        for (const std::uint16_t number : *arguments.itemNumbers) {
            items.push_back(failingWith(ExitStatus::kValues, [&] { return catalog.getSupportedNvItem(number); }));
        }
    }
    printItems(std::cout, items);
    arguments.run->note("The decoder ring describes " + counted(described) + ".\n");
    return ExitStatus::kDone;
}

ExitStatus resetPhone(Calvane& catalog, const Arguments& arguments) {
    TessraServer& session = *catalog.getTessraServer();
    ExitStatus status = ExitStatus::kNoPhone;
    try {
        session.connect(arguments.comPort);
        status = ExitStatus::kOtherFailure;
        if (!arguments.reportPath.empty()) {
            arguments.run->report().setPhone(identityOf(session));
        }
        arguments.run->note("Waiting for the phone on " + arguments.comPort + " to go and come back...\n");
        arguments.run->giveUpWhenInterrupted([&] { catalog.resetPhone(); });
    } catch (const std::exception& failure) {
        throw BatchFailure(status, workbench::withPortReason(kernel::messageOf(failure), session, arguments.comPort));
    }
    std::cout << "The phone on " << arguments.comPort << " has been reset.\n";
    return ExitStatus::kDone;
}
