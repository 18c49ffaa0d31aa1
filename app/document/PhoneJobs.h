#pragma once

#include "app/document/UserInterface.h"
#include "platform/kernel/Thread.h"
#include "workbench/PhoneWork.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// How far a job has come: `position` items of `count` are done, and item `number` is under way.
struct PhoneProgress {
    std::size_t position = 0;
    std::size_t count = 0;
    std::uint16_t number = 0;
};

/// Runs work with a phone on a thread of its own, one job at a time, while the windows go on. What the work uses is its
/// thread's alone until the job has ended; results cross as values.
///
/// User-interface thread, on which it also reports. Whoever owns the session that the jobs use outlives it.
class PhoneJobs {
public:
    /// Runs on the job's thread. It ends early where the control tells it to.
    using Work = std::function<void(const workbench::WorkControl&)>;
    /// Of what happens between two calls, the newest is told.
    using Progress = std::function<void(const PhoneProgress&)>;
    /// `failure`: what the work threw; empty where it returned.
    using Ended = std::function<void(const std::string& failure)>;

    explicit PhoneJobs(UserInterface& userInterface) : userInterface_(userInterface) {}
    /// Cancels, and waits for the thread. Nothing is reported any more.
    ~PhoneJobs();
    PhoneJobs(const PhoneJobs&) = delete;
    PhoneJobs& operator=(const PhoneJobs&) = delete;

    /// Throws std::logic_error while a job runs, which goes on. Where no thread can be had, `ended` is called at once.
    void start(Work work, Ended ended, Progress progress = {});
    bool isRunning() const { return thread_ != nullptr; }
    /// Ends the job before its next item; its end is reported as always.
    void cancel();

private:
    struct Job;

    void reportProgress(const std::shared_ptr<Job>& job, const PhoneProgress& progress);
    void end(std::shared_ptr<Job> job); ///< by value: job_ may be given, which it empties

    UserInterface& userInterface_;
    std::shared_ptr<Job> job_; ///< posted work checks by this whether the job is still of interest
    std::unique_ptr<kernel::Thread> thread_;
};
