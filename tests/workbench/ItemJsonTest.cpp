// Items as JSON: what is refused, and what comes back.

#include "workbench/ItemJson.h"

#include "tests/catalog/CatalogFixture.h"

#include <algorithm>

namespace {

using namespace workbench;

class ItemJson : public CatalogFixture {
protected:
    ItemJson() {
        loadRing("NV_A,10,ReadWrite,<SIGNED_WORD,offset, in dB>#<QWORD,stamp>#\nNV_B,20,ReadOnly,<BYTE,x>#\n");
    }
};

const std::string kContradiction =
    R"({"items":[{"id":20,"fields":[{"value":1}],"raw":"2C)" + std::string(252, '0') + "aB\"}]}";

TEST_F(ItemJson, WhatDoesNotFitTheRingOrHasNoMeasureIsRefusedWithItsPlace) {
    const std::string deepest = "\n" + std::string(31, '[') + std::string(31, ']');
    const std::string text(1 << 20, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"{\n \"items\": [,]}", "parse error at line 2, column 12: "},
        {"[]", "it has no list \"items\""},
        {R"({"items":[{"id":65536}]})", "each item needs an \"id\" from 0 to 65535"},
        {R"({"items":[{"id":11,"fields":[]}]})", "item 11: Calvane::getSupportedNvItem( "},
        {R"({"items":[{"id":20,"name":"NV_C","fields":[{"value":1}]}]})",
         "item 20: its name is \"NV_C\" here, but \"NV_B\" in the decoder ring"},
        {R"({"items":[{"id":20,"fields":[]}]})", "item 20: it needs \"fields\" with 1 entries, as in the decoder ring"},
        {R"({"items":[{"id":20,"fields":[{"type":"WORD","value":1}]}]})",
         "item 20: its type is \"WORD\" here, but \"BYTE\" in the decoder ring"},
        {R"({"items":[{"id":10,"fields":[{"value":"1,2"},{"value":"3"}]}]})",
         "item 10: the value \"1,2\" is neither a whole number nor the text of one"},
        {R"({"items":[{"id":10,"fields":[{"value":1},{"value":"18446744073709551616"}]}]})",
         "item 10: '18446744073709551616' for 'stamp' would be stored as 0: a QWORD is from 0 to "
         "18446744073709551615."},
        {R"({"items":[{"id":20,"fields":[{"value":"1x"}]}]})",
         "item 20: '1x' for 'x' is no decimal number: a BYTE is from 0 to 255."},
        {R"({"items":[{"id":20,"fields":[{"value":1}],"raw":"01"}]})",
         "item 20: its \"raw\" needs 256 hexadecimal digits"},
        {kContradiction, "item 20: field 1 ('x') is 1 in \"value\" and 44 in \"raw\": take \"raw\" out"},
        {R"({"items":[{"id":20,"fields":[{"value":1}]},{"id":20,"fields":[{"value":2}]}]})",
         "item 20 stands in it twice"},
        {R"({"items":[{"id":20,"fields":[{"value":1,"value":1}]}]})",
         "item 20: the key \"value\" stands twice in one object"},
        {std::string("{\"items\":[]}\n\0x", 15), "line 2: a zero byte"},
        {R"({"items":[],"items":[]})", "the key \"items\" stands twice in one object"},
        {R"({"items":[{"id":20,"fields":[{"value":[[1]]}]}]})",
         "item 20: the value a list is neither a whole number nor the text of one"},
        {R"({"note":{"a":1,"b":2,"\u0061":3},"items":[]})", "a key stands twice in one object"},
        {R"({"items":[{"id":20,"fields":[{"description":"X","value":1}]}]})",
         "item 20: its description is \"X\" here, but \"x\" in the decoder ring"},
        {"{\"a\":" + deepest + ",\"items\":[]}", ""},
        {"{\"a\":[" + deepest + "],\"items\":[]}", "line 2: nested deeper than 32 levels"},
        {"{\"a\":\"[[\\\"" + text.substr(5) + "\",\"items\":[]}", ""},
        {"{\"a\":\"" + text + "x\",\"items\":[]}", "line 1: a text or number of more than 1048576 characters"},
    };
    for (const auto& row : cases) {
        const std::string told = messageOf([&] { itemsFromJson(row.first, "in.json", catalog, false); });
        EXPECT_TRUE(row.second.empty() ? told.empty() : told.starts_with("in.json: " + row.second)) << told;
    }
}

TEST_F(ItemJson, TextsOfARingInLatin1ComeBack) {
    loadRing("NV_L\xE4RM,10,ReadWrite,<BYTE,D\xE4mpfung>#\nNV_\xC3\xA4,20,ReadWrite,<BYTE,x>#\n");
    auto items = catalog.getSupportedNvItems();
    std::ranges::for_each(items, [](NvItem& item) { item.setRawData(ItemData{}); });
    const std::string json = itemsToJson(items);
    EXPECT_NE(json.find("NV_L\u00E4RM"), std::string::npos);
    EXPECT_NE(json.find("\"NV_\u00E4\""), std::string::npos);
    EXPECT_EQ(itemsFromJson(json, "x", catalog, false).size(), 2U);
}

TEST_F(ItemJson, WhatWasExportedComesBackWithAllItsBytes) {
    NvItem item = catalog.getSupportedNvItem(10);
    ItemData bytes{0xD4, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    bytes.back() = 0xAB;
    item.setRawData(bytes);
    const auto read = itemsFromJson(itemsToJson({&item, 1}), "x", catalog, false);
    EXPECT_TRUE(read.at(0).bringsAllBytes);
    EXPECT_TRUE(std::ranges::equal(read[0].item.rawData(), bytes));

    const auto typed = itemsFromJson(
        R"({"items":[{"id":10,"fields":[{"value":-300},{"value":18446744073709551615}]}]})", "x", catalog, false);
    EXPECT_FALSE(typed.at(0).bringsAllBytes);
    EXPECT_EQ(typed[0].item.getSubItems()[0].value + typed[0].item.getSubItems()[1].value, "-30018446744073709551615");

    const std::string wrapped =
        R"({"items":[{"id":20,"fields":[{"value":300}],"raw":"2C)" + std::string(254, '0') + "\"}]}";
    EXPECT_EQ(itemsFromJson(wrapped, "x", catalog, true).at(0).item.rawData()[0], 44);
}

} // namespace
