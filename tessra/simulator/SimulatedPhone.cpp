#include "tessra/simulator/SimulatedPhone.h"

#include "platform/kernel/Trace.h"
#include "tessra/simulator/ConfigError.h"

#include <utility>

namespace tessra {

SimulatedPhone::SimulatedPhone(std::string name, PhoneSetup setup, std::filesystem::path memory,
                               std::filesystem::path initial)
    : name_(std::move(name)), setup_(std::move(setup)), memoryPath_(std::move(memory)),
      initialPath_(std::move(initial)) {}

void SimulatedPhone::start(std::function<void()> changed) {
    watcher_.emplace([this, changed = std::move(changed)] { watch(changed); });
}

void SimulatedPhone::open() {
    const std::lock_guard guard(lock_);
    isOpen_ = true;
}

void SimulatedPhone::release() {
    const std::lock_guard guard(lock_);
    isOpen_ = false;
    if (!memoryPath_.empty()) {
        memory_.reset();
    }
}

void SimulatedPhone::close() {
    {
        const std::lock_guard guard(lock_);
        closed_ = true;
        phone_.reset();
        memory_.reset();
        changeIsNear_.notify_one();
    }
    if (watcher_) {
        watcher_->join();
    }
}

PhoneView SimulatedPhone::look() {
    const std::lock_guard guard(lock_);
    openMemory();
    if (!memory_) {
        return {.problem = reported_};
    }
    return {.usable = true,
            .state = phone_->state(),
            .mode = phone_->mode(),
            .appearance = phone_->starts(),
            .problem = {}};
}

Status SimulatedPhone::exchange(std::span<const std::uint8_t> request, std::uint32_t,
                                std::vector<std::uint8_t>& answer) {
    const std::lock_guard guard(lock_);
    answer.clear();
    openMemory();
    if (memory_) {
        answer = phone_->answer(request);
    }
    if (hasCommand(request, Command::kChangeMode)) {
        changeIsNear_.notify_one();
    }
    return answer.empty() ? kPhoneNotPresent : com::kOk;
}

void SimulatedPhone::restart() {
    const std::lock_guard guard(lock_);
    if (phone_) {
        phone_->restart();
    }
}

// Sleeps from one change of the phone to the next, and tells each.
void SimulatedPhone::watch(const std::function<void()>& changed) {
    std::unique_lock guard(lock_);
    while (!closed_) {
        const auto next = phone_ ? phone_->nextChange() : std::nullopt;
        if (!next) {
            changeIsNear_.wait(guard);
        } else if (changeIsNear_.wait_until(guard, *next) == std::cv_status::timeout) {
            guard.unlock();
            changed();
            guard.lock();
        }
    }
}

void SimulatedPhone::openMemory() {
    if (memory_ || isMemoryWrong_ || closed_ || (!isOpen_ && !memoryPath_.empty())) {
        return;
    }
    try {
        memory_.emplace(memoryPath_, initialPath_);
        if (!phone_) {
            phone_.emplace(setup_, *memory_);
        }
        reported_.clear();
    } catch (const NvMemoryUnavailable& problem) {
        report(problem.what());
    } catch (const std::exception& problem) {
        isMemoryWrong_ = true;
        report(problem.what());
    }
}

void SimulatedPhone::report(const std::string& problem) {
    if (std::exchange(reported_, problem) != problem) {
        kernel::logError("The simulated phone on " + name_ + " is not there: " + problem);
    }
}

} // namespace tessra
