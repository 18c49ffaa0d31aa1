#pragma once

#include "platform/kernel/MessageException.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>

/// How the program ended, for the script that has called it.
enum class ExitStatus {
    kDone = 0,
    kOtherFailure = 1,
    kWrongUsage = 2,
    kNoPhone = 3,
    kRefused = 4,
    kReadBackDifferent = 5,
    kFile = 6,
    kValues = 7,
    kOtherPhone = 8,
    kIncomplete = 9,
    kDifferent = 10,
    kOutside = 11,
    kInterrupted = 130,
    kTerminated = 143,
};

struct ExitStatusRow {
    ExitStatus status;
    int weight; ///< where several hold, the one of the greatest weight counts
    const char* meaning;
};

inline constexpr std::array<ExitStatusRow, 14> kExitStatuses{{
    {ExitStatus::kDone, 0, "done"},
    {ExitStatus::kOtherFailure, 11, "another failure"}, // nobody knows what a process that crashed has done
    {ExitStatus::kWrongUsage, 14, "wrong usage"},       // nothing else has happened then
    {ExitStatus::kNoPhone, 5, "no phone, or its port is busy"},
    {ExitStatus::kRefused, 8, "refused by the phone"},
    {ExitStatus::kReadBackDifferent, 9, "written, but read back different"},
    {ExitStatus::kFile, 7, "a file can't be read or written, or is damaged"},
    {ExitStatus::kValues, 4, "values or numbers that don't fit the decoder ring"},
    {ExitStatus::kOtherPhone, 10, "another phone than expected, or one that can't be told from others"},
    {ExitStatus::kIncomplete, 6, "incomplete: items are missing, failed or not known"},
    {ExitStatus::kDifferent, 1, "the two sides are different"},
    {ExitStatus::kOutside, 2, "values are outside their limits"},
    {ExitStatus::kInterrupted, 12, "interrupted (SIGINT)"},
    {ExitStatus::kTerminated, 13, "terminated (SIGTERM, SIGHUP, SIGPIPE)"},
}};

/// The one of the two that counts.
constexpr ExitStatus worse(ExitStatus left, ExitStatus right) {
    const auto weightOf = [](ExitStatus status) {
        return std::ranges::find(kExitStatuses, status, &ExitStatusRow::status)->weight;
    };
    return weightOf(left) < weightOf(right) ? right : left;
}

/// What it means, in a few words.
constexpr const char* meaningOf(ExitStatus status) {
    return std::ranges::find(kExitStatuses, status, &ExitStatusRow::status)->meaning;
}

/// A failure that decides how the program ends.
class BatchFailure : public kernel::MessageException {
public:
    BatchFailure(ExitStatus status, const std::string& message) : MessageException(message), status_(status) {}

    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

/// Runs `step`. Every failure in it that does not say how the program ends, ends it with `status`.
template <class Step>
auto failingWith(ExitStatus status, Step step) {
    try {
        return step();
    } catch (const BatchFailure&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        throw BatchFailure(status, kernel::messageOf(error));
    }
}
