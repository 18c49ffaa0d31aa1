#pragma once

#include "workbench/WritePlan.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

class TessraServer;

namespace workbench {

enum class WriteState {
    kNotTried,
    kVerified, ///< written, and read back with all 128 bytes
    kRefused,  ///< the phone answered an NV status, or the packet was refused: that of the write, or that of the read
               ///< which the bytes behind the sub-fields need before it
    kReadBackDifferent,
    kNotKnown, ///< sent, but neither its answer nor a read-back came: it may be on the phone or not
};

/// What became of one row of a plan.
struct WriteResult {
    std::size_t row = 0; ///< in the plan
    std::uint16_t number = 0;
    WriteState state = WriteState::kNotTried;
    std::uint16_t status = 0;              ///< the phone's NV status, where it answered
    std::string reason = {};               ///< for all but kVerified, where there is more to say than the state does
    std::optional<ItemData> readBack = {}; ///< what the phone had when it was last read back
    std::chrono::microseconds took{};      ///< of the write and all reads around it
};

struct WriteReport {
    PhoneIdentity phone = {}; ///< the plan's, as it last told
    std::string comPort;
    std::chrono::system_clock::time_point when = {}; ///< the begin of the write, or of the last retry
    std::vector<WriteResult> results = {};           ///< one for each row that was to be written
    bool cancelled = false;
    bool phoneHeld = false; ///< the phone has said who it is in this run, and was there until its end
    /// Another phone than the plan's answers, or one that can't be told from others. Rows that are not known
    /// may have been sent to it.
    bool otherPhone = false;
    std::string failure = {}; ///< why the write ended before its end; empty where it did not
    /// A reset was to follow, and what is verified has not been read back once more after one.
    bool lacksResetCheck = false;

    std::size_t count(WriteState state) const;
    /// Every row is verified.
    bool isDone() const;
    /// "3 written and verified, 1 refused, 2 read back different, 1 not known, 2 not tried"; parts with 0 are left out.
    /// "nothing written" without results. With lacksResetCheck it ends with ", not verified after a reset".
    std::string summary() const;
};

struct WriteOptions {
    /// Also after an item that reads back different, or is not known. A phone that has left ends every write.
    bool goOnAfterRefusal = false;
    std::set<std::uint16_t> toleratedNumbers = {}; ///< a refusal of these does not end the write either
    /// The phone goes offline before the first item, also where there is none, and again after each silence.
    bool offlineFirst = false;
    /// Resets the phone after the last row, whatever became of that one, and reads back once more what is verified. A
    /// write that ends before that does not reset it: rows are still to be written.
    bool verifyAfterReset = false;
    unsigned repeats = 5;          ///< of reads
    std::uint32_t returnMs = 5000; ///< how long a phone that has left is waited for
    /// The user has agreed to a phone that tells no serial number. After a silence it can't be told from another one:
    /// the write ends, and a retry needs the user's consent again.
    bool unknownPhoneAllowed = false;
    /// Told what became of a row, and again where that turns out to be otherwise: after a reset, or because another
    /// phone may have answered. On the thread of the write.
    std::function<void(const WriteResult& result)> wrote = {};
};

/// Carries a plan out: item by item, each read back and compared in all its bytes. The phone is asked who it is before
/// the first item and after each silence; nothing is sent to another one. Something that may have reached the phone is
/// never sent again before it has been read back, and then once more at most.
///
/// The plan outlives the writer; between two runs its rows may be unticked. Runs on the caller's thread; nobody else
/// uses the session meanwhile. Failures as those of PhoneReader.
class PhoneWriter {
public:
    PhoneWriter(TessraServer& session, const WritePlan& plan, WriteOptions options = {});

    WriteReport write(const WorkControl& control = {});
    /// The same into `report`, which has what was done until then where this throws.
    void write(WriteReport& report, const WorkControl& control);
    /// Tries the rows of `report` again that are not verified and still ticked in the plan. One that is not known is
    /// read back first, and not sent where that shows other bytes than those from before the write.
    void retry(WriteReport& report, const WorkControl& control = {});

private:
    TessraServer& session_;
    const WritePlan& plan_;
    const WriteOptions options_;
};

} // namespace workbench
