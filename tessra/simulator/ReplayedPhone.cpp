#include "tessra/simulator/ReplayedPhone.h"

#include "tessra/Interfaces.h"
#include "tessra/Packet.h"
#include "tessra/serial/FrameCodec.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tessra {
namespace {

// A line's keeper waits longer for an answer, unless a client takes the line from it.
constexpr std::int64_t kInterruptedUs = 400'000;

// How long a phone stays away after a reset of which the trace tells nothing else.
constexpr std::chrono::seconds kAway{1};

constexpr std::uint8_t kUnknownByte = 0x2A;

// The questions that a line asks by itself, as often as it takes.
bool isQuestion(std::span<const std::uint8_t> packet) {
    return packet.size() == 1 && (hasCommand(packet, Command::kVersion) || hasCommand(packet, Command::kQueryMode));
}

bool isEqual(const TraceRecord& record, std::span<const std::uint8_t> request) {
    for (std::size_t at = 0; at < record.bytes.size() && at < request.size(); ++at) {
        if (!record.isBlank(at) && record.bytes[at] != request[at]) {
            return false;
        }
    }
    return record.bytes.size() == request.size();
}

bool isAlike(const TraceRecord& record, std::span<const std::uint8_t> request) {
    const std::span<const std::uint8_t> own(record.bytes);
    return !own.empty() && !request.empty() && own[0] == request[0] && nvItemOf(own) == nvItemOf(request);
}

// The packet of the trace. What is blanked out in it repeats the request, behind the codes of a refusal.
std::vector<std::uint8_t> filled(const TraceRecord& record, std::span<const std::uint8_t> request) {
    std::vector<std::uint8_t> packet = record.bytes;
    const auto codes = static_cast<std::size_t>(std::ranges::find_if_not(packet, isBadPacketCode) - packet.begin());
    for (std::size_t at = record.blankFrom; at < packet.size(); ++at) {
        packet[at] = at - codes < request.size() ? request[at - codes] : kUnknownByte;
    }
    return packet;
}

} // namespace

ReplayedPhone::ReplayedPhone(std::vector<TraceRecord> records) {
    for (TraceRecord& record : records) {
        if (record.way == TraceWay::kToPhone) {
            exchanges_.push_back({std::move(record), {}});
        } else {
            addAnswer(std::move(record));
        }
    }
    dropInterrupted();
}

// The answer to a question may come when the line is already used for something else: it is its own all the same. What
// came before the first request answers none.
void ReplayedPhone::addAnswer(TraceRecord&& record) {
    const std::span<const std::uint8_t> bytes(record.bytes);
    const auto fits = [&](const Exchange& exchange) { return isAlike(exchange.request, bytes); };
    const bool isLate = record.way == TraceWay::kFromPhone && !bytes.empty() && isQuestion(bytes.first(1)) &&
                        !exchanges_.empty() && !fits(exchanges_.back());
    const auto owner = isLate ? std::find_if(exchanges_.rbegin(), exchanges_.rend(), fits) : exchanges_.rbegin();
    if (owner != exchanges_.rend()) {
        owner->answers.push_back(std::move(record));
    }
}

// A question that a client has interrupted was not answered because nobody waited for the answer.
void ReplayedPhone::dropInterrupted() {
    for (std::size_t at = exchanges_.size(); at-- > 1;) {
        const Exchange& question = exchanges_[at - 1];
        const bool isShort = exchanges_[at].request.timeUs - question.request.timeUs < kInterruptedUs;
        if (isQuestion(question.request.bytes) && question.answers.empty() && isShort) {
            exchanges_.erase(exchanges_.begin() + static_cast<std::ptrdiff_t>(at) - 1);
        }
    }
}

ReplayedPhone::Bytes ReplayedPhone::answer(Request request) {
    if (Clock::now() < awayUntil_) {
        return {};
    }
    Exchange* const found = isQuestion(request) ? findQuestion(request) : findUnused(request);
    if (found != nullptr) {
        found->isUsed = true;
        if (!isQuestion(request)) {
            sectionBegin_ = static_cast<std::size_t>(found - exchanges_.data()) + 1;
            noteReset(request);
        }
        return lineBytes(*found, request);
    }
    if (isQuestion(request) && hasCommand(request, Command::kQueryMode)) {
        const auto mode = static_cast<std::uint8_t>(PhoneMode::kOnline);
        return encodeFrame(Bytes{request[0], mode, 0});
    }
    Bytes refusal{static_cast<std::uint8_t>(BadPacket::kCommand)};
    const auto repeated = request.first(std::min<std::size_t>(request.size(), kMaxPacketBytes - 1));
    refusal.insert(refusal.end(), repeated.begin(), repeated.end());
    return encodeFrame(refusal);
}

// The next one of equal bytes, else of equal command and item.
ReplayedPhone::Exchange* ReplayedPhone::findUnused(Request request) {
    while (firstUnused_ < exchanges_.size() && exchanges_[firstUnused_].isUsed) {
        ++firstUnused_;
    }
    Exchange* alike = nullptr;
    for (std::size_t at = firstUnused_; at < exchanges_.size(); ++at) {
        Exchange& each = exchanges_[at];
        if (each.isUsed || isQuestion(each.request.bytes)) {
            continue;
        }
        if (isEqual(each.request, request)) {
            return &each;
        }
        alike = alike == nullptr && isAlike(each.request, request) ? &each : alike;
    }
    return alike;
}

// The next one between the commands before and after it; where these are used up, the last one once more. Where there
// is none yet, what it will be later.
ReplayedPhone::Exchange* ReplayedPhone::findQuestion(Request request) {
    const std::size_t end = nextCommand(sectionBegin_);
    for (std::size_t at = sectionBegin_; at < end; ++at) {
        if (!exchanges_[at].isUsed && isEqual(exchanges_[at].request, request)) {
            return &exchanges_[at];
        }
    }
    for (std::size_t at = end; at-- > 0;) {
        if (isEqual(exchanges_[at].request, request)) {
            return &exchanges_[at];
        }
    }
    const auto later =
        std::find_if(exchanges_.begin() + static_cast<std::ptrdiff_t>(end), exchanges_.end(),
                     [&](const Exchange& each) { return !each.answers.empty() && isEqual(each.request, request); });
    return later == exchanges_.end() ? nullptr : &*later;
}

// The first request from there on that is no question.
std::size_t ReplayedPhone::nextCommand(std::size_t from) const {
    while (from < exchanges_.size() && isQuestion(exchanges_[from].request.bytes)) {
        ++from;
    }
    return from;
}

// In the trace of a phone that no line asks for its mode, nothing shows that it leaves.
void ReplayedPhone::noteReset(Request request) {
    const Exchange& exchange = exchanges_[sectionBegin_ - 1];
    const bool isReset = request.size() == kModePacketBytes && hasCommand(request, Command::kChangeMode) &&
                         kernel::get16(request.data() + 1) == static_cast<std::uint16_t>(PhoneMode::kReset);
    const bool isAgreed = !exchange.answers.empty() && isEqual(exchange.answers.back(), request);
    const auto section = std::span(exchanges_).subspan(sectionBegin_, nextCommand(sectionBegin_) - sectionBegin_);
    const bool isWatched = std::ranges::any_of(
        section, [](const Exchange& each) { return hasCommand(each.request.bytes, Command::kQueryMode); });
    if (isReset && isAgreed && !isWatched) {
        awayUntil_ = Clock::now() + kAway;
    }
}

ReplayedPhone::Bytes ReplayedPhone::lineBytes(const Exchange& exchange, Request request) {
    Bytes bytes;
    for (const TraceRecord& answer : exchange.answers) {
        if (answer.way == TraceWay::kFromPhone) {
            const Bytes frame = encodeFrame(filled(answer, request));
            bytes.insert(bytes.end(), frame.begin(), frame.end());
            continue;
        }
        const bool isBlank = answer.isBlank(0);
        bytes.insert(bytes.end(), isBlank ? 1 : 0, kFrameFlag);
        for (std::size_t at = 0; at < answer.bytes.size(); ++at) {
            bytes.push_back(answer.isBlank(at) ? kUnknownByte : answer.bytes[at]);
        }
        bytes.insert(bytes.end(), answer.blankFrom == TraceRecord::kNoBlank ? 0 : 1, kFrameFlag);
    }
    return bytes;
}

} // namespace tessra
