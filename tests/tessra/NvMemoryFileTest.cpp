#include "tessra/NvMemoryFile.h"

#include "TestFiles.h"
#include "platform/kernel/Trace.h"
#include "tessra/ConfigError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <optional>

using namespace tessra;
using testing::HasSubstr;

namespace {

std::array<std::uint8_t, kNvDataBytes> bytesOf(std::uint8_t first, std::uint8_t last = 0) {
    std::array<std::uint8_t, kNvDataBytes> data{};
    data.front() = first;
    data.back() = last;
    return data;
}

/// Collects the error log for a scope.
class ErrorLog {
public:
    ErrorLog() {
        kernel::setErrorLog([this](std::string_view message) { text += std::string(message) + "\n"; });
    }
    ~ErrorLog() { kernel::setErrorLog({}); }
    std::string text;
};

/// Files of this process can't grow beyond a length for a scope, as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    sighandler_t handler_;
    rlimit before_{};
};

/// The cells of a file as they would be read after the process's end now.
NvCells cellsIn(const std::filesystem::path& file) {
    const std::string text = readText(file);
    return parseNvMemory(text.substr(0, text.rfind('\n') + 1), file).cells;
}

} // namespace

TEST(NvMemoryText, SaysWhichLineIsWrongAndWhy) {
    struct Row {
        const char* name;
        const char* text;
        const char* message;
    };
    const Row rows[] = {
        {"number too large", "1 0 00\n65536 0 00\n", "m:2: the item number '65536' is not a number from 0 to 65535"},
        {"number in hexadecimal", "0x10 0 00\n", "m:1: the item number '0x10' is not a number from 0 to 65535"},
        {"no status", "\n// c\n7\n", "m:3: the NV status '' is not a number from 0 to 65535"},
        {"no data", "7 0\n", "m:1: the data must be \"-\" or 2 to 256 hexadecimal digits, an even number of them"},
        {"odd digits", "7 0 123\n",
         "m:1: the data must be \"-\" or 2 to 256 hexadecimal digits, an even number of them"},
        {"upper case", "7 0 AB\n", "m:1: the data has a character that is no lower-case hexadecimal digit"},
        {"unknown mark", "7 0 ab locked\n", "m:1: unknown mark 'locked'"},
        {"a fifth word", "7 0 ab readonly protected\n", "m:1: more follows after the marks"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        try {
            parseNvMemory(row.text, "m");
            ADD_FAILURE() << "accepted";
        } catch (const ConfigError& error) {
            EXPECT_STREQ(error.what(), row.message);
        }
    }
    EXPECT_THROW(parseNvMemory("7 0 " + std::string(258, '0') + "\n", "m"), ConfigError);
}

TEST(NvMemoryText, ComesBackAsItWasWritten) {
    const std::string text = "// comment\n\n10 0 01\r\n 11\t5 - // inactive\n12 0 " + std::string(254, '0') +
                             "7f readonly\n13 8 - readonly,protected\n10 0 02 protected\n";
    const NvMemoryText memory = parseNvMemory(text, "m");
    EXPECT_EQ(memory.itemLines, 5U);
    ASSERT_EQ(memory.cells.size(), 4U);
    EXPECT_EQ(memory.cells.at(10), (NvCell{0, false, true, bytesOf(2)}));
    EXPECT_EQ(memory.cells.at(11), (NvCell{5, false, false, {}}));
    EXPECT_EQ(memory.cells.at(12), (NvCell{0, true, false, bytesOf(0, 0x7F)}));
    EXPECT_EQ(memory.cells.at(13), (NvCell{8, true, true, {}}));
    EXPECT_EQ(parseNvMemory(formatNvMemory(memory.cells), "m").cells, memory.cells);
}

TEST(NvMemoryFile, EveryStoredItemIsInTheFileBeforeTheAnswer) {
    const TemporaryFolder folder;
    writeText(folder / "initial",
              "1 0 aa readonly\n2 0 bb protected\n"); // its last line counts without a line feed too
    NvCells expected;
    {
        NvMemoryFile memory(folder / "m", folder / "initial");
        EXPECT_FALSE(std::filesystem::exists(folder / "m")) << "made before anything was stored";
        expected = parseNvMemory(readText(folder / "initial"), "i").cells;
        for (std::uint16_t i = 0; i < 400; ++i) { // often enough to be rewritten in between
            const std::uint16_t number = i % 7;
            const auto data = bytesOf(static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8));
            ASSERT_EQ(memory.store(number, data), kNvDone);
            expected[number].data = data;
            ASSERT_EQ(cellsIn(folder / "m"), expected) << "after store " << i;
        }
        EXPECT_LT(readText(folder / "m").size(), 150U * 270U) << "never rewritten";
    }
    EXPECT_EQ(parseNvMemory(readText(folder / "m"), "m").itemLines, expected.size()) << "not rewritten at the end";
    EXPECT_EQ(cellsIn(folder / "m"), expected);
    EXPECT_FALSE(std::filesystem::exists(folder / "m.tmp"));
    NvMemoryFile again(folder / "m", folder / "gone"); // where there is a memory, the initial one does not matter
    EXPECT_TRUE(again.find(1)->readOnly);
    EXPECT_TRUE(again.find(2)->isProtected);
}

TEST(NvMemoryFile, WhatWasAnsweredSurvivesBeingKilled) {
    const TemporaryFolder folder;
    for (int round = 0; round < 8; ++round) {
        int answers[2];
        ASSERT_EQ(::pipe(answers), 0);
        const pid_t child = ::fork();
        if (child == 0) { // stores the counts from 1 in one item, which is rewritten all the time
            NvMemoryFile memory(folder / "m", "");
            for (std::uint8_t i = 1; i != 0 && memory.store(7, bytesOf(i, i)) == kNvDone; ++i) {
                if (::write(answers[1], &i, 1) != 1) {
                    break;
                }
            }
            ::pause();
        }
        std::uint8_t last = 0;
        for (int i = 0; i < 95 + 4 * round; ++i) { // the rewrite comes after about 103 lines
            ASSERT_EQ(::read(answers[0], &last, 1), 1);
        }
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ::close(answers[1]);
        while (::read(answers[0], &last, 1) == 1) {
        }
        ::close(answers[0]);
        const NvMemoryFile memory(folder / "m", "");
        ASSERT_NE(memory.find(7), nullptr);
        const int stored = memory.find(7)->data[0];
        EXPECT_TRUE(stored == last || stored == last + 1)
            << stored << " is left where " << int{last} << " was answered";
    }
}

TEST(NvMemoryFile, ATornLastLineDoesNotCountAndDoesNoHarm) {
    const TemporaryFolder folder;
    writeText(folder / "m", "1 0 aa\n2 0 bb\n2 0 cc"); // complete to look at, but its line feed is missing
    const ErrorLog log;
    {
        NvMemoryFile memory(folder / "m", "");
        EXPECT_EQ(memory.find(2)->data[0], 0xBB);
        EXPECT_THAT(log.text, HasSubstr("is incomplete and does not count"));
        EXPECT_EQ(memory.store(3, bytesOf(1)), kNvDone);
        EXPECT_EQ(readText(folder / "m"), "1 0 aa\n2 0 bb\n3 0 01\n");
    }
    EXPECT_EQ(cellsIn(folder / "m").size(), 3U);
}

TEST(NvMemoryFile, AFileWithABadLineIsLeftAlone) {
    const TemporaryFolder folder;
    const std::string text = "1 0 aa\nrubbish\n2 0";
    writeText(folder / "m", text);
    try {
        NvMemoryFile(folder / "m", "");
        ADD_FAILURE() << "accepted";
    } catch (const ConfigError& error) {
        EXPECT_THAT(error.what(), HasSubstr("/m:2: the item number 'rubbish'"));
    }
    EXPECT_EQ(readText(folder / "m"), text);
}

TEST(NvMemoryFile, AFullDiskRefusesTheItemAndKeepsTheRest) {
    const TemporaryFolder folder;
    const ErrorLog log;
    writeText(folder / "m", "1 0 aa\n");
    {
        NvMemoryFile memory(folder / "m", "");
        {
            const FileSizeLimit limit(20);
            EXPECT_EQ(memory.store(2, bytesOf(2)), kNvDone);
            EXPECT_EQ(memory.store(3, bytesOf(3, 3)), kNvFull) << "a part of the line fits";
            EXPECT_EQ(memory.store(1, bytesOf(1, 1)), kNvFull);
            EXPECT_EQ(memory.find(3), nullptr);
            EXPECT_EQ(memory.find(1)->data, bytesOf(0xAA));
            EXPECT_EQ(readText(folder / "m"), "1 0 aa\n2 0 02\n");
        }
        EXPECT_EQ(memory.store(3, bytesOf(3)), kNvDone);
        EXPECT_EQ(readText(folder / "m"), "1 0 aa\n2 0 02\n3 0 03\n");
        const FileSizeLimit limit(20); // the rewrite at the end fails as well
        memory.~NvMemoryFile();
        new (&memory) NvMemoryFile("", "");
    }
    EXPECT_EQ(readText(folder / "m"), "1 0 aa\n2 0 02\n3 0 03\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "m.tmp"));

    const FileSizeLimit limit(20); // the first write makes the file, or nothing
    NvMemoryFile fresh(folder / "n", "");
    EXPECT_EQ(fresh.store(1, bytesOf(1)), kNvFull);
    EXPECT_EQ(fresh.find(1), nullptr);
    EXPECT_FALSE(std::filesystem::exists(folder / "n"));
}

TEST(NvMemoryFile, WhatSomebodyElseHasChangedIsNotWrittenOver) {
    const TemporaryFolder folder;
    const ErrorLog log;
    writeText(folder / "m", "1 0 aa\n");
    {
        NvMemoryFile memory(folder / "m", "");
        EXPECT_EQ(memory.store(2, bytesOf(2)), kNvDone);
        writeText(folder / "edited", "1 0 ee\n");
        std::filesystem::rename(folder / "edited", folder / "m");
        EXPECT_EQ(memory.store(3, bytesOf(3)), kNvFailed);
    }
    EXPECT_EQ(readText(folder / "m"), "1 0 ee\n");
    EXPECT_THAT(log.text, HasSubstr("somebody else has changed the file"));
}

TEST(NvMemoryFile, OneHolderAtATimeAlsoAcrossProcesses) {
    const TemporaryFolder folder;
    std::optional<NvMemoryFile> memory(std::in_place, folder / "m", "");
    EXPECT_THROW(NvMemoryFile(folder / "m", ""), NvMemoryUnavailable);
    EXPECT_THROW(NvMemoryFile(folder.path / "." / "m", ""), NvMemoryUnavailable) << "the same file by another name";
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    memory.reset();
    const pid_t child = ::fork();
    if (child == 0) { // holds the memory until it is killed
        const NvMemoryFile own(folder / "m", "");
        const bool told = ::write(ready[1], "x", 1) == 1;
        ::pause();
        ::_exit(told ? 0 : 1);
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_THROW(NvMemoryFile(folder / "m", ""), NvMemoryUnavailable);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_NO_THROW(NvMemoryFile(folder / "m", "")) << "a killed holder left its lock";
    ::close(ready[0]);
    ::close(ready[1]);
}
