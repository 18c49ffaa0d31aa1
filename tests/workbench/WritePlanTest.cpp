// What a plan writes, what it leaves out, and what becomes of bytes that nobody sees.

#include "workbench/WritePlan.h"

#include <gtest/gtest.h>

namespace {

using namespace workbench;

/// Two of its 128 bytes are described.
NvItem itemOf(int number, std::uint8_t first, const std::string& access = "ReadWrite") {
    NvItem item("NV_X," + std::to_string(number) + "," + access + ",<BYTE,x>#<BYTE,y>#");
    const ItemData data{first, 2, 0xAA};
    item.setRawData(data);
    return item;
}

NvItem withoutFields() {
    NvItem item;
    item.setRawData(itemOf(1, 1).rawData());
    return item;
}

ItemReading readingOf(std::uint16_t number, ReadState state, std::uint8_t first = 0) {
    ItemReading reading{.number = number, .state = state};
    if (state == ReadState::kRead) {
        reading.data = {first, 2, 0xEE};
    }
    return reading;
}

TEST(WritePlanTest, LeavesOutWhatWouldDoHarmOrNothing) {
    // Each in the plan, ticked, and unticked: written, read-only, never had a value, equal, not ticked.
    const std::pair<WantedItem, std::pair<ItemReading, std::string>> rows[] = {
        {{itemOf(1, 1)}, {readingOf(1, ReadState::kRead, 9), "wwu"}},
        {{itemOf(2, 1)}, {readingOf(2, ReadState::kRead, 1), "ewe"}},
        {{itemOf(3, 1, "ReadOnly")}, {readingOf(3, ReadState::kRead, 9), "rrr"}},
        {{itemOf(4, 1), false}, {readingOf(4, ReadState::kRead, 9), "nwn"}},
        {{itemOf(5, 1)}, {readingOf(5, ReadState::kNoValue), "wwu"}},
        {{itemOf(6, 1)}, {readingOf(6, ReadState::kMissing), "wwu"}},
        {{itemOf(7, 1), true, true}, {readingOf(7, ReadState::kRead, 1), "wwu"}},
    };
    ReadReport onPhone;
    std::vector<WantedItem> wanted;
    for (const auto& row : rows) {
        wanted.push_back(row.first);
        onPhone.readings.push_back(row.second.first);
    }
    WritePlan plan = makePlan(wanted, onPhone);
    EXPECT_EQ(plan.summary(), "4 to be written, 1 equal, 1 without a value left out, 1 read-only left out");
    for (std::size_t i = 0; i < plan.rows.size(); ++i) {
        std::string states;
        const auto note = [&] { states += "wrneu"[static_cast<int>(plan.rows[i].leftOut)]; };
        note();
        plan.setTicked(i, true);
        note();
        plan.setTicked(i, false);
        note();
        EXPECT_EQ(states, rows[i].second.second) << i;
    }
    EXPECT_EQ(plan.summary(), "1 equal, 1 without a value left out, 1 read-only left out, 4 not ticked");
    EXPECT_EQ(WritePlan().summary(), "nothing to be written");
}

TEST(WritePlanTest, KeepsThePhonesBytesBehindTheSubFields) {
    const struct {
        const char* name;
        WantedItem wanted;
        ReadState onPhone;
        std::uint8_t behind; ///< the byte after the sub-fields: the item's has 0xAA, the phone's 0xEE
        bool isToBeRead;
    } rows[] = {
        {"the phone's", {itemOf(1, 1)}, ReadState::kRead, 0xEE, false},
        {"a file's", {itemOf(1, 1), true, true}, ReadState::kRead, 0xAA, false},
        {"an item without sub-fields", {withoutFields()}, ReadState::kRead, 0xAA, false},
        {"the phone has none", {itemOf(1, 1)}, ReadState::kNoValue, 0, false},
        {"the answer was lost", {itemOf(1, 1)}, ReadState::kMissing, 0, true},
        {"the phone can't read it", {itemOf(1, 1)}, ReadState::kFailed, 0, true},
        {"nobody has asked", {itemOf(1, 1)}, ReadState::kNotTried, 0, true},
        {"nobody needs to ask", {itemOf(1, 1), true, true}, ReadState::kNotTried, 0xAA, false},
    };
    for (const auto& row : rows) {
        ReadReport onPhone;
        onPhone.readings = {readingOf(row.wanted.item.getId(), row.onPhone, 9)};
        const WritePlan plan = makePlan({row.wanted}, onPhone);
        EXPECT_EQ(plan.rows[0].item.rawData()[2], row.behind) << row.name;
        EXPECT_EQ(plan.rows[0].item.rawData()[0], 1) << row.name;
        EXPECT_EQ(plan.rows[0].restIsThePhones, row.isToBeRead) << row.name;
    }
}

TEST(WritePlanTest, OfTwoItemsWithOneNumberTheLastCounts) {
    const WritePlan plan = makePlan({{itemOf(1, 1)}, {itemOf(2, 2)}, {itemOf(1, 3)}}, {});
    ASSERT_EQ(plan.rows.size(), 2U);
    EXPECT_EQ(plan.rows[0].item.rawData()[0], 3);
}

} // namespace
