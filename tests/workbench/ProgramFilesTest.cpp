#include "workbench/ProgramFiles.h"

#include "tests/support/ErrorLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <map>

using Files = std::map<std::string, std::string>;

namespace {

constexpr const char* kNames[] = {"NV Decoder.vrk", "NV Decoder.units", "Sample Phone.nvmem", "Tessra.toml"};

std::string present(const char* name) {
    return readText(std::filesystem::path(CALVANE_SOURCE_DIR "/data") / name);
}

} // namespace

/// A later version is installed, so that the present files are old ones. One that was changed without a row in the
/// table of shipped files would be taken for the user's.
TEST(ProgramFilesTest, WhatIsAsShippedGivesWayAndWhatIsTheUsersStays) {
    const auto [ring, units, sample, ports] = kNames;
    const Files all{{ring, present(ring)}, {units, present(units)}, {sample, present(sample)}, {ports, present(ports)}};
    const Files placed{{ports, "later"}};
    const Files ownUnits{{ring, present(ring)}, {units, "mine"}, {ports, "mine"}};
    const Files ownRing{{ring, "mine"}, {units, present(units)}, {ports, "mine"}};
    const Files unitsAlone{{units, "mine"}, {ports, "mine"}};
    const Files others{
        {"COM1.nvmem", "x"}, {"calvane", "a note"}, {sample, "mine"}, {"CALVANE.HLP", "mine"}, {ports, "mine"}};
    const Files programs{{"calvane", "\x7F"
                                     "ELF..."},
                         {"CALVANE.HLP", "old"}};
    const struct {
        const char* name;
        Files before, after;
        bool isRingOwn;
    } rows[] = {
        {"first start", {}, placed, false},
        {"all as shipped", all, placed, false},
        {"units of the user's keep their ring", ownUnits, ownUnits, true},
        {"a ring of the user's keeps its units", ownRing, ownRing, true},
        {"units alone", unitsAlone, unitsAlone, false},
        {"other files", others, others, false},
        {"programs of an earlier version", programs, placed, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const ErrorLog log;
        const TemporaryFolder top;
        const kernel::ProgramFolders folders{.program = top.path, .shipped = top.path, .own = top / "own" / "calvane"};
        for (const char* name : kNames) {
            writeText(folders.shipped / name, "later");
        }
        for (const auto& [name, text] : row.before) {
            std::filesystem::create_directories(folders.own);
            writeText(folders.own / name, text);
        }
        const auto ringInUse = (row.isRingOwn ? folders.own : folders.shipped) / ring;
        EXPECT_EQ(workbench::ringFile(folders.own, folders.shipped), ringInUse);
        workbench::bringUpToDate(folders);
        EXPECT_EQ(workbench::ringFile(folders.own, folders.shipped), ringInUse);
        Files after;
        for (const auto& entry : std::filesystem::directory_iterator(folders.own)) {
            after[entry.path().filename()] = readText(entry.path());
        }
        EXPECT_EQ(after, row.after);
        EXPECT_EQ(log.contains("Can't use"), std::string(row.name) == "units alone") << log.text();
    }
    const ErrorLog log;
    const TemporaryFolder top;
    std::filesystem::create_symlink("/nowhere", top / "own");
    workbench::bringUpToDate({.program = top.path, .shipped = top.path, .own = top / "own"});
    EXPECT_TRUE(log.contains("a link that leads to no folder")) << log.text();
}
