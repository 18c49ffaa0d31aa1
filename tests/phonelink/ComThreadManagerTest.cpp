#include "phonelink/ComThreadManager.h"

#include "platform/com/Apartment.h"
#include "platform/kernel/TickCount.h"
#include "platform/kernel/Trace.h"
#include "platform/window/MessageQueue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

/// A client with functions of each kind; records what ran, and where.
class Probe : public ComThreadClient {
public:
    void invoke(FunctionWithArgument function, std::uintptr_t argument) override {
        calls += "argument,";
        (this->*function)(argument);
    }
    void invoke(Function function) override {
        calls += "none,";
        (this->*function)();
    }

    void note() {
        calls += "note";
        thread = kernel::currentThreadId();
        apartment = com::currentApartment();
    }
    void noteArgument(std::uintptr_t argument) { calls += std::to_string(argument); }
    virtual void overridden() { calls += "base"; }
    void runTask() { task(); }

    std::string calls;
    kernel::ThreadId thread;
    com::ApartmentId apartment = 0;
    std::function<void()> task;
};

class DerivedProbe : public Probe {
public:
    void overridden() override { calls += "derived"; }
};

/// Holds the shared manager for a scope.
class User {
public:
    ~User() { ComThreadManager::release(); }
    ComThreadManager* operator->() const { return manager; }
    ComThreadManager* const manager = ComThreadManager::acquire();
};

/// The message of the manager's exception that `call` ends with; empty when there is none.
template <class Exception = ComThreadManager::ComThreadManagerException>
std::string messageOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Exception& error) {
        return error.what();
    }
    return "";
}

void abandon(ComThreadManager& manager, Probe& probe, std::uint32_t timeoutMs = 1) {
    EXPECT_EQ(messageOf<ComThreadManager::TimeoutException>(
                  [&] { manager.executeFunction(probe, &Probe::runTask, timeoutMs); }),
              "ComThreadManager::executeFunction - Timed out");
}

} // namespace

TEST(ComThreadManagerTest, UsersShareOneWorkerUntilTheLastHasGone) {
    Probe probe;
    ComThreadManager* const first = ComThreadManager::acquire();
    first->executeFunction(probe, &Probe::note, kernel::kInfinite);
    const kernel::ThreadId worker = probe.thread;
    EXPECT_NE(worker, kernel::currentThreadId());
    EXPECT_NE(probe.apartment, 0U) << "the worker is in no apartment";
    EXPECT_EQ(ComThreadManager::acquire(), first);
    ComThreadManager::release();
    first->executeFunction(probe, &Probe::note, kernel::kInfinite);
    EXPECT_EQ(probe.thread, worker);
    ComThreadManager::release();
    EXPECT_FALSE(window::post(worker, [] {})) << "the worker has outlived its last user";

    const User fresh;
    fresh->executeFunction(probe, &Probe::note, kernel::kInfinite);
    EXPECT_NE(probe.thread, worker);
}

TEST(ComThreadManagerTest, CreationFailuresHaveTheirTexts) {
    const struct {
        const char* name;
        std::uint32_t failing;
        const char* message;
    } rows[] = {
        {"call lock", 1, "ComThreadManager::ComThreadManager - Unable to creat a mutex"},
        {"ready event", 2, "ComThreadManager::ComThreadManager - Unable to creat an event"},
        {"quit event", 3, "ComThreadManager::ComThreadManager - Unable to creat an event"},
        {"work event", 4, "ComThreadManager::ComThreadManager - Unable to creat an event"},
        {"thread", 5, "ComThreadManager::ComThreadManager - Unable to creat a thread"},
    };
    for (const auto& row : rows) {
        kernel::failCreationForTests(row.failing);
        EXPECT_EQ(messageOf([] { ComThreadManager::acquire(); }), row.message) << row.name;
    }
    kernel::failCreationForTests(0);
    Probe probe;
    const User user; // nothing of the failed attempts was counted as a user
    user->executeFunction(probe, &Probe::note, kernel::kInfinite);
    kernel::failCreationForTests(1);
    EXPECT_EQ(messageOf([&] { user->executeFunction(probe, &Probe::note, kernel::kInfinite); }),
              "ComThreadManager::executeFunction - Unable to creat an event");
    kernel::failCreationForTests(0);
    user->executeFunction(probe, &Probe::note, kernel::kInfinite);
    EXPECT_EQ(messageOf([] { ComThreadManager two(2); }),
              "ComThreadManager::ComThreadManager - Only one worker thread is supported");
}

TEST(ComThreadManagerTest, ReachesTheFunctionThroughTheRightInvoke) {
    const User user;
    DerivedProbe probe;
    const struct {
        const char* name;
        std::function<void()> call;
        const char* calls;
    } rows[] = {
        {"without argument", [&] { user->executeFunction(probe, &Probe::note, kernel::kInfinite); }, "none,note"},
        {"argument", [&] { user->executeFunction(probe, &Probe::noteArgument, 42, kernel::kInfinite); }, "argument,42"},
        {"argument 0", [&] { user->executeFunction(probe, &Probe::noteArgument, 0, kernel::kInfinite); }, "none,0"},
        {"override", [&] { user->executeFunction(probe, &Probe::overridden, kernel::kInfinite); }, "none,derived"},
    };
    for (const auto& row : rows) {
        probe.calls.clear();
        row.call();
        EXPECT_EQ(probe.calls, row.calls) << row.name;
    }
    std::uintptr_t wide = reinterpret_cast<std::uintptr_t>(&probe);
    probe.calls.clear();
    user->executeFunction(probe, &Probe::noteArgument, wide, kernel::kInfinite);
    EXPECT_EQ(probe.calls, "argument," + std::to_string(wide)) << "a pointer does not fit the argument word";
}

TEST(ComThreadManagerTest, ALateCompletionIsNoOtherCallsCompletion) {
    const User user;
    Probe slow;
    Probe unstarted;
    Probe quick;
    std::string order;
    kernel::AutoResetEvent abandoned;
    slow.task = [&] {
        abandoned.wait();
        kernel::sleepMs(50); // ends while the quick call waits
        order += "slow,";
    };
    unstarted.task = [&] { order += "unstarted,"; };
    quick.task = [&] { order += "quick,"; };
    const std::uint32_t start = kernel::tickCount();
    abandon(*user.manager, slow, 20);
    EXPECT_GE(kernel::elapsedMs(start, kernel::tickCount()), 20U);
    abandon(*user.manager, unstarted);
    abandoned.set();
    user->executeFunction(quick, &Probe::runTask, kernel::kInfinite);
    EXPECT_EQ(order, "slow,unstarted,quick,");
    user->executeFunction(quick, &Probe::runTask, 10000);
    EXPECT_EQ(order, "slow,unstarted,quick,quick,");
}

TEST(ComThreadManagerTest, TheDestructorWaitsForAbandonedItemsAndTheThread) {
    for (const bool busyWithAnItem : {true, false}) { // or with a message
        SCOPED_TRACE(busyWithAnItem);
        Probe slow;
        Probe unstarted;
        bool slowEnded = false;
        bool unstartedRan = false;
        kernel::AutoResetEvent started;
        kernel::AutoResetEvent abandoned;
        slow.task = [&] {
            started.set();
            abandoned.wait();
            kernel::sleepMs(40); // ends while the destructor waits
            slowEnded = true;
        };
        unstarted.task = [&] { unstartedRan = true; };
        kernel::ThreadId worker;
        {
            ComThreadManager manager(1);
            worker = manager.workerThread();
            if (busyWithAnItem) {
                abandon(manager, slow);
            } else {
                ASSERT_TRUE(window::post(worker, slow.task));
            }
            started.wait(); // work goes before messages that the worker has not yet seen
            abandon(manager, unstarted);
            abandoned.set();
        }
        EXPECT_TRUE(slowEnded && unstartedRan);
        EXPECT_FALSE(window::post(worker, [] {})) << "the thread outlived its manager";
    }
}

TEST(ComThreadManagerTest, KeepsASharedTargetUntilItsAbandonedItemHasRun) {
    struct Kept : Probe {
        ~Kept() override { *destroyedOn = kernel::currentThreadId(); }
        kernel::ThreadId* destroyedOn = nullptr;
    };
    kernel::ThreadId destroyedOn;
    bool ran = false;
    const User user;
    Probe slow;
    kernel::AutoResetEvent abandoned;
    slow.task = [&] { abandoned.wait(); };
    abandon(*user.manager, slow);
    {
        const auto kept = std::make_shared<Kept>();
        kept->destroyedOn = &destroyedOn;
        kept->task = [&] { ran = true; };
        EXPECT_THROW(user->executeFunction(kept, &Probe::runTask, 1), ComThreadManager::TimeoutException);
    }
    abandoned.set();
    Probe last;
    user->executeFunction(last, &Probe::note, kernel::kInfinite);
    EXPECT_TRUE(ran);
    EXPECT_EQ(destroyedOn, last.thread);

    destroyedOn = {};
    auto handedOver = std::make_shared<Kept>();
    handedOver->destroyedOn = &destroyedOn;
    user->executeFunction(std::move(handedOver), &Probe::note, kernel::kInfinite);
    EXPECT_EQ(destroyedOn, last.thread) << "the call returned before its target had gone";
}

TEST(ComThreadManagerTest, TheLastReleaseMayComeFromTheWorkerItself) {
    Probe probe;
    ComThreadManager* const manager = ComThreadManager::acquire();
    const kernel::ThreadId worker = manager->workerThread();
    kernel::AutoResetEvent released;
    probe.task = [&] {
        ComThreadManager::release();
        const User ownFresh; // must not wait for the thread that it runs on
        released.set();
    };
    ASSERT_TRUE(window::post(worker, [&] { probe.task(); }));
    ASSERT_EQ(released.wait(10000), kernel::WaitResult::kSignalled);
    const User fresh; // nor must anybody else wait for it; it ends by itself
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    bool isThere = true;
    while (isThere && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
        isThere = window::post(worker, [] {});
    }
    EXPECT_FALSE(isThere) << "the retired worker is still there";
}

TEST(ComThreadManagerTest, DispatchesMessagesAndNestedCallsOnTheWorker) {
    const User user;
    Probe outer;
    Probe inner;
    kernel::AutoResetEvent ran;
    const auto callInner = [&] {
        user->executeFunction(inner, &Probe::note, kernel::kInfinite);
        ran.set();
    };
    ASSERT_TRUE(window::post(user->workerThread(), callInner));
    ASSERT_EQ(ran.wait(10000), kernel::WaitResult::kSignalled) << "an idle worker does not dispatch";
    EXPECT_EQ(inner.thread, user->workerThread());
    ASSERT_EQ(com::callInApartment(inner.apartment, callInner), com::kOk);
    ASSERT_EQ(ran.wait(10000), kernel::WaitResult::kSignalled) << "calls into the apartment do not arrive";

    inner.thread = {};
    outer.task = callInner;
    user->executeFunction(outer, &Probe::runTask, 10000);
    EXPECT_EQ(inner.thread, user->workerThread()) << "a call from an item did not run inside it";
}

TEST(ComThreadManagerTest, AnItemThatThrowsIsLoggedAndReportedToItsCaller) {
    const std::string prefix = "ComThreadManager::executeFunction - The work item threw an exception: ";
    std::vector<std::string> errors;
    kernel::setErrorLog([&](std::string_view text) { errors.emplace_back(text); });
    {
        const User user;
        Probe probe;
        const auto run = [&] { user->executeFunction(probe, &Probe::runTask, kernel::kInfinite); };
        probe.task = [] { throw std::runtime_error("boom"); };
        EXPECT_EQ(messageOf(run), prefix + "boom");
        probe.task = [] { throw 7; };
        EXPECT_EQ(messageOf(run), prefix + "not a standard exception");
        probe.task = [] {};
        EXPECT_EQ(messageOf(run), "") << "a failure reached a later call";
        kernel::AutoResetEvent abandoned;
        Probe late;
        late.task = [&] {
            abandoned.wait();
            throw std::runtime_error("late");
        };
        abandon(*user.manager, late);
        abandoned.set();
        run(); // after the late one, which must not be told of its failure
    }
    kernel::setErrorLog({});
    EXPECT_EQ(errors,
              (std::vector<std::string>{prefix + "boom", prefix + "not a standard exception", prefix + "late"}));
}

TEST(ComThreadManagerTest, CallersOnManyThreadsAreServedOneAtATime) {
    constexpr int kCalls = 1000;
    const User user;
    int running = 0; // touched by the worker alone
    int count = 0;
    const auto hammer = [&] {
        Probe probe;
        int own = 0;
        probe.task = [&] {
            EXPECT_EQ(++running, 1);
            ++count;
            ++own;
            --running;
        };
        for (int call = 1; call <= kCalls; ++call) {
            user->executeFunction(probe, &Probe::runTask, kernel::kInfinite);
            ASSERT_EQ(own, call) << "the call returned before its item had run";
        }
    };
    {
        kernel::Thread first(hammer);
        kernel::Thread second(hammer);
    }
    EXPECT_EQ(count, 2 * kCalls);
}
