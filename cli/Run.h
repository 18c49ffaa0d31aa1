#pragma once

#include "cli/Arguments.h"
#include "cli/RunEvents.h"
#include "cli/RunRecord.h"
#include "cli/RunReport.h"
#include "engine/Calvane.h"

#include <functional>
#include <optional>
#include <string>

/// One run of the tool on one port: what it tells meanwhile, and what it reports at the end. The verbs reach it as
/// Arguments::run.
class Run {
public:
    explicit Run(const Arguments& arguments);

    /// The ring that the catalog has loaded: its names stand in what is told from now on.
    void useRing(const std::string& path, Calvane& catalog);
    /// Nothing before useRing(), and where neither a file is asked for in which it stands, nor a record kept.
    const std::optional<workbench::RingInfo>& ring() const { return ring_; }
    /// "1005 NV_BOARD_IDENTITY_I".
    std::string labelOf(std::uint16_t number) const;

    /// Before each item of a stage of the work: "read", "write". `position` from 1.
    void itemBegins(const char* stage, std::size_t position, std::size_t count, std::uint16_t number);
    /// What an item that was begun came to, for the log.
    void itemDone(const workbench::ItemReading& reading);
    void itemDone(const workbench::WriteResult& result);
    /// Tells people on standard error how something went; with --quiet the log alone, where it went well.
    void account(const std::string& text, ExitStatus status) { account(text, text, status); }
    /// The same, of which with --quiet `failures`, some of its lines, are told where it did not.
    void account(const std::string& text, const std::string& failures, ExitStatus status);
    void note(const std::string& text) { account(text, ExitStatus::kDone); }

    /// Opens the log; one that can't be written is told, and the run goes on.
    void begin();
    /// Writes the report and the log's last line. Answers how the program ends.
    ExitStatus finish(ExitStatus status);
    /// Runs `step`, which can't be called off, on a thread of its own. A signal of Interruption ends the program as
    /// finish() does, without waiting for it.
    void giveUpWhenInterrupted(const std::function<void()>& step);

    RunEvents& events() { return events_; }
    RunReport& report() { return report_; }
    RunRecord& record() { return record_; }
    /// Whether a terminal may show how far the work has got.
    bool showsBar() const { return showsBar_; }

private:
    /// Empty where the ring has none.
    std::string nameOf(std::uint16_t number) const;

    const bool isQuiet_;
    const bool showsBar_;
    const bool needsRing_; ///< for a file in which it stands
    const std::string reportPath_;
    const std::string logPath_;
    const std::string verbName_;
    std::optional<workbench::RingInfo> ring_;
    RunReport::Names names_;
    RunEvents events_;
    RunReport report_;
    RunRecord record_;
};

/// Does what the arguments ask for on their one port, with the log, the events and the report that they ask for.
ExitStatus runRecorded(const Arguments& arguments);
