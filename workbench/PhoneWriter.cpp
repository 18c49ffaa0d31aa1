#include "workbench/PhoneWriter.h"

#include "engine/NvStatus.h"
#include "phonelink/TessraServer.h"
#include "tessra/Interfaces.h"
#include "tessra/Packet.h"
#include "workbench/PhoneContact.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace workbench {
namespace {

constexpr std::uint32_t kResetMs = 100000;
constexpr std::uint32_t kModeTimeoutMs = 2000;
/// After a pause of ours that is longer the phone is asked anew who it is.
constexpr std::chrono::seconds kLongPause{1};
constexpr const char* kOtherBytes = "The phone reads back other bytes.";
constexpr const char* kOldBytes = "Two answers were lost, and the phone still has what it had before.";
constexpr const char* kNoValue = "The phone reads back no value.";

/// What a packet that was to write an item came to.
enum class Sent {
    kAnswered, ///< and not refused
    kLost,     ///< it may have reached the phone
    kRefused,
    kNotSent, ///< the service did not let it through
};

/// Whether the phone has what it had before the write.
bool isOldValue(const ItemReading& now, const ItemReading& before) {
    return now.state == before.state &&
           (now.state == ReadState::kNoValue || (now.state == ReadState::kRead && now.data == before.data));
}

void judge(WriteResult& result, const ItemReading& reading, const ItemData& wanted) {
    result.readBack = reading.state == ReadState::kRead ? std::optional(reading.data) : std::nullopt;
    switch (reading.state) {
    case ReadState::kRead:
        result.state = reading.data == wanted ? WriteState::kVerified : WriteState::kReadBackDifferent;
        result.reason = reading.data == wanted ? "" : kOtherBytes;
        break;
    case ReadState::kNoValue:
        result.state = WriteState::kReadBackDifferent;
        result.reason = kNoValue;
        break;
    case ReadState::kFailed:
        result.state = WriteState::kReadBackDifferent;
        result.reason = "The phone does not read it back: " + reading.reason;
        break;
    case ReadState::kMissing:
    case ReadState::kNotTried:
        result.state = WriteState::kNotKnown;
        result.reason = reading.reason.empty() ? result.reason : reading.reason;
        break;
    }
}

/// One run over the rows of a report that are not verified.
class Run {
public:
    Run(TessraServer& session, const WritePlan& plan, const WriteOptions& options, const WorkControl& control,
        WriteReport& report)
        : session_(session), plan_(plan), options_(options), control_(control), report_(report),
          contact_(session, plan.comPort,
                   {.repeats = options.repeats,
                    .returnMs = options.returnMs,
                    .unknownPhoneAllowed = options.unknownPhoneAllowed,
                    .isCancelled = control.isCancelled}) {}

    void carryOut();

private:
    std::vector<WriteResult*> resultsOf(bool verified);
    bool isCancelled();
    void writeRows();
    bool goesOnAfter(const WriteResult& result) const;
    void stopAt(const WriteResult& result);
    void writeRow(WriteResult& result);
    bool mayWrite();
    bool goOffline();
    bool takeRest(const PlanRow& row, const ItemReading& onPhone, ItemData& wanted, WriteResult& result) const;
    Sent send(WriteResult& result, const ItemData& wanted);
    void afterLoss(Loss loss);
    ItemReading readItem(std::uint16_t number);
    ItemReading readBack(WriteResult& result, const ItemData& wanted);
    void verifyAfterReset();
    void close();
    bool isStillThePhone();
    void forgetConfirmed();
    bool fail(const std::string& failure);
    void tell(const WriteResult& result) const {
        if (options_.wrote) {
            options_.wrote(result);
        }
    }

    TessraServer& session_;
    const WritePlan& plan_;
    const WriteOptions& options_;
    const WorkControl& control_;
    WriteReport& report_;
    PhoneContact contact_;
    std::chrono::system_clock::time_point lastAnswer_; ///< of a clock that goes on while the machine sleeps
    unsigned confirmations_ = 0;                       ///< of the contact, when something was last sent
    unsigned lastConfirmation_ = 0;                    ///< of the contact
    std::vector<WriteResult*> unconfirmed_;            ///< verified since then
    bool hasFailed_ = false;
};

void Run::carryOut() {
    report_.cancelled = false;
    report_.phoneHeld = false;
    report_.otherPhone = false;
    report_.failure.clear();
    report_.when = std::chrono::system_clock::now();
    if (isCancelled()) {
        return;
    }
    contact_.open(plan_.phone);
    lastAnswer_ = std::chrono::system_clock::now();
    if (mayWrite()) {
        writeRows();
    }
    close();
}

// The results that are verified, or those of ticked rows that are not.
std::vector<WriteResult*> Run::resultsOf(bool verified) {
    std::vector<WriteResult*> results;
    for (WriteResult& result : report_.results) {
        const bool isVerified = result.state == WriteState::kVerified;
        if (isVerified == verified && (isVerified || plan_.rows.at(result.row).isWritten())) {
            results.push_back(&result);
        }
    }
    return results;
}

bool Run::isCancelled() {
    report_.cancelled = report_.cancelled || (control_.isCancelled && control_.isCancelled());
    return report_.cancelled;
}

void Run::writeRows() {
    const std::vector<WriteResult*> pending = resultsOf(false);
    for (std::size_t position = 0; position < pending.size(); ++position) {
        WriteResult& result = *pending[position];
        if (isCancelled()) {
            return;
        }
        if (control_.progress) {
            control_.progress(position, pending.size(), result.number);
        }
        const auto begin = std::chrono::steady_clock::now();
        writeRow(result);
        result.took += elapsedSince(begin);
        tell(result);
        if (hasFailed_ || !contact_.isHeld()) {
            return;
        }
        if (!goesOnAfter(result) && position + 1 < pending.size()) {
            stopAt(result);
            return;
        }
    }
    if (options_.verifyAfterReset && report_.lacksResetCheck && !isCancelled()) {
        verifyAfterReset();
    }
}

bool Run::goesOnAfter(const WriteResult& result) const {
    return result.state == WriteState::kVerified || options_.goOnAfterRefusal ||
           (result.state == WriteState::kRefused && options_.toleratedNumbers.contains(result.number));
}

void Run::stopAt(const WriteResult& result) {
    fail("Stopped at NV item " + std::to_string(result.number) + " (" + plan_.rows[result.row].item.getName() +
         "): " + result.reason);
}

void Run::writeRow(WriteResult& result) {
    const PlanRow& row = plan_.rows[result.row];
    if (!row.item.isWritable()) {
        result.reason = "Its access mark does not allow a write.";
        return;
    }
    ItemData wanted{};
    std::ranges::copy(row.item.rawData(), wanted.begin());
    ItemReading before = row.onPhone;
    if (row.restIsThePhones) {
        const ItemReading now = readItem(result.number);
        if (!takeRest(row, now, wanted, result)) {
            return;
        }
        before = result.state == WriteState::kNotKnown ? before : now;
    }
    if (result.state == WriteState::kNotKnown && !isOldValue(readBack(result, wanted), before)) {
        return;
    }
    for (bool mayRepeat = true; mayWrite(); mayRepeat = false) {
        const Sent sent = send(result, wanted);
        if (sent == Sent::kRefused || sent == Sent::kNotSent) {
            return;
        }
        const ItemReading now = readBack(result, wanted);
        if (sent == Sent::kAnswered || !isOldValue(now, before)) {
            return;
        }
        if (!mayRepeat) {
            result.reason = kOldBytes;
            return;
        }
    }
}

// To be asked directly before each packet that changes something. A phone that was silent, or has restarted, is taken
// offline anew.
bool Run::mayWrite() {
    if (contact_.isHeld() && std::chrono::abs(std::chrono::system_clock::now() - lastAnswer_) > kLongPause) {
        contact_.confirm();
    }
    if (!contact_.isHeld()) {
        return false;
    }
    if (std::exchange(confirmations_, contact_.confirmations()) == contact_.confirmations()) {
        return true;
    }
    try {
        return !options_.offlineFirst || goOffline();
    } catch (const TessraServer::Exception& error) {
        return fail(error.status() == tessra::kBadPhoneMode ? loaderText(plan_.comPort) : error.what());
    }
}

// To agree is not to do it: what counts is the mode that the phone tells afterwards.
bool Run::goOffline() {
    session_.offline();
    const auto request = static_cast<std::uint8_t>(tessra::Command::kQueryMode);
    std::array<std::uint8_t, tessra::kMaxPacketBytes> answer{};
    auto answerBytes = static_cast<std::uint32_t>(answer.size());
    session_.sendSync(1, &request, answerBytes, answer.data(), kModeTimeoutMs);
    const std::array<std::uint8_t, tessra::kModePacketBytes> offline{
        request, static_cast<std::uint8_t>(tessra::PhoneMode::kOffline), 0};
    return std::ranges::equal(std::span(answer).first(answerBytes), offline) ||
           fail("The phone has agreed to go offline, but does not say that it is.");
}

// Completes `wanted` by the bytes behind the sub-fields. False where nobody knows them.
bool Run::takeRest(const PlanRow& row, const ItemReading& onPhone, ItemData& wanted, WriteResult& result) const {
    if (onPhone.state != ReadState::kRead && onPhone.state != ReadState::kNoValue) {
        // What was sent before stays not known.
        if (onPhone.state == ReadState::kFailed && result.state != WriteState::kNotKnown) {
            result.state = WriteState::kRefused;
            result.status = onPhone.status;
        }
        result.reason = "The bytes behind its sub-fields could not be read: " + onPhone.reason;
        return false;
    }
    if (onPhone.state == ReadState::kRead) {
        const auto rest = static_cast<std::ptrdiff_t>(row.item.describedBytes());
        std::copy(onPhone.data.begin() + rest, onPhone.data.end(), wanted.begin() + rest);
    }
    return true;
}

Sent Run::send(WriteResult& result, const ItemData& wanted) {
    result.readBack.reset();
    result.reason.clear();
    result.state = WriteState::kNotKnown; // also where the worker throws
    try {
        session_.writeNv(result.number, wanted.data(), result.status);
        lastAnswer_ = std::chrono::system_clock::now();
    } catch (const TessraServer::Exception& error) {
        result.status = 0;
        result.reason = error.what();
        if (error.status() == tessra::kLockedForExclusiveUse || error.status() == tessra::kBadPhoneMode) {
            result.state = WriteState::kNotTried;
            fail(error.status() == tessra::kBadPhoneMode ? loaderText(plan_.comPort) : error.what());
            result.reason = report_.failure;
            return Sent::kNotSent;
        }
        const Loss loss = lossOf(error.status());
        result.state = loss == Loss::kRefused ? WriteState::kRefused : WriteState::kNotKnown;
        if (loss == Loss::kRefused) {
            return Sent::kRefused;
        }
        afterLoss(loss);
        return Sent::kLost;
    }
    const auto refusal = nvstatus::writeFailureText(result.status);
    result.state = refusal ? WriteState::kRefused : WriteState::kNotKnown;
    result.reason = refusal.value_or("");
    return refusal ? Sent::kRefused : Sent::kAnswered;
}

void Run::afterLoss(Loss loss) {
    if (loss == Loss::kDamage) {
        return; // it was heard at once
    }
    // Waiting for its return does not take a phone without a serial number for the one from before.
    if (loss != Loss::kLeft && contact_.phone().isKnown()) {
        contact_.confirm();
    } else {
        contact_.awaitReturn();
    }
}

// The item as the phone has it; not tried where that can't be told.
ItemReading Run::readItem(std::uint16_t number) {
    const unsigned confirmations = contact_.confirmations();
    ItemReading reading = contact_.read(number);
    lastAnswer_ = std::chrono::system_clock::now();
    if (contact_.isHeld() && confirmations != contact_.confirmations() && !contact_.phone().isKnown()) {
        contact_.awaitReturn(); // as after any silence of such a phone
    }
    return contact_.isHeld() ? reading : ItemReading{.number = number, .reason = reading.reason};
}

ItemReading Run::readBack(WriteResult& result, const ItemData& wanted) {
    ItemReading reading = readItem(result.number);
    judge(result, reading, wanted);
    forgetConfirmed();
    if (result.state == WriteState::kVerified) {
        unconfirmed_.push_back(&result);
        report_.lacksResetCheck = report_.lacksResetCheck || options_.verifyAfterReset;
    }
    return reading;
}

void Run::verifyAfterReset() {
    const std::vector<WriteResult*> verified = resultsOf(true);
    if (verified.empty() || !isStillThePhone()) {
        return;
    }
    try {
        session_.reset(kResetMs);
    } catch (const TessraServer::Exception& error) {
        fail(error.what());
        return;
    }
    contact_.awaitReturn();
    for (std::size_t position = 0; position < verified.size(); ++position) {
        if (!contact_.isHeld() || isCancelled()) {
            return;
        }
        WriteResult& result = *verified[position];
        if (control_.progress) {
            control_.progress(position, verified.size(), result.number);
        }
        const ItemData wanted = result.readBack.value();
        const auto begin = std::chrono::steady_clock::now();
        const ItemReading reading = readItem(result.number);
        result.took += elapsedSince(begin);
        if (reading.state != ReadState::kNotTried) {
            judge(result, reading, wanted);
            tell(result);
        }
    }
    report_.lacksResetCheck = !contact_.isHeld();
}

void Run::close() {
    isStillThePhone();
    report_.phone = contact_.phone();
    report_.phoneHeld = contact_.isHeld();
    report_.cancelled = report_.cancelled || contact_.end() == PhoneContact::End::kCancelled;
    report_.otherPhone = contact_.end() == PhoneContact::End::kOtherPhone;
    if (!contact_.isHeld()) {
        report_.failure = contact_.failure();
    }
}

// What was read back from a phone that is another one by now may never have been the plan's.
bool Run::isStillThePhone() {
    forgetConfirmed();
    if (unconfirmed_.empty() || contact_.finish()) {
        return contact_.isHeld();
    }
    for (WriteResult* const result : unconfirmed_) {
        result->state = WriteState::kNotKnown;
        result->reason = contact_.failure();
        tell(*result);
    }
    unconfirmed_.clear();
    return false;
}

void Run::forgetConfirmed() {
    if (std::exchange(lastConfirmation_, contact_.confirmations()) != contact_.confirmations()) {
        unconfirmed_.clear();
    }
}

bool Run::fail(const std::string& failure) {
    report_.failure = failure;
    hasFailed_ = true;
    return false;
}

} // namespace

std::size_t WriteReport::count(WriteState state) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(results, [state](const WriteResult& result) { return result.state == state; }));
}

bool WriteReport::isDone() const {
    return count(WriteState::kVerified) == results.size();
}

std::string WriteReport::summary() const {
    constexpr std::pair<WriteState, const char*> kParts[] = {
        {WriteState::kVerified, " written and verified"},
        {WriteState::kRefused, " refused"},
        {WriteState::kReadBackDifferent, " read back different"},
        {WriteState::kNotKnown, " not known"},
        {WriteState::kNotTried, " not tried"},
    };
    std::string text;
    for (const auto& [state, words] : kParts) {
        addCount(text, count(state), words);
    }
    text += lacksResetCheck && count(WriteState::kVerified) > 0 ? ", not verified after a reset" : "";
    return text.empty() ? "nothing written" : text;
}

PhoneWriter::PhoneWriter(TessraServer& session, const WritePlan& plan, WriteOptions options)
    : session_(session), plan_(plan), options_(std::move(options)) {}

WriteReport PhoneWriter::write(const WorkControl& control) {
    WriteReport report;
    write(report, control);
    return report;
}

void PhoneWriter::write(WriteReport& report, const WorkControl& control) {
    report = {.comPort = plan_.comPort};
    for (std::size_t i = 0; i < plan_.rows.size(); ++i) {
        if (plan_.rows[i].isWritten()) {
            report.results.push_back({.row = i, .number = plan_.rows[i].item.getId()});
        }
    }
    retry(report, control);
}

void PhoneWriter::retry(WriteReport& report, const WorkControl& control) {
    Run(session_, plan_, options_, control, report).carryOut();
}

} // namespace workbench
