#include "workbench/record/SessionText.h"

#include "workbench/record/SessionJson.h"

#include <algorithm>
#include <ctime>
#include <string_view>

namespace record {
namespace {

constexpr std::size_t kLongestValues = 400;

std::string bytesText(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::size_t size = bytes.size();
    while (size > 0 && bytes[size - 1] == 0) {
        --size;
    }
    std::string text;
    for (const std::uint8_t byte : bytes.first(size)) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xfU];
    }
    return text.empty() ? "00" : text;
}

} // namespace

std::string localTime(Time when, bool withZone) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm parts{};
    if (::localtime_r(&seconds, &parts) == nullptr) {
        return "at no time";
    }
    char text[40];
    return {text, std::strftime(text, sizeof text, withZone ? "%Y-%m-%d %H:%M:%S %z" : "%Y-%m-%d %H:%M:%S", &parts)};
}

std::string phoneText(const std::string& model, const std::string& serial, const std::string& port) {
    const std::string name = model.empty() ? "unknown model" : model;
    return serial.empty() ? name + " (no serial number) on " + port : name + ' ' + serial;
}

std::string askedText(const Session& session) {
    return session.asked.empty() ? wordOf(session.kind) : session.asked;
}

std::string operatorText(const Session& session) {
    return session.user + (session.user.empty() || session.host.empty() ? "" : " on ") + session.host;
}

std::string resultText(const SessionItem& item) {
    std::string text = wordOf(item.state);
    std::ranges::replace(text, '_', ' ');
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
