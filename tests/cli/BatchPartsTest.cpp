// Number lists and slips of the fingers.

#include "cli/UnknownWords.h"
#include "tests/support/MessageOf.h"
#include "workbench/ItemNumbers.h"

#include <gtest/gtest.h>

namespace {

using workbench::ItemNumbers;
using workbench::parseItemNumbers;

TEST(ItemNumbers, ReadsListsAndRefusesWhatIsNone) {
    const ItemNumbers numbers = parseItemNumbers("30-32, 10 ,31, 9 - 9,65535");
    EXPECT_EQ(numbers.all, (std::vector<std::uint16_t>{9, 10, 30, 31, 32, 65535}));
    EXPECT_EQ(numbers.single, (std::vector<std::uint16_t>{10, 31, 65535}));
    EXPECT_EQ(parseItemNumbers("0-65535,7-9,8-65535").all.size(), 65536U);
    for (const std::string part : {"", "65536", "-1", "3-2", "1-2-3", "12x"}) {
        EXPECT_EQ(messageOf([&] { parseItemNumbers("1," + part + ",2"); }),
                  "'" + part + "' is neither an item number (0 to 65535) nor a range such as 20-30");
    }
}

TEST(EditDistance, CountsSlipsOfTheFingers) {
    EXPECT_EQ(editDistance("--jsno", "--json"), 1U);
    EXPECT_EQ(editDistance("raed", "read"), 1U);
    EXPECT_EQ(editDistance("", "ids"), 3U);
    EXPECT_EQ(editDistance("--list", "--lits-x"), 3U);
}

} // namespace
