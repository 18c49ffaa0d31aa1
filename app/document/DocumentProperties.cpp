#include "app/document/DocumentProperties.h"

#include "app/document/CCalvaneDoc.h"
#include "workbench/MessageText.h"

#include <algorithm>
#include <array>
#include <ctime>

namespace {

using Properties = std::vector<DocumentProperty>;

constexpr const char* kUnknown = "not known";

/// In local time, as "2026-11-23 09:30:00".
std::string textOf(std::chrono::system_clock::time_point when) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm local{};
    std::array<char, 32> text{};
    ::localtime_r(&seconds, &local);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local)};
}

std::string hexadecimal(std::uint32_t number) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text = "0x";
    for (int shift = 28; shift >= 0; shift -= 4) {
        text += kDigits[number >> shift & 0xF];
    }
    return text;
}

void add(Properties& lines, std::string label, const std::string& text) {
    std::string shown = workbench::shownMessage(text);
    std::ranges::replace_if(
        shown, [](char c) { return c == '\n' || c == '\t'; }, ' ');
    lines.push_back({std::move(label), std::move(shown)});
}

void addSource(Properties& lines, const workbench::PhoneSource& source) {
    const auto& [serialNumber, model, softwareVersion] = source.phone;
    const bool isAsked = source.phone != workbench::PhoneIdentity();
    add(lines, "Items from", source.isRecorded ? "the record of a phone" : "a phone");
    add(lines, "Phone", isAsked ? workbench::shortName(source.phone) : "it has not told who it is");
    add(lines, "Software", softwareVersion.empty() ? kUnknown : softwareVersion);
    add(lines, "Read on", source.comPort);
}

void addSource(Properties& lines, const workbench::FileSource& source) {
    add(lines, "Items from", "a calibration file");
    add(lines, "File", source.path);
    add(lines, "Phone model ID", source.phoneModelId ? std::to_string(*source.phoneModelId) : kUnknown);
    if (!source.properties) {
        add(lines, "Record of the phone", "none");
        return;
    }
    const PhoneProperties& record = *source.properties;
    add(lines, "ESN", std::to_string(record.esn) + " (" + hexadecimal(record.esn) + ")");
    add(lines, "NV version", std::to_string(record.nvMajorVersion) + "." + std::to_string(record.nvMinorVersion));
    add(lines, "System software version", record.softwareVersion);
    add(lines, "Client name", record.clientName);
}

} // namespace

std::vector<DocumentProperty> documentProperties(const CCalvaneDoc& document) {
    Properties lines;
    if (const auto source = document.listSource()) {
        std::visit([&](const auto& from) { addSource(lines, from); }, source->from);
        add(lines, "Read at", textOf(source->when));
    } else {
        add(lines, "Items from", document.nvItems().empty() ? "nowhere yet" : "the decoder ring, without values");
    }
    add(lines, "File last read or written", document.fileName().empty() ? "none" : document.fileName());
    add(lines, "Port", document.comPort());
    add(lines, "Decoder ring", document.ring().path.string());
    add(lines, "Items in the ring", std::to_string(document.ring().items));
    add(lines, "Items listed", std::to_string(document.nvItems().size()));
    add(lines, "Items changed, not written", std::to_string(document.changedCount()));
    return lines;
}
