#pragma once

#include "app/document/CCalvaneDoc.h"
#include "app/document/PhoneJobs.h"
#include "app/document/PhoneWatch.h"
#include "app/document/ProgressLines.h"
#include "app/document/SafeHands.h"
#include "workbench/PhoneIdentity.h"
#include "workbench/PhoneReader.h"
#include "workbench/record/Recorder.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What a read or write came to: one line, and what there is to say of single items.
struct PhoneReport {
    struct Item {
        std::uint16_t number;
        std::string name;
        std::string text;
    };

    std::string line;
    std::vector<Item> items = {};
};

/// What a document's window does with the phone beside the document's own commands: reads that ask again, the jobs of a
/// reviewed write, and what is known of the phone on the document's port. No call is made to the service before the
/// first command that needs it; from then on the session's events tell when the phone leaves and returns, and who
/// returns is asked.
///
/// Owned by the window, beside the document, which outlives it; user-interface thread. While a job runs, its thread
/// alone uses the catalog, as with the document's own read.
class PhoneDesk {
public:
    /// `watch` outlives the document. `changed` is called when what the queries below answer may have changed.
    /// `safeHands` may be null; without them a phone that returns is not asked who it is.
    PhoneDesk(CCalvaneDoc& document, UserInterface& userInterface, PhoneWatch& watch, std::function<void()> changed,
              const SafeHands* safeHands = nullptr);
    ~PhoneDesk();
    PhoneDesk(const PhoneDesk&) = delete;
    PhoneDesk& operator=(const PhoneDesk&) = delete;

    /// Where reads and reviewed writes are recorded; null, as at first: nowhere. Outlives the desk.
    void setRecorder(record::Recorder* recorder) { recorder_ = recorder; }
    record::Recorder* recorder() const { return recorder_; }
    /// A session of the document that begins now.
    record::Session newSession(record::SessionKind kind, const std::string& asked) const;

    /// Reads all supported items; `progress` gets a line per item. What was read replaces the document's list, also
    /// where the read was cancelled or the phone was lost; where nothing was read, the list stays. Edits that the
    /// document keeps stay in the list in any case. `ended` is called last, unless the desk is destroyed first.
    void read(ProgressWindow& progress, std::function<void()> ended);
    /// Reads what the last read has left out, and adds it to the list.
    void readMissing(ProgressWindow& progress, std::function<void()> ended);
    /// Whether the list is that of a read that left items out.
    bool canReadMissing() const;

    /// Runs other work with the session; see PhoneJobs. The phone that `ended` learns of is to be told with settle().
    void run(PhoneJobs::Work work, PhoneJobs::Ended ended, PhoneJobs::Progress progress = {});
    bool isRunning() const { return jobs_.isRunning(); }
    void cancel() { jobs_.cancel(); }

    /// Connects the session to the document's port, so that a command for a connected phone reaches that one. False
    /// after a message.
    bool connectFirst();
    /// Asks in the background who the phone on the port is; for after a command that has connected.
    void askWho();
    /// For after a bare command that has reached a phone: somebody is there, and nobody has asked who.
    void noteUnasked();
    /// What a job has learnt of the phone on `comPort`: who has answered, or nothing where nobody did. A phone that has
    /// left since is one that the session's events tell of.
    void settle(const std::string& comPort, std::optional<workbench::PhoneIdentity> phone);
    /// The same by the report of a read or write, or by what the job has thrown. Where that does not say who is there,
    /// it is asked.
    template <typename Report>
    void settle(const std::string& comPort, const Report& report, const std::string& thrown) {
        if (thrown.empty() && report.phoneHeld) {
            settle(comPort, report.phone);
        } else if (thrown.empty() && (report.otherPhone || report.failure.empty())) {
            askWho();
        } else {
            settle(comPort, std::nullopt);
        }
    }

    /// "MODEL SERIAL - 3 changed", "not connected", "no phone", "not asked".
    std::string paneText() const;
    /// The document's title and the file from which its list comes, or else what is known of its phone; how many items
    /// are changed.
    std::string title() const;
    /// What the last read or write came to; empty before.
    const PhoneReport& report() const { return report_; }
    void setReport(PhoneReport report);

private:
    struct Reading; ///< what crosses from a read's thread

    void startRead(const std::shared_ptr<Reading>& reading, ProgressWindow& progress, PhoneJobs::Ended ended);
    void finishRead(Reading& reading, const std::string& failure);
    void recordRead(const Reading& reading);
    void heard(bool present);
    void takePhone(const std::string& comPort, std::optional<workbench::PhoneIdentity> phone, bool isAsked);
    std::string phoneText() const;
    std::string changedText() const;

    CCalvaneDoc& document_;
    UserInterface& userInterface_;
    PhoneWatch& watch_;
    const SafeHands* safeHands_;
    record::Recorder* recorder_ = nullptr;
    std::function<void()> changed_;
    std::string knownPort_; ///< the port of which the three below are known; empty: none
    bool isPresent_ = false;
    bool isAsked_ = false; ///< whether phone_ is what it has answered
    workbench::PhoneIdentity phone_;
    bool askAgain_ = false;              ///< the phone has returned while it was being asked
    std::optional<bool> heardDuringJob_; ///< whether the phone was there, as the last event of a job's time said
    std::optional<workbench::ReadReport> lastRead_;
    std::shared_ptr<const workbench::Source> readSource_; ///< the document's values since the last read
    PhoneReport report_;
    PhoneJobs asking_;
    PhoneJobs jobs_; ///< the last ones: their threads use all of the above
};
