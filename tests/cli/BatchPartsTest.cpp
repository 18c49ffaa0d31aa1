// Number lists and JSON of the batch tool.

#include "cli/ItemJson.h"
#include "cli/ItemNumbers.h"
#include "tests/catalog/CatalogFixture.h"

namespace {

TEST(ItemNumbers, ReadsListsAndRefusesWhatIsNone) {
    EXPECT_EQ(parseItemNumbers("30-32, 10 ,31, 9 - 9,65535"), (std::vector<std::uint16_t>{9, 10, 30, 31, 32, 65535}));
    for (const std::string part : {"", "65536", "-1", "3-2", "1-2-3", "12x"}) {
        EXPECT_EQ(messageOf([&] { parseItemNumbers("1," + part + ",2"); }),
                  "'" + part + "' is neither an item number (0 to 65535) nor a range such as 20-30");
    }
}

class ItemJson : public CatalogFixture {
protected:
    ItemJson() {
        loadRing("NV_A,10,ReadWrite,<SIGNED_WORD,offset, in dB>#<QWORD,stamp>#\nNV_B,20,ReadOnly,<BYTE,x>#\n");
    }
};

TEST_F(ItemJson, WhatDoesNotFitTheRingIsRefusedWithItsPlace) {
    // Deeper than the stack would bear if the message quoted it.
    const std::string deep =
        R"({"items":[{"id":20,"fields":[{"value":)" + std::string(1000000, '[') + std::string(1000000, ']') + "}]}]}";
    const struct {
        const char* text;
        std::string refusal;
    } cases[] = {
        {"{\n \"items\": [,]}", "parse error at line 2, column 12: "},
        {"[]", "it has no list \"items\""},
        {R"({"items":[7]})", "each item needs an \"id\" from 0 to 65535"},
        {R"({"items":[{"id":65536}]})", "each item needs an \"id\" from 0 to 65535"},
        {R"({"items":[{"id":11,"fields":[]}]})", "item 11: Calvane::getSupportedNvItem( "},
        {R"({"items":[{"id":20,"name":"NV_C","fields":[{"value":1}]}]})",
         "item 20: its name is \"NV_C\" here, but \"NV_B\" in the decoder ring"},
        {R"({"items":[{"id":20,"fields":[]}]})", "item 20: it needs \"fields\" with 1 entries, as in the decoder ring"},
        {R"({"items":[{"id":20,"fields":[{"type":"WORD","value":1}]}]})",
         "item 20: its type is \"WORD\" here, but \"BYTE\" in the decoder ring"},
        {R"({"items":[{"id":20,"fields":[{"value":1.5}]}]})",
         "item 20: the value 1.5 is neither a whole number nor the text of one"},
        {R"({"items":[{"id":10,"fields":[{"value":"1,2"},{"value":"3"}]}]})",
         "item 10: the value \"1,2\" is neither a whole number nor the text of one"},
        {deep.c_str(), "item 20: the value a list is neither a whole number nor the text of one"},
        {R"({"items":[{"id":10,"fields":[{"value":1},{"value":"18446744073709551616"}]}]})",
         "item 10: '18446744073709551616' for 'stamp' would be stored as 0 in a QWORD."},
        {R"({"items":[{"id":20,"fields":[{"value":"300"}]}]})", "item 20: Calvane::NvItem::setData( "},
        {R"({"items":[{"id":20,"fields":[{"value":1}]},{"id":20,"fields":[{"value":2}]}]})",
         "item 20 stands in it twice"},
    };
    for (const auto& row : cases) {
        const std::string refusal = messageOf([&] { itemsFromJson(row.text, "in.json", catalog); });
        EXPECT_TRUE(refusal.starts_with("in.json: " + row.refusal)) << refusal;
    }
    const auto items = itemsFromJson(
        R"({"items":[{"id":10,"fields":[{"value":-300},{"value":18446744073709551615}]}]})", "x", catalog);
    EXPECT_EQ(items.at(0).getSubItems()[0].value + items[0].getSubItems()[1].value, "-30018446744073709551615");
}

} // namespace
