#pragma once

#include "tessra/PhoneLink.h"
#include "tessra/PhoneModel.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tessra {

/// A phone in this process, with its memory. Where the memory is in use elsewhere, look() tries again each time; a
/// memory file with a wrong line leaves the port without a phone for good. Both are logged once.
class SimulatedPhone : public PhoneLink {
public:
    /// `name` is the port's, for the log. `memory` and `initial` as NvMemoryFile takes them.
    SimulatedPhone(std::string name, PhoneSetup setup, std::filesystem::path memory, std::filesystem::path initial,
                   bool present);

    PhoneView look() override;
    std::optional<std::chrono::steady_clock::time_point> nextChange() override;
    Status exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                    std::vector<std::uint8_t>& answer) override;
    void setPresent(bool present) override;

private:
    void openMemory();
    void report(const std::string& problem);

    const std::string name_;
    const PhoneSetup setup_;
    const std::filesystem::path memoryPath_;
    const std::filesystem::path initialPath_;

    std::mutex lock_; ///< guards all that follows
    bool present_;
    bool hopeless_ = false;
    std::string reported_;
    std::optional<NvMemoryFile> memory_;
    std::optional<PhoneModel> phone_;
};

} // namespace tessra
