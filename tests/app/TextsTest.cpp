// What the windows compute of texts: hexadecimal and decimal, dates, labels, progress lines, search, file properties.

#include "app/document/ItemSearch.h"
#include "app/document/MoxWriteForm.h"
#include "app/document/ProgressLines.h"
#include "app/document/SubFieldText.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

TEST(SubFieldText, DecimalBecomesHexadecimalBitForBit) {
    struct Row {
        const char* decimal;
        const char* hex;
        const char* back; ///< decimal again
    };
    const Row rows[] = {
        {"0", "0", "0"},
        {"255", "ff", "255"},
        {"-1", "ffffffffffffffff", "-1"},
        {"-5", "fffffffffffffffb", "-5"},
        {"4294967295", "ffffffff", "4294967295"},
        {"4294967296", "100000000", "4294967296"},
        {"9223372036854775807", "7fffffffffffffff", "9223372036854775807"},
        {"18446744073709551615", "ffffffffffffffff", "-1"},
        {" +12abc", "c", "12"},
        {"abc", "0", "0"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(hexFromDecimal(row.decimal), row.hex) << row.decimal;
        EXPECT_EQ(decimalFromHex(row.hex), row.back) << row.hex;
    }
    for (const auto& [hex, decimal] :
         {std::pair{"0x1F", "31"}, {"FFg", "255"}, {"g", "0"}, {"123456789", "4886718345"}}) {
        EXPECT_EQ(decimalFromHex(hex), decimal) << hex;
    }
    EXPECT_NO_FATAL_FAILURE(decimalFromHex("0123456789abcdef0123456789abcdef")); // more than any type holds
}

TEST(SubFieldText, OnlyDecimalNumbersPass) {
    for (const char* text : {"0", "-12", "+7", " 5", "5 \t", "007", "99999999999999999999"}) {
        EXPECT_TRUE(isDecimalNumber(text)) << text;
    }
    for (const char* text : {"", " ", "-", "+-1", "12abc", "1.5", "0x1F", "5 6", "abc", "5/29/2009", "5,6"}) {
        EXPECT_FALSE(isDecimalNumber(text)) << text;
    }
}

TEST(SubFieldText, DatesAreLocalAndNeverFail) {
    const std::string before = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
    setenv("TZ", "EST5", 1);
    tzset();
    const std::pair<const char*, const char*> rows[] = {
        {"", ""},
        {"1243630800", "5/29/2009"},
        {"1262322000", "1/1/2010"},
        {"1262321999", "12/31/2009"},
        {"-1", "12/31/1969"},
        {"9223372036854775807", "9223372036854775807"},
        {"-9223372036854775808", "-9223372036854775808"},
        {"99999999999999999999", "99999999999999999999"},
        {"soon", "soon"},
    };
    for (const auto& [value, shown] : rows) {
        EXPECT_EQ(dateText(value), shown) << value;
    }
    before.empty() ? unsetenv("TZ") : setenv("TZ", before.c_str(), 1);
    tzset();
}

TEST(SubFieldText, LabelsAreAlignedAndUnknownTypesStandForThemselves) {
    for (const char* type :
         {"BYTE", "SIGNED_BYTE", "WORD", "SIGNED WORD", "DWORD", "SIGNED_DWORD", "QWORD", "SIGNED QWORD"}) {
        EXPECT_EQ(typeLabel(type).size(), 22u) << type;
    }
    EXPECT_EQ(typeLabel("SIGNED_BYTE"), "<  signed 1 byte   >  ");
    EXPECT_EQ(typeLabel("SIGNED BYTE"), typeLabel("SIGNED_BYTE"));
    EXPECT_EQ(typeLabel("DWORD"), "< unsigned 4 bytes >  ");
    EXPECT_EQ(typeLabel("FLOAT"), "FLOAT");
}

TEST(ProgressLines, TravelAsText) {
    EXPECT_EQ(formatProgressLine(57, 12, 4660, "NV_SOME_ITEM"), "57 12 4660 - NV_SOME_ITEM");
    EXPECT_EQ(parseProgressLine("57 12 4660 - NV_SOME_ITEM"), (ProgressLine{57, 12, " 4660 - NV_SOME_ITEM"}));
    EXPECT_EQ(parseProgressLine("65536 70000 1 - A").total, 65535) << "a bar of 16 bits";
    EXPECT_EQ(parseProgressLine(""), ProgressLine{});
    EXPECT_EQ(parseProgressLine("word"), (ProgressLine{0, 0, "word"}));
}

TEST(ItemSearch, PrefersNumbersAndThenNames) {
    const auto item = [](const char* name, int number) {
        return NvItem(std::string(name) + "," + std::to_string(number) + ",ReadWrite,<BYTE,x>#");
    };
    const std::vector<NvItem> items{item("NV_A", 94), item("NV_B", 946), item("NV_C", 12), item("nv_low", 7)};
    struct Row {
        const char* query;
        std::optional<std::size_t> found;
        const char* why;
    };
    const Row rows[] = {
        {"94", 1, "the first line comes last"},
        {"947", 1, "the longest leading part"},
        {"948 and more", 1, "what does not match is left out"},
        {"12", 2, ""},
        {"9", 1, ""},
        {"nv_b", 1, "letters count as capitals"},
        {"NV_BX", 1, "a part of the query is enough"},
        {"_C", 2, "anywhere in the name"},
        {"NV_LOW", 0, "names are compared with regard to case: only NV_ is found, first in the first line"},
        {"QQQ", std::nullopt, ""},
        {"", std::nullopt, ""},
        {"0", std::nullopt, "no line starts with it and no name holds it"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(findItem(items, row.query), row.found) << row.query << ": " << row.why;
    }
    EXPECT_EQ(findItem({}, "94"), std::nullopt);
    EXPECT_EQ(findItem(std::span(items).first(1), "94"), 0u) << "a single line is searched as well";
    EXPECT_EQ(itemLine(items[1]), "946\tNV_B");
}

TEST(MoxWriteForm, IsChosenByTheFieldsThatWereGiven) {
    const std::string none(kOptionalPlaceholder);
    struct Row {
        const char* what;
        FileProperties typed;
        MoxWriteForm form;
    };
    const PhoneProperties properties{77, 3, 4, "S1", "C"};
    const Row rows[] = {
        {"nothing", {"f"}, {}},
        {"model alone", {"f", "9"}, {9, {}}},
        {"all", {"f", "9", "77", "3", "4", "S1", "C"}, {9, properties}},
        {"all but the model", {"f", none, "77", "3", "4", "S1", "C"}, {{}, properties}},
        {"model and ESN, one version missing", {"f", "9", "77", none, "4", "S1", "C"}, {9, {}}},
        {"ESN, no client name", {"f", none, "77", "3", "4", "S1", none}, {}},
        {"no ESN", {"f", "9", none, "3", "4", "S1", "C"}, {9, {}}},
        {"neither model nor ESN", {"f", none, none, "3", "4", "S1", "C"}, {}},
        {"emptied fields are given", {"f", "", "", "", "", "", ""}, {0, PhoneProperties{}}},
        {"the placeholder counts exactly", {"f", "<optional>"}, {0, {}}},
        {"leading digits and low bits",
         {"f", "65537x", "4294967297", "258", "-1", "", ""},
         {1, PhoneProperties{1, 2, 255, "", ""}}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(chooseMoxWriteForm(row.typed), row.form) << row.what;
    }
}

} // namespace
