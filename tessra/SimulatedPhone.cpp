#include "tessra/SimulatedPhone.h"

#include "platform/kernel/Trace.h"
#include "tessra/ConfigError.h"

#include <utility>

namespace tessra {

SimulatedPhone::SimulatedPhone(std::string name, PhoneSetup setup, std::filesystem::path memory,
                               std::filesystem::path initial, bool present)
    : name_(std::move(name)), setup_(std::move(setup)), memoryPath_(std::move(memory)),
      initialPath_(std::move(initial)), present_(present) {}

PhoneView SimulatedPhone::look() {
    const std::lock_guard guard(lock_);
    openMemory();
    if (!phone_) {
        return {};
    }
    if (!present_) {
        return {.usable = true};
    }
    return {.usable = true, .state = phone_->state(), .mode = phone_->mode(), .appearance = phone_->starts()};
}

std::optional<std::chrono::steady_clock::time_point> SimulatedPhone::nextChange() {
    const std::lock_guard guard(lock_);
    return phone_ && present_ ? phone_->nextChange() : std::nullopt;
}

Status SimulatedPhone::exchange(std::span<const std::uint8_t> request, std::uint32_t,
                                std::vector<std::uint8_t>& answer) {
    const std::lock_guard guard(lock_);
    answer.clear();
    if (phone_ && present_) {
        answer = phone_->answer(request);
    }
    return answer.empty() ? kPhoneNotPresent : com::kOk;
}

void SimulatedPhone::setPresent(bool present) {
    const std::lock_guard guard(lock_);
    if (present && !present_ && phone_) {
        phone_->restart();
    }
    present_ = present;
}

void SimulatedPhone::openMemory() {
    if (phone_ || hopeless_) {
        return;
    }
    try {
        memory_.emplace(memoryPath_, initialPath_);
        phone_.emplace(setup_, *memory_);
    } catch (const NvMemoryUnavailable& problem) {
        report(problem.what());
    } catch (const std::exception& problem) {
        hopeless_ = true;
        report(problem.what());
    }
}

void SimulatedPhone::report(const std::string& problem) {
    if (std::exchange(reported_, problem) != problem) {
        kernel::logError("The simulated phone on " + name_ + " is not there: " + problem);
    }
}

} // namespace tessra
