#include "tessra/trace/TraceText.h"

#include "platform/kernel/Text.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace tessra {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

std::string shownPort(std::string_view name) {
    std::string text;
    for (const char c : name) {
        if (c > ' ' && c <= '~' && c != '%') {
            text += c;
        } else {
            text += '%' + kernel::hexDigits(static_cast<unsigned char>(c), 2);
        }
    }
    return text;
}

std::string padded(std::int64_t number, std::size_t digits) {
    const std::string text = std::to_string(number);
    return text.size() < digits ? std::string(digits - text.size(), '0') + text : text;
}

} // namespace

std::string traceHeadLine(std::chrono::system_clock::time_point begin) {
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(begin.time_since_epoch()).count();
    const auto seconds = static_cast<std::time_t>(us / 1'000'000);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &parts);
    return std::string(kTraceHead) + std::string(text.data(), length) + padded(us % 1'000'000, 6) + "Z\n";
}

char waySign(TraceWay way) {
    constexpr std::string_view kSigns = "><!";
    return kSigns[static_cast<std::size_t>(way)];
}

std::string traceLineFront(const TraceRecord& record) {
    const TraceWords words = wordsOf(record);
    return std::to_string(record.timeUs / 1'000'000) + '.' + padded(record.timeUs % 1'000'000, 6) + ' ' +
           shownPort(record.port) + ' ' + waySign(record.way) + ' ' + words.command + ' ' + words.item + ' ' +
           words.status + ' ';
}

std::string traceBytes(const TraceRecord& record, std::string_view between) {
    std::string text;
    text.reserve(record.bytes.size() * (2 + between.size()) + 1);
    for (std::size_t at = 0; at < record.bytes.size(); ++at) {
        text += at == 0 ? std::string_view() : between;
        text += record.isBlank(at) ? '*' : kDigits[record.bytes[at] >> 4];
        text += record.isBlank(at) ? '*' : kDigits[record.bytes[at] & 0xF];
    }
    return text.empty() ? "-" : text;
}

std::string traceLine(const TraceRecord& record) {
    return traceLineFront(record) + traceBytes(record) + '\n';
}

} // namespace tessra
