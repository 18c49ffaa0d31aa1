#include "platform/kernel/Event.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Thread.h"
#include "platform/kernel/TickCount.h"
#include "platform/kernel/Trace.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

TEST(TickCountTest, ElapsedTimeAcrossTheWrap) {
    const struct {
        const char* name;
        std::uint32_t start, now, elapsed;
    } rows[] = {
        {"no time", 7, 7, 0},
        {"no wrap", 100, 350, 250},
        {"the whole range", 0, 0xFFFFFFFF, 0xFFFFFFFF},
        {"wrapped to zero", 0xFFFFFFFF, 0, 0},
        {"wrapped past zero", 0xFFFFFFF0, 0x10, 0x1F},
        {"now one below start", 5, 4, 0xFFFFFFFE},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(kernel::elapsedMs(row.start, row.now), row.elapsed) << row.name;
    }
}

TEST(TickCountTest, GoesOnCountingFromWhereATestPutsIt) {
    kernel::setTickCountForTests(0xFFFFFFFE);
    const std::uint32_t start = kernel::tickCount();
    EXPECT_GE(start, 0xFFFFFFFE);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (kernel::tickCount() >= 0xFFFFFFFE && std::chrono::steady_clock::now() < deadline) {
        kernel::sleepMs(1);
    }
    EXPECT_LT(kernel::tickCount(), 20000U);
    kernel::resetTickCountForTests();
    const std::uint32_t before = kernel::tickCount();
    kernel::sleepMs(5);
    const std::uint32_t slept = kernel::elapsedMs(before, kernel::tickCount());
    EXPECT_TRUE(slept >= 4 && slept < 10000) << slept;
}

TEST(ThreadTest, HasAnIdOfItsOwnAndEnds) {
    kernel::ThreadId inside;
    kernel::AutoResetEvent go;
    kernel::Thread thread([&] {
        inside = kernel::currentThreadId();
        go.wait();
    });
    EXPECT_EQ(thread.ended().wait(5), kernel::WaitResult::kTimedOut);
    go.set();
    EXPECT_EQ(thread.ended().wait(10000), kernel::WaitResult::kSignalled);
    thread.join();
    EXPECT_EQ(thread.id(), inside);
    EXPECT_NE(inside, kernel::currentThreadId());
    EXPECT_NE(kernel::Thread([] {}).id(), inside) << "the id of an ended thread came back";
}

TEST(TraceTest, FailuresOfThreadsEndInTheLogAndTracesInTheSink) {
    std::vector<std::string> errors;
    std::vector<std::string> traces;
    kernel::debugOutput("nobody listens");
    kernel::setErrorLog([&](std::string_view text) { errors.emplace_back(text); });
    kernel::setDebugOutput([&](std::string_view text) { traces.emplace_back(text); });
    kernel::Thread([] { throw std::runtime_error("boom"); }).join();
    kernel::Thread([] { throw 7; }).join();
    kernel::debugOutput("seen\n");
    kernel::setErrorLog([](std::string_view) { throw 7; });
    kernel::logError("a sink that throws is no reason to die");
    kernel::setErrorLog({});
    kernel::setDebugOutput({});
    kernel::debugOutput("silent again");
    EXPECT_EQ(errors, (std::vector<std::string>{"kernel::Thread - An exception ended the thread: boom",
                                                "kernel::Thread - An unknown exception ended the thread."}));
    EXPECT_EQ(traces, std::vector<std::string>{"seen\n"});
}

TEST(ProcessTest, KnowsItsPlace) {
    EXPECT_TRUE(std::filesystem::exists(kernel::programDirectory() / "calvane_kernel_tests"));
    EXPECT_NE(kernel::processId(), 0U);
    const auto name = kernel::computerName();
    ASSERT_TRUE(name.has_value());
    EXPECT_TRUE(!name->empty() && name->size() <= 15 && name->find('.') == std::string::npos) << *name;
}
