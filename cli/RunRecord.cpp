#include "cli/RunRecord.h"

#include "cli/CommandText.h"
#include "cli/Interruption.h"
#include "platform/kernel/Process.h"
#include "workbench/MessageText.h"
#include "workbench/ResultJson.h"
#include "workbench/record/ReportItems.h"

#include <chrono>
#include <iostream>
#include <string_view>

namespace {

using Verb = Arguments::Verb;

/// "calvane-batch 1.4.34"
std::string programText() {
    const std::string_view version(workbench::kProgramVersion);
    return "calvane-batch" + std::string(version.substr(version.find(' ')));
}

std::string itemsText(const Arguments& arguments) {
    if (!arguments.listPath.empty()) {
        return "the items of " + quoted(arguments.listPath);
    }
    if (arguments.itemNumbers) {
        return (arguments.itemNumbers->size() == 1 ? "item " : "items ") + joined(*arguments.itemNumbers);
    }
    return arguments.raw ? "all numbers" : "all supported items";
}

std::string requestText(const SetRequest& request) {
    return (request.number ? std::to_string(*request.number) : request.name) +
           (request.field ? "[" + std::to_string(*request.field + 1) + "]" : "");
}

/// What was asked for, in words of the command line. The service programming code, and where it stands, is no part of
/// it.
std::string askedText(const Arguments& arguments) {
    std::string text = arguments.verbName;
    const auto add = [&](bool isGiven, const std::string& words) { text += isGiven ? " " + words : ""; };
    if (arguments.verb == Verb::kSet) {
        for (const SetRequest& request : arguments.requests) {
            add(true, requestText(request));
        }
    } else if (arguments.verb == Verb::kWrite) {
        add(true, arguments.moxPath.empty() ? "--from-json " + inputName(arguments.inputPath)
                                            : "--from-mox " + arguments.moxPath);
        add(arguments.itemNumbers.has_value(), itemsText(arguments));
    } else {
        add(arguments.raw, "--raw");
        text += ": " + itemsText(arguments);
    }
    add(arguments.isDryRun, "--dry-run");
    add(arguments.changedOnly, "--changed-only");
    add(arguments.keepGoing, "--keep-going");
    add(arguments.offlineFirst, "--offline-first");
    add(arguments.verifyAfterReset, "--verify-after-reset");
    return text;
}

/// Waits for the recorder to be through, or for a signal that comes meanwhile; one that has ended the work does not end
/// the record of it.
bool closed(record::Recorder& recorder, ExitStatus& signalled) {
    constexpr std::chrono::milliseconds kLook{50};
    const auto end = std::chrono::steady_clock::now() + record::kLongestEnd;
    const bool cameBefore = Interruption::came();
    bool isThrough = recorder.close(kLook);
    while (!isThrough && std::chrono::steady_clock::now() < end && (cameBefore || !Interruption::came())) {
        isThrough = recorder.close(kLook);
    }
    signalled = cameBefore ? ExitStatus::kDone : Interruption::status();
    return isThrough;
}

} // namespace

void RunRecord::open(const Arguments& arguments) {
    isRequired_ = arguments.requiresRecord;
    // A run for which the settings name the server loses nothing: its sessions wait.
    isServerToBeTold_ = !arguments.isQuiet || !arguments.historyPlace.empty();
    asked_ = askedText(arguments);
    const std::filesystem::path own = kernel::programDirectory();
    try {
        const auto settings = arguments.historyPlace.empty() ? record::readSettings(own)
                                                             : record::settingsFor(arguments.historyPlace, own);
        if (settings.isOn) {
            recorder_ = std::make_unique<record::Recorder>(settings);
        } else if (isRequired_) {
            reason_ = "Recording is switched off.";
        }
    } catch (const std::exception& failure) {
        reason_ = failure.what();
    }
}

void RunRecord::setKind(record::SessionKind kind, const std::string& asked) {
    kind_ = kind;
    asked_ = asked;
}

record::Session RunRecord::newSession(const std::string& port) const {
    record::Session session = record::newSession(kind_, programText(), asked_);
    session.ringPath = ring_.path.string();
    session.ringSha256 = ring_.sha256;
    session.port = port;
    return session;
}

void RunRecord::add(const workbench::ReadReport& read) {
    if (recorder_ == nullptr || !record::hasAnswers(read)) {
        return;
    }
    record::Session session = newSession(read.comPort);
    session.kind = record::SessionKind::kRead;
    record::describe(session, read);
    recorder_->add(std::move(session), record::itemsRead(read));
}

void RunRecord::begin(const workbench::WritePlan& plan) {
    record::Session session = newSession(plan.comPort);
    session.phone = plan.phone;
    auto items = record::itemsPlanned(plan);
    if (items.empty()) {
        return; // nothing will be sent
    }
    write_.emplace(recorder_.get(), std::move(session), std::move(items));
    const std::string reason = reason_.empty() ? write_->begin() : std::exchange(reason_, {});
    isTold_ = !reason.empty();
    if (!reason.empty() && isRequired_) {
        write_->dropped();
        throw BatchFailure(ExitStatus::kFile, "Not recorded: " + reason + "\nNothing was written.");
    }
    if (!reason.empty()) {
        tellFailure("Not recorded: " + reason + "\nGoing on without a record of this write.");
    }
}

void RunRecord::wrote(const workbench::WriteResult& result) {
    if (write_) {
        write_->wrote(result);
    }
}

void RunRecord::end(const workbench::WriteReport& report, const std::string& failure) {
    if (write_) {
        write_->end(report, failure);
        write_.reset();
    }
}

void RunRecord::tellWaiting(bool isThrough) const {
    const record::Waiting waiting = recorder_->waiting().value_or(record::Waiting());
    if (!isServerToBeTold_ || recorder_->settings().sharedUrl.empty() || (isThrough && waiting.reason.empty())) {
        return;
    }
    tellFailure("Not handed over yet: " +
                (waiting.reason.empty() ? "the shared record has not answered in time." : waiting.reason));
}

ExitStatus RunRecord::finish() {
    std::vector<std::string> losses;
    ExitStatus signalled = ExitStatus::kDone;
    if (!reason_.empty()) {
        losses.push_back("Not recorded: " + reason_);
    }
    if (recorder_ != nullptr) {
        const bool isThrough = closed(*recorder_, signalled);
        const bool isWhole = recorder_->flush({});
        for (std::string& loss : recorder_->takeLosses()) {
            losses.push_back(std::move(loss));
        }
        if (!isWhole && !isTold_) {
            losses.push_back("The end of this run is not in the record: " +
                             quoted(recorder_->settings().file.string()) + " is too slow.");
        }
        for (const auto& write : recorder_->takeInterrupted()) {
            std::cerr << workbench::shownText(record::textOf(write)) + " `calvane-batch history show " +
                             workbench::shownText(write.session.uuid) + "` tells which.\n";
        }
        if (isWhole) {
            tellWaiting(isThrough);
        }
    }
    for (const std::string& loss : losses) {
        tellFailure(loss);
    }
    return worse(isRequired_ && !losses.empty() ? ExitStatus::kFile : ExitStatus::kDone, signalled);
}
