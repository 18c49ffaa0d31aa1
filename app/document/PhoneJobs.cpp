#include "app/document/PhoneJobs.h"

#include <atomic>
#include <exception>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

struct PhoneJobs::Job {
    Work work;
    Ended ended;
    Progress progress;
    std::atomic<bool> cancelled = false;
    std::string failure;                 ///< written by the job's thread before it posts its end
    std::mutex lock;                     ///< guards newest
    std::optional<PhoneProgress> newest; ///< not yet told
};

PhoneJobs::~PhoneJobs() {
    cancel();
    job_.reset();
    thread_.reset();
}

void PhoneJobs::start(Work work, Ended ended, Progress progress) {
    if (isRunning()) {
        throw std::logic_error("PhoneJobs::start: a job runs already");
    }
    job_ = std::make_shared<Job>();
    job_->work = std::move(work);
    job_->ended = std::move(ended);
    job_->progress = std::move(progress);
    const auto run = [this, job = job_] {
        workbench::WorkControl control;
        control.isCancelled = [job] { return job->cancelled.load(); };
        control.progress = [this, job](std::size_t position, std::size_t count, std::uint16_t number) {
            reportProgress(job, {position, count, number});
        };
        try {
            job->work(control);
        } catch (const std::exception& failure) {
            job->failure = failure.what();
        }
        userInterface_.post([this, weak = std::weak_ptr(job)] {
            if (const auto finished = weak.lock()) {
                end(finished);
            }
        });
    };
    try {
        thread_ = std::make_unique<kernel::Thread>(run);
    } catch (const std::exception& failure) {
        job_->failure = failure.what();
        end(job_);
    }
}

void PhoneJobs::cancel() {
    if (job_) {
        job_->cancelled = true;
    }
}

void PhoneJobs::reportProgress(const std::shared_ptr<Job>& job, const PhoneProgress& progress) {
    if (!job->progress) {
        return;
    }
    {
        const std::lock_guard guard(job->lock);
        if (std::exchange(job->newest, progress)) {
            return; // what is posted already takes this one
        }
    }
    userInterface_.post([weak = std::weak_ptr(job)] {
        if (const auto told = weak.lock()) {
            std::unique_lock guard(told->lock);
            const auto newest = std::exchange(told->newest, std::nullopt);
            guard.unlock();
            told->progress(*newest);
        }
    });
}

void PhoneJobs::end(std::shared_ptr<Job> job) {
    const std::shared_ptr<Job> finished = std::move(job);
    thread_.reset();
    job_.reset();
    finished->ended(finished->failure);
}
