#include "phonelink/ComThreadManager.h"

#include "platform/com/Apartment.h"
#include "platform/kernel/Trace.h"
#include "platform/window/PumpingWait.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace {

// A kernel object, or the exception that says what could not be had.
template <class Object>
std::unique_ptr<Object> create(const char* message) {
    try {
        return std::make_unique<Object>();
    } catch (const std::exception&) {
        throw ComThreadManager::ComThreadManagerException(message);
    }
}

constexpr char kNoMutex[] = "ComThreadManager::ComThreadManager - Unable to creat a mutex";
constexpr char kNoEvent[] = "ComThreadManager::ComThreadManager - Unable to creat an event";

} // namespace

// What the process holds for all users.
struct ComThreadManager::Shared {
    std::mutex lock;
    // Guarded by lock.
    ComThreadManager* instance = nullptr;
    std::uint32_t users = 0;
    // Instances whose worker could not be waited for when their last user went. Made when it is first needed: by then
    // exists all that a worker uses in its last moments, so that at the end of the process this is destroyed before
    // that.
    std::vector<std::unique_ptr<ComThreadManager>>* retired = nullptr;
};

ComThreadManager::Shared& ComThreadManager::shared() {
    static Shared instance;
    return instance;
}

ComThreadManager* ComThreadManager::acquire() {
    std::vector<std::unique_ptr<ComThreadManager>> leftBehind; // destroyed after the lock has gone
    Shared& all = shared();
    const std::lock_guard lock(all.lock);
    if (all.retired != nullptr) {
        // Only those whose thread has ended: the others would keep this caller waiting, or are this very thread.
        const auto stillRuns = [](const auto& one) { return !one->worker_->ended().tryWait(); };
        const auto others = std::partition(all.retired->begin(), all.retired->end(), stillRuns);
        leftBehind.assign(std::move_iterator(others), std::move_iterator(all.retired->end()));
        all.retired->erase(others, all.retired->end());
    }
    if (all.instance == nullptr) {
        all.users = 0;
        all.instance = std::make_unique<ComThreadManager>(1).release();
    }
    ++all.users;
    return all.instance;
}

void ComThreadManager::release() {
    std::unique_ptr<ComThreadManager> last; // destroyed after the lock has gone: an item may acquire or release
    Shared& all = shared();
    const std::lock_guard lock(all.lock);
    assert(all.users > 0 && "released more often than acquired");
    if (--all.users > 0) {
        return;
    }
    last.reset(std::exchange(all.instance, nullptr));
    if (kernel::currentThreadId() == last->workerId_ || last->hasAbandonedWork()) {
        static std::vector<std::unique_ptr<ComThreadManager>> retired;
        all.retired = &retired;
        last->requestStop();
        retired.push_back(std::move(last));
    }
}

ComThreadManager::ComThreadManager(std::uint32_t threadCount)
    : callLock_(create<kernel::Mutex>(kNoMutex)), readyEvent_(create<kernel::AutoResetEvent>(kNoEvent)),
      quitEvent_(create<kernel::AutoResetEvent>(kNoEvent)), workEvent_(create<kernel::AutoResetEvent>(kNoEvent)) {
    if (threadCount != 1) {
        throw ComThreadManagerException("ComThreadManager::ComThreadManager - Only one worker thread is supported");
    }
    try {
        worker_.emplace([this] { serve(); });
    } catch (const std::exception&) {
        throw ComThreadManagerException("ComThreadManager::ComThreadManager - Unable to creat a thread");
    }
    // A worker that gets no message queue ends instead.
    kernel::Waitable* const readyOrEnded[] = {readyEvent_.get(), &worker_->ended()};
    if (kernel::waitForAny(readyOrEnded, kernel::kInfinite) != 0) {
        throw ComThreadManagerException("ComThreadManager::ComThreadManager - Unable to enter an apartment");
    }
}

ComThreadManager::~ComThreadManager() {
    callLock_->wait();
    requestStop();
    worker_->join();
    callLock_->release();
}

bool ComThreadManager::hasAbandonedWork() {
    const std::lock_guard lock(pendingLock_);
    return !abandoned_.empty();
}

void ComThreadManager::requestStop() {
    quitEvent_->set();
    workEvent_->set();
}

void ComThreadManager::call(ComThreadClient& target, ComThreadClient::FunctionWithArgument function,
                            std::uintptr_t argument) {
    if (argument == 0) {
        target.invokeWithZero(function);
    } else {
        target.invoke(function, argument);
    }
}

std::shared_ptr<ComThreadManager::Item> ComThreadManager::makeItem(Work work) {
    try {
        return std::make_shared<Item>(std::move(work));
    } catch (const kernel::ObjectCreationError&) {
        throw ComThreadManagerException("ComThreadManager::executeFunction - Unable to creat an event");
    }
}

void ComThreadManager::execute(Work work, std::uint32_t timeoutMs) {
    std::optional<std::string> failure;
    if (kernel::currentThreadId() == workerId_) {
        failure = run(work);
    } else {
        const kernel::MutexLock callLock(*callLock_);
        const std::shared_ptr<Item> item = makeItem(std::move(work));
        {
            const std::lock_guard lock(pendingLock_);
            pending_.push_back(item);
        }
        workEvent_->set();
        if (item->done.wait(timeoutMs) == kernel::WaitResult::kTimedOut) {
            const std::lock_guard lock(pendingLock_);
            if (!item->hasRun) {
                abandoned_.push_back(item);
            }
            throw TimeoutException("ComThreadManager::executeFunction - Timed out");
        }
        failure = std::move(item->failure);
    }
    if (failure) {
        throw ComThreadManagerException(std::move(*failure));
    }
}

// Runs the work and lets go of what it owns. Returns the message for the caller if the function threw.
std::optional<std::string> ComThreadManager::run(Work& work) {
    std::optional<std::string> failure;
    const auto fail = [&failure](const char* reason) {
        failure = std::string("ComThreadManager::executeFunction - The work item threw an exception: ") + reason;
        kernel::logError(*failure);
    };
    try {
        work();
    } catch (const std::exception& error) {
        fail(error.what());
    } catch (...) {
        fail("not a standard exception");
    }
    work = nullptr;
    return failure;
}

// The worker thread, from its start to its end.
void ComThreadManager::serve() {
    workerId_ = kernel::currentThreadId();
    com::enterApartment();
    readyEvent_->set();
    bool quit = false;
    while (!quit) {
        window::pumpingWait(*workEvent_);
        quit = quitEvent_->tryWait();
        runPending();
    }
    com::leaveApartment();
}

void ComThreadManager::runPending() {
    std::shared_ptr<Item> next;
    {
        const std::lock_guard lock(pendingLock_);
        next = takePendingLocked();
    }
    while (const std::shared_ptr<Item> item = std::exchange(next, nullptr)) {
        item->failure = run(item->work);
        {
            const std::lock_guard lock(pendingLock_);
            item->hasRun = true;
            std::erase(abandoned_, item);
            // Now and not after `done`, when the caller may be about to queue its next item under the same lock.
            next = takePendingLocked();
        }
        item->done.set();
    }
}

std::shared_ptr<ComThreadManager::Item> ComThreadManager::takePendingLocked() {
    if (pending_.empty()) {
        return nullptr;
    }
    std::shared_ptr<Item> item = std::move(pending_.front());
    pending_.pop_front();
    return item;
}
