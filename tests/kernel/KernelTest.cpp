#include "platform/kernel/Event.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Text.h"
#include "platform/kernel/Thread.h"
#include "platform/kernel/TickCount.h"
#include "platform/kernel/Trace.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(TickCountTest, ElapsedTimeAcrossTheWrap) {
    const struct {
        std::uint32_t start, now, elapsed;
    } rows[] = {
        {7, 7, 0}, {100, 350, 250}, {0, 0xFFFFFFFF, 0xFFFFFFFF}, {0xFFFFFFFF, 0, 0}, {5, 4, 0xFFFFFFFE},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(kernel::elapsedMs(row.start, row.now), row.elapsed) << row.start << " to " << row.now;
    }
}

TEST(TextTest, TellsUtf8FromOtherBytesAndTearsNoCharacter) {
    for (const char* text : {"", "a\x7F", "\xC2\x80\xDF\xBF", "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF",
                             "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(kernel::isUtf8(text)) << text;
    }
    for (const char* text : {"\x80", "\xC1\xBF", "\xC2", "a\xE4 ", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE1\x80",
                             "\xE1\x80z", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
        EXPECT_FALSE(kernel::isUtf8(text)) << text;
    }
    EXPECT_EQ(kernel::shortened("a\xE2\x82\xAC", 4), "a\xE2\x82\xAC");
    EXPECT_EQ(kernel::shortened("a\xE2\x82\xAC"
                                "b",
                                4),
              "a\xE2\x82\xAC...");
    EXPECT_EQ(kernel::shortened("a\xE2\x82\xAC"
                                "b",
                                3),
              "a...");
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

TEST(TraceTest, FailuresOfThreadsEndInTheLog) {
    const ErrorLog log;
    kernel::Thread([] { throw std::runtime_error("boom"); }).join();
    kernel::Thread([] { throw 7; }).join();
    EXPECT_EQ(log.text(), "kernel::Thread - An exception ended the thread: boom\n"
                          "kernel::Thread - An unknown exception ended the thread.\n");
    kernel::setErrorLog([](std::string_view) { throw 7; });
    kernel::logError("a sink that throws is no reason to die");
}

TEST(ProcessTest, FindsWhatWasShippedAndWhatIsTheUsers) {
    const TemporaryFolder top;
    const auto system = "/usr/.." / top.path.relative_path(); // the same folder, by a way below /usr
    for (const char* folder : {"usr/lib/calvane", "usr/share/calvane", "me/lib/calvane", "me/share/calvane", "bin",
                               "usr/src/bin", "usr/bare/lib/calvane"}) {
        std::filesystem::create_directories(top / folder);
    }
    const struct {
        std::filesystem::path program;
        const char *dataHome, *home;
        std::filesystem::path shipped, own;
    } rows[] = {
        {system / "me/lib/calvane", "/d", "/h", system / "me/share/calvane", "/d/calvane"},
        {system / "me/lib/calvane", nullptr, "/h", system / "me/share/calvane", "/h/.local/share/calvane"},
        {system / "me/lib/calvane", "relative", "/h", system / "me/share/calvane", "/h/.local/share/calvane"},
        {system / "me/lib/calvane", nullptr, "", system / "me/share/calvane", system / "me/lib/calvane"},
        {top / "usr/lib/calvane", "/d", "/h", top / "usr/share/calvane", top / "usr/lib/calvane"}, // a user's own usr
        {top / "me/lib/calvane", "/d", "/h", top / "me/share/calvane", top / "me/lib/calvane"},
        {top / "bin", "/d", "/h", top / "bin", top / "bin"},
        {top / "usr/src/bin", "/d", "/h", top / "usr/src/bin", top / "usr/src/bin"},
        {top / "usr/bare/lib/calvane", "/d", "/h", top / "usr/bare/lib/calvane", top / "usr/bare/lib/calvane"},
        {"/proc/self", "/d", "/h", "/proc/self", "/d/calvane"}, // nobody writes there
    };
    for (const auto& row : rows) {
        const auto folders = kernel::programFoldersOf(row.program, row.dataHome, row.home);
        EXPECT_EQ(folders.shipped, row.shipped) << row.program;
        EXPECT_EQ(folders.own, row.own) << row.program;
    }
}
