// What the windows compute of texts: dates, search, file properties.

#include "app/document/ItemSearch.h"
#include "app/document/MoxWriteForm.h"
#include "app/document/SubFieldText.h"
#include "workbench/LoadedDate.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

TEST(Dates, AreLocalAndNeverFail) {
    const std::string before = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
    setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1);
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
    EXPECT_EQ(workbench::loadedDateStamp(1243555200), 1243537200) << "counts from local midnight, in summer time";
    before.empty() ? unsetenv("TZ") : setenv("TZ", before.c_str(), 1);
    tzset();
}

TEST(ItemSearch, PrefersNumbersAndThenNames) {
    const auto item = [](const char* name, int number) {
        return NvItem(std::string(name) + "," + std::to_string(number) + ",ReadWrite,<BYTE,x>#");
    };
    const std::vector<NvItem> items{item("NV_A", 94), item("NV_B", 946), item("NV_C", 12), item("nv_low", 7)};
    const std::tuple<const char*, std::optional<std::size_t>, const char*> rows[] = {
        {"94", 1, "the first line comes last"},
        {"947", 1, "the longest leading part"},
        {"nv_b", 1, "letters count as capitals"},
        {"_CX", 2, "a leading part anywhere in the name"},
        {"NV_LOW", 0, "names are compared with regard to case: only NV_ is found, first in the first line"},
        {"QQQ", std::nullopt, "in no line"},
    };
    for (const auto& [query, found, why] : rows) {
        EXPECT_EQ(findItem(items, query), found) << query << ": " << why;
    }
}

TEST(MoxWriteForm, IsChosenByTheFieldsThatWereGiven) {
    const std::string none(kOptionalPlaceholder);
    const PhoneProperties properties{77, 3, 4, "S1", "C"};
    const std::tuple<const char*, FileProperties, MoxWriteForm> rows[] = {
        {"nothing", {"f"}, {}},
        {"all but the model", {"f", none, "77", "3", "4", "S1", "C"}, {{}, properties}},
        {"one version missing", {"f", "9", "77", none, "4", "S1", "C"}, {9, {}}},
        {"leading digits and low bits",
         {"f", "65537x", "4294967297", "258", "-1", "", ""},
         {1, PhoneProperties{1, 2, 255, "", ""}}},
    };
    for (const auto& [what, typed, form] : rows) {
        EXPECT_EQ(chooseMoxWriteForm(typed), form) << what;
    }
}

} // namespace
