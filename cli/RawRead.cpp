#include "cli/RawRead.h"

#include "cli/CommandText.h"
#include "cli/Interruption.h"
#include "cli/PhoneAccount.h"
#include "cli/PhoneProgress.h"
#include "cli/Run.h"
#include "phonelink/TessraServer.h"
#include "workbench/FieldValues.h"
#include "workbench/ItemJson.h"
#include "workbench/PhoneReader.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace {

using workbench::ItemReading;
using workbench::ReadReport;
using workbench::ReadState;

/// Between two writes of the file: less than a minute of a line of 115,200 baud.
constexpr std::size_t kItemsPerFile = 2048;

std::vector<std::uint16_t> allNumbers() {
    std::vector<std::uint16_t> numbers(std::size_t{1} << 16);
    std::iota(numbers.begin(), numbers.end(), std::uint16_t{0});
    return numbers;
}

void addAnswered(std::map<std::uint16_t, ItemReading>& readings, const std::vector<std::uint16_t>& numbers,
                 ReadState state) {
    for (const std::uint16_t number : numbers) {
        readings[number] = {.number = number, .state = state};
        readings[number].reason = state == ReadState::kFailed ? "The phone failed it in the read before." : "";
    }
}

class RawRead {
public:
    RawRead(Calvane& catalog, const Arguments& arguments)
        : arguments_(arguments), session_(*catalog.getTessraServer()), progress_(*arguments.run, "read") {}

    ExitStatus run() {
        takeEarlier();
        for (const std::uint16_t number : arguments_.itemNumbers.value_or(allNumbers())) {
            if (readings_.try_emplace(number, ItemReading{.number = number}).second) {
                pending_.push_back(number);
            }
        }
        readAll();
        recordRead();
        const std::string where = save() ? " Go on with --resume " + quoted(arguments_.jsonPath) + "." : "";
        if (const ExitStatus end = endOf(total_); end != ExitStatus::kDone) {
            throw BatchFailure(end, failureOf(total_) + "\n" + progress_.stoppedAt() + "\n" + account() + where);
        }
        const bool isWhole = total_.count(ReadState::kMissing) == 0;
        const ExitStatus status = isWhole ? ExitStatus::kDone : ExitStatus::kIncomplete;
        arguments_.run->account(account() + (isWhole ? "" : where) + "\n", status);
        return status;
    }

private:
    void takeEarlier() {
        if (arguments_.resumePath.empty()) {
            return;
        }
        const std::string& path = arguments_.resumePath;
        failingWith(ExitStatus::kFile, [&] {
            const auto earlier = workbench::earlierReadFromJson(readInput(path), path);
            if (!earlier.head.phone.isKnown()) {
                throw BatchFailure(ExitStatus::kOtherPhone,
                                   quoted(path) + " does not say by a serial number which phone it is of.");
            }
            addAnswered(readings_, earlier.head.noValue, ReadState::kNoValue);
            addAnswered(readings_, earlier.head.failed, ReadState::kFailed);
            for (const ItemReading& reading : earlier.items) {
                readings_[reading.number] = reading;
            }
            total_.phone = earlier.head.phone;
            earlierCount_ = readings_.size();
        });
    }

    void readAll() {
        const Interruption interruption;
        total_.when = std::chrono::system_clock::now();
        take(readPart({}, 0)); // who it is
        // A phone without a serial number can't be known again.
        const std::size_t most = total_.phone.isKnown() ? kItemsPerFile : pending_.size();
        for (std::size_t begin = 0; begin < pending_.size() && endOf(total_) == ExitStatus::kDone;) {
            const std::size_t size = std::min(most, pending_.size() - begin);
            if (begin > 0) {
                save();
            }
            take(readPart(std::span(pending_).subspan(begin, size), begin));
            begin += size;
        }
    }

    ReadReport readPart(std::span<const std::uint16_t> numbers, std::size_t begin) {
        workbench::ReadOptions options{.repeats = arguments_.retries};
        if (total_.phone.isKnown()) {
            options.expected = total_.phone;
        }
        workbench::WorkControl control = progress_.control();
        control.progress = [&, show = control.progress](std::size_t position, std::size_t, std::uint16_t number) {
            show(begin + position, pending_.size(), number);
        };
        return workbench::PhoneReader(session_, arguments_.comPort, options).read(numbers, control);
    }

    void take(ReadReport part) {
        for (ItemReading& reading : part.readings) {
            readings_[reading.number] = std::move(reading);
        }
        total_.comPort = part.comPort;
        total_.phone = part.phone;
        total_.cancelled = part.cancelled;
        total_.otherPhone = part.otherPhone;
        total_.other = part.other;
        total_.failure = part.failure;
    }

    /// Writes the file, unless the read has ended before there was anything new for it. Answers whether it did.
    bool save() {
        total_.readings.clear();
        for (const auto& [number, reading] : readings_) {
            total_.readings.push_back(reading);
        }
        ReadReport asked = total_; // what an earlier read has brought is no work of this one
        std::erase_if(asked.readings, [this](const ItemReading& reading) {
            return !std::ranges::binary_search(pending_, reading.number);
        });
        arguments_.run->report().setRead(std::move(asked));
        if (total_.otherPhone && !isNew()) {
            arguments_.run->report().setPhone(total_.other);
        }
        const bool isWorthIt = isNew() || endOf(total_) == ExitStatus::kDone;
        if (isWorthIt) {
            writeOutput(arguments_.jsonPath, workbench::rawItemsToJson(total_, *arguments_.run->ring()));
        }
        return isWorthIt;
    }

    /// What an earlier read has left is in the record already, if it was kept then.
    void recordRead() const {
        ReadReport read = total_;
        read.readings.clear();
        for (const std::uint16_t number : pending_) {
            if (const ItemReading& reading = readings_.at(number); reading.state != ReadState::kNotTried) {
                read.readings.push_back(reading);
            }
        }
        arguments_.run->record().add(read);
    }

    /// Whether this run has brought anything.
    bool isNew() const {
        return std::ranges::any_of(
            pending_, [this](std::uint16_t number) { return readings_.at(number).state != ReadState::kNotTried; });
    }

    std::string account() const {
        if (total_.otherPhone && !isNew()) {
            return "Nothing was read from it.";
        }
        const std::size_t answered = readings_.size() - total_.count(ReadState::kNotTried);
        return "Read " + counted(total_.count(ReadState::kRead)) + " from " + arguments_.comPort + " (" +
               workbench::shortName(total_.phone) + "); " + std::to_string(total_.count(ReadState::kNoValue)) +
               " without a value, " + std::to_string(total_.count(ReadState::kFailed)) + " failed, " +
               std::to_string(total_.count(ReadState::kMissing)) + " lost, " +
               std::to_string(readings_.size() - answered) + " not tried" +
               (earlierCount_ == 0
                    ? "."
                    : "; " + std::to_string(earlierCount_) + " of them as in " + quoted(arguments_.resumePath) + ".");
    }

    const Arguments& arguments_;
    TessraServer& session_;
    PhoneProgress progress_;
    std::map<std::uint16_t, ItemReading> readings_; ///< of all that is wanted
    std::vector<std::uint16_t> pending_;            ///< of these, what is to be asked for
    std::size_t earlierCount_ = 0;
    ReadReport total_;
};

} // namespace

ExitStatus readRaw(Calvane& catalog, const Arguments& arguments) {
    return RawRead(catalog, arguments).run();
}
