#include "platform/kernel/Event.h"
#include "platform/kernel/Mutex.h"
#include "platform/kernel/Spin.h"
#include "platform/kernel/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <memory>
#include <vector>

using kernel::WaitResult;

namespace {

constexpr std::uint32_t kPatienceMs = 10000; // for what must come; only a failing test waits so long

/// Whether `call` holds on a thread other than the test's.
bool onAnotherThread(const std::function<bool()>& call) {
    bool result = false;
    kernel::Thread([&] { result = call(); }).join();
    return result;
}

} // namespace

TEST(AutoResetEventTest, OneSignalLetsOneWaitThrough) {
    kernel::AutoResetEvent event;
    EXPECT_FALSE(event.tryWait()) << "created signalled";
    event.set();
    event.set();
    EXPECT_EQ(event.wait(0), WaitResult::kSignalled);
    EXPECT_FALSE(event.tryWait()) << "two sets without a waiter were counted as two";
    event.set();
    event.reset();
    EXPECT_FALSE(event.tryWait()) << "the signal was not taken back";
}

TEST(AutoResetEventTest, EachSetReleasesExactlyOneOfManyWaiters) {
    constexpr int kWaiters = 4;
    kernel::AutoResetEvent event;
    kernel::AutoResetEvent passed;
    std::atomic<int> through{0};
    std::vector<std::unique_ptr<kernel::Thread>> threads;
    for (int i = 0; i < kWaiters; ++i) {
        threads.push_back(std::make_unique<kernel::Thread>([&] {
            if (event.wait(kPatienceMs) == WaitResult::kSignalled) {
                ++through;
            }
            passed.set();
        }));
    }
    for (int released = 1; released <= kWaiters; ++released) {
        event.set();
        ASSERT_EQ(passed.wait(kPatienceMs), WaitResult::kSignalled);
        ASSERT_EQ(through, released);
        ASSERT_EQ(passed.wait(5), WaitResult::kTimedOut) << "one set released more than one";
    }
}

TEST(ManualResetEventTest, LetsEveryWaitThroughUntilReset) {
    kernel::ManualResetEvent event;
    event.set();
    EXPECT_TRUE(event.tryWait() && event.tryWait());
    event.reset();
    EXPECT_FALSE(event.tryWait());
}

TEST(MutexTest, BelongsToTheThreadUntilEachWaitIsReleased) {
    kernel::Mutex mutex;
    const auto freeForOthers = [&] { return onAnotherThread([&] { return mutex.tryWait() && mutex.release(); }); };
    EXPECT_FALSE(mutex.release()) << "released by a thread that never owned it";
    {
        const kernel::MutexLock outer(mutex);
        ASSERT_EQ(mutex.wait(), WaitResult::kSignalled) << "not recursive";
        EXPECT_FALSE(onAnotherThread([&] { return mutex.release(); })) << "released by another than the owner";
        EXPECT_TRUE(mutex.release());
        EXPECT_FALSE(freeForOthers()) << "one release undid two waits";
    }
    EXPECT_TRUE(freeForOthers());
}

TEST(MutexTest, KeepsThreadsApart) {
    constexpr int kRounds = 2000;
    kernel::Mutex mutex;
    int count = 0; // not atomic: the mutex alone keeps the sum right
    {
        std::vector<std::unique_ptr<kernel::Thread>> threads;
        for (int i = 0; i < 3; ++i) {
            threads.push_back(std::make_unique<kernel::Thread>([&] {
                for (int round = 0; round < kRounds; ++round) {
                    const kernel::MutexLock lock(mutex);
                    ++count;
                }
            }));
        }
    }
    EXPECT_EQ(count, 3 * kRounds);
}

TEST(WaitableTest, TimedOutWaitTakesItsTimeAndNothingElse) {
    kernel::AutoResetEvent event;
    kernel::Mutex mutex;
    const kernel::MutexLock lock(mutex);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(event.wait(30), WaitResult::kTimedOut);
    EXPECT_TRUE(onAnotherThread([&] { return mutex.wait(30) == WaitResult::kTimedOut; }));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, std::chrono::milliseconds(60));
    EXPECT_LT(elapsed, std::chrono::milliseconds(kPatienceMs));
    event.set();
    EXPECT_TRUE(event.tryWait()) << "a signal went to a waiter that had given up";
}

TEST(WaitForAnyTest, TakesTheFirstSignalledObjectAlone) {
    kernel::AutoResetEvent first;
    kernel::AutoResetEvent second;
    kernel::Waitable* const both[] = {&first, &second};
    EXPECT_EQ(kernel::waitForAny(both, 0), std::nullopt);
    EXPECT_EQ(kernel::waitForAny(both, 5), std::nullopt);
    second.set();
    first.set();
    EXPECT_EQ(kernel::waitForAny(both, kernel::kInfinite), 0U);
    EXPECT_EQ(kernel::waitForAny(both, kernel::kInfinite), 1U);
    EXPECT_EQ(kernel::waitForAny(both, 0), std::nullopt);
}

TEST(WaitForAnyTest, LosesNoSignalOfEitherObject) {
    constexpr int kRounds = 3000;
    kernel::AutoResetEvent signals[2];
    kernel::AutoResetEvent answer;
    kernel::Thread setter([&] {
        for (int round = 0; round < kRounds; ++round) {
            signals[round % 2].set();
            if (answer.wait(kPatienceMs) == WaitResult::kTimedOut) {
                return;
            }
        }
    });
    kernel::Waitable* const both[] = {&signals[0], &signals[1]};
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(kernel::waitForAny(both, kPatienceMs), static_cast<std::size_t>(round % 2)) << round;
        answer.set();
    }
}

TEST(SpinPatienceTest, SpinsForWhatComesAtOnceAndSoonNoMoreForWhatDoesNot) {
    if (!kernel::canSpin()) {
        GTEST_SKIP() << "one processor alone";
    }
    using kernel::SpinPatience;
    SpinPatience patience;
    std::atomic<bool> flag{false};
    constexpr int kWaits = 50 * (SpinPatience::kMostSkipped + 1);
    const std::clock_t start = std::clock();
    for (int wait = 0; wait < kWaits; ++wait) {
        ASSERT_FALSE(patience.spin(flag));
    }
    const double spentUs = double(std::clock() - start) * 1e6 / CLOCKS_PER_SEC;
    EXPECT_LT(spentUs, kWaits * SpinPatience::kSpinUs / 8.0) << "long waits burn the processor";
    flag = true;
    std::uint32_t skipped = 0;
    while (!patience.spin(flag)) {
        ASSERT_LE(++skipped, SpinPatience::kMostSkipped) << "never tried again";
    }
    EXPECT_TRUE(patience.spin(flag)) << "not trusted again after one success";
}

TEST(WaitableTest, MayBeDestroyedAsSoonAsItsWaitReturns) {
    // Who signals must not touch the object once the waiter can know of the signal; the sanitizers see it if it does.
    for (int round = 0; round < 500; ++round) {
        auto event = std::make_unique<kernel::AutoResetEvent>();
        kernel::Thread setter([raw = event.get()] { raw->set(); });
        ASSERT_EQ(event->wait(kPatienceMs), WaitResult::kSignalled);
        event.reset();
    }
}
