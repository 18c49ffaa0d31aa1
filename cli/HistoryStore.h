#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"
#include "workbench/record/History.h"
#include "workbench/record/ShownStore.h"

#include <string>
#include <vector>

/// Runs `step`. What a record refuses in it ends the program with kFile.
template <class Step>
auto onRecord(Step step) {
    try {
        return step();
    } catch (const record::DatabaseError& error) {
        throw BatchFailure(ExitStatus::kFile, std::string("The record: ") + error.what());
    }
}

/// What the user wants of the record.
record::HistorySettings historySettings();

/// The record that the arguments mean, open to be asked. What it does not show is told on standard error.
class ShownHistory {
public:
    explicit ShownHistory(const Arguments& arguments);

    record::History& history() { return history_; }
    record::Store& store() { return *shown_.store; }
    const record::ShownStore& shown() const { return shown_; }
    /// The session that the arguments name; throws a BatchFailure where there is none, or more than one.
    record::Session session(const Arguments& arguments);
    /// The items of `session` that the arguments name; throws a BatchFailure where it has not all of them.
    std::vector<record::SessionItem> namedItems(const record::Session& session, const Arguments& arguments);

private:
    record::ShownStore shown_;
    record::History history_;
};
