// What two sets of items, and an item and its baseline, show of each other.

#include "workbench/Comparison.h"

#include "workbench/Baseline.h"

#include <gtest/gtest.h>

namespace {

using namespace workbench;

/// Without fields: item 0.
NvItem itemOf(int number, const std::string& fields, std::uint8_t first, std::uint8_t last = 0) {
    NvItem item = fields.empty() ? NvItem() : NvItem("NV_X," + std::to_string(number) + ",ReadWrite," + fields);
    ItemData data{first};
    data.back() = last;
    item.setRawData(data);
    return item;
}

const std::string kByte = "<BYTE,x>#";

TEST(Comparison, GivesARowPerNumberWhateverTheOrder) {
    const std::vector<NvItem> left{itemOf(9, kByte, 1), itemOf(5, kByte, 1), itemOf(5, kByte, 7),
                                   itemOf(1, kByte, 1), itemOf(4, kByte, 1), itemOf(6, kByte, 1)};
    const std::vector<NvItem> right{itemOf(2, kByte, 1), itemOf(4, "<BYTE,y>#", 1), itemOf(5, kByte, 1),
                                    itemOf(6, kByte, 1, 1), itemOf(9, kByte, 2)};
    const char* const states[] = {"equal", "differs", "left", "right", "layout"};
    std::string rows;
    for (const ItemRow& row : compareItems(left, right)) {
        rows += std::to_string(row.number) + states[static_cast<int>(row.state)] +
                (row.left != nullptr ? std::to_string(row.left - left.data()) : "-") +
                (row.right != nullptr ? std::to_string(row.right - right.data()) : "-") + " ";
    }
    EXPECT_EQ(rows, "1left3- 2right-0 4layout41 5equal12 6differs53 9differs04 ");
    EXPECT_EQ(compareItems({}, right).size(), 5U);
    EXPECT_EQ(compareItems(left, {}).size(), 5U) << "the second item 5 counts";
}

TEST(Comparison, GivesARowPerSubField) {
    const std::string rest(252, '0');
    const NvItem plain = itemOf(1, "<WORD,x>#<BYTE,y>#", 7);
    NvItem typed = plain;
    typed.setData(std::string(" 007,1"));
    const NvItem fresh("NV_X,1,ReadWrite,<WORD,x>#<BYTE,y>#");
    const NvItem other = itemOf(1, "<WORD,x>#<DWORD,y>#<BYTE,z>#", 7);
    const struct {
        const char* name;
        const NvItem* left;
        const NvItem* right;
        std::string rows;
    } rows[] = {
        {"what was typed as what it is", &plain, &typed, "x WORD 7=7, y BYTE 0!1, "},
        {"one side", &plain, nullptr, "x WORD 7<, y BYTE 0<, "},
        {"the other side, without values", nullptr, &fresh, "x WORD >, y BYTE >, "},
        {"other layouts", &plain, &other,
         "x WORD 7=7, y BYTE / DWORD 0?0, z BYTE >0, " + std::string(kRestDescription)},
    };
    for (const auto& row : rows) {
        std::string found;
        for (const SubFieldRow& field : compareSubFields(row.left, row.right)) {
            found += field.description == kRestDescription
                         ? field.description
                         : field.description + " " + field.typeName + " " + field.left +
                               "=!<>?"[static_cast<int>(field.state)] + field.right + ", ";
        }
        EXPECT_EQ(found, row.rows) << row.name;
    }
    const NvItem ending = itemOf(1, "<WORD,x>#<BYTE,y>#", 7, 0xAB);
    EXPECT_EQ(compareSubFields(&plain, &ending).at(2).right, rest.substr(4) + "ab");
    EXPECT_EQ(compareSubFields(&ending, nullptr).at(2).left, rest.substr(4) + "ab");
}

TEST(BaselineTest, AnItemDiffersInItsSubFieldsAlone) {
    Baseline baseline;
    const auto source = std::make_shared<const Source>(Source{FileSource{"a.mox", {}}, {}});
    baseline.set(itemOf(1, kByte, 7, 0xEE), source);
    baseline.set(itemOf(0, "", 7, 0xEE), source);
    const NvItem fresh("NV_X,3,ReadWrite," + kByte);
    const std::pair<NvItem, bool> rows[] = {
        {itemOf(1, kByte, 7), false},    {itemOf(1, kByte, 8), true}, {itemOf(0, "", 7), true},
        {itemOf(0, "", 7, 0xEE), false}, {itemOf(3, kByte, 0), true}, {fresh, false},
    };
    for (const auto& [item, differs] : rows) {
        EXPECT_EQ(baseline.differs(item), differs) << item.getId() << " " << int{item.rawData()[0]};
    }
    EXPECT_EQ(baseline.itemOf(itemOf(1, kByte, 8)).value().rawData()[127], 0xEE);
    EXPECT_EQ(baseline.find(1)->source, source);
    EXPECT_FALSE(baseline.itemOf(itemOf(3, kByte, 0)));
    baseline.clear();
    EXPECT_EQ(baseline.find(1), nullptr);
}

} // namespace
