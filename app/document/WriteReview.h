#pragma once

#include "app/document/PhoneDesk.h"
#include "app/document/WriteRequest.h"
#include "workbench/PhoneWriter.h"
#include "workbench/record/WriteRecording.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// One write to the phone, from the reading of the old values to the account of what was written: the plan with the
/// user's ticks, what is to be asked before it is carried out, and its result. It shows nothing; a window follows it.
///
/// The document is as it was until write(). User-interface thread; the document and the desk outlive it.
class WriteReview {
public:
    enum class Stage {
        kReading,   ///< the phone's values; a job runs
        kNoValues,  ///< they were not read, or could not be: message() says why
        kReviewing, ///< the user looks at the plan
        kWriting,   ///< a job runs
        kEnded,     ///< report() says what was written
    };
    WriteReview(CCalvaneDoc& document, PhoneDesk& desk, WriteRequest request);

    /// Called when what the queries answer has changed.
    void setChanged(std::function<void()> changed) { changed_ = std::move(changed); }

    /// Reads what the phone has of the wanted items, and makes the plan. At first, and again after kNoValues. Where the
    /// list has one of them twice it reads nothing: kNoValues then.
    void readPhone();
    /// kReviewing: ticks a row of the plan, or takes the tick away. The loaded date follows the others: it is ticked
    /// with the first of them, and is not written alone.
    void setTicked(std::size_t row, bool ticked);
    /// kReviewing: what the user has to agree to before the plan is carried out, each a whole question. kEnded: before
    /// it is tried again; a phone without a serial number can't be told from another one.
    std::vector<std::string> questions() const;
    /// What is to be carried out next.
    enum class Next { kWrite, kRetry, kSkipRefused };
    /// Puts it into the record, with the values that the phone has now; to be called before it is carried out. Answers
    /// why it is not there, which the user has to agree to; empty where it is, or where nothing is recorded.
    std::string beginRecord(Next next);
    /// The user has not agreed.
    void dropRecord();
    /// kReviewing: changes the document as the command says and carries the plan out.
    void write(bool verifyAfterReset);
    /// kEnded: tries again what is not written, and the check after the reset where it has not come to its end.
    void retry();
    /// kEnded: leaves out what the phone has refused, or reads back different, and goes on.
    void skipRefused();
    /// kEnded: sends the service programming code, to the plan's phone alone. It is kept nowhere.
    void sendCode(std::string code);
    /// Ends a job before its next item.
    void cancel() { desk_.cancel(); }

    Stage stage() const { return stage_; }
    bool isBusy() const { return desk_.isRunning(); }
    const PhoneProgress& progress() const { return progress_; }
    const workbench::WritePlan& plan() const { return plan_; }
    const workbench::Units& units() const { return document_.units(); }
    const workbench::WriteReport& report() const { return report_; }
    /// What went wrong with the whole of it, or what the phone has said to the code; empty: nothing to tell.
    const std::string& message() const { return message_; }
    /// kNoValues: whether the phone's values may be asked for again.
    bool mayReadAgain() const { return stage_ == Stage::kNoValues && request_.repeated.empty(); }
    bool mayRetry() const;
    bool maySkip() const;

    /// "MODEL SERIAL, software VERSION, on COM1"
    std::string phoneText() const;
    /// What stands beside a row: what will be, or was, done with it, and why.
    std::string rowText(std::size_t row) const;
    /// kEnded: what was written to which phone, and when. Empty before.
    std::string line() const;

private:
    bool canSkip(const workbench::WriteResult& result) const;
    void takePlan(workbench::WritePlan plan);
    void leaveOutWritten();
    void followDate();
    /// Whether a row is ticked beside the date's.
    bool isAnyOtherTicked() const;
    /// The question about values of other phones than the plan's; none where there are none.
    std::vector<std::string> foreignValues() const;
    void
    carryOut(std::function<void(workbench::PhoneWriter&, workbench::WriteReport&, const workbench::WorkControl&)> run);
    void finishWrite(workbench::WriteReport report, const std::string& failure);
    /// kWriting: whether the run reads back after the reset.
    bool isChecking() const { return progress_.count > 0 && progress_.position >= pending_.size(); }
    std::string checkText(std::size_t row) const;
    std::vector<record::SessionItem> itemsOf(Next next) const;
    const workbench::PhoneIdentity* phoneOfValue(const workbench::PlanRow& row) const;
    const workbench::WriteResult* resultOf(std::size_t row) const;
    bool isDate(const workbench::PlanRow& row) const { return row.item.getId() == request_.date; }
    void tellChanged() const;

    CCalvaneDoc& document_;
    PhoneDesk& desk_;
    const WriteRequest request_;
    const std::string comPort_; ///< of the document when the review began
    std::function<void()> changed_;
    Stage stage_ = Stage::kReading;
    PhoneProgress progress_;
    workbench::WritePlan plan_;
    std::vector<std::size_t> alreadyWritten_; ///< rows whose values are on the phone from which they are
    workbench::WriteReport report_;
    std::vector<std::size_t> pending_; ///< the rows of the run that is under way, in its order
    bool verifyAfterReset_ = false;
    std::shared_ptr<record::WriteRecording> recording_; ///< of what is carried out next; then its thread's
    std::string message_;
    /// What jobs report checks by this whether the review still exists.
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};
