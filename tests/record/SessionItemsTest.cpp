// Items of a session, and what it takes to put them back.

#include "workbench/record/SessionItems.h"

#include "engine/Calvane.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace record {
namespace {

TEST(SessionItems, ItemsToPutBackAreThoseThatTheRingLetsWrite) {
    const TemporaryFolder folder;
    writeText(folder / "ring", "NV_B,30,ReadWrite,<BYTE,x>#\nNV_A,10,ReadWrite,<BYTE,x>#\nNV_LOCKED,20,ReadOnly,"
                               "<BYTE,x>#\nNV_RF_NV_LOADED_DATE_I,40,ReadWrite Time,<DWORD,d>#\n");
    Calvane catalog;
    catalog.loadDecoderRingFile((folder / "ring").string());
    std::vector<SessionItem> written;
    for (const std::uint16_t number : std::initializer_list<std::uint16_t>{40, 30, 20, 10, 99}) {
        written.push_back({.number = number,
                           .state = ItemState::kVerified,
                           .before = ItemData{1},
                           .wanted = ItemData{2},
                           .after = ItemData{2}});
    }
    written.push_back({.number = 11, .state = ItemState::kRefused, .before = ItemData{3}, .wanted = ItemData{4}});
    written.push_back({.number = 12, .state = ItemState::kNotKnown, .wanted = ItemData{4}});
    const auto textOf = [](const SessionSet& set) {
        std::string text;
        for (const NvItem& item : set.items) {
            text += std::to_string(item.getId()) + "=" + std::to_string(item.rawData()[0]) + " ";
        }
        for (const LeftBehind& left : set.left) {
            text += "| " + std::to_string(left.number) + " " + left.reason + " ";
        }
        return text;
    };
    EXPECT_EQ(textOf(itemsOf(written, Which::kAfter, catalog)),
              "10=2 11=3 20=2 30=2 40=2 99=2 | 12 no value was known ");
    EXPECT_EQ(textOf(restorationOf(written, Which::kBefore, catalog, true)),
              "10=1 30=1 40=1 | 11 not in the ring | 12 no value was known | 20 read-only | 99 not in the ring ");
    EXPECT_EQ(textOf(restorationOf(std::span(written).first(1), Which::kAfter, catalog, false)),
              "| 40 set to the time of the write ");
}

} // namespace
} // namespace record
