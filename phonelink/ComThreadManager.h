#pragma once

#include "phonelink/ComThreadClient.h"
#include "platform/kernel/Event.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/Mutex.h"
#include "platform/kernel/Thread.h"

#include <concepts>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A target and a pointer to a member function of its class, or of a base of it, that may run on the worker.
template <class Target, class Owner>
concept RunsOnComThread = std::derived_from<Target, Owner> && std::derived_from<Owner, ComThreadClient>;

/// Owns the one thread on which every call into the phone service and every call into a calibration file runs. The
/// thread lives in a single-threaded apartment and dispatches the messages posted to it while it has no work.
///
/// All users share one instance by `acquire` and `release`. Any thread may call `executeFunction`; the calls are
/// served one at a time, in the order of their arrival.
class ComThreadManager {
public:
    /// Also a std::exception, so that a handler of last resort can show the message.
    class ComThreadManagerException : public kernel::MessageException {
    public:
        using MessageException::MessageException;
    };

    /// executeFunction has given up waiting.
    class TimeoutException : public ComThreadManagerException {
    public:
        using ComThreadManagerException::ComThreadManagerException;
    };

    /// The shared instance, made by the first user together with its worker thread, which is ready on return. What the
    /// constructor throws comes through, with nothing acquired. Each call needs its `release`.
    static ComThreadManager* acquire();
    /// The last user's call ends the worker, as the destructor does, and destroys the instance. Two cases cannot wait
    /// for the thread's end here: a call on the worker thread itself, and one while an item that its caller has given
    /// up on still runs, for as long as it pleases. They only tell the worker to end; the instance is destroyed, and
    /// its thread waited for, by an `acquire` after that end or with the process.
    static void release();

    /// Starts the worker and returns when it is in its apartment. `threadCount` is 1: a target's calls belong to one
    /// apartment, so more workers could not share them. Throws ComThreadManagerException, with no thread left behind.
    explicit ComThreadManager(std::uint32_t threadCount);
    /// Waits without limit for the call in progress, for the items abandoned by their callers, which still run, and for
    /// the thread itself.
    virtual ~ComThreadManager();
    ComThreadManager(const ComThreadManager&) = delete;
    ComThreadManager& operator=(const ComThreadManager&) = delete;

    /// Runs `function` of `target` on the worker and returns when it has run. The caller pumps no messages meanwhile.
    /// What the caller wrote before the call is visible to the function, and what the function wrote to the caller.
    ///
    /// `timeoutMs` milliseconds after the worker was given the item (0xFFFFFFFF: no limit; waiting for earlier callers
    /// does not count) TimeoutException is thrown. The item is not cancelled: it runs to its end, or is still run when
    /// those before it have ended, so `target` must live until then; later calls come after it and are not confused
    /// with it. ComThreadManagerException, and a line in the error log, if the function threw;
    /// ComThreadManagerException alone, with nothing run, if there is no kernel object to wait with.
    ///
    /// On the worker itself the function runs at once, inside the item or message that calls.
    template <class Target, class Owner>
    requires RunsOnComThread<Target, Owner>
    void executeFunction(Target& target, void (Owner::*function)(), std::uint32_t timeoutMs) {
        execute([&target, function] { call(target, static_cast<ComThreadClient::Function>(function)); }, timeoutMs);
    }

    /// The same for a function that takes `argument`. An argument of 0 reaches it through the target's `invoke` without
    /// argument.
    template <class Target, class Owner>
    requires RunsOnComThread<Target, Owner>
    void executeFunction(Target& target, void (Owner::*function)(std::uintptr_t), std::uintptr_t argument,
                         std::uint32_t timeoutMs) {
        const auto converted = static_cast<ComThreadClient::FunctionWithArgument>(function);
        execute([&target, converted, argument] { call(target, converted, argument); }, timeoutMs);
    }

    /// The same for a target that is kept alive until its item has run, also when the caller has given up. If the
    /// caller's reference has gone by then, the target is destroyed on the worker.
    template <class Target, class Owner>
    requires RunsOnComThread<Target, Owner>
    void executeFunction(std::shared_ptr<Target> target, void (Owner::*function)(), std::uint32_t timeoutMs) {
        execute([kept = std::move(target), function] { call(*kept, static_cast<ComThreadClient::Function>(function)); },
                timeoutMs);
    }

    /// The thread to which messages for the worker are posted.
    kernel::ThreadId workerThread() const { return workerId_; }

private:
    /// What the worker calls; it owns what must live until then.
    using Work = std::function<void()>;

    /// Work on its way through the worker. It belongs to caller and worker together, so that neither needs the other to
    /// be still interested; and it carries its own completion, so that no other item's can be taken for it.
    struct Item {
        explicit Item(Work toDo) : work(std::move(toDo)) {}

        Work work;                          ///< the worker's from the moment it is queued
        std::optional<std::string> failure; ///< written by the worker before `done`, read by the caller after it
        bool hasRun = false;                ///< guarded by pendingLock_
        kernel::AutoResetEvent done;
    };

    static void call(ComThreadClient& target, ComThreadClient::Function function) { target.invoke(function); }
    static void call(ComThreadClient& target, ComThreadClient::FunctionWithArgument function, std::uintptr_t argument);

    struct Shared;
    static Shared& shared();

    static std::shared_ptr<Item> makeItem(Work work);
    void execute(Work work, std::uint32_t timeoutMs);
    static std::optional<std::string> run(Work& work);
    void serve();
    void runPending();
    std::shared_ptr<Item> takePendingLocked();
    bool hasAbandonedWork();
    void requestStop();

    const std::unique_ptr<kernel::Mutex> callLock_;
    /// The first two are set once in a life: by the worker when it has started, and to make it end.
    const std::unique_ptr<kernel::AutoResetEvent> readyEvent_;
    const std::unique_ptr<kernel::AutoResetEvent> quitEvent_;
    const std::unique_ptr<kernel::AutoResetEvent> workEvent_; ///< set after each change that the worker should see
    std::mutex pendingLock_;
    /// The current caller's item after those that earlier callers have abandoned. Guarded by pendingLock_.
    std::deque<std::shared_ptr<Item>> pending_;
    /// The items whose callers have given up and that have not ended yet. Guarded by pendingLock_.
    std::vector<std::shared_ptr<Item>> abandoned_;
    /// Written by the worker before readyEvent_, constant from then on.
    kernel::ThreadId workerId_;
    /// Last, so that it is gone before what it uses.
    std::optional<kernel::Thread> worker_;
};
