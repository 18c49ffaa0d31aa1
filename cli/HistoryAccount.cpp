#include "cli/HistoryAccount.h"

#include "cli/CommandText.h"
#include "cli/ShownStream.h"
#include "workbench/Comparison.h"
#include "workbench/MessageText.h"
#include "workbench/record/SessionJson.h"

#include <array>
#include <ctime>
#include <ostream>

namespace {

constexpr const char* kIndent = "       ";

std::string headLine(const char* what, const std::string& text) {
    return text.empty() ? "" : std::string(what) + ": " + boundedText(text) + "\n";
}

} // namespace

std::string boundedText(const std::string& text) {
    constexpr workbench::TextBounds kBounds{.characters = 400, .lines = 1};
    return workbench::withinBounds(workbench::shownText(text), kBounds);
}

std::string localText(record::Time time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    if (::localtime_r(&seconds, &parts) == nullptr) {
        return "at no time";
    }
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts)};
}

std::string phoneText(const std::string& model, const std::string& serial, const std::string& port) {
    const std::string name = boundedText(model.empty() ? "Phone" : model) + " ";
    return name + (serial.empty() ? "without a serial number on " + boundedText(port) : boundedText(serial));
}

std::string shortNumber(const std::string& uuid) {
    constexpr std::size_t kDigits = 8;
    return boundedText(uuid.substr(0, kDigits));
}

std::string whoText(const record::Session& session) {
    const std::string who = session.user + (session.host.empty() ? "" : "@" + session.host);
    return record::wordOf(session.kind) + (who.empty() ? "" : " by " + boundedText(who));
}

std::string lineOf(const record::Session& session) {
    return localText(session.begun) + "  " + shortNumber(session.uuid) + "  " + whoText(session) + ", " +
           record::wordOf(session.state) + ": " + counted(session.items) + ", " + std::to_string(session.changed) +
           " changed; " + phoneText(session.phone.model, session.phone.serialNumber, session.port) +
           (session.note.empty() ? "" : "; " + boundedText(session.note));
}

std::string headOf(const record::Session& session) {
    const auto& phone = session.phone;
    return headLine("Session", session.uuid) +
           headLine("Phone", phoneText(phone.model, phone.serialNumber, session.port) +
                                 (phone.softwareVersion.empty() ? "" : ", software " + phone.softwareVersion)) +
           headLine("Port", session.port) + headLine("Begun", localText(session.begun)) +
           headLine("Ended", session.ended                                   ? localText(*session.ended)
                             : session.state == record::SessionState::kBegun ? "not known"
                                                                             : "") +
           headLine("What", whoText(session) + ", " + record::wordOf(session.state) + ": " + counted(session.items) +
                                ", " + std::to_string(session.changed) + " changed") +
           headLine("Asked", session.asked) + headLine("Program", session.program) +
           headLine("Ring", session.ringPath + (session.ringSha256.empty() ? "" : ", SHA-256 " + session.ringSha256)) +
           headLine("Failure", session.failure) + headLine("Note", session.note);
}

void printChange(std::ostream& out, const std::optional<NvItem>& before, const NvItem& after) {
    for (const auto& field : workbench::compareSubFields(before ? &*before : nullptr, &after)) {
        if (field.state == workbench::RowState::kEqual) {
            continue;
        }
        out << kIndent << workbench::shownText(field.description) << ": ";
        if (before) {
            out << Colour::kOld << field.left << Colour::kPlain << " -> ";
        }
        out << Colour::kNew << field.right << Colour::kPlain << '\n';
    }
}
