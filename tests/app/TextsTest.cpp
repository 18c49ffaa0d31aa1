// What the windows compute of texts: hexadecimal and decimal, dates, search, file properties.

#include "app/document/ItemSearch.h"
#include "app/document/MoxWriteForm.h"
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
        {"-5", "fffffffffffffffb", "-5"},
        {"4294967295", "ffffffff", "4294967295"},
        {"4294967296", "100000000", "4294967296"},
        {"18446744073709551615", "ffffffffffffffff", "-1"},
        {" +12abc", "c", "12"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(hexFromDecimal(row.decimal), row.hex) << row.decimal;
        EXPECT_EQ(decimalFromHex(row.hex), row.back) << row.hex;
    }
    for (const auto& [hex, decimal] : {std::pair{"0x1F", "31"}, {"FFg", "255"}, {"123456789", "4886718345"}}) {
        EXPECT_EQ(decimalFromHex(hex), decimal) << hex;
    }
}

TEST(SubFieldText, DatesAreLocalAndNeverFail) {
    const std::string before = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
    setenv("TZ", "EST5", 1);
    tzset();
    const std::pair<const char*, const char*> rows[] = {
        {"", ""},
        {"1262322000", "1/1/2010"},
        {"-1", "12/31/1969"},
        {"9223372036854775807", "9223372036854775807"},
    };
    for (const auto& [value, shown] : rows) {
        EXPECT_EQ(dateText(value), shown) << value;
    }
    before.empty() ? unsetenv("TZ") : setenv("TZ", before.c_str(), 1);
    tzset();
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
        {"12", 2, "a whole number"},
        {"nv_b", 1, "letters count as capitals"},
        {"_CX", 2, "a leading part anywhere in the name"},
        {"NV_LOW", 0, "names are compared with regard to case: only NV_ is found, first in the first line"},
        {"QQQ", std::nullopt, "in no line"},
        {"", std::nullopt, "nothing to look for"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(findItem(items, row.query), row.found) << row.query << ": " << row.why;
    }
    EXPECT_EQ(findItem(std::span(items).first(1), "94"), 0u) << "a single line is searched as well";
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
        {"all", {"f", "9", "77", "3", "4", "S1", "C"}, {9, properties}},
        {"all but the model", {"f", none, "77", "3", "4", "S1", "C"}, {{}, properties}},
        {"one version missing", {"f", "9", "77", none, "4", "S1", "C"}, {9, {}}},
        {"emptied fields are given", {"f", "", "", "", "", "", ""}, {0, PhoneProperties{}}},
        {"leading digits and low bits",
         {"f", "65537x", "4294967297", "258", "-1", "", ""},
         {1, PhoneProperties{1, 2, 255, "", ""}}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(chooseMoxWriteForm(row.typed), row.form) << row.what;
    }
}

} // namespace
