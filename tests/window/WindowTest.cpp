#include "platform/kernel/Event.h"
#include "platform/kernel/Thread.h"
#include "platform/window/MessageQueue.h"
#include "platform/window/PumpingWait.h"
#include "tests/support/ErrorLog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

using kernel::WaitResult;
using window::WaitOutcome;

namespace {

constexpr std::uint32_t kPatienceMs = 10000;

const kernel::ThreadId kHere = kernel::currentThreadId();

void emptyQueue() {
    window::Message message;
    while (window::peek(message)) {
    }
}

} // namespace

TEST(MessageQueueTest, AMessageGoesWithItsThread) {
    auto owned = std::make_shared<int>(1);
    kernel::AutoResetEvent ready;
    kernel::AutoResetEvent finish;
    {
        kernel::Thread thread([&] {
            window::createQueue();
            ready.set();
            finish.wait();
        });
        ready.wait();
        EXPECT_TRUE(window::post(thread.id(), [owned] {}));
        finish.set();
    }
    EXPECT_EQ(owned.use_count(), 1) << "a message outlived its thread";
}

TEST(WaitForObjectOrInputTest, LosesNeitherSignalsNorMessages) {
    constexpr int kRounds = 4000;
    window::createQueue();
    kernel::AutoResetEvent event;
    kernel::AutoResetEvent answer;
    kernel::Thread poster([&] {
        for (int round = 0; round < kRounds; ++round) {
            const bool signal = round % 4 == 0;
            if (signal) {
                event.set(); // and at once a message, which must not take the signal's place in the woken wait
            }
            window::post(kHere, [] {});
            if (signal && answer.wait(kPatienceMs) == WaitResult::kTimedOut) {
                return;
            }
        }
    });
    int signals = 0;
    int messages = 0;
    while (signals < kRounds / 4 || messages < kRounds) {
        const WaitOutcome outcome = window::waitForObjectOrInput(event, kPatienceMs);
        ASSERT_NE(outcome, WaitOutcome::kTimedOut) << signals << " signals, " << messages << " messages";
        if (outcome == WaitOutcome::kObject) {
            ++signals;
            answer.set();
        }
        window::Message message;
        if (outcome == WaitOutcome::kInput && window::peek(message)) {
            ++messages;
        }
    }
    EXPECT_EQ(signals, kRounds / 4);
    EXPECT_EQ(messages, kRounds);
}

TEST(PumpingWaitTest, RunsMessagesWhileItWaits) {
    const struct {
        const char* name;
        window::Pump pump;
        std::string ran;
    } rows[] = {
        {"the whole queue runs before the object is looked at", window::Pump::kWholeQueue, "ab"},
        {"the object is looked at after each message", window::Pump::kOneByOne, "a"},
    };
    window::createQueue();
    for (const auto& row : rows) {
        kernel::AutoResetEvent event;
        std::string ran;
        window::post(kHere, [&] {
            ran += 'a';
            event.set();
        });
        window::post(kHere, [&] { ran += 'b'; });
        EXPECT_EQ(window::pumpingWait(event, kPatienceMs, row.pump), WaitResult::kSignalled) << row.name;
        EXPECT_EQ(ran, row.ran) << row.name;
        emptyQueue();
        EXPECT_EQ(window::waitForObjectOrInput(event, 0), WaitOutcome::kTimedOut) << "a wait for nothing would spin";
    }
}

TEST(PumpingWaitTest, TimesOutAlthoughMessagesKeepComing) {
    kernel::AutoResetEvent never;
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    const std::function<void()> again = [&] {
        if (std::chrono::steady_clock::now() < giveUp) {
            window::post(kHere, again);
        }
    };
    window::createQueue();
    for (const auto pump : {window::Pump::kWholeQueue, window::Pump::kOneByOne}) {
        window::post(kHere, again);
        EXPECT_EQ(window::pumpingWait(never, 10, pump), WaitResult::kTimedOut);
        EXPECT_LT(std::chrono::steady_clock::now(), giveUp) << "the time-out began anew with each message";
        emptyQueue();
    }
}

TEST(PumpingWaitTest, SurvivesAMessageThatThrows) {
    const ErrorLog log;
    window::createQueue();
    kernel::AutoResetEvent event;
    window::post(kHere, [] { throw std::runtime_error("boom"); });
    window::post(kHere, [&] { event.set(); });
    EXPECT_EQ(window::pumpingWait(event, kPatienceMs), WaitResult::kSignalled);
    EXPECT_EQ(log.text(), "window::dispatch - A message threw an exception: boom\n");
}
