#include "workbench/record/ReportItems.h"

#include "platform/kernel/Text.h"
#include "workbench/record/ProcessMark.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>

namespace record {
namespace {

using workbench::ReadState;
using workbench::WriteState;

/// RFC 9562, version 4: 122 bits by chance.
std::string newUuid() {
    std::random_device chance;
    std::array<std::uint32_t, 4> words{};
    std::ranges::generate(words, [&] { return static_cast<std::uint32_t>(chance()); });
    words[1] = (words[1] & 0xFFFF0FFFU) | 0x4000U;
    words[2] = (words[2] & 0x3FFFFFFFU) | 0x80000000U;
    std::string uuid;
    for (const std::uint32_t word : words) {
        uuid += kernel::hexDigits(word, 8);
    }
    for (const std::size_t at : {8U, 13U, 18U, 23U}) {
        uuid.insert(at, "-");
    }
    return uuid;
}

std::string userName() {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> texts(4096);
    const uid_t user = ::geteuid();
    const bool isKnown = ::getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr;
    return isKnown ? found->pw_name : "user " + std::to_string(user);
}

ItemState stateOf(ReadState state) {
    switch (state) {
    case ReadState::kRead:
        return ItemState::kRead;
    case ReadState::kNoValue:
        return ItemState::kNoValue;
    case ReadState::kFailed:
        return ItemState::kFailed;
    case ReadState::kMissing:
        return ItemState::kMissing;
    case ReadState::kNotTried:
        break;
    }
    return ItemState::kNotTried;
}

ItemState stateOf(WriteState state) {
    switch (state) {
    case WriteState::kVerified:
        return ItemState::kVerified;
    case WriteState::kRefused:
        return ItemState::kRefused;
    case WriteState::kReadBackDifferent:
        return ItemState::kReadBackDifferent;
    case WriteState::kNotKnown:
        return ItemState::kNotKnown;
    case WriteState::kNotTried:
        break;
    }
    return ItemState::kNotTried;
}

SessionItem planned(const workbench::PlanRow& row) {
    SessionItem item{.number = row.item.getId()};
    if (row.onPhone.state == ReadState::kRead) {
        item.before = row.onPhone.data;
    }
    std::ranges::copy(row.item.rawData(), item.wanted.emplace().begin());
    return item;
}

template <typename Report>
SessionState endOf(const Report& report, bool isComplete) {
    return report.cancelled ? SessionState::kCancelled
           : isComplete     ? SessionState::kComplete
                            : SessionState::kIncomplete;
}

} // namespace

Session newSession(SessionKind kind, std::string program, std::string asked) {
    Session session;
    session.uuid = newUuid();
    session.kind = kind;
    session.begun = std::chrono::system_clock::now();
    session.program = std::move(program);
    session.user = userName();
    session.host = hostName();
    session.asked = std::move(asked);
    return session;
}

void describe(Session& session, const workbench::ReadReport& report) {
    session.phone = report.phone;
    session.port = report.comPort;
    session.begun = report.when;
    session.ended = std::chrono::system_clock::now();
    session.state = endOf(report, report.isComplete());
    session.failure = report.failure;
}

bool hasAnswers(const workbench::ReadReport& report) {
    const auto isAnswer = [](const workbench::ItemReading& reading) {
        return reading.state == ReadState::kRead || reading.state == ReadState::kNoValue ||
               reading.state == ReadState::kFailed;
    };
    return std::ranges::any_of(report.readings, isAnswer);
}

std::vector<SessionItem> itemsRead(const workbench::ReadReport& report) {
    std::vector<SessionItem> items;
    items.reserve(report.readings.size());
    for (const workbench::ItemReading& reading : report.readings) {
        SessionItem& item = items.emplace_back(SessionItem{.number = reading.number, .state = stateOf(reading.state)});
        item.status = reading.status;
        if (reading.state == ReadState::kRead) {
            item.after = reading.data;
        }
    }
    return items;
}

std::vector<SessionItem> itemsPlanned(const workbench::WritePlan& plan) {
    std::vector<SessionItem> items;
    for (const workbench::PlanRow& row : plan.rows) {
        if (row.isWritten()) {
            items.push_back(planned(row));
        }
    }
    return items;
}

std::vector<SessionItem> itemsLeft(const workbench::WritePlan& plan, const workbench::WriteReport& report) {
    std::vector<SessionItem> items;
    for (const workbench::WriteResult& result : report.results) {
        const workbench::PlanRow& row = plan.rows.at(result.row);
        const bool isVerified = result.state == WriteState::kVerified;
        if (row.isWritten() && (!isVerified || report.lacksResetCheck)) {
            SessionItem& item = items.emplace_back(planned(row));
            const bool wasSent =
                isVerified || result.state == WriteState::kNotKnown || result.state == WriteState::kReadBackDifferent;
            item.before = wasSent ? result.readBack : item.before;
        }
    }
    return items;
}

SessionItem itemWritten(SessionItem planned, const workbench::WriteResult& result) {
    planned.state = stateOf(result.state);
    planned.status = result.status;
    planned.after = result.readBack;
    if (result.state == WriteState::kVerified) {
        planned.wanted = result.readBack; // with the phone's own bytes behind the sub-fields, if these were to stay
    }
    planned.reason = result.state == WriteState::kVerified ? "" : result.reason;
    return planned;
}

void describe(Session& session, const workbench::WriteReport& report) {
    session.phone = report.phone.model.empty() && !report.phone.isKnown() ? session.phone : report.phone;
    session.ended = std::chrono::system_clock::now();
    session.state = endOf(report, report.isDone() && !report.lacksResetCheck);
    session.failure = report.failure;
}

} // namespace record
