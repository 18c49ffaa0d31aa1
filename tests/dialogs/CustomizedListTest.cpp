#include "app/dialogs/CustomizedList.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// An item per "number name" pair; the description tells equal ones apart.
NvItem item(int id, const std::string& name, const std::string& mark = "a") {
    return NvItem(name + "," + std::to_string(id) + ",ReadWrite,<BYTE," + mark + ">#");
}

std::string ids(const std::vector<NvItem>& items) {
    std::string text;
    for (const NvItem& one : items) {
        text += (text.empty() ? "" : " ") + std::to_string(one.getId());
    }
    return text;
}

const std::vector<NvItem> kAvailable{item(40, "D"), item(10, "B"), item(30, "A"), item(20, "B")};

TEST(CustomizedList, OpensSortedByNumberWithDuplicates) {
    NvItem::setCompareByName(true);
    const CustomizedList lists(kAvailable, {item(30, "X"), item(10, "Y"), item(30, "Z"), item(9, "Q"), item(256, "A")});
    EXPECT_EQ(ids(lists.customized()), "9 10 30 30 256");
    EXPECT_EQ(ids(lists.available()), "40 10 30 20");
    EXPECT_EQ(lists.customized()[2].getName(), "X") << "the sort is stable";
}

TEST(CustomizedList, AddsCopiesByNumberAndDropsDuplicates) {
    CustomizedList lists(kAvailable, {item(30, "A", "own")});
    lists.add({0, 2});
    EXPECT_EQ(ids(lists.customized()), "30 40");
    EXPECT_EQ(lists.customized()[0].getSubItems()[0].description, "own") << "of equal items the first stays";
    lists.add({0, 2});
    EXPECT_EQ(ids(lists.customized()), "30 40");
    EXPECT_EQ(ids(lists.available()), "40 10 30 20") << "moving copies";
    lists.addAll();
    EXPECT_EQ(ids(lists.customized()), "10 20 30 40");
    lists.removeAll();
    EXPECT_TRUE(lists.customized().empty());
}

TEST(CustomizedList, NoLinesChangeNothing) {
    CustomizedList lists(kAvailable, {item(2, "A"), item(1, "B")});
    lists.sort(CustomizedList::Order::ByName);
    lists.add({});
    lists.remove({});
    EXPECT_EQ(ids(lists.customized()), "2 1");
}

TEST(CustomizedList, RemovesLinesAndKeepsTheOrder) {
    const struct {
        const char* name;
        std::vector<std::size_t> lines;
        const char* left;
    } kRows[] = {
        {"first", {0}, "20 10 40"},
        {"last", {3}, "30 20 10"},
        {"several", {0, 2}, "20 40"},
        {"all", {0, 1, 2, 3}, ""},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        CustomizedList lists({}, {item(40, "D"), item(10, "C"), item(30, "A"), item(20, "B")});
        lists.sort(CustomizedList::Order::ByName);
        ASSERT_EQ(ids(lists.customized()), "30 20 10 40");
        lists.remove(row.lines);
        EXPECT_EQ(ids(lists.customized()), row.left);
    }
}

TEST(CustomizedList, SortsBothListsAndMergesEqualKeys) {
    CustomizedList lists(kAvailable, {item(7, "Z"), item(8, "a"), item(9, "Z"), item(9, "Y")});
    lists.sort(CustomizedList::Order::ByName);
    EXPECT_EQ(ids(lists.customized()), "9 7 8") << "byte by byte: capitals first; Z is 7, not 9";
    EXPECT_EQ(ids(lists.available()), "30 10 40");
    lists.addAll();
    EXPECT_EQ(ids(lists.customized()), "7 8 9 10 30 40") << "a move sorts by number, whatever was chosen";
    lists.sort(CustomizedList::Order::ById);
    EXPECT_EQ(ids(lists.available()), "10 30 40");
    EXPECT_TRUE(item(1, "B") < item(2, "A")) << "the mode stays as the last sort set it";
}

TEST(LineSelector, FollowsShiftAndCtrl) {
    const struct {
        const char* name;
        std::size_t line, count;
        bool shift, control;
        bool deselectOthers;
        std::size_t first, last;
    } kClicks[] = {
        {"shift first: from the top", 3, 10, true, false, false, 0, 3},
        {"plain", 5, 10, false, false, true, 5, 5},
        {"shift upwards", 2, 10, true, false, false, 2, 5},
        {"shift goes on from the last click", 4, 10, true, false, false, 2, 4},
        {"ctrl adds", 8, 10, false, true, false, 8, 8},
        {"shift outdoes ctrl", 9, 10, true, true, false, 8, 9},
        {"the list became shorter", 1, 3, true, false, false, 1, 2},
    };
    LineSelector selector;
    for (const auto& row : kClicks) {
        SCOPED_TRACE(row.name);
        const SelectionChange change = selector.choose(row.line, row.count, row.shift, row.control);
        EXPECT_EQ(change.deselectOthers, row.deselectOthers);
        EXPECT_EQ(change.first, row.first);
        EXPECT_EQ(change.last, row.last);
    }
}

} // namespace
