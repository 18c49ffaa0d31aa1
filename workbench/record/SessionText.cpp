#include "workbench/record/SessionText.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <ranges>
#include <string_view>

namespace record {
namespace {

constexpr std::size_t kLongestValues = 400;

std::string_view textOf(ItemState state) {
    constexpr std::array<std::string_view, 9> kTexts{"not tried", "read",    "no value",  "failed",   "no answer",
                                                     "verified",  "refused", "different", "not known"};
    return kTexts.at(static_cast<std::size_t>(state));
}

std::string bytesText(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto last = std::ranges::find_if(bytes | std::views::reverse, [](std::uint8_t byte) { return byte != 0; });
    std::string text;
    for (const std::uint8_t byte : bytes.first(static_cast<std::size_t>(last.base() - bytes.begin()))) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xfU];
    }
    return text.empty() ? "00" : text;
}

} // namespace

std::string localTime(Time when, bool withZone) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    char text[40];
    return {text, std::strftime(text, sizeof text, withZone ? "%Y-%m-%d %H:%M:%S %z" : "%Y-%m-%d %H:%M:%S", &parts)};
}

std::string phoneText(const std::string& model, const std::string& serial, const std::string& port) {
    const std::string name = model.empty() ? "unknown model" : model;
    return serial.empty() ? name + " (no serial number) on " + port : name + ' ' + serial;
}

const char* kindText(SessionKind kind) {
    constexpr std::array<const char*, 3> kTexts{"read", "write", "restore"};
    return kTexts.at(static_cast<std::size_t>(kind));
}

const char* stateText(SessionState state) {
    constexpr std::array<const char*, 5> kTexts{"under way", "complete", "incomplete", "cancelled",
                                                "ended in the middle"};
    return kTexts.at(static_cast<std::size_t>(state));
}

std::string askedText(const Session& session) {
    return session.asked.empty() ? kindText(session.kind) : session.asked;
}

std::string operatorText(const Session& session) {
    return session.user + (session.user.empty() || session.host.empty() ? "" : " on ") + session.host;
}

std::string resultText(const SessionItem& item) {
    std::string text(textOf(item.state));
    if (!item.reason.empty()) {
        text += ": " + item.reason;
    } else if (item.state == ItemState::kFailed || item.state == ItemState::kRefused) {
        text += ": NV status " + std::to_string(item.status);
    }
    return text;
}

std::string valuesText(const NvItem& item) {
    std::string text;
    // Of an item that the ring lacks, the one sub-field says nothing of the other bytes.
    const auto bytes = item.rawData();
    const bool isDescribed = item.getSubItemCount() > 0 && item.getName() != "No Name";
    if (!isDescribed) {
        text = bytesText(bytes);
    } else {
        for (const SubItem& field : item.getSubItems()) {
            text += (text.empty() ? "" : ", ") + field.value;
        }
    }
    return text.size() > kLongestValues ? text.substr(0, kLongestValues) + "..." : text;
}

} // namespace record
