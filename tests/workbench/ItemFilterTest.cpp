// Which items a query finds, also after their values and their order have changed; and lists of items in files.

#include "workbench/ItemFilter.h"

#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"
#include "workbench/ItemListFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace {

using namespace workbench;

constexpr std::chrono::microseconds kUnlimited = std::chrono::hours(1);

std::vector<NvItem> someItems() {
    std::vector<NvItem> items{
        NvItem("NV_TX_Gain,176,ReadWrite,<WORD,step at 850 MHz>#<SIGNED_WORD,offset>#"),
        NvItem("NV_RX_GAIN,20,ReadOnly,<BYTE,temperature \xC3\x84>#<DWORD,raw=176>#"),
        NvItem("NV_EMPTY,30,ReadWrite,<BYTE,unused>#"),
        NvItem("NV_LARGE,40,ReadWrite,<QWORD,mask>#<SIGNED_QWORD,shift>#"),
    };
    items[0].setData(std::string("176,-5"));
    items[1].setData(std::string("007,1760"));
    items[3].setData(std::string("18446744073709551615,7"));
    return items;
}

std::string found(ItemFilter& filter, const std::vector<NvItem>& items, const std::string& query) {
    filter.setStale();
    EXPECT_TRUE(filter.renew(items, kUnlimited));
    std::string numbers;
    for (const std::uint32_t position : filter.find(ItemQuery(query))) {
        numbers += std::to_string(items[position].getId()) + " ";
    }
    return numbers;
}

TEST(ItemFilter, FindsWhatFitsAllWords) {
    const auto items = someItems();
    const struct {
        const char* query;
        const char* found;
        const char* why;
    } rows[] = {
        {"", "176 20 30 40 ", "nothing is asked"},
        {" \t ", "176 20 30 40 ", "nor here"},
        {"gain", "176 20 ", "names, whatever the case"},
        {"GAIN mhz", "176 ", "a word in the name, one in a description"},
        {"gain unused", "", "of two items"},
        {"76", "176 20 ", "a part of a number, of a value and of a description"},
        {"=176", "176 ", "just that value; 1760 and the item's number are none"},
        {"=0xB0", "176 ", "in hexadecimal"},
        {"0xb0", "176 ", "without the sign as well"},
        {"=-5", "176 ", "negative"},
        {"=+7", "20 40 ", "as a number, however it was typed"},
        {"=007", "20 40 ", "likewise"},
        {"=0xFFFFFFFFFFFFFFFF", "40 ", "the largest"},
        {"=0xfffffffffffffffb", "176 ", "as the editor shows -5"},
        {"=18446744073709551616", "", "beyond the largest"},
        {"=0", "", "an item without values has no zeros"},
        {"=", "176 20 30 40 ", "the number is still to be typed"},
        {"=0x gain", "176 20 ", "likewise"},
        {"=17x", "", "no number: such a text"},
        {"w=176", "20 ", "a sign within a word"},
        {"\xC3\x84", "20 ", "other bytes fit themselves"},
        {"step\x1f", "176 ", "what divides texts can't be typed"},
    };
    ItemFilter filter;
    for (const auto& row : rows) {
        EXPECT_EQ(found(filter, items, row.query), row.found) << row.query << ": " << row.why;
    }
}

TEST(ItemFilter, FindsAWordWhereverItStands) {
    for (std::size_t length : {1, 2, 3, 9}) {
        const std::string word = "q" + std::string(length - 1, 'z');
        for (std::size_t before = 0; before < 70; ++before) {
            const NvItem item("," + std::to_string(before) + ",r,<BYTE," + std::string(before, 'z') + word +
                              std::string(before, 'y') + ">#");
            const std::string text = ItemQuery::textOf(item);
            EXPECT_TRUE(ItemQuery(word).fits(text)) << word << " behind " << before;
            EXPECT_FALSE(ItemQuery(word + "z").fits(text)) << word << " behind " << before;
        }
    }
}

TEST(ItemFilter, FollowsValuesAndOrder) {
    auto items = someItems();
    ItemFilter filter;
    EXPECT_EQ(found(filter, items, "=7"), "20 40 ");
    items[2].setData(std::string("7"));
    items[1].setData(std::string("8,0"));
    EXPECT_EQ(found(filter, items, "=7"), "30 40 ");
    std::ranges::reverse(items);
    items.push_back(NvItem("NV_NEW,50,r,<BYTE,x>#"));
    items.back().setData(std::string("7"));
    EXPECT_EQ(found(filter, items, "=7"), "40 30 50 ");
    items.erase(items.begin(), items.begin() + 2);
    EXPECT_EQ(found(filter, items, ""), "20 176 50 ");
    items = {NvItem("NV_ZERO,60,r,<BYTE,x>#")};
    EXPECT_EQ(found(filter, items, "=0"), "");
    items[0].setData(std::string("0"));
    EXPECT_EQ(found(filter, items, "=0"), "60 ") << "a first value of zero changes no byte";
}

TEST(ItemFilter, MakesItsTextsInSlices) {
    std::vector<NvItem> items;
    for (int number = 0; number < 1000; ++number) {
        items.emplace_back("NV_X," + std::to_string(number) + ",r,<BYTE,x>#");
    }
    ItemFilter filter;
    int slices = 1;
    while (!filter.renew(items, std::chrono::microseconds(0))) {
        ASSERT_LT(++slices, 1000);
    }
    EXPECT_GT(slices, 1);
    EXPECT_EQ(filter.find(ItemQuery("999")).size(), 1U);
    EXPECT_EQ(filter.find(ItemQuery("nv"), [](std::size_t position) { return position % 100 == 5; }).size(), 10U);
}

TEST(ItemQuery, MarksWhatItHasFound) {
    const ItemQuery query("ain gAIN v =5");
    using Parts = std::vector<ItemQuery::Part>;
    EXPECT_EQ(query.partsOf("176\tNV_GAIN_GAINAIN"), (Parts{{5, 1}, {7, 4}, {12, 7}})) << "parts that touch are one";
    EXPECT_EQ(query.partsOf("5\tX"), Parts{}) << "a value is none of the line";
    EXPECT_TRUE(query.fitsField({"of the Gain", "1", ""}));
    EXPECT_TRUE(query.fitsField({"x", " 5", ""}));
    EXPECT_FALSE(query.fitsField({"x", "15", ""}));
}

TEST(ItemListFile, IsReadAsItIsWritten) {
    const TemporaryFolder folder;
    const auto items = someItems();
    writeItemList(folder / "l", items);
    EXPECT_EQ(readText(folder / "l"),
              "# NV items of a list: number, name\n176 NV_TX_Gain\n20 NV_RX_GAIN\n30 NV_EMPTY\n40 NV_LARGE\n");
    EXPECT_EQ(readItemList(folder / "l").numbers(), (std::vector<std::uint16_t>{20, 30, 40, 176}));
    EXPECT_EQ(messageOf([&] { writeItemList(folder / "no" / "l", items); }),
              "Can't write the list '" + (folder / "no" / "l").string() + "': No such file or directory");
}

TEST(ItemListFile, NamesTheLineThatIsWrong) {
    const TemporaryFolder folder;
    const std::string wrong = "Can't read the list '" + (folder / "l").string() + "': ";
    const std::pair<const char*, std::string> rows[] = {
        {"\xEF\xBB\xBF# x\r\n\n 5\tNV_A of two \r\n6", ""},
        {"5\n\n65536 X\n", "line 3: '65536' is no item number (0 to 65535)"},
        {"NV_A 5", "line 1: 'NV_A' is no item number (0 to 65535)"},
        {"5-9", "line 1: '5-9' is no item number (0 to 65535)"},
        {"5 A\n6\n5", "line 3: item 5 stands in line 1 already"},
        {"# none\n", "it names no item"},
    };
    for (const auto& [text, fault] : rows) {
        writeText(folder / "l", text);
        EXPECT_EQ(messageOf([&] { readItemList(folder / "l"); }), fault.empty() ? "" : wrong + fault) << text;
    }
    EXPECT_EQ(messageOf([&] { readItemList(folder.path); }),
              "Can't read the list '" + folder.path.string() + "': Is a directory");
}

TEST(ItemListFile, HoldsItsNamesAgainstTheRing) {
    auto ring = someItems();
    std::ranges::sort(ring, {}, &NvItem::getId);
    const auto doubts = doubtsOf(parseItemList("20 NV_OTHER of two\n30\n31 NV_X\n\n40 \t NV_LARGE"), ring);
    EXPECT_EQ(doubts,
              (std::vector<std::string>{"Line 1: item 20 is NV_RX_GAIN in the decoder ring, not NV_OTHER of two.",
                                        "Line 3: item 31 is not in the decoder ring."}));
}

} // namespace
