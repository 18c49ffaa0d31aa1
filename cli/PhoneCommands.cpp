#include "cli/CommandText.h"
#include "cli/ItemListing.h"
#include "cli/MoxCommands.h"
#include "cli/PhoneItems.h"
#include "cli/RawRead.h"
#include "cli/Run.h"
#include "cli/Verbs.h"
#include "engine/TextExport.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/Trace.h"
#include "workbench/ItemJson.h"
#include "workbench/MessageText.h"
#include "workbench/PhoneContact.h"
#include "workbench/PortReason.h"

#include <nlohmann/json.hpp>

#include <iostream>
#include <sstream>

namespace {

/// Who the phone is, for a report. One that does not say it may need its reset all the more.
workbench::PhoneIdentity identityOf(TessraServer& session) {
    try {
        return workbench::askIdentity(session);
    } catch (const TessraServer::Exception&) {
        return {};
    }
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
    auto json = nlohmann::ordered_json::array();
    for (const std::string& port : ports) {
        json.push_back({{"name", workbench::utf8Text(port)}});
        std::cout << (arguments.jsonPath.empty() ? workbench::shownText(port) + "\n" : "");
    }
    if (!arguments.jsonPath.empty()) {
        writeOutput(arguments.jsonPath, nlohmann::ordered_json{{"ports", std::move(json)}}.dump(2) + "\n");
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
    arguments.run->account(account, gapsOf(report), status);
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
    if (arguments.jsonPath.empty()) {
        printItems(std::cout, items);
    } else {
        writeOutput(arguments.jsonPath, layoutsToJson(items));
    }
    arguments.run->note("The decoder ring describes " + counted(described) + ".\n");
    return ExitStatus::kDone;
}

ExitStatus resetPhone(Calvane& catalog, const Arguments& arguments) {
    TessraServer& session = *catalog.getTessraServer();
    ExitStatus status = ExitStatus::kNoPhone;
    try {
        workbench::PhoneIdentity phone;
        arguments.run->giveUpWhenInterrupted([&] {
            session.connect(arguments.comPort);
            phone = arguments.reportPath.empty() ? phone : identityOf(session);
        });
        status = ExitStatus::kOtherFailure;
        arguments.run->report().setPhone(phone);
        arguments.run->note("Waiting for the phone on " + arguments.comPort + " to go and come back...\n");
        arguments.run->giveUpWhenInterrupted([&] { catalog.resetPhone(); });
    } catch (const std::exception& failure) {
        const std::string text = kernel::messageOf(failure);
        const auto* const ofSession = dynamic_cast<const TessraServer::Exception*>(&failure);
        if (status == ExitStatus::kNoPhone && ofSession != nullptr &&
            workbench::lossOf(ofSession->status()) == workbench::Loss::kLeft) {
            kernel::logError(text); // it does not say so
            throw BatchFailure(status, workbench::noPhoneText(session, arguments.comPort));
        }
        throw BatchFailure(status, workbench::withPortReason(text, session, arguments.comPort));
    }
    std::cout << "The phone on " << arguments.comPort << " has been reset.\n";
    return ExitStatus::kDone;
}
