#include "platform/kernel/Event.h"
#include "platform/kernel/Mutex.h"
#include "platform/kernel/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>

using kernel::WaitResult;

namespace {

constexpr std::uint32_t kPatienceMs = 10000; // for what must come; only a failing test waits so long

bool onAnotherThread(const std::function<bool()>& call) {
    bool result = false;
    kernel::Thread([&] { result = call(); }).join();
    return result;
}

} // namespace

TEST(AutoResetEventTest, EachSetReleasesExactlyOneOfManyWaiters) {
    kernel::AutoResetEvent event;
    kernel::AutoResetEvent passed;
    std::atomic<int> through{0};
    const auto wait = [&] {
        if (event.wait(kPatienceMs) == WaitResult::kSignalled) {
            ++through;
        }
        passed.set();
    };
    kernel::Thread first(wait), second(wait), third(wait);
    for (int released = 1; released <= 3; ++released) {
        event.set();
        ASSERT_EQ(passed.wait(kPatienceMs), WaitResult::kSignalled);
        ASSERT_EQ(through, released);
        ASSERT_EQ(passed.wait(5), WaitResult::kTimedOut) << "one set released more than one";
    }
    event.set();
    event.set();
    EXPECT_TRUE(event.tryWait());
    EXPECT_FALSE(event.tryWait()) << "two sets without a waiter were counted as two";
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

TEST(WaitForAnyTest, TakesTheFirstSignalledObjectAlone) {
    kernel::AutoResetEvent first;
    kernel::ManualResetEvent second;
    kernel::Waitable* const both[] = {&first, &second};
    EXPECT_EQ(kernel::waitForAny(both, 5), std::nullopt);
    second.set();
    first.set();
    EXPECT_EQ(kernel::waitForAny(both, kernel::kInfinite), 0U);
    EXPECT_EQ(kernel::waitForAny(both, kernel::kInfinite), 1U);
    EXPECT_EQ(kernel::waitForAny(both, kernel::kInfinite), 1U) << "it lets every wait through";
    second.reset();
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

TEST(WaitableTest, MayBeDestroyedAsSoonAsItsWaitReturns) {
    // Who signals must not touch the object once the waiter can know of the signal; the sanitizers see it if it does.
    for (int round = 0; round < 500; ++round) {
        auto event = std::make_unique<kernel::AutoResetEvent>();
        kernel::Thread setter([raw = event.get()] { raw->set(); });
        ASSERT_EQ(event->wait(kPatienceMs), WaitResult::kSignalled);
        event.reset();
    }
}
