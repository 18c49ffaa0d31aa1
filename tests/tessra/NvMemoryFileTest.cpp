#include "tessra/simulator/NvMemoryFile.h"

#include "tessra/simulator/ConfigError.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace tessra;

namespace {

std::array<std::uint8_t, kNvDataBytes> bytesOf(std::uint8_t first, std::uint8_t last = 0) {
    std::array<std::uint8_t, kNvDataBytes> data{};
    data.front() = first;
    data.back() = last;
    return data;
}

NvCells cellsIn(const std::filesystem::path& file) {
    return parseNvMemory(readText(file), file);
}

TEST(NvMemoryText, SaysWhichLineIsWrongAndWhy) {
    const auto failure = [](const std::string& text) {
        return messageOf<ConfigError>([&] { parseNvMemory(text, "m"); });
    };
    EXPECT_EQ(failure("\n65536 0 00\n"), "m:2: the item number '65536' is not a number from 0 to 65535");
    for (const auto& digits : {std::string("123"), std::string(258, '0')}) {
        EXPECT_EQ(failure("7 0 " + digits),
                  "m:1: the data must be \"-\" or 2 to 256 hexadecimal digits, an even number of them");
    }
}

TEST(NvMemoryText, ComesBackAsItWasWritten) {
    const std::string text = "// comment\n\n9 0 01\r\n 11\t5 - // inactive\n12 0 " + std::string(254, '0') +
                             "7f readonly\n13 8 - readonly,protected\n10 0 02 protected"; // the last line has no end
    const NvCells memory = parseNvMemory(text, "m");
    EXPECT_EQ(memory, (NvCells{{9, {0, false, false, bytesOf(1)}},
                               {10, {0, false, true, bytesOf(2)}},
                               {11, {5, false, false, {}}},
                               {12, {0, true, false, bytesOf(0, 0x7F)}},
                               {13, {8, true, true, {}}}}));
    EXPECT_EQ(parseNvMemory(formatNvMemory(memory), "m"), memory);
}

TEST(NvMemoryFile, EveryStoredItemIsInTheFileBeforeTheAnswer) {
    const TemporaryFolder folder;
    writeText(folder / "initial", "1 0 aa readonly\n2 0 bb protected\n");
    NvCells expected = cellsIn(folder / "initial");
    {
        NvMemoryFile memory(folder / "m", folder / "initial");
        EXPECT_FALSE(std::filesystem::exists(folder / "m")) << "made before anything was stored";
        for (std::uint16_t number = 0; number < 7; ++number) {
            expected[number].data = bytesOf(9, static_cast<std::uint8_t>(number));
            ASSERT_EQ(memory.store(number, expected[number].data), kNvDone);
            ASSERT_EQ(cellsIn(folder / "m"), expected) << "after item " << number;
        }
    }
    const NvMemoryFile again(folder / "m", folder / "gone"); // where there is a memory, the initial one does not matter
    EXPECT_EQ(*again.find(2), expected[2]);
}

TEST(NvMemoryFile, WhatWasAnsweredSurvivesBeingKilled) {
    const TemporaryFolder folder;
    for (int round = 0; round < 8; ++round) {
        int answers[2];
        ASSERT_EQ(::pipe(answers), 0);
        const pid_t child = ::fork();
        if (child == 0) { // stores the counts from 1 in one item
            NvMemoryFile memory(folder / "m", "");
            for (std::uint8_t i = 1; i != 0 && memory.store(7, bytesOf(i, i)) == kNvDone; ++i) {
                if (::write(answers[1], &i, 1) != 1) {
                    break;
                }
            }
            ::pause();
        }
        std::uint8_t last = 0;
        for (int i = 0; i < 50 + 4 * round; ++i) {
            ASSERT_EQ(::read(answers[0], &last, 1), 1);
        }
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ::close(answers[1]);
        while (::read(answers[0], &last, 1) == 1) {
        }
        ::close(answers[0]);
        const NvMemoryFile memory(folder / "m", ""); // the killed holder has left no lock
        ASSERT_NE(memory.find(7), nullptr);
        const int stored = memory.find(7)->data[0];
        EXPECT_TRUE(stored == last || stored == last + 1) << stored << " where " << int{last} << " was answered";
    }
}

TEST(NvMemoryFile, AFullDiskRefusesTheItemAndKeepsTheRest) {
    const TemporaryFolder folder;
    const ErrorLog log;
    NvMemoryFile memory(folder / "m", "");
    ASSERT_EQ(memory.store(1, bytesOf(0xAA)), kNvDone);
    const NvCells before = cellsIn(folder / "m");
    {
        const FileSizeLimit full(10);
        EXPECT_EQ(memory.store(3, bytesOf(3, 3)), kNvFull);
    }
    EXPECT_EQ(memory.find(3), nullptr);
    EXPECT_EQ(cellsIn(folder / "m"), before);
    EXPECT_TRUE(log.contains("item 3 can't be stored in " + (folder / "m").string() + ": File too large"));
    EXPECT_EQ(memory.store(3, bytesOf(3)), kNvDone);
}

TEST(NvMemoryFile, IsLockedUnderEachOfItsNames) {
    const struct {
        const char* name;
        bool isThere;
        bool isHardLink;
        bool isStoredBefore; // the other name is given to the file that has taken the first one's place
    } rows[] = {
        {"a link", true, false, false},
        {"a link before there is a file", false, false, false},
        {"a hard link to what was stored", true, true, true},
        {"a hard link to what was made", false, true, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        if (row.isThere) {
            writeText(folder / "m", "1 0 aa\n");
        }
        NvMemoryFile memory(folder / "m", "");
        ASSERT_TRUE(!row.isStoredBefore || memory.store(1, bytesOf(1)) == kNvDone);
        if (row.isHardLink) {
            std::filesystem::create_hard_link(folder / "m", folder / "other");
        } else {
            std::filesystem::create_symlink("m", folder / "other");
        }
        for (const std::uint8_t value : {std::uint8_t{2}, std::uint8_t{3}}) {
            EXPECT_EQ(messageOf<NvMemoryUnavailable>([&] { const NvMemoryFile other(folder / "other", ""); }),
                      std::filesystem::weakly_canonical(folder / (row.isHardLink ? "other" : "m")).string() +
                          ": this phone memory is in use: this program uses it already");
            ASSERT_EQ(memory.store(1, bytesOf(value)), kNvDone);
        }
        EXPECT_EQ(cellsIn(folder / "other").at(1).data, bytesOf(3));
    }
}

TEST(NvMemoryFile, LeavesAloneWhatIsSomebodyElses) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("elsewhere", folder / "m.lock");
    EXPECT_EQ(messageOf<NvMemoryUnavailable>([&] { const NvMemoryFile memory(folder / "m", ""); }),
              (folder / "m").string() + ": its lock file can't be opened: Too many levels of symbolic links");
    EXPECT_FALSE(std::filesystem::exists(folder / "elsewhere"));
    std::filesystem::remove(folder / "m.lock");

    writeText(folder / "m", "1 0 aa\n");
    writeText(folder / "m.tmp", "not ours");
    ASSERT_EQ(::chmod((folder / "m").c_str(), 0640), 0);
    const bool isRoot = ::chown((folder / "m").c_str(), 1234, 1235) == 0;
    NvMemoryFile memory(folder / "m", "");
    ASSERT_EQ(memory.store(1, bytesOf(1)), kNvDone);
    struct stat after {};
    ASSERT_EQ(::stat((folder / "m").c_str(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0640U);
    EXPECT_TRUE(!isRoot || (after.st_uid == 1234 && after.st_gid == 1235));
    EXPECT_EQ(readText(folder / "m.tmp"), "not ours");
}

} // namespace
