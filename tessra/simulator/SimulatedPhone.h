#pragma once

#include "platform/kernel/Thread.h"
#include "tessra/PhoneLink.h"
#include "tessra/simulator/PhoneModel.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

namespace tessra {

/// A phone in this process, with its memory. Where the memory is in use elsewhere, look() tries again each time; a
/// memory file with a wrong line leaves the port without a phone for good. Both are logged once. A thread of the link
/// watches for the moments at which a phone that is reset leaves and returns.
///
/// A phone that is let go goes on living: opened again, it is in the mode in which it was, with what its file holds by
/// then. One without a file has nothing to let go of.
class SimulatedPhone final : public PhoneLink {
public:
    /// `name` is the port's, for the log. `memory` and `initial` as NvMemoryFile takes them.
    SimulatedPhone(std::string name, PhoneSetup setup, std::filesystem::path memory, std::filesystem::path initial);
    ~SimulatedPhone() override { close(); }

    void start(std::function<void()> changed) override;
    void open() override;
    void release() override;
    void close() override;
    PhoneView look() override;
    Status exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                    std::vector<std::uint8_t>& answer) override;
    /// Takes the phone off its supply and puts it back.
    void restart();

private:
    void watch(const std::function<void()>& changed);
    void openMemory();
    void report(const std::string& problem);

    const std::string name_;
    const PhoneSetup setup_;
    const std::filesystem::path memoryPath_;
    const std::filesystem::path initialPath_;
    std::optional<kernel::Thread> watcher_; ///< from start() on

    std::mutex lock_; ///< guards all that follows
    std::condition_variable changeIsNear_;
    bool closed_ = false;
    bool isOpen_ = false;
    bool isMemoryWrong_ = false; ///< and stays so
    std::string reported_;
    std::optional<NvMemoryFile> memory_; ///< while none, the phone can't be talked to
    std::optional<PhoneModel> phone_;    ///< works on memory_, whichever is there
};

} // namespace tessra
