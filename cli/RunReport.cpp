#include "cli/RunReport.h"

#include "workbench/ItemJson.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

using Json = nlohmann::ordered_json;
using workbench::LeftOut;
using workbench::ReadState;
using workbench::WriteState;

constexpr std::array kSides{"left", "right"};

const char* wordOf(ReadState state) {
    switch (state) {
    case ReadState::kRead:
        return "read";
    case ReadState::kNoValue:
        return "no_value";
    case ReadState::kFailed:
        return "failed";
    case ReadState::kMissing:
        return "missing";
    case ReadState::kNotTried:
        break;
    }
    return "not_tried";
}

const char* wordOf(WriteState state) {
    switch (state) {
    case WriteState::kVerified:
        return "verified";
    case WriteState::kRefused:
        return "refused";
    case WriteState::kReadBackDifferent:
        return "different";
    case WriteState::kNotKnown:
        return "not_known";
    case WriteState::kNotTried:
        break;
    }
    return "not_tried";
}

const char* wordOf(LeftOut leftOut) {
    switch (leftOut) {
    case LeftOut::kNotWritable:
        return "read_only";
    case LeftOut::kUnchanged:
        return "unchanged";
    case LeftOut::kNoValue:
    case LeftOut::kUnticked:
        return "unreadable";
    case LeftOut::kNothing:
        break;
    }
    return "planned";
}

/// The NV status of an answer; null where the phone gave none.
Json statusOf(ReadState state, std::uint16_t status) {
    const bool isAnswered = state == ReadState::kRead || state == ReadState::kNoValue;
    return isAnswered || status != 0 ? Json(status) : Json();
}

Json statusOf(const workbench::WriteResult& result) {
    const bool isAnswered = result.state == WriteState::kVerified || result.state == WriteState::kReadBackDifferent;
    return isAnswered || result.status != 0 ? Json(result.status) : Json();
}

Json bytesOf(const workbench::ItemReading& reading) {
    return reading.state == ReadState::kRead ? Json(workbench::hexText(reading.data)) : Json();
}

double milliseconds(std::chrono::microseconds took) {
    constexpr double kPerMs = 1000;
    return static_cast<double>(took.count()) / kPerMs;
}

/// One item of the report, and one more of its kind in the totals.
void add(Json& items, Json& totals, Json item, const std::string& reason) {
    const std::string result = item["result"];
    totals[result] = totals.value(result, 0) + 1;
    if (!reason.empty()) {
        item["reason"] = workbench::utf8Text(reason);
    }
    items.push_back(std::move(item));
}

Json begun(std::uint16_t number, const std::string& name, const char* result) {
    return {{"id", number}, {"name", workbench::utf8Text(name)}, {"result", result}};
}

void addReadings(Json& items, Json& totals, const workbench::ReadReport& read, const RunReport::Names& names,
                 const char* side = nullptr) {
    for (const auto& reading : read.readings) {
        const auto name = names.find(reading.number);
        Json item = begun(reading.number, name == names.end() ? "" : name->second, wordOf(reading.state));
        item["status"] = statusOf(reading.state, reading.status);
        item["before"] = bytesOf(reading);
        item["after"] = nullptr;
        item["milliseconds"] = milliseconds(reading.took);
        if (side != nullptr) {
            item["side"] = side;
        }
        add(items, totals, std::move(item), reading.reason);
    }
}

void addRows(Json& items, Json& totals, const workbench::WritePlan& plan, const workbench::WriteReport& write,
             bool isDryRun) {
    std::map<std::size_t, const workbench::WriteResult*> results;
    for (const auto& result : write.results) {
        results.emplace(result.row, &result);
    }
    for (std::size_t index = 0; index < plan.rows.size(); ++index) {
        const auto& row = plan.rows[index];
        const auto found = results.find(index);
        const auto* const result = found == results.end() ? nullptr : found->second;
        const bool isUntried = row.isWritten() && !isDryRun;
        Json item = begun(row.item.getId(), row.item.getName(),
                          result != nullptr ? wordOf(result->state)
                          : isUntried       ? wordOf(WriteState::kNotTried)
                                            : wordOf(row.leftOut));
        item["status"] = result != nullptr ? statusOf(*result) : statusOf(row.onPhone.state, row.onPhone.status);
        item["before"] = bytesOf(row.onPhone);
        item["wanted"] = workbench::hexText(row.item.rawData());
        item["after"] = result != nullptr && result->readBack ? Json(workbench::hexText(*result->readBack)) : Json();
        item["milliseconds"] =
            milliseconds(row.onPhone.took + (result != nullptr ? result->took : std::chrono::microseconds()));
        add(items, totals, std::move(item), result != nullptr ? result->reason : row.onPhone.reason);
    }
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(workbench::utf8Text(text));
}

Json sideJson(const char* name, const RunReport::Side& side) {
    return {{"side", name},
            {"source", workbench::utf8Text(side.source)},
            {"port", side.isPort ? textOrNull(side.source) : Json()},
            {"phone", workbench::phoneJson(side.read.phone)}};
}

} // namespace

Json outcomeJson(const workbench::ItemReading& reading) {
    return {{"id", reading.number},
            {"result", wordOf(reading.state)},
            {"status", statusOf(reading.state, reading.status)},
            {"milliseconds", milliseconds(reading.took)}};
}

Json outcomeJson(const workbench::WriteResult& result) {
    return {{"id", result.number},
            {"result", wordOf(result.state)},
            {"status", statusOf(result)},
            {"milliseconds", milliseconds(result.took)}};
}

const RunReport::Side* RunReport::onlyPort() const {
    if (!sides_ || (*sides_)[0].isPort == (*sides_)[1].isPort) {
        return nullptr;
    }
    return &(*sides_)[(*sides_)[0].isPort ? 0 : 1];
}

void RunReport::setPlan(workbench::WritePlan plan, bool isDryRun) {
    plan_ = std::move(plan);
    isDryRun_ = isDryRun;
}

std::string RunReport::json(ExitStatus status, const Names& names) const {
    Json items = Json::array();
    Json totals = Json::object();
    if (plan_) {
        addRows(items, totals, *plan_, write_, isDryRun_);
    } else if (sides_) {
        for (std::size_t at = 0; at < sides_->size(); ++at) {
            addReadings(items, totals, (*sides_)[at].read, names, kSides[at]);
        }
    } else {
        addReadings(items, totals, read_, names);
    }
    const Side* const only = onlyPort();
    const std::string& ownPort = only != nullptr ? only->source : port_;
    Json report = workbench::headJson("report", ring_);
    report["verb"] = verb_;
    report["port"] = textOrNull(ownPort);
    report["phone"] = workbench::phoneJson(phone_.value_or(only != nullptr ? only->read.phone : read_.phone));
    report["start"] = workbench::utcText(start_);
    report["end"] = workbench::utcText(std::chrono::system_clock::now());
    if (sides_) {
        for (std::size_t at = 0; at < sides_->size(); ++at) {
            report["sides"].push_back(sideJson(kSides[at], (*sides_)[at]));
        }
    }
    if (presentPorts_) {
        report["presentPorts"] = Json::array();
        for (const std::string& port : *presentPorts_) {
            report["presentPorts"].push_back(workbench::utf8Text(port));
        }
    }
    report["items"] = std::move(items);
    report["totals"] = std::move(totals);
    {
        const std::scoped_lock lock(messagesMutex_);
        report["messages"] = messages_;
    }
    report["exitStatus"] = static_cast<int>(status);
    report["meaning"] = meaningOf(status);
    return workbench::textOf(report);
}
