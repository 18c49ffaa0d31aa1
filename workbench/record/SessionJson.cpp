#include "workbench/record/SessionJson.h"

#include "platform/kernel/Text.h"
#include "workbench/FieldValues.h"
#include "workbench/ItemJson.h"
#include "workbench/ResultJson.h"

#include <sha2.h>

#include <algorithm>
#include <array>
#include <set>
#include <utility>

namespace record {
namespace {

using Json = nlohmann::ordered_json;

// In the order of the enumerations.
constexpr std::array kKinds{"read", "write", "restore"};
constexpr std::array kStates{"begun", "complete", "incomplete", "cancelled", "interrupted"};
constexpr std::array kItemStates{"not_tried", "read",    "no_value",  "failed",   "missing",
                                 "verified",  "refused", "different", "not_known"};

Json timeJson(const std::optional<Time>& time) {
    return time ? Json(workbench::utcText(*time)) : Json();
}

Json bytesJson(const std::optional<ItemData>& data) {
    return data ? Json(workbench::hexText(*data)) : Json();
}

/// An object of a text from outside, and where complaints about it belong.
class Member {
public:
    Member(const Json& json, std::string place) : json_(json), place_(std::move(place)) {
        if (!json.is_object()) {
            refuse("it is no object");
        }
    }

    [[noreturn]] void refuse(const std::string& reason) const {
        throw workbench::ValuesRefused(workbench::ValuesRefused::Kind::kText, place_ + ": " + reason);
    }

    bool has(const char* key) const { return json_.contains(key) && !json_.at(key).is_null(); }
    Member object(const char* key) const { return {needed(key), place_}; }
    const Json& needed(const char* key) const {
        if (!has(key)) {
            refuse(std::string("it has no \"") + key + "\"");
        }
        return json_.at(key);
    }

    /// Empty where it is not there.
    std::string text(const char* key) const {
        if (!has(key)) {
            return {};
        }
        const Json& value = json_.at(key);
        if (!value.is_string()) {
            refuse(std::string("its \"") + key + "\" is no text");
        }
        auto text = value.get<std::string>();
        // A server of databases takes no such character.
        if (text.find('\0') != std::string::npos || text.size() > kMaxTextBytes) {
            refuse(std::string("its \"") + key + "\" is too long, or has a character 0");
        }
        return text;
    }

    std::optional<Time> time(const char* key) const {
        if (!has(key)) {
            return std::nullopt;
        }
        const auto time = timeOfUtcText(text(key));
        if (!time) {
            refuse(std::string("its \"") + key + "\" is no time from 1970 to 2261 such as 2026-11-23T23:50:12.123Z");
        }
        return time;
    }

    std::uint16_t number(const char* key) const {
        const Json& value = needed(key);
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() > 0xFFFF) {
            refuse(std::string("its \"") + key + "\" is no number from 0 to 65535");
        }
        return value.get<std::uint16_t>();
    }

    template <class Enum, std::size_t Count>
    Enum one(const char* key, const std::array<const char*, Count>& words) const {
        const std::string word = text(key);
        const auto found = std::ranges::find(words, word);
        if (found == words.end()) {
            refuse(std::string("its \"") + key + "\" is none that this program knows");
        }
        return static_cast<Enum>(found - words.begin());
    }

    std::optional<ItemData> bytes(const char* key) const {
        if (!has(key)) {
            return std::nullopt;
        }
        const std::string digits = text(key);
        ItemData data{};
        bool isWhole = digits.size() == 2 * data.size();
        for (std::size_t i = 0; isWhole && i < data.size(); ++i) {
            const auto byte = kernel::wholeNumber<std::uint8_t>(std::string_view(digits).substr(2 * i, 2), 16);
            isWhole = byte.has_value();
            data[i] = byte.value_or(0);
        }
        if (!isWhole) {
            refuse(std::string("its \"") + key + "\" needs " + std::to_string(2 * data.size()) + " hexadecimal digits");
        }
        return data;
    }

private:
    const Json& json_;
    std::string place_;
};

bool isUuid(std::string_view text) {
    constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    return std::ranges::equal(text, kForm, [](char character, char form) {
        return form == '-' ? character == '-'
                           : std::string_view("0123456789abcdef").find(character) != std::string_view::npos;
    });
}

/// The document, of this program's form at most.
Json parsed(const std::string& text, const std::string& source) {
    constexpr int kMostLevels = 16;
    const auto keep = [&](int depth, Json::parse_event_t, Json&) {
        if (depth > kMostLevels) {
            throw workbench::ValuesRefused(workbench::ValuesRefused::Kind::kText, source + ": it is nested too deep");
        }
        return true;
    };
    Json json = Json::parse(text, keep, false);
    if (json.is_discarded()) {
        json = nullptr;
    }
    const Member document(json, source);
    if (document.has("schema") && document.number("schema") > workbench::kResultSchema) {
        document.refuse("its schema is " + std::to_string(document.number("schema")) +
                        ", and this program knows none above " + std::to_string(workbench::kResultSchema));
    }
    return json;
}

workbench::PhoneIdentity phoneOf(const Member& holder) {
    if (!holder.has("phone")) {
        return {};
    }
    const Member phone = holder.object("phone");
    return {phone.text("serialNumber"), phone.text("model"), phone.text("softwareVersion")};
}

void takeRing(Session& session, const Member& holder) {
    if (holder.has("ring")) {
        session.ringPath = holder.object("ring").text("path");
        session.ringSha256 = holder.object("ring").text("sha256");
    }
}

/// The items of the document, each number once.
std::vector<SessionItem> itemsOf(const Member& document, const std::string& source,
                                 const std::function<SessionItem(const Member&)>& itemOf) {
    const Json& list = document.needed("items");
    if (!list.is_array()) {
        document.refuse("its \"items\" are no list");
    }
    std::vector<SessionItem> items;
    std::set<std::uint16_t> seen;
    for (const Json& entry : list) {
        const std::uint16_t number = Member(entry, source).number("id");
        const Member member(entry, source + ": item " + std::to_string(number));
        SessionItem item = itemOf(member);
        item.number = number;
        if (!seen.insert(number).second) {
            member.refuse("it stands in it twice");
        }
        items.push_back(std::move(item));
    }
    return items;
}

RecordedSession recordedSession(const Member& document, const std::string& source) {
    const Member member = document.object("session");
    RecordedSession recorded;
    Session& session = recorded.session;
    session.uuid = member.text("uuid");
    session.kind = member.one<SessionKind>("kind", kKinds);
    session.state = member.one<SessionState>("state", kStates);
    const auto begun = member.time("begun");
    if (!isUuid(session.uuid) || !begun) {
        member.refuse("the session has no uuid, or no time of its begin");
    }
    if (session.state == SessionState::kBegun) {
        member.refuse("the session was still under way when it was written here");
    }
    session.begun = *begun;
    session.ended = member.time("ended");
    session.program = member.text("program");
    takeRing(session, member);
    session.port = member.text("port");
    session.phone = phoneOf(member);
    session.user = member.text("user");
    session.host = member.text("host");
    session.asked = member.text("asked");
    session.failure = member.text("failure");
    session.note = member.text("note");
    recorded.items = itemsOf(document, source, [](const Member& item) {
        return SessionItem{.state = item.one<ItemState>("state", kItemStates),
                           .status = item.number("status"),
                           .before = item.bytes("before"),
                           .wanted = item.bytes("wanted"),
                           .after = item.bytes("after"),
                           .reason = item.text("reason")};
    });
    return recorded;
}

/// A uuid of the kind whose bits are its maker's own affair.
std::string uuidOf(const std::string& content) {
    std::array<char, SHA256_DIGEST_STRING_LENGTH> digits{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the library takes unsigned bytes
    const std::string hash =
        SHA256Data(reinterpret_cast<const std::uint8_t*>(content.data()), content.size(), digits.data());
    return hash.substr(0, 8) + "-" + hash.substr(8, 4) + "-8" + hash.substr(13, 3) + "-8" + hash.substr(17, 3) + "-" +
           hash.substr(20, 12);
}

RecordedSession recordedRead(const Member& document, const std::string& source) {
    RecordedSession recorded;
    Session& session = recorded.session;
    session.phone = phoneOf(document);
    session.port = document.text("port");
    const auto when = document.time("time");
    if (session.phone == workbench::PhoneIdentity() || !when) {
        document.refuse("it does not say of which phone it is and when that was read");
    }
    session.begun = *when;
    session.program = document.text("program");
    takeRing(session, document);
    session.asked = "import of " + source;
    recorded.items = itemsOf(document, source, [](const Member& item) {
        item.needed("raw");
        return SessionItem{.state = ItemState::kRead, .after = item.bytes("raw")};
    });
    std::string content = session.phone.model + "\n" + session.phone.serialNumber + "\n" + session.port + "\n" +
                          workbench::utcText(session.begun);
    for (const SessionItem& item : recorded.items) {
        content += "\n" + std::to_string(item.number) + " " + workbench::hexText(*item.after);
    }
    session.uuid = uuidOf(content);
    session.state = SessionState::kComplete;
    for (const char* reason : {"failed", "lost", "notTried"}) {
        if (document.has("missing") && !document.object("missing").text(reason).empty()) {
            session.state = SessionState::kIncomplete;
        }
    }
    return recorded;
}

} // namespace

const char* wordOf(SessionKind kind) {
    return kKinds.at(static_cast<std::size_t>(kind));
}

const char* wordOf(SessionState state) {
    return kStates.at(static_cast<std::size_t>(state));
}

const char* wordOf(ItemState state) {
    return kItemStates.at(static_cast<std::size_t>(state));
}

Json sessionJson(const Session& session) {
    return {{"uuid", session.uuid},
            {"kind", wordOf(session.kind)},
            {"state", wordOf(session.state)},
            {"begun", workbench::utcText(session.begun)},
            {"ended", timeJson(session.ended)},
            {"received", timeJson(session.received)},
            {"program", session.program},
            {"ring", {{"path", session.ringPath}, {"sha256", session.ringSha256}}},
            {"port", session.port},
            {"phone", workbench::phoneJson(session.phone)},
            {"user", session.user},
            {"host", session.host},
            {"asked", session.asked},
            {"failure", session.failure},
            {"note", session.note},
            {"items", session.items},
            {"changed", session.changed}};
}

std::string sessionToJson(const Session& session, std::span<const SessionItem> items, const NameOfItem& nameOf) {
    Json document = workbench::headJson("session", {});
    document["session"] = sessionJson(session);
    document["items"] = Json::array();
    for (const SessionItem& item : items) {
        Json entry{{"id", item.number}};
        if (const std::string name = nameOf ? nameOf(item.number) : ""; !name.empty()) {
            entry["name"] = workbench::utf8Text(name);
        }
        entry["state"] = wordOf(item.state);
        entry["status"] = item.status;
        entry["before"] = bytesJson(item.before);
        entry["wanted"] = bytesJson(item.wanted);
        entry["after"] = bytesJson(item.after);
        entry["reason"] = workbench::utf8Text(item.reason);
        document["items"].push_back(std::move(entry));
    }
    return workbench::textOf(document);
}

RecordedSession sessionFromJson(const std::string& text, const std::string& source) {
    const Json json = parsed(text, source);
    const Member document(json, source);
    return document.has("session") ? recordedSession(document, source) : recordedRead(document, source);
}

std::optional<Time> timeOfUtcText(std::string_view text) {
    const auto hasForm = [text](std::string_view form) {
        return std::ranges::equal(text, form, [](char character, char wanted) {
            return wanted == '0' ? character >= '0' && character <= '9' : character == wanted;
        });
    };
    const bool isToTheMs = hasForm("0000-00-00T00:00:00.000Z");
    if (!isToTheMs && !hasForm("0000-00-00T00:00:00Z")) {
        return std::nullopt;
    }
    const auto part = [text](std::size_t at, std::size_t size) {
        return *kernel::wholeNumber<int>(text.substr(at, size));
    };
    using namespace std::chrono;
    const year_month_day day{year(part(0, 4)), month(static_cast<unsigned>(part(5, 2))),
                             std::chrono::day(static_cast<unsigned>(part(8, 2)))};
    // In nanoseconds, no others have room in a Time.
    constexpr year kFirst{1970};
    constexpr year kLast{2261};
    if (day.year() < kFirst || day.year() > kLast || !day.ok() || part(11, 2) > 23 || part(14, 2) > 59 ||
        part(17, 2) > 60) {
        return std::nullopt;
    }
    return sys_days(day) + hours(part(11, 2)) + minutes(part(14, 2)) + seconds(part(17, 2)) +
           milliseconds(isToTheMs ? part(20, 3) : 0);
}

} // namespace record
