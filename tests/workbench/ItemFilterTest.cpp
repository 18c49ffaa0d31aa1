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
        {"GAIN t", "176 20 ", "two words, whatever the case"},
        {"gain unused", "", "of two items"},
        {"76", "176 20 ", "a part of a number, of a value and of a description"},
        {"=176", "176 ", "just that value; 1760 and the item's number are none"},
        {"=0xB0 0xb0", "176 ", "in hexadecimal, with the sign and without"},
        {"=-5", "176 ", "negative"},
        {"=+007", "20 40 ", "as a number, however it was typed"},
        {"=0xFFFFFFFFFFFFFFFF", "40 ", "the largest"},
        {"=0xfffffffffffffffb", "176 ", "as the editor shows -5"},
        {"=0", "", "an item without values has no zeros"},
        {"=0x gain", "176 20 ", "the number is still to be typed"},
        {"\xC3\x84", "20 ", "other bytes fit themselves"},
    };
    ItemFilter filter;
    for (const auto& row : rows) {
        EXPECT_EQ(found(filter, items, row.query), row.found) << row.query << ": " << row.why;
    }
}

TEST(ItemFilter, FindsAWordWhereverItStandsAndWorksInSlices) {
    for (const std::string word : {"q", "qz", "qzz", "qzzzzzzzz"}) {
        std::vector<NvItem> items;
        for (int before = 0; before < 130; ++before) {
            const auto at = static_cast<std::size_t>(before);
            items.emplace_back("," + std::to_string(before) + ",r,<BYTE," + std::string(at, 'z') + word +
                               std::string(at, 'y') + ">#");
        }
        ItemFilter filter;
        EXPECT_FALSE(filter.renew(items, std::chrono::microseconds(0)));
        while (!filter.renew(items, std::chrono::microseconds(0))) {
        }
        EXPECT_EQ(filter.find(ItemQuery(word)).size(), 130U) << word;
        EXPECT_EQ(filter.find(ItemQuery(word + "z")).size(), 0U) << word;
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
    items = {NvItem("NV_ZERO,60,r,<BYTE,x>#")};
    EXPECT_EQ(found(filter, items, "=0"), "");
    items[0].setData(std::string("0"));
    EXPECT_EQ(found(filter, items, "=0"), "60 ") << "a first value of zero changes no byte";
}

TEST(ItemQuery, MarksWhatItHasFound) {
    const ItemQuery query("ain gAIN v =5");
    using Parts = std::vector<ItemQuery::Part>;
    EXPECT_EQ(query.partsOf("176\tNV_GAIN_GAINAIN"), (Parts{{5, 1}, {7, 4}, {12, 7}})) << "parts that touch are one";
    EXPECT_TRUE(query.fitsField({"of the Gain", "1", ""}));
    EXPECT_TRUE(query.fitsField({"x", " 5", ""}));
    EXPECT_FALSE(query.fitsField({"x", "15", ""}));
}

TEST(ItemListFile, NamesTheLineThatIsWrong) {
    const TemporaryFolder folder;
    const std::string wrong = "Can't read the list '" + (folder / "l").string() + "': ";
    const std::pair<const char*, std::string> rows[] = {
        {"\xEF\xBB\xBF# x\r\n\n 5\tNV_A of two \r\n6", ""},
        {"5\n\n65536 X\n", "line 3: '65536' is no item number (0 to 65535)"},
        {"5-9", "line 1: '5-9' is no item number (0 to 65535)"},
        {"5 A\n6\n5", "line 3: item 5 stands in line 1 already"},
        {"# none\n", "it names no item"},
    };
    for (const auto& [text, fault] : rows) {
        writeText(folder / "l", text);
        EXPECT_EQ(messageOf([&] { loadItemList(folder / "l"); }), fault.empty() ? "" : wrong + fault) << text;
    }
    EXPECT_EQ(messageOf([&] { loadItemList(folder.path); }),
              "Can't read the list '" + folder.path.string() + "': Is a directory");
}

} // namespace
