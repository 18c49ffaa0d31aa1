#include "cli/AccessCode.h"
#include "cli/CommandText.h"
#include "cli/Interruption.h"
#include "cli/MoxCommands.h"
#include "cli/PhoneAccount.h"
#include "cli/PhoneProgress.h"
#include "cli/Run.h"
#include "cli/SetItems.h"
#include "cli/Verbs.h"
#include "cli/WriteItems.h"
#include "phonelink/TessraServer.h"
#include "platform/com/Status.h"
#include "workbench/ItemJson.h"
#include "workbench/PhoneIdentity.h"
#include "workbench/PortReason.h"

#include <algorithm>
#include <iostream>

namespace {

using workbench::ReadState;

/// Leaves the items that the arguments name, where they name some. One that is named and not there is refused: it would
/// stay unwritten unseen.
void keepNamed(std::vector<workbench::WantedItem>& wanted, const Arguments& arguments) {
    if (!arguments.itemNumbers) {
        return;
    }
    std::vector<std::uint16_t> found;
    for (const auto& item : wanted) {
        found.push_back(item.item.getId());
    }
    const std::string path = arguments.moxPath.empty() ? inputName(arguments.inputPath) : arguments.moxPath;
    if (const auto missing = missingNumbers(arguments.singleNumbers, found); !missing.empty()) {
        throw BatchFailure(ExitStatus::kValues, "'" + path + "' lacks " + joined(missing) + ". Nothing was written.");
    }
    std::erase_if(wanted, [&](const workbench::WantedItem& item) {
        return !std::ranges::binary_search(*arguments.itemNumbers, item.item.getId());
    });
    if (wanted.empty()) {
        throw BatchFailure(ExitStatus::kValues, "'" + path + "' has none of these items. Nothing was written.");
    }
}

std::vector<std::uint16_t> writableNumbers(const std::vector<workbench::WantedItem>& wanted) {
    std::vector<std::uint16_t> numbers;
    for (const auto& item : wanted) {
        if (item.item.isWritable()) {
            numbers.push_back(item.item.getId());
        }
    }
    return numbers;
}

/// Writes wanted items to the phone of the arguments, or prints what it would do.
class PhoneWrite {
public:
    PhoneWrite(Calvane& catalog, const Arguments& arguments)
        : session_(*catalog.getTessraServer()), arguments_(arguments), accessCode_(accessCodeOf(arguments)) {}

    /// This item says when the others were written, and is not written alone.
    void setStamp(std::optional<std::uint16_t> number) { stamp_ = number; }

    /// `changes`: of the wanted items that are given by sub-fields alone; with any there is a port.
    ExitStatus run(std::vector<workbench::WantedItem> wanted, const FieldChanges& changes = {}) {
        const Interruption interruption;
        workbench::ReadReport onPhone;
        if (!arguments_.comPort.empty()) {
            findOut();
            const std::vector<std::uint16_t> numbers = writableNumbers(wanted);
            onPhone = read(numbers);
            if (mayOpen() && onPhone.count(ReadState::kFailed) > 0) {
                // What the phone does not tell without the code, it may tell behind it.
                openPhone();
                onPhone = read(numbers);
            }
        }
        takeOthers(wanted, changes, onPhone);
        makePlan(std::move(wanted), changes, onPhone);
        arguments_.run->report().setPlan(plan_, arguments_.isDryRun);
        if (arguments_.isDryRun) {
            printPlan(std::cout, plan_);
            const ExitStatus status = unreadable_.empty() ? ExitStatus::kDone : ExitStatus::kIncomplete;
            arguments_.run->record().add(onPhone);
            arguments_.run->account(unreadable_ + plan_.summary() + ". Nothing was written.\n" + leftOutOf(plan_),
                                    unreadable_, status);
            return status;
        }
        return write();
    }

    const workbench::WritePlan& plan() const { return plan_; }

private:
    /// Makes sure of the phone.
    void findOut() {
        const workbench::PhoneIdentity phone = read({}).phone;
        if (phone.isKnown()) {
            expected_ = phone;
        }
    }

    bool mayOpen() const { return !accessCode_.empty() && !arguments_.isDryRun && !isOpen_; }

    /// Opens what the phone protects, where the user gave a code for that. It stays open until the phone is reset.
    void openPhone() {
        if (!mayOpen()) {
            return;
        }
        try {
            session_.sendSpc(accessCode_.c_str());
            isOpen_ = true;
        } catch (const TessraServer::Exception& error) {
            const bool isRefused = error.status() == com::kAccessDenied;
            throw BatchFailure(isRefused ? ExitStatus::kRefused : ExitStatus::kOtherFailure,
                               workbench::withPortReason(error.what(), session_, arguments_.comPort));
        }
    }

    /// Which phone it has to be instead; empty where this may be it.
    std::string otherExpected(const workbench::PhoneIdentity& phone) const {
        if (const auto& serial = arguments_.expectedSerial) {
            return phone.isKnown() && phone.serialNumber == *serial ? "" : "'" + *serial + "'";
        }
        const auto& expected = arguments_.expectedPhone;
        const bool isExpected =
            !expected || (phone.serialNumber == expected->serialNumber && phone.model == expected->model);
        return isExpected ? "" : workbench::shortName(*expected);
    }

    /// What the phone has now of these items; who it is, also without any. Refuses another one than is expected: one
    /// without a serial number could have been exchanged since it was asked last.
    workbench::ReadReport read(const std::vector<std::uint16_t>& numbers) {
        PhoneProgress progress(*arguments_.run, "read");
        workbench::PhoneReader reader(session_, arguments_.comPort, {.expected = expected_});
        auto onPhone = reader.read(numbers, progress.control());
        arguments_.run->report().setRead(onPhone);
        if (const ExitStatus end = endOf(onPhone); end != ExitStatus::kDone) {
            throw BatchFailure(end, failureOf(onPhone) + "\nNothing was written.");
        }
        if (const std::string other = otherExpected(onPhone.phone); !other.empty()) {
            throw BatchFailure(ExitStatus::kOtherPhone, "The phone on " + arguments_.comPort + " is " +
                                                            workbench::fullName(onPhone.phone) + ", not " + other +
                                                            ". Nothing was written to it.");
        }
        return onPhone;
    }

    /// The sub-fields that are not given are the phone's. Of what it did not tell, nothing is written.
    void takeOthers(std::vector<workbench::WantedItem>& wanted, const FieldChanges& changes,
                    const workbench::ReadReport& onPhone) const {
        for (auto& [item, hasValue, bringsAllBytes] : wanted) {
            const auto reading = std::ranges::find(onPhone.readings, item.getId(), &workbench::ItemReading::number);
            const auto fields = changes.find(item.getId());
            if (fields != changes.end() && reading != onPhone.readings.end() && reading->state == ReadState::kRead) {
                item.setRawData(reading->data);
                workbench::setTypedFields(item, fields->second, arguments_.wrap);
            }
        }
    }

    /// Why the row can't be written without what the phone has of it; empty where it can be.
    static std::string unknownRest(const workbench::PlanRow& row, bool isChange, bool isCut) {
        const bool isLost = row.onPhone.state == ReadState::kMissing || row.onPhone.state == ReadState::kFailed;
        if (isLost && (isChange || isCut)) {
            return std::string(" can't be read, so that ") +
                   (isChange ? "its other sub-fields" : "the bytes behind its sub-fields") +
                   " are not known: " + row.onPhone.reason;
        }
        return isChange && row.onPhone.state != ReadState::kRead
                   ? " has no value on the phone, so that all of its sub-fields are needed."
                   : "";
    }

    void makePlan(std::vector<workbench::WantedItem> wanted, const FieldChanges& changes,
                  const workbench::ReadReport& onPhone) {
        std::set<std::uint16_t> withoutRest;
        for (const auto& item : wanted) {
            if (!item.bringsAllBytes && item.item.describedBytes() < items::kItemDataBytes) {
                withoutRest.insert(item.item.getId());
            }
        }
        plan_ = workbench::makePlan(std::move(wanted), onPhone);
        for (std::size_t index = 0; index < plan_.rows.size(); ++index) {
            const auto& row = plan_.rows[index];
            const std::uint16_t number = row.item.getId();
            const std::string unknown = unknownRest(row, changes.contains(number), withoutRest.contains(number));
            if (row.leftOut == workbench::LeftOut::kUnchanged && !arguments_.changedOnly) {
                plan_.setTicked(index, true);
            } else if (row.isWritten() && !unknown.empty()) {
                // What is not known would be zeros of ours.
                plan_.setTicked(index, false);
                unreadable_ += std::to_string(number) + " " + row.item.getName() + unknown + "\n";
            }
        }
        if (plan_.count(workbench::LeftOut::kNothing) == 1) {
            std::erase_if(plan_.rows, [this](const auto& row) { return row.item.getId() == stamp_; });
        }
    }

    ExitStatus write() {
        if (!unreadable_.empty() && !arguments_.keepGoing) {
            std::cerr << unreadable_;
            throw BatchFailure(ExitStatus::kIncomplete,
                               "Nothing was written, as not all is known of what the phone has.");
        }
        workbench::WriteOptions options;
        options.goOnAfterRefusal = arguments_.keepGoing;
        options.toleratedNumbers = arguments_.toleratedNumbers;
        options.offlineFirst = arguments_.offlineFirst;
        options.verifyAfterReset = arguments_.verifyAfterReset;
        options.unknownPhoneAllowed = !arguments_.expectedSerial && !(arguments_.expectedPhone && expected_);
        options.wrote = [&run = *arguments_.run](const auto& result) {
            run.record().wrote(result);
            run.itemDone(result);
        };
        const auto report = writeWith(options);
        ExitStatus status = statusOf(report, arguments_.toleratedNumbers);
        status = unreadable_.empty() ? status : worse(status, ExitStatus::kIncomplete);
        arguments_.run->account(unreadable_ + accountOf(plan_, report), unreadable_ + failuresOf(plan_, report),
                                status);
        return status;
    }

    workbench::WriteReport writeWith(const workbench::WriteOptions& options) {
        PhoneProgress progress(*arguments_.run, "write");
        workbench::WriteReport& report = arguments_.run->report().write();
        RunRecord& record = arguments_.run->record();
        record.begin(plan_);
        try {
            openPhone();
            workbench::PhoneWriter(session_, plan_, options).write(report, progress.control());
        } catch (const std::exception& failure) {
            record.end(report, kernel::messageOf(failure));
            throw;
        }
        record.end(report);
        return report;
    }

    TessraServer& session_;
    const Arguments& arguments_;
    const std::string accessCode_;
    std::optional<workbench::PhoneIdentity> expected_;
    bool isOpen_ = false; ///< the phone has taken the code
    std::optional<std::uint16_t> stamp_;
    workbench::WritePlan plan_;
    std::string unreadable_; ///< about items that are left out because the phone does not tell what it has of them
};

std::string valuesOf(const NvItem& item) {
    std::string text;
    for (const SubItem& subItem : item.getSubItems()) {
        text += (text.empty() ? "" : ", ") + subItem.value;
    }
    return text;
}

std::string valuesOnPhone(const workbench::PlanRow& row) {
    switch (row.onPhone.state) {
    case ReadState::kRead: {
        NvItem before = row.item;
        before.setRawData(row.onPhone.data);
        return valuesOf(before);
    }
    case ReadState::kNoValue:
        return "no value";
    default:
        return "not known";
    }
}

} // namespace

ExitStatus setItems(Calvane& catalog, const Arguments& arguments) {
    const SetItems wanted(catalog, arguments);
    if (arguments.comPort.empty() && !wanted.changes().empty()) {
        throw BatchFailure(ExitStatus::kWrongUsage,
                           "A sub-field alone needs --port, as the others are to be what the phone has.");
    }
    PhoneWrite write(catalog, arguments);
    const ExitStatus status = write.run(wanted.items(), wanted.changes());
    if (status == ExitStatus::kDone && !arguments.isDryRun) {
        for (const auto& row : write.plan().rows) {
            std::cout << row.item.getId() << " " << row.item.getName() << ": " << valuesOnPhone(row)
                      << (row.isWritten() ? " -> " + valuesOf(row.item) : ", as it was") << '\n';
        }
    }
    return status;
}

ExitStatus writeItems(Calvane& catalog, const Arguments& arguments, std::vector<workbench::WantedItem> wanted,
                      std::optional<std::uint16_t> stamp) {
    PhoneWrite write(catalog, arguments);
    write.setStamp(stamp);
    return write.run(std::move(wanted));
}

ExitStatus writePhone(Calvane& catalog, const Arguments& arguments) {
    // All of the file is checked before the first item is written.
    std::vector<workbench::WantedItem> wanted;
    if (arguments.moxPath.empty()) {
        const std::string& path = arguments.inputPath;
        const std::string text = readInput(path);
        const auto itemsFrom = arguments.raw ? workbench::rawItemsFromJson : workbench::itemsFromJson;
        wanted = takingValues([&] { return itemsFrom(text, inputName(path), catalog, arguments.wrap); });
    } else {
        for (NvItem& item : itemsOfMox(catalog, *arguments.run, arguments.moxPath)) {
            wanted.push_back({std::move(item), true, true});
        }
    }
    keepNamed(wanted, arguments);
    return writeItems(catalog, arguments, std::move(wanted), std::nullopt);
}
