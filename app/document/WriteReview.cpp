#include "app/document/WriteReview.h"

#include "phonelink/TessraServer.h"
#include "workbench/NumberTexts.h"
#include "workbench/PhoneContact.h"
#include "workbench/record/ReportItems.h"

#include <algorithm>
#include <ctime>
#include <set>
#include <stdexcept>
#include <utility>

using workbench::LeftOut;
using workbench::PhoneIdentity;
using workbench::PlanRow;
using workbench::ReadState;
using workbench::WriteResult;
using workbench::WriteState;

namespace {

std::string localTime(std::chrono::system_clock::time_point when, const char* format) {
    const std::time_t time = std::chrono::system_clock::to_time_t(when);
    std::tm local{};
    ::localtime_r(&time, &local);
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &local)};
}

std::string withReason(std::string text, const std::string& reason) {
    return reason.empty() ? text : std::move(text) + ": " + reason;
}

std::string textOf(const WriteResult& result) {
    switch (result.state) {
    case WriteState::kNotTried:
        return withReason("not tried", result.reason);
    case WriteState::kVerified:
        return "written and verified";
    case WriteState::kRefused:
        return withReason("refused", result.reason);
    case WriteState::kReadBackDifferent:
        return withReason("different", result.reason);
    case WriteState::kNotKnown:
        return withReason("not known", result.reason);
    }
    return {};
}

/// What the user should know of a row that is ticked.
std::string textOfTicked(const PlanRow& row) {
    switch (row.onPhone.state) {
    case ReadState::kNoValue:
        return "to be written: the phone has no value";
    case ReadState::kFailed:
        return withReason("to be written: the phone's value can't be read", row.onPhone.reason);
    case ReadState::kMissing:
    case ReadState::kNotTried:
        return withReason("to be written: the phone's value is not known", row.onPhone.reason);
    case ReadState::kRead:
        break;
    }
    return row.hasValue ? "to be written" : "to be written, though it has never had a value";
}

std::string textOf(const PlanRow& row) {
    switch (row.leftOut) {
    case LeftOut::kNothing:
        return textOfTicked(row);
    case LeftOut::kNotWritable:
        return "left out: read-only";
    case LeftOut::kNoValue:
        return "left out: it has never had a value";
    case LeftOut::kUnchanged:
        return "equal";
    case LeftOut::kUnticked:
        return "left out";
    }
    return {};
}

/// Tells the two passes of a write apart: what it reads back once more after a reset is counted on behind what it has
/// written. `checks`: how many items that will be, 0 without such a pass.
workbench::WorkControl countingOn(const workbench::WorkControl& control, std::size_t writes, std::size_t checks) {
    workbench::WorkControl counting = control;
    counting.progress = [=, report = control.progress, isChecking = false,
                         hasBegun = false](std::size_t position, std::size_t count, std::uint16_t number) mutable {
        isChecking = isChecking || (position == 0 && (hasBegun || writes == 0));
        hasBegun = true;
        report(isChecking ? writes + position : position, isChecking ? writes + count : count + checks, number);
    };
    return counting;
}

} // namespace

WriteReview::WriteReview(CCalvaneDoc& document, PhoneDesk& desk, WriteRequest request)
    : document_(document), desk_(desk), request_(std::move(request)), comPort_(document.comPort()) {}

void WriteReview::tellChanged() const {
    if (changed_) {
        changed_();
    }
}

void WriteReview::readPhone() {
    if (!request_.repeated.empty()) {
        stage_ = Stage::kNoValues;
        message_ = "The list has " + workbench::namedItems(request_.repeated) +
                   " more than once: nobody can say which value is meant.\nNothing is written from it.";
        tellChanged();
        return;
    }
    stage_ = Stage::kReading;
    message_.clear();
    progress_ = {};
    auto onPhone = std::make_shared<workbench::ReadReport>();
    auto plan = std::make_shared<workbench::WritePlan>();
    const auto work = [&catalog = document_.catalog(), comPort = comPort_, wanted = request_.wanted, onPhone,
                       plan](const workbench::WorkControl& control) {
        std::vector<std::uint16_t> numbers(wanted.size());
        std::ranges::transform(wanted, numbers.begin(), [](const auto& one) { return one.item.getId(); });
        workbench::PhoneReader reader(*catalog.getTessraServer(), comPort);
        *onPhone = reader.read(numbers, control);
        *plan = makePlan(wanted, *onPhone);
    };
    const auto ended = [this, alive = std::weak_ptr(alive_), onPhone, plan](const std::string& failure) {
        if (alive.expired()) {
            return;
        }
        message_ = failure.empty() ? onPhone->failure : failure;
        const bool isWhole = message_.empty() && !onPhone->cancelled && !onPhone->otherPhone;
        desk_.settle(comPort_, *onPhone, failure);
        stage_ = isWhole ? Stage::kReviewing : Stage::kNoValues;
        if (isWhole) {
            takePlan(std::move(*plan));
        }
        tellChanged();
    };
    desk_.run(work, ended, [this, alive = std::weak_ptr(alive_)](const PhoneProgress& progress) {
        if (!alive.expired()) {
            progress_ = progress;
            tellChanged();
        }
    });
    tellChanged();
}

void WriteReview::takePlan(workbench::WritePlan plan) {
    plan_ = std::move(plan);
    leaveOutWritten();
    followDate();
}

// A changed item stays in the list of changed items after its write. Another phone is none of its business then.
void WriteReview::leaveOutWritten() {
    alreadyWritten_.clear();
    if (request_.kind != WriteRequest::Kind::kChanged) {
        return;
    }
    for (std::size_t row = 0; row < plan_.rows.size(); ++row) {
        const PlanRow& planned = plan_.rows[row];
        const PhoneIdentity* source = phoneOfValue(planned);
        const bool isWritten = !isDate(planned) && source != nullptr && !isSamePhone(*source, plan_.phone) &&
                               !document_.baseline().isChanged(planned.item);
        if (isWritten && planned.isWritten()) {
            plan_.setTicked(row, false);
            alreadyWritten_.push_back(row);
        }
    }
}

// Where nothing else is written, there is nothing that the phone's date would be that of.
void WriteReview::followDate() {
    const auto isOther = [this](const PlanRow& row) { return !isDate(row); };
    if (std::ranges::none_of(plan_.rows, isOther)) {
        return;
    }
    const bool anyTicked = isAnyOtherTicked();
    for (std::size_t row = 0; row < plan_.rows.size(); ++row) {
        if (isDate(plan_.rows[row])) {
            plan_.setTicked(row, anyTicked);
        }
    }
}

bool WriteReview::isAnyOtherTicked() const {
    return std::ranges::any_of(plan_.rows, [this](const PlanRow& row) { return !isDate(row) && row.isWritten(); });
}

void WriteReview::setTicked(std::size_t row, bool ticked) {
    if (stage_ != Stage::kReviewing) {
        return;
    }
    const bool anyBefore = isAnyOtherTicked();
    plan_.setTicked(row, ticked);
    if (!anyBefore || !isAnyOtherTicked()) {
        followDate();
    }
    tellChanged();
}

const PhoneIdentity* WriteReview::phoneOfValue(const PlanRow& row) const {
    const workbench::BaselineValue* value = document_.baseline().values().find(row.item.getId());
    const auto known = value == nullptr ? nullptr : value->source;
    const auto& source = request_.source == nullptr ? known : request_.source;
    const auto* from = source == nullptr ? nullptr : std::get_if<workbench::PhoneSource>(&source->from);
    return from == nullptr ? nullptr : &from->phone;
}

std::vector<std::string> WriteReview::questions() const {
    std::vector<std::string> questions;
    if (stage_ == Stage::kReviewing) {
        questions = foreignValues();
    }
    if (!plan_.phone.isKnown()) {
        questions.push_back("The phone on " + comPort_ +
                            " tells no serial number, so nobody can say which phone it is.\nWrite to it?");
    }
    return questions;
}

std::vector<std::string> WriteReview::foreignValues() const {
    std::set<std::string> sources;
    std::size_t count = 0;
    for (const PlanRow& row : plan_.rows) {
        const PhoneIdentity* source = phoneOfValue(row);
        // Two phones without a serial number can't be told apart: there is another question about that.
        const bool isForeign =
            source != nullptr && (source->isKnown() || plan_.phone.isKnown()) && !isSamePhone(*source, plan_.phone);
        if (row.isWritten() && !isDate(row) && isForeign) {
            ++count;
            sources.insert(source->isKnown() ? shortName(*source) : "a phone that is not known");
        }
    }
    if (count == 0) {
        return {};
    }
    std::string text = count == 1 ? "The value of 1 item is" : "The values of " + std::to_string(count) + " items are";
    for (const std::string& source : sources) {
        text += (source == *sources.begin() ? " from " : " and ") + source;
    }
    return {text + ".\nThe phone on " + comPort_ + " is another one: " + shortName(plan_.phone) +
            ".\nWrite the values of one phone to another phone?"};
}

std::vector<record::SessionItem> WriteReview::itemsOf(Next next) const {
    if (next == Next::kWrite) {
        return record::itemsPlanned(plan_);
    }
    auto items = record::itemsLeft(plan_, report_);
    if (next == Next::kSkipRefused) {
        for (const WriteResult& result : report_.results) {
            std::erase_if(items, [&](const auto& item) { return item.number == result.number && canSkip(result); });
        }
    }
    return items;
}

std::string WriteReview::beginRecord(Next next) {
    auto items = itemsOf(next);
    if (desk_.recorder() == nullptr || items.empty()) {
        return {};
    }
    record::Session session =
        desk_.newSession(request_.recordedAs, request_.asked + (next == Next::kWrite ? "" : ", what was left of them"));
    session.phone = plan_.phone;
    session.port = comPort_;
    recording_ = std::make_shared<record::WriteRecording>(desk_.recorder(), std::move(session), std::move(items));
    return recording_->begin();
}

void WriteReview::dropRecord() {
    if (const auto dropped = std::exchange(recording_, nullptr)) {
        dropped->dropped();
    }
}

void WriteReview::write(bool verifyAfterReset) {
    verifyAfterReset_ = verifyAfterReset;
    request_.take(document_, plan_);
    document_.updateAllViews();
    carryOut([](workbench::PhoneWriter& writer, workbench::WriteReport& report, const workbench::WorkControl& control) {
        writer.write(report, control);
    });
}

void WriteReview::retry() {
    carryOut([](workbench::PhoneWriter& writer, workbench::WriteReport& report, const workbench::WorkControl& control) {
        writer.retry(report, control);
    });
}

void WriteReview::skipRefused() {
    for (const WriteResult& result : report_.results) {
        if (canSkip(result)) {
            plan_.setTicked(result.row, false);
        }
    }
    retry();
}

void WriteReview::carryOut(
    std::function<void(workbench::PhoneWriter&, workbench::WriteReport&, const workbench::WorkControl&)> run) {
    stage_ = Stage::kWriting;
    message_.clear();
    progress_ = {};
    pending_.clear();
    for (std::size_t row = 0; row < plan_.rows.size(); ++row) {
        const WriteResult* result = resultOf(row);
        if (plan_.rows[row].isWritten() && (result == nullptr || result->state != WriteState::kVerified)) {
            pending_.push_back(row);
        }
    }
    const std::size_t writes = pending_.size();
    const std::size_t checks = verifyAfterReset_ ? std::max(writes, report_.results.size()) : 0;
    auto report = std::make_shared<workbench::WriteReport>(report_);
    workbench::WriteOptions options{.verifyAfterReset = verifyAfterReset_,
                                    .unknownPhoneAllowed = !plan_.phone.isKnown()};
    const auto recording =
        recording_ != nullptr ? std::exchange(recording_, nullptr) : std::make_shared<record::WriteRecording>();
    options.wrote = [recording](const WriteResult& result) { recording->wrote(result); };
    const auto work = [&catalog = document_.catalog(), plan = plan_, options, report, writes, checks, recording,
                       run = std::move(run)](const workbench::WorkControl& control) {
        try {
            workbench::PhoneWriter writer(*catalog.getTessraServer(), plan, options);
            run(writer, *report, countingOn(control, writes, checks));
        } catch (const std::exception& failure) {
            recording->end(*report, failure.what());
            throw;
        }
        recording->end(*report);
    };
    const auto ended = [this, alive = std::weak_ptr(alive_), report](const std::string& failure) {
        if (!alive.expired()) {
            finishWrite(std::move(*report), failure);
        }
    };
    desk_.run(work, ended, [this, alive = std::weak_ptr(alive_)](const PhoneProgress& progress) {
        if (alive.expired()) {
            return;
        }
        progress_ = progress;
        tellChanged();
    });
    tellChanged();
}

void WriteReview::finishWrite(workbench::WriteReport report, const std::string& failure) {
    report_ = std::move(report);
    stage_ = Stage::kEnded;
    message_ = failure.empty() ? report_.failure : failure;
    if (report_.otherPhone && report_.count(WriteState::kNotKnown) > 0) {
        message_ += "\nWhat is not known may have been written to it.";
    } else if (message_.empty() && report_.cancelled) {
        message_ = "The write was cancelled.";
    }
    const auto source = std::make_shared<const workbench::Source>(
        workbench::Source{workbench::PhoneSource{plan_.phone, comPort_}, report_.when});
    for (const WriteResult& result : report_.results) {
        if (result.state == WriteState::kVerified) {
            const NvItem& written = plan_.rows[result.row].item;
            document_.baseline().values().set(written, source);
            document_.catalog().setNvItem(written); // what it lists next has the values of the phone
        }
    }
    desk_.settle(comPort_, report_, failure);
    PhoneReport told{.line = line()};
    for (const WriteResult& result : report_.results) {
        told.items.push_back({result.number, plan_.rows[result.row].item.getName(), rowText(result.row)});
    }
    desk_.setReport(std::move(told));
    document_.updateAllViews();
    tellChanged();
}

void WriteReview::sendCode(std::string code) {
    message_.clear();
    auto sent = std::make_shared<std::string>(std::move(code));
    const auto work = [&catalog = document_.catalog(), comPort = comPort_, phone = plan_.phone,
                       sent](const workbench::WorkControl& control) {
        TessraServer& session = *catalog.getTessraServer();
        workbench::PhoneContact contact(session, comPort,
                                        {.unknownPhoneAllowed = !phone.isKnown(), .isCancelled = control.isCancelled});
        if (!contact.open(phone)) {
            throw std::runtime_error(withReason("The code was not sent", contact.failure()));
        }
        session.sendSpc(sent->c_str());
    };
    const auto ended = [this, alive = std::weak_ptr(alive_), sent](const std::string& failure) {
        sent->assign(sent->size(), '\0');
        if (alive.expired()) {
            return;
        }
        if (failure.empty()) {
            desk_.settle(comPort_, plan_.phone);
        } else {
            desk_.askWho();
        }
        message_ = failure.empty() ? "The phone has accepted the code." : failure;
        tellChanged();
    };
    desk_.run(work, ended);
    tellChanged();
}

const WriteResult* WriteReview::resultOf(std::size_t row) const {
    const auto result = std::ranges::find(report_.results, row, &WriteResult::row);
    return result == report_.results.end() ? nullptr : &*result;
}

bool WriteReview::mayRetry() const {
    const auto isLeft = [this](const WriteResult& result) {
        return result.state != WriteState::kVerified && plan_.rows[result.row].isWritten();
    };
    return stage_ == Stage::kEnded && (report_.lacksResetCheck || std::ranges::any_of(report_.results, isLeft));
}

bool WriteReview::maySkip() const {
    return stage_ == Stage::kEnded && (report_.count(WriteState::kNotTried) > 0 || report_.lacksResetCheck) &&
           std::ranges::any_of(report_.results, [this](const WriteResult& result) { return canSkip(result); });
}

bool WriteReview::canSkip(const WriteResult& result) const {
    return (result.state == WriteState::kRefused || result.state == WriteState::kReadBackDifferent) &&
           plan_.rows[result.row].isWritten();
}

std::string WriteReview::phoneText() const {
    return fullName(plan_.phone) + ", on " + comPort_;
}

std::string WriteReview::rowText(std::size_t row) const {
    const PlanRow& planned = plan_.rows[row];
    const WriteResult* result = resultOf(row);
    if (stage_ == Stage::kWriting && planned.isWritten() && isChecking()) {
        return checkText(row);
    }
    if (stage_ == Stage::kWriting && planned.isWritten()) {
        const auto position = static_cast<std::size_t>(std::ranges::find(pending_, row) - pending_.begin());
        // The writer stops at the first one that is not verified.
        return position < progress_.position || position == pending_.size() ? "written and verified"
               : position == progress_.position                             ? "being written"
                                                                            : "to be written";
    }
    if (result != nullptr) {
        return textOf(*result) + (planned.isWritten() ? "" : ", skipped");
    }
    if (planned.leftOut == LeftOut::kUnticked && std::ranges::count(alreadyWritten_, row) > 0) {
        return "left out: " + shortName(*phoneOfValue(planned)) + " has it already";
    }
    if (planned.leftOut == LeftOut::kUnticked && isDate(planned) && !isAnyOtherTicked()) {
        return "left out: nothing else is written";
    }
    return textOf(planned);
}

// Of a row behind the one that is being read back nobody has said yet whether it was written at all.
std::string WriteReview::checkText(std::size_t row) const {
    const auto isUnderWay = [this](const PlanRow& one) { return one.item.getId() == progress_.number; };
    const auto underWay = std::ranges::find_if(plan_.rows, isUnderWay) - plan_.rows.begin();
    const auto position = static_cast<std::ptrdiff_t>(row);
    return position < underWay    ? "read back after the reset"
           : position == underWay ? "being read back after the reset"
                                  : "to be read back after the reset";
}

std::string WriteReview::line() const {
    if (stage_ != Stage::kEnded) {
        return {};
    }
    // The time first: where the line is shortened, its end goes.
    return localTime(report_.when, "%H:%M: ") + report_.summary() + ": " + shortName(plan_.phone) + " on " + comPort_ +
           localTime(report_.when, ", %Y-%m-%d");
}
