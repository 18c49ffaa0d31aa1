#include "cli/PhoneAccount.h"

#include "cli/CommandText.h"
#include "cli/Interruption.h"
#include "cli/ShownStream.h"
#include "workbench/Comparison.h"
#include "workbench/MessageText.h"

#include <algorithm>
#include <ostream>
#include <vector>

namespace {

using workbench::LeftOut;
using workbench::ReadState;
using workbench::RowState;
using workbench::WriteState;

constexpr const char* kIndent = "       ";

std::string nameOf(const NvItem& item) {
    return std::to_string(item.getId()) + " " + workbench::shownText(item.getName());
}

/// What the plan's item would change in that of the phone; all of it where the phone's is not known.
std::vector<workbench::SubFieldRow> changesOf(const workbench::PlanRow& row) {
    NvItem onPhone = row.item;
    onPhone.setRawData(row.onPhone.data);
    auto rows = workbench::compareSubFields(row.onPhone.state == ReadState::kRead ? &onPhone : nullptr, &row.item);
    std::erase_if(rows, [](const workbench::SubFieldRow& field) { return field.state == RowState::kEqual; });
    return rows;
}

std::string noteOf(const workbench::PlanRow& row) {
    switch (row.onPhone.state) {
    case ReadState::kRead:
        return changesOf(row).empty() ? "  as on the phone" : "";
    case ReadState::kNoValue:
        return "  the phone has no value";
    case ReadState::kFailed:
    case ReadState::kMissing:
        return "  can't be read from the phone: " + row.onPhone.reason;
    case ReadState::kNotTried:
        break;
    }
    return {};
}

/// "offset is 7 instead of 9, flag is 0 instead of 1".
std::string differencesOf(const workbench::PlanRow& row, const workbench::WriteResult& result) {
    if (!result.readBack) {
        return result.reason;
    }
    NvItem onPhone = row.item;
    onPhone.setRawData(*result.readBack);
    std::string text;
    for (const auto& field : workbench::compareSubFields(&onPhone, &row.item)) {
        if (field.state != RowState::kEqual) {
            text += (text.empty() ? "" : ", ") + field.description + " is " + field.left + " instead of " + field.right;
        }
    }
    return text.empty() ? result.reason : text + ".";
}

/// The line about an item that is not as it should be; empty for the others.
std::string outcomeOf(const workbench::PlanRow& row, const workbench::WriteResult& result) {
    const std::string name = nameOf(row.item);
    switch (result.state) {
    case WriteState::kVerified:
        break;
    case WriteState::kRefused:
        return name + " was refused: " + result.reason + "\n";
    case WriteState::kReadBackDifferent:
        return name + " was written, but reads back different: " + differencesOf(row, result) + "\n";
    case WriteState::kNotKnown:
        return name + " may have been written or not: " + result.reason + "\nRead it back before you rely on it.\n";
    case WriteState::kNotTried:
        return result.reason.empty() ? "" : name + " was not tried: " + result.reason + "\n";
    }
    return {};
}

std::vector<std::uint16_t> numbersOf(const workbench::WriteReport& report, WriteState state) {
    std::vector<std::uint16_t> numbers;
    for (const auto& result : report.results) {
        if (result.state == state) {
            numbers.push_back(result.number);
        }
    }
    return numbers;
}

std::vector<std::uint16_t> numbersOf(const workbench::WritePlan& plan, LeftOut leftOut) {
    std::vector<std::uint16_t> numbers;
    for (const auto& row : plan.rows) {
        if (row.leftOut == leftOut) {
            numbers.push_back(row.item.getId());
        }
    }
    return numbers;
}

std::string lineOf(const char* what, const std::vector<std::uint16_t>& numbers) {
    return numbers.empty() ? "" : std::string(what) + ": " + joined(numbers) + ".\n";
}

} // namespace

ExitStatus endOf(const workbench::ReadReport& report) {
    if (report.cancelled) {
        return Interruption::status();
    }
    if (report.otherPhone) {
        return ExitStatus::kOtherPhone;
    }
    return report.failure.empty() ? ExitStatus::kDone : ExitStatus::kNoPhone;
}

std::string failureOf(const workbench::ReadReport& report) {
    return report.cancelled ? "Interrupted." : report.failure;
}

void printPlan(std::ostream& out, const workbench::WritePlan& plan) {
    for (const auto& row : plan.rows) {
        if (!row.isWritten()) {
            continue;
        }
        out << nameOf(row.item) << noteOf(row) << '\n';
        for (const auto& field : changesOf(row)) {
            out << kIndent << workbench::shownText(field.description) << ": ";
            if (field.state != RowState::kOnlyRight) {
                out << Colour::kOld << field.left << Colour::kPlain << " -> ";
            }
            out << Colour::kNew << field.right << Colour::kPlain << '\n';
        }
    }
}

std::string leftOutOf(const workbench::WritePlan& plan) {
    std::string text;
    const auto add = [&text](const std::vector<std::uint16_t>& numbers, const char* reason) {
        if (!numbers.empty()) {
            text += "Skipped " + counted(numbers.size()) + reason + ": " + joined(numbers) + ".\n";
        }
    };
    add(numbersOf(plan, LeftOut::kNotWritable), " whose access mark does not allow a write");
    // These are most of a backup, and nobody has to look after them.
    const std::size_t unchanged = plan.count(LeftOut::kUnchanged);
    text += unchanged == 0 ? "" : "Skipped " + counted(unchanged) + " that the phone has already.\n";
    add(numbersOf(plan, LeftOut::kUnticked), " that can't be read before");
    return text;
}

std::string failuresOf(const workbench::WritePlan& plan, const workbench::WriteReport& report) {
    std::string text = report.cancelled ? "Interrupted.\n" : "";
    text += report.failure.empty() ? "" : report.failure + "\n";
    for (const auto& result : report.results) {
        text += outcomeOf(plan.rows[result.row], result);
    }
    return text;
}

std::string accountOf(const workbench::WritePlan& plan, const workbench::WriteReport& report) {
    std::string text = failuresOf(plan, report) + plan.comPort + " (" + workbench::shortName(plan.phone) +
                       "): " + report.summary() + ".\n";
    if (!report.isDone()) {
        text += lineOf("Written and verified", numbersOf(report, WriteState::kVerified));
        text += lineOf("Not tried", numbersOf(report, WriteState::kNotTried));
    }
    return text + leftOutOf(plan);
}

ExitStatus statusOf(const workbench::WriteReport& report, const std::set<std::uint16_t>& tolerated) {
    ExitStatus status = report.cancelled ? Interruption::status() : ExitStatus::kDone;
    const auto holds = [&status](bool condition, ExitStatus other) {
        status = condition ? worse(status, other) : status;
    };
    const auto refused = numbersOf(report, WriteState::kRefused);
    const auto isTolerated = [&](std::uint16_t number) { return tolerated.contains(number); };
    holds(report.otherPhone, ExitStatus::kOtherPhone);
    holds(report.count(WriteState::kReadBackDifferent) > 0, ExitStatus::kReadBackDifferent);
    holds(!std::ranges::all_of(refused, isTolerated), ExitStatus::kRefused);
    holds(report.count(WriteState::kNotKnown) > 0, ExitStatus::kIncomplete);
    holds(!report.failure.empty(), ExitStatus::kNoPhone);
    holds(status == ExitStatus::kDone && report.count(WriteState::kNotTried) > 0, ExitStatus::kIncomplete);
    return status;
}
