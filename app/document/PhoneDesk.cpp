#include "app/document/PhoneDesk.h"

#include "phonelink/TessraServer.h"
#include "platform/kernel/Trace.h"
#include "workbench/ResultJson.h"
#include "workbench/record/ReportItems.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

using workbench::PhoneIdentity;
using workbench::ReadState;

struct PhoneDesk::Reading {
    std::string comPort;
    /// Not empty: the last read, of which what is left is asked for.
    std::optional<workbench::ReadReport> begun;
    workbench::ReadReport report;
    std::map<std::uint16_t, std::string> names; ///< of the catalog's items
    std::vector<NvItem> items;                  ///< that came by this read
};

namespace {

std::map<std::uint16_t, std::string> namesOf(const std::vector<NvItem>& items) {
    std::map<std::uint16_t, std::string> names;
    for (const NvItem& item : items) {
        names.emplace(item.getId(), item.getName());
    }
    return names;
}

std::vector<std::uint16_t> numbersIn(const std::map<std::uint16_t, std::string>& names) {
    std::vector<std::uint16_t> numbers;
    numbers.reserve(names.size());
    for (const auto& [number, name] : names) {
        numbers.push_back(number);
    }
    return numbers;
}

/// Without what `begun` had read before.
workbench::ReadReport newlyRead(workbench::ReadReport report, const std::optional<workbench::ReadReport>& begun) {
    if (begun) {
        const auto before = begun->numbers(ReadState::kRead);
        std::erase_if(report.readings, [&](const auto& reading) { return std::ranges::count(before, reading.number); });
    }
    return report;
}

/// "183 read, 44 without a value, 0 missing"; what else happened is told where it did.
std::string lineOf(const workbench::ReadReport& report) {
    const auto told = [&](ReadState state, const char* what, bool always) {
        const std::size_t count = report.count(state);
        return count > 0 || always ? ", " + std::to_string(count) + what : std::string();
    };
    return std::to_string(report.count(ReadState::kRead)) + " read" +
           told(ReadState::kNoValue, " without a value", true) + told(ReadState::kFailed, " failed", false) +
           told(ReadState::kMissing, " missing", true) + told(ReadState::kNotTried, " not asked for", false);
}

std::string textOf(const workbench::ItemReading& reading) {
    const auto why = [&](const char* text) { return reading.reason.empty() ? text : text + (": " + reading.reason); };
    switch (reading.state) {
    case ReadState::kNotTried:
        return "not asked for";
    case ReadState::kRead:
        return "read";
    case ReadState::kNoValue:
        return "without a value";
    case ReadState::kFailed:
        return why("failed");
    case ReadState::kMissing:
        return why("missing");
    }
    return {};
}

/// With the items that were not read.
PhoneReport reportOf(const workbench::ReadReport& report, const std::map<std::uint16_t, std::string>& names) {
    PhoneReport told{.line = lineOf(report)};
    for (const workbench::ItemReading& reading : report.readings) {
        if (reading.state != ReadState::kRead) {
            const auto name = names.find(reading.number);
            told.items.push_back({reading.number, name == names.end() ? std::string() : name->second, textOf(reading)});
        }
    }
    return told;
}

} // namespace

PhoneDesk::PhoneDesk(CCalvaneDoc& document, UserInterface& userInterface, PhoneWatch& watch,
                     std::function<void()> changed, const SafeHands* safeHands)
    : document_(document), userInterface_(userInterface), watch_(watch), safeHands_(safeHands),
      changed_(std::move(changed)), asking_(userInterface), jobs_(userInterface) {
    watch_.setHeard([this](bool present) { heard(present); });
}

PhoneDesk::~PhoneDesk() {
    watch_.setHeard({});
}

void PhoneDesk::run(PhoneJobs::Work work, PhoneJobs::Ended ended, PhoneJobs::Progress progress) {
    heardDuringJob_.reset();
    const auto watched = [work = std::move(work), this](const workbench::WorkControl& control) {
        work(control);
        TessraServer& session = *document_.catalog().getTessraServer();
        if (!session.isConnected()) {
            return; // it has told so itself
        }
        try {
            watch_.watch(session);
        } catch (const TessraServer::Exception& failure) {
            kernel::logError(std::string("PhoneDesk::run: ") + failure.what());
        }
    };
    jobs_.start(watched, std::move(ended), std::move(progress));
}

void PhoneDesk::read(ProgressWindow& progress, std::function<void()> ended) {
    auto reading = std::make_shared<Reading>();
    startRead(reading, progress, [this, reading, ended = std::move(ended)](const std::string& failure) {
        finishRead(*reading, failure);
        ended();
    });
}

void PhoneDesk::readMissing(ProgressWindow& progress, std::function<void()> ended) {
    auto reading = std::make_shared<Reading>();
    reading->begun = lastRead_;
    startRead(reading, progress, [this, reading, ended = std::move(ended)](const std::string& failure) {
        finishRead(*reading, failure);
        ended();
    });
}

bool PhoneDesk::canReadMissing() const {
    return lastRead_ && !lastRead_->isComplete() && readSource_ == document_.baseline().lastSource() &&
           lastRead_->comPort == document_.comPort();
}

void PhoneDesk::startRead(const std::shared_ptr<Reading>& reading, ProgressWindow& progress, PhoneJobs::Ended ended) {
    reading->comPort = document_.comPort();
    const auto work = [this, reading, &progress](const workbench::WorkControl& control) {
        Calvane& catalog = document_.catalog();
        reading->names = namesOf(catalog.getSupportedNvItems());
        const auto& names = reading->names;
        workbench::WorkControl shown = control;
        shown.progress = [&](std::size_t position, std::size_t count, std::uint16_t number) {
            const auto name = names.find(number);
            progress.addLine(formatProgressLine(static_cast<std::uint32_t>(count),
                                                static_cast<std::uint32_t>(position) + 1, number,
                                                name == names.end() ? std::string() : name->second));
        };
        workbench::PhoneReader reader(*catalog.getTessraServer(), reading->comPort);
        if (reading->begun) {
            reading->report = *reading->begun;
            reader.complete(reading->report, shown);
        } else {
            reading->report = reader.read(numbersIn(names), shown);
            catalog.clearNvItems();
        }
        reading->items = itemsOf(newlyRead(reading->report, reading->begun), catalog);
        // As after the catalog's own read: what it lists next has the values of the phone.
        for (const NvItem& item : reading->items) {
            catalog.setNvItem(item);
        }
    };
    run(work, std::move(ended));
}

void PhoneDesk::finishRead(Reading& reading, const std::string& failure) {
    const workbench::ReadReport& report = reading.report;
    const std::string& problem = failure.empty() ? report.failure : failure;
    settle(reading.comPort, report, failure);
    recordRead(reading);
    if (!reading.items.empty() || (problem.empty() && !report.cancelled)) {
        if (reading.begun) {
            document_.addItemsFromPhone(reading.items, report.phone, reading.comPort);
        } else {
            document_.takeItemsFromPhone(std::move(reading.items), report.phone, reading.comPort);
        }
        readSource_ = document_.baseline().lastSource();
        lastRead_ = report;
    }
    if (!report.readings.empty()) {
        setReport(reportOf(report, reading.names));
    }
    if (!problem.empty()) {
        userInterface_.showMessage(problem, kExceptionCaption, MessageIcon::kError);
    }
}

// Of a read that went on with the last one, what it has read itself: the rest is in the record already.
void PhoneDesk::recordRead(const Reading& reading) {
    const workbench::ReadReport read = newlyRead(reading.report, reading.begun);
    if (recorder_ == nullptr || !record::hasAnswers(read)) {
        return;
    }
    record::Session session =
        newSession(record::SessionKind::kRead, reading.begun ? "read: the missing items" : "read: all supported items");
    record::describe(session, read);
    recorder_->add(std::move(session), record::itemsRead(read));
}

record::Session PhoneDesk::newSession(record::SessionKind kind, const std::string& asked) const {
    const std::string version = std::string(workbench::kProgramVersion).substr(std::string("Calvane ").size());
    record::Session session = record::newSession(kind, "calvane " + version, asked);
    session.ringPath = document_.ring().path.string();
    session.ringSha256 = document_.ring().sha256;
    session.port = document_.comPort();
    return session;
}

bool PhoneDesk::connectFirst() {
    return document_.connectPhone();
}

void PhoneDesk::askWho() {
    if (jobs_.isRunning()) {
        return; // it asks by itself
    }
    if (asking_.isRunning()) {
        askAgain_ = true;
        return;
    }
    auto phone = std::make_shared<PhoneIdentity>();
    const auto ask = [this, phone](const workbench::WorkControl&) {
        TessraServer& session = *document_.catalog().getTessraServer();
        watch_.watch(session);
        *phone = workbench::askIdentity(session);
    };
    heardDuringJob_.reset();
    asking_.start(ask, [this, phone, comPort = document_.comPort()](const std::string& failure) {
        // A job that has begun since may have gone to another port, and tells who is there.
        if (!jobs_.isRunning() && comPort == document_.comPort()) {
            settle(comPort, failure.empty() ? std::optional(*phone) : std::nullopt);
        }
        if (std::exchange(askAgain_, false)) {
            askWho();
        }
    });
}

void PhoneDesk::noteUnasked() {
    if (!isPresent_ || knownPort_ != document_.comPort()) {
        takePhone(document_.comPort(), PhoneIdentity(), false);
    }
}

void PhoneDesk::heard(bool present) {
    const bool isHere = present && knownPort_ == document_.comPort();
    const bool mayAsk = isOn(safeHands_); // the bare commands send what they say and nothing else
    if (isHere && mayAsk) {
        askWho();
    }
    if (jobs_.isRunning() || asking_.isRunning()) {
        heardDuringJob_ = present;
    } else if (isHere && !mayAsk) {
        takePhone(knownPort_, PhoneIdentity(), false);
        return;
    }
    isPresent_ = isPresent_ && present;
    changed_();
}

void PhoneDesk::settle(const std::string& comPort, std::optional<PhoneIdentity> phone) {
    takePhone(comPort, std::move(phone), true);
}

void PhoneDesk::takePhone(const std::string& comPort, std::optional<PhoneIdentity> phone, bool isAsked) {
    knownPort_ = comPort;
    isAsked_ = isAsked;
    isPresent_ = phone.has_value() && heardDuringJob_.value_or(true);
    heardDuringJob_.reset();
    phone_ = std::move(phone).value_or(PhoneIdentity());
    changed_();
}

void PhoneDesk::setReport(PhoneReport report) {
    report_ = std::move(report);
    changed_();
}

std::string PhoneDesk::phoneText() const {
    if (!isPresent_) {
        return "no phone";
    }
    return isAsked_ ? shortName(phone_) : "not asked";
}

std::string PhoneDesk::changedText() const {
    const std::size_t changed = document_.changedCount();
    return changed == 0 ? "" : " - " + std::to_string(changed) + " changed";
}

std::string PhoneDesk::paneText() const {
    return (knownPort_ == document_.comPort() ? phoneText() : "not connected") + changedText();
}

std::string PhoneDesk::title() const {
    const auto& source = document_.listSource();
    if (const auto* file = source ? std::get_if<workbench::FileSource>(&source->from) : nullptr) {
        return CCalvaneDoc::kTitle + (" - " + std::filesystem::path(file->path).filename().string()) + changedText();
    }
    const auto* recorded = source ? std::get_if<workbench::PhoneSource>(&source->from) : nullptr;
    if (recorded != nullptr && recorded->isRecorded) {
        return CCalvaneDoc::kTitle + (" - " + shortName(recorded->phone)) + ", from the record" + changedText();
    }
    const bool isKnown = knownPort_ == document_.comPort() && (isAsked_ || !isPresent_);
    return CCalvaneDoc::kTitle + (isKnown ? " - " + phoneText() : std::string()) + changedText();
}
