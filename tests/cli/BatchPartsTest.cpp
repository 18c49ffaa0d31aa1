// Number lists, JSON and output files of the batch tool.

#include "cli/ItemJson.h"
#include "cli/ItemNumbers.h"
#include "cli/OutputFile.h"
#include "tests/catalog/CatalogFixture.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

TEST(ItemNumbers, ReadsListsAndRefusesWhatIsNone) {
    const std::string refusal = " is neither an item number (0 to 65535) nor a range such as 20-30";
    const struct {
        const char* text;
        std::vector<std::uint16_t> numbers;
        std::string refused;
    } cases[] = {
        {"10", {10}, ""},
        {"30-32,10,31", {10, 30, 31, 32}, ""},
        {" 7 , 9 - 9 ", {7, 9}, ""},
        {"65535", {65535}, ""},
        {"", {}, "''"},
        {"1,,2", {}, "''"},
        {"65536", {}, "'65536'"},
        {"-1", {}, "'-1'"},
        {"3-2", {}, "'3-2'"},
        {"1-2-3", {}, "'1-2-3'"},
        {"12x", {}, "'12x'"},
    };
    for (const auto& row : cases) {
        try {
            EXPECT_EQ(parseItemNumbers(row.text), row.numbers) << row.text;
            EXPECT_EQ(row.refused, "") << row.text;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), row.refused + refusal) << row.text;
        }
    }
}

class ItemJson : public CatalogFixture {
protected:
    ItemJson() {
        loadRing("NV_A,10,ReadWrite,<SIGNED_WORD,offset, in dB>#<QWORD,stamp>#\nNV_B,20,ReadOnly,<BYTE,x>#\n");
    }

    std::string refusalOfText(const std::string& text) {
        try {
            itemsFromJson(text, "in.json", catalog);
            return {};
        } catch (const std::exception& error) {
            return error.what();
        }
    }
};

TEST_F(ItemJson, ItemsComeBackAsTheyWere) {
    NvItem item = catalog.getSupportedNvItem("NV_A");
    item.setData(std::string("-300,18446744073709551615"));
    const auto items = itemsFromJson(itemsToJson(std::vector<NvItem>{item}), "x", catalog);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_TRUE(std::equal(item.getData(), item.getData() + 128, items[0].getData()));
}

TEST_F(ItemJson, WholeNumbersAndOmittedNamesAreRead) {
    const auto items = itemsFromJson(
        R"({"items":[{"id":10,"fields":[{"value":-300},{"value":18446744073709551615}]}]})", "x", catalog);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].getSubItems()[0].value, "-300");
    EXPECT_EQ(items[0].getSubItems()[1].value, "18446744073709551615");
}

TEST_F(ItemJson, WhatDoesNotFitTheRingIsRefusedWithItsPlace) {
    // Deeper than the stack would bear if the message quoted it.
    const std::string deep =
        R"({"items":[{"id":20,"fields":[{"value":)" + std::string(1000000, '[') + std::string(1000000, ']') + "}]}]}";
    const struct {
        const char* text;
        std::string refusal;
    } cases[] = {
        {"{\n \"items\": [,]}", "in.json: parse error at line 2, column 12: "},
        {"[]", "in.json: it has no list \"items\""},
        {R"({"items":[7]})", "in.json: each item needs an \"id\" from 0 to 65535"},
        {R"({"items":[{"id":65536}]})", "in.json: each item needs an \"id\" from 0 to 65535"},
        {R"({"items":[{"id":-1}]})", "in.json: each item needs an \"id\" from 0 to 65535"},
        {R"({"items":[{"id":11,"fields":[]}]})", "in.json: item 11: Calvane::getSupportedNvItem( std::string "
                                                 "nvItemName ) - The NV item id '11' is not found in "
                                                 "the decoder ring file."},
        {R"({"items":[{"id":20,"name":"NV_C","fields":[{"value":1}]}]})",
         "in.json: item 20: its name is \"NV_C\" here, but \"NV_B\" in the decoder ring"},
        {R"({"items":[{"id":20,"fields":[]}]})",
         "in.json: item 20: it needs \"fields\" with 1 entries, as in the decoder ring"},
        {R"({"items":[{"id":20,"fields":[{"type":"WORD","value":1}]}]})",
         "in.json: item 20: its type is \"WORD\" here, but \"BYTE\" in the decoder ring"},
        {R"({"items":[{"id":20,"fields":[{"value":1.5}]}]})",
         "in.json: item 20: the value 1.5 is neither a whole number nor the text of one"},
        {R"({"items":[{"id":10,"fields":[{"value":"1,2"},{"value":"3"}]}]})",
         "in.json: item 10: the value \"1,2\" is neither a whole number nor the text of one"},
        {deep.c_str(), "in.json: item 20: the value a list is neither a whole number nor the text of one"},
        {R"({"items":[{"id":10,"fields":[{"value":1},{"value":"18446744073709551616"}]}]})",
         "in.json: item 10: '18446744073709551616' for 'stamp' would be stored as 0 in a QWORD."},
        {R"({"items":[{"id":20,"fields":[{"value":"300"}]}]})",
         "in.json: item 20: Calvane::NvItem::setData( const string commaDelimitedDataString ) - "},
        {R"({"items":[{"id":20,"fields":[{"value":1}]},{"id":20,"fields":[{"value":2}]}]})",
         "in.json: item 20 stands in it twice"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(refusalOfText(row.text).substr(0, row.refusal.size()), row.refusal) << row.text;
    }
}

TEST_F(ItemJson, AFileThatCannotBeWrittenIsNamed) {
    const auto path = folder / "out.txt";
    writeOutput(path, "first");
    writeOutput(path, "second");
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_EQ(text.str(), "second");
    const std::pair<std::filesystem::path, std::string> cases[] = {
        {folder / "no" / "such", "No such file or directory"},
        {"/dev/full", "No space left on device"},
        {folder, "Is a directory"},
    };
    for (const auto& [output, reason] : cases) {
        try {
            writeOutput(output, "x");
            ADD_FAILURE() << output;
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), "Can't write '" + output.string() + "': " + reason);
        }
    }
}

} // namespace
