#include "phonelink/ComThreadManager.h"

#include "platform/com/Apartment.h"
#include "platform/window/MessageQueue.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/Eventually.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>

namespace {

using kernel::kInfinite;

class Probe : public ComThreadClient {
public:
    explicit Probe(std::function<void()> task = [] {}) : task_(std::move(task)) {}

    void invoke(FunctionWithArgument function, std::uintptr_t argument) override { (this->*function)(argument); }
    void invoke(Function function) override { (this->*function)(); }
    void run() {
        thread = kernel::currentThreadId();
        apartment = com::currentApartment();
        task_();
    }

    kernel::ThreadId thread;
    com::ApartmentId apartment = 0;

private:
    const std::function<void()> task_;
};

/// Holds the shared manager for a scope.
class User {
public:
    ~User() { ComThreadManager::release(); }
    ComThreadManager* operator->() const { return manager; }
    ComThreadManager* const manager = ComThreadManager::acquire();
};

/// A task for the worker that lasts until it is told to end. Nothing orders it with the thread that tells, so that the
/// thread sanitizer sees what the manager itself leaves unordered.
class LongTask {
public:
    std::function<void()> task() {
        return [this] {
            while (!told_.load(std::memory_order_relaxed)) {
                std::this_thread::yield();
            }
        };
    }
    void end() { told_.store(true, std::memory_order_relaxed); }

private:
    std::atomic<bool> told_ = false;
};

void abandon(ComThreadManager& manager, Probe& probe) {
    EXPECT_EQ(messageOf<ComThreadManager::TimeoutException>([&] { manager.executeFunction(probe, &Probe::run, 20); }),
              "ComThreadManager::executeFunction - Timed out");
}

} // namespace

TEST(ComThreadManagerTest, UsersShareOneWorkerUntilTheLastHasGone) {
    Probe probe;
    ComThreadManager* const first = ComThreadManager::acquire();
    EXPECT_EQ(ComThreadManager::acquire(), first);
    ComThreadManager::release();
    first->executeFunction(probe, &Probe::run, kInfinite);
    const kernel::ThreadId worker = probe.thread;
    EXPECT_NE(worker, kernel::currentThreadId());
    ComThreadManager::release();
    EXPECT_FALSE(window::post(worker, [] {})) << "the worker has outlived its last user";
    const User fresh;
    fresh->executeFunction(probe, &Probe::run, kInfinite);
    EXPECT_NE(probe.thread, worker);
}

TEST(ComThreadManagerTest, CreationFailuresHaveTheirTexts) {
    const ErrorLog log;
    const std::string prefix = "ComThreadManager::ComThreadManager - Unable to ";
    const char* const reasons[] = {"creat a mutex",  "creat an event", "creat an event",    "creat an event",
                                   "creat a thread", "creat a thread", "enter an apartment"};
    for (std::uint32_t failing = 1; failing <= std::size(reasons); ++failing) {
        kernel::failCreationForTests(failing);
        EXPECT_EQ(messageOf([] { ComThreadManager::acquire(); }), prefix + reasons[failing - 1]);
    }
    Probe probe;
    const User user; // nothing of the failed attempts was counted as a user
    EXPECT_EQ(messageOf([&] { user->executeFunction(probe, &Probe::run, kInfinite); }), "");
}

TEST(ComThreadManagerTest, AbandonedItemsRunInTheirOrderAndCompleteNoOtherCall) {
    const User user;
    std::string order;
    LongTask longTask;
    Probe first(longTask.task());
    Probe second([&] { order += "second "; });
    Probe third([&] { order += "third "; });
    abandon(*user.manager, first);
    abandon(*user.manager, second);
    longTask.end();
    user->executeFunction(third, &Probe::run, kInfinite);
    EXPECT_EQ(order, "second third ");
    user->executeFunction(third, &Probe::run, 10000);
    EXPECT_EQ(order, "second third third ");
}

/// Tells at the end of its thread in which apartment that is then.
struct ApartmentAtTheEnd {
    com::ApartmentId* told;
    ~ApartmentAtTheEnd() { *told = com::currentApartment(); }
};

TEST(ComThreadManagerTest, TheDestructorWaitsForAbandonedItemsAndTheThread) {
    com::ApartmentId lastApartment = 1;
    bool secondRan = false;
    LongTask longTask;
    Probe first(longTask.task());
    Probe second([&] {
        thread_local const ApartmentAtTheEnd atTheEnd{&lastApartment};
        secondRan = true;
    });
    {
        ComThreadManager manager(1);
        abandon(manager, first);
        abandon(manager, second);
        longTask.end();
    }
    EXPECT_TRUE(secondRan);
    EXPECT_NE(second.apartment, 0u) << "the worker is in no apartment";
    EXPECT_EQ(lastApartment, 0u) << "the worker has ended without leaving its apartment";
}

TEST(ComThreadManagerTest, TheLastReleaseDoesNotWaitForAnAbandonedItem) {
    LongTask longTask;
    Probe abandoned(longTask.task());
    ComThreadManager* const manager = ComThreadManager::acquire();
    const kernel::ThreadId worker = manager->workerThread();
    abandon(*manager, abandoned);
    ComThreadManager::release();
    longTask.end();
    EXPECT_TRUE(eventually([worker] { return !window::post(worker, [] {}); })) << "the worker does not end";
}

TEST(ComThreadManagerTest, DispatchesMessagesAndNestedCallsOnTheWorker) {
    const User user;
    kernel::AutoResetEvent ran;
    Probe inner;
    const auto callInner = [&] {
        user->executeFunction(inner, &Probe::run, kInfinite);
        ran.set();
    };
    ASSERT_TRUE(window::post(user->workerThread(), callInner));
    ASSERT_EQ(ran.wait(10000), kernel::WaitResult::kSignalled) << "an idle worker does not dispatch";
    EXPECT_EQ(inner.thread, user->workerThread());
    Probe outer(callInner);
    user->executeFunction(outer, &Probe::run, 10000);
}

TEST(ComThreadManagerTest, AnItemThatThrowsIsLoggedAndReportedToItsCaller) {
    const std::string failure = "ComThreadManager::executeFunction - The work item threw an exception: boom";
    const ErrorLog log;
    const User user;
    Probe thrower([] { throw std::runtime_error("boom"); });
    EXPECT_EQ(messageOf([&] { user->executeFunction(thrower, &Probe::run, kInfinite); }), failure);
    EXPECT_EQ(log.text(), failure + "\n");
}
