#include "cli/AccessCode.h"
#include "cli/CommandText.h"
#include "cli/Interruption.h"
#include "cli/MoxCommands.h"
#include "cli/PhoneAccount.h"
#include "cli/PhoneProgress.h"
#include "cli/Verbs.h"
#include "phonelink/TessraServer.h"
#include "platform/com/Status.h"
#include "platform/kernel/RegularFile.h"
#include "workbench/FieldValues.h"
#include "workbench/ItemJson.h"
#include "workbench/PhoneIdentity.h"
#include "workbench/PortReason.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <system_error>

namespace {

using workbench::ReadState;

/// 65,536 items of 128 sub-fields each stay below this.
constexpr std::size_t kMaxJsonBytes = std::size_t{1} << 30;

std::string readFile(const std::string& path) {
    std::string text;
    if (const int error = kernel::readRegularFile(path, kMaxJsonBytes, text); error != 0) {
        throw BatchFailure(ExitStatus::kFile,
                           "Can't read " + quoted(path) + ": " +
                               (error == EINVAL ? "it is no regular file" : std::generic_category().message(error)));
    }
    return text;
}

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
    const std::string& path = arguments.moxPath.empty() ? arguments.inputPath : arguments.moxPath;
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

/// Runs `step`, and ends the program with the values that it refuses.
template <class Step>
auto takingValues(Step step) {
    try {
        return step();
    } catch (const workbench::ValuesRefused& refusal) {
        const bool isText = refusal.kind() == workbench::ValuesRefused::Kind::kText;
        throw BatchFailure(isText ? ExitStatus::kFile : ExitStatus::kValues,
                           refusal.message() + (refusal.wouldWrap() ? " If it is meant, say --wrap." : ""));
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
        : catalog_(catalog), session_(*catalog.getTessraServer()), arguments_(arguments),
          accessCode_(accessCodeOf(arguments)) {}

    ExitStatus run(std::vector<workbench::WantedItem> wanted) {
        const Interruption interruption;
        workbench::ReadReport onPhone;
        if (!arguments_.comPort.empty()) {
            prepare();
            onPhone = read(writableNumbers(wanted));
        }
        makePlan(std::move(wanted), onPhone);
        if (arguments_.isDryRun) {
            printPlan(std::cout, plan_);
            std::cerr << unreadable_ + plan_.summary() + ". Nothing was written.\n" + leftOutOf(plan_);
            return unreadable_.empty() ? ExitStatus::kDone : ExitStatus::kIncomplete;
        }
        return write();
    }

    const workbench::WritePlan& plan() const { return plan_; }

private:
    /// Makes sure of the phone, and opens what it protects, where the user gave a code for that. The phone keeps it
    /// open until it is reset.
    void prepare() {
        const workbench::PhoneIdentity phone = read({}).phone;
        if (arguments_.expectedSerial && (!phone.isKnown() || phone.serialNumber != *arguments_.expectedSerial)) {
            throw BatchFailure(ExitStatus::kOtherPhone,
                               "The phone on " + arguments_.comPort + " is " + workbench::fullName(phone) + ", not '" +
                                   *arguments_.expectedSerial + "'. Nothing was written to it.");
        }
        if (phone.isKnown()) {
            expected_ = phone;
        }
        if (!accessCode_.empty() && !arguments_.isDryRun) {
            try {
                session_.sendSpc(accessCode_.c_str());
            } catch (const TessraServer::Exception& error) {
                const bool isRefused = error.status() == com::kAccessDenied;
                throw BatchFailure(isRefused ? ExitStatus::kRefused : ExitStatus::kOtherFailure,
                                   workbench::withPortReason(error.what(), session_, arguments_.comPort));
            }
        }
    }

    /// What the phone has now of these items; who it is, also without any.
    workbench::ReadReport read(const std::vector<std::uint16_t>& numbers) {
        PhoneProgress progress(catalog_);
        workbench::PhoneReader reader(session_, arguments_.comPort, {.expected = expected_});
        auto onPhone = reader.read(numbers, progress.control());
        if (const ExitStatus end = endOf(onPhone); end != ExitStatus::kDone) {
            throw BatchFailure(end, failureOf(onPhone) + "\nNothing was written.");
        }
        return onPhone;
    }

    void makePlan(std::vector<workbench::WantedItem> wanted, const workbench::ReadReport& onPhone) {
        std::set<std::uint16_t> withoutRest;
        for (const auto& item : wanted) {
            if (!item.bringsAllBytes && item.item.describedBytes() < items::kItemDataBytes) {
                withoutRest.insert(item.item.getId());
            }
        }
        plan_ = workbench::makePlan(std::move(wanted), onPhone);
        for (std::size_t index = 0; index < plan_.rows.size(); ++index) {
            const auto& row = plan_.rows[index];
            const bool isLost = row.onPhone.state == ReadState::kMissing || row.onPhone.state == ReadState::kFailed;
            if (row.leftOut == workbench::LeftOut::kUnchanged && !arguments_.changedOnly) {
                plan_.setTicked(index, true);
            } else if (row.isWritten() && isLost && withoutRest.contains(row.item.getId())) {
                // Its bytes behind the sub-fields would be zeros of ours.
                plan_.setTicked(index, false);
                unreadable_ +=
                    std::to_string(row.item.getId()) + " " + row.item.getName() +
                    " can't be read, so that the bytes behind its sub-fields are not known: " + row.onPhone.reason +
                    "\n";
            }
        }
    }

    ExitStatus write() {
        if (!unreadable_.empty() && !arguments_.keepGoing) {
            throw BatchFailure(ExitStatus::kIncomplete, unreadable_ + "Nothing was written.");
        }
        workbench::WriteOptions options;
        options.goOnAfterRefusal = arguments_.keepGoing;
        options.toleratedNumbers = arguments_.toleratedNumbers;
        options.offlineFirst = arguments_.offlineFirst;
        options.verifyAfterReset = arguments_.verifyAfterReset;
        options.unknownPhoneAllowed = !arguments_.expectedSerial;
        const auto report = writeWith(options);
        std::cerr << unreadable_ + accountOf(plan_, report);
        const ExitStatus status = statusOf(report, arguments_.toleratedNumbers);
        return unreadable_.empty() ? status : worse(status, ExitStatus::kIncomplete);
    }

    workbench::WriteReport writeWith(const workbench::WriteOptions& options) {
        PhoneProgress progress(catalog_);
        return workbench::PhoneWriter(session_, plan_, options).write(progress.control());
    }

    Calvane& catalog_;
    TessraServer& session_;
    const Arguments& arguments_;
    const std::string accessCode_;
    std::optional<workbench::PhoneIdentity> expected_;
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

ExitStatus setItem(Calvane& catalog, const Arguments& arguments) {
    workbench::WantedItem wanted;
    failingWith(ExitStatus::kValues, [&] {
        wanted.item = catalog.getSupportedNvItem(arguments.itemNumber);
        takingValues([&] { workbench::setTypedValues(wanted.item, arguments.values, arguments.wrap); });
    });
    const std::string what = std::to_string(wanted.item.getId()) + " " + wanted.item.getName();
    if (!wanted.item.isWritable()) {
        throw BatchFailure(ExitStatus::kValues,
                           what + " can't be written: its access mark is '" + wanted.item.getAccess() + "'.");
    }
    PhoneWrite write(catalog, arguments);
    const ExitStatus status = write.run({std::move(wanted)});
    if (status == ExitStatus::kDone && !arguments.isDryRun) {
        const auto& row = write.plan().rows.front();
        std::cout << what << ": " << valuesOnPhone(row)
                  << (row.isWritten() ? " -> " + valuesOf(row.item) : ", as it was") << '\n';
    }
    return status;
}

ExitStatus writePhone(Calvane& catalog, const Arguments& arguments) {
    // All of the file is checked before the first item is written.
    std::vector<workbench::WantedItem> wanted;
    if (arguments.moxPath.empty()) {
        const std::string& path = arguments.inputPath;
        const std::string text = readFile(path);
        wanted = takingValues([&] { return workbench::itemsFromJson(text, path, catalog, arguments.wrap); });
    } else {
        for (NvItem& item : itemsOfMox(catalog, arguments.moxPath)) {
            wanted.push_back({std::move(item), true, true});
        }
    }
    keepNamed(wanted, arguments);
    return PhoneWrite(catalog, arguments).run(std::move(wanted));
}
