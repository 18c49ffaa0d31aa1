#include "engine/NvItem.h"

#include "engine/CalvaneException.h"
#include "tests/support/MessageOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Block = std::array<std::uint8_t, 128>;
using testing::ElementsAreArray;

const std::string kPrefix = "Calvane::NvItem::setData( const string commaDelimitedDataString ) - ";

/// An item named NV_X with sub-fields a, b, c... of these types.
NvItem itemOf(const std::vector<std::string>& types) {
    std::string line = "NV_X,5,ReadWrite,";
    for (std::size_t i = 0; i < types.size(); ++i) {
        line += "<" + types[i] + "," + static_cast<char>('a' + i % 26) + ">#";
    }
    return NvItem(line);
}

/// The values with commas between them.
std::string valuesOf(const NvItem& item) {
    std::string texts;
    for (const SubItem& subItem : item.getSubItems()) {
        texts += "," + subItem.value;
    }
    return texts.erase(0, 1);
}

Block blockOf(const Bytes& start, std::uint8_t rest = 0) {
    Block bytes;
    bytes.fill(rest);
    std::copy(start.begin(), start.end(), bytes.begin());
    return bytes;
}

TEST(NvItem, RawDataGivesTextsAndClearsTheRest) {
    const struct {
        std::vector<std::string> types;
        Bytes bytes;
        const char* texts;
    } cases[] = {
        {{"BYTE", "SIGNED_WORD", "DWORD"}, {1, 0xFE, 0xFF, 0x78, 0x56, 0x34, 0x12}, "1,-2,305419896"},
        {{"BYTE", "SIGNED_BYTE", "WORD", "SIGNED_WORD"}, {0xFF, 0x80, 0xFF, 0xFF, 0, 0x80}, "255,-128,65535,-32768"},
        {{"DWORD", "SIGNED_DWORD"}, {0, 0, 0, 0x80, 0, 0, 0, 0x80}, "2147483648,-2147483648"},
        {{"QWORD"}, Bytes(8, 0xFF), "18446744073709551615"},
        {{"SIGNED_QWORD"}, {0, 0, 0, 0, 0, 0, 0, 0x80}, "-9223372036854775808"},
    };
    for (const auto& row : cases) {
        NvItem item = itemOf(row.types);
        item.setData(blockOf(row.bytes, 0x77).data());
        EXPECT_EQ(valuesOf(item), row.texts);
        EXPECT_THAT(item.rawData(), ElementsAreArray(blockOf(row.bytes)));
        item.setData(item.getData()); // the item's own block
        EXPECT_THAT(item.rawData(), ElementsAreArray(blockOf(row.bytes)));
    }
    NvItem bare;
    bare.setData(blockOf({1}, 0x77).data());
    EXPECT_THAT(bare.rawData(), ElementsAreArray(blockOf({1}, 0x77))) << "without sub-fields all is kept";
}

TEST(NvItem, TextDataIsStoredAndKeptAsTyped) {
    const Bytes ones(8, 0xFF);
    const struct {
        std::vector<std::string> types;
        const char* text;
        Bytes bytes;
    } cases[] = {
        {{"BYTE", "SIGNED_BYTE", "WORD"}, "10, -1,65535", {10, 0xFF, 0xFF, 0xFF}},
        {{"WORD", "WORD"}, "\t1 \v\f,\r\n2 \t", {1, 0, 2, 0}},
        {{"WORD", "QWORD"}, "+0007,+0007", {7, 0, 7, 0, 0, 0, 0, 0, 0, 0}},
        {{"BYTE", "BYTE", "SIGNED_BYTE", "SIGNED_BYTE"}, "-128,255,-128,255", {0x80, 0xFF, 0x80, 0xFF}},
        {{"BYTE", "BYTE", "SIGNED_BYTE", "SIGNED_BYTE"}, "300,-1,-65535,65535", {0x2C, 0xFF, 1, 0xFF}},
        {{"SIGNED_WORD", "SIGNED_WORD"}, "-32768,32767", {0, 0x80, 0xFF, 0x7F}},
        {{"DWORD", "DWORD"}, "-1,4294967295", ones},
        {{"SIGNED_DWORD", "SIGNED_DWORD"}, "-2147483648,2147483647", {0, 0, 0, 0x80, 0xFF, 0xFF, 0xFF, 0x7F}},
        {{"QWORD"}, "18446744073709551615", ones},
        {{"SIGNED_QWORD"}, "-36893488147419103233", ones}, // modulo 2^64
    };
    for (const auto& row : cases) {
        NvItem item = itemOf(row.types);
        item.setData(std::string(row.text));
        EXPECT_THAT(item.rawData(), ElementsAreArray(blockOf(row.bytes)));
        EXPECT_EQ(valuesOf(item), row.text);
    }
}

std::string tooMany(const std::string& text, const std::string& word) {
    return "For NV item 'NV_X' there are 1 expected data items, and there are more than 1 in the passed in comma "
           "delimited data string: '" +
           text + "'. The left over string in the buffer is: '" + word + "'";
}

std::string firstMustBe(const std::string& what, const std::string& text) {
    return "For NV item 'NV_X' the data item 1 ('a') must be " + what + ", and it is: '" + text + "'";
}

const struct {
    std::vector<std::string> types; ///< all sub-fields held 1 before
    std::string text;
    std::string message; ///< behind the prefix
    const char* left;    ///< the values then
} kRefusedTexts[] = {
    {{"QWORD", "BYTE", "BYTE"},
     "8,9",
     "For NV item: 'NV_X' there are 3 expected data items, and there are only 2 in the passed in comma delimited data "
     "string: '8,9'",
     "8,9,1"},
    {{"BYTE"}, "1,  2,3 4", tooMany("1,  2,3 4", "2,3"), "1"},
    {{"QWORD"}, "7, ", tooMany("7, ", ""), "7"},
    {{"DWORD"}, "12x", firstMustBe("a decimal number", "12x"), "1"},
    {{"BYTE"}, "65536", firstMustBe("from -65535 to 65535 for the type BYTE", "65536"), "1"},
    {{"WORD"}, "65536", firstMustBe("from -65535 to 65535 for the type WORD", "65536"), "1"},
    {{"SIGNED_WORD"}, "32768", firstMustBe("from -32768 to 32767 for the type SIGNED WORD", "32768"), "1"},
    {{"DWORD"}, "-4294967296", firstMustBe("from -4294967295 to 4294967295 for the type DWORD", "-4294967296"), "1"},
    {{"SIGNED_DWORD"},
     "18446744073709551617", // 1 beyond 64 bits
     firstMustBe("from -2147483648 to 2147483647 for the type SIGNED DWORD", "18446744073709551617"),
     "1"},
};

TEST(NvItem, RefusedTextKeepsWhatWasStoredBeforeIt) {
    for (const auto& row : kRefusedTexts) {
        NvItem item = itemOf(row.types);
        Bytes ones;
        for (const SubItemType type : item.getSubItemTypes()) {
            ones.push_back(1);
            ones.resize(ones.size() + subItemTypeInfo(type).bytes - 1);
        }
        item.setData(blockOf(ones).data());
        EXPECT_EQ(messageOf<CalvaneException>([&] { item.setData(row.text); }), kPrefix + row.message);
        EXPECT_EQ(valuesOf(item), row.left);
        item.setData(item.getData());
        EXPECT_EQ(valuesOf(item), row.left) << "the bytes are those of the values";
    }
}

TEST(NvItem, ComparesByNumberOrByNameAtThatMoment) {
    const NvItem a("A,500,x,<BYTE,a>#");
    const NvItem b("B,20,x,<BYTE,a>#");
    const NvItem otherA("A,20,y,<WORD,b>#");
    EXPECT_TRUE(b < a && a > b && a != b && !(a == b) && !(a < b) && !(b > a));
    EXPECT_TRUE(otherA == b && !(otherA != b) && !(otherA < b) && !(otherA > b));

    NvItem::setCompareByName(true);
    EXPECT_TRUE(a < b && b > a && a != b);
    EXPECT_TRUE(a == otherA && !(a != otherA));
    EXPECT_TRUE(NvItem("z,1,x,<BYTE,a>#") < NvItem("\xE4,1,x,<BYTE,a>#"));
    NvItem::setCompareByName(false);
    EXPECT_TRUE(b < a);
}

TEST(NvItem, RawBytesPassThroughWhole) {
    const Block bytes = blockOf({5, 6}, 0x77);
    NvItem item = itemOf({"BYTE"});
    item.setData("1");
    item.setRawData(bytes);
    EXPECT_THAT(item.rawData(), ElementsAreArray(bytes));
    EXPECT_EQ(valuesOf(item), "5");
    item.setData("9");
    EXPECT_THAT(item.rawData(), ElementsAreArray(blockOf({9, 6}, 0x77)))
        << "a text leaves the bytes behind the sub-fields";
    item.setData(bytes.data());
    EXPECT_THAT(item.rawData(), ElementsAreArray(blockOf({5}))) << "but raw data clears them";
}

TEST(NvItem, LayoutHashTellsOneMeaningOfTheBytesFromAnother) {
    const auto hash = [](const std::string& rest) { return NvItem("NV_A,1,ReadWrite," + rest).layoutHash(); };
    const std::uint64_t expected = hash("<BYTE,min>#<BYTE,max>#");
    EXPECT_EQ(expected, 0x290678677D20126Bu) << "may be stored, so it never changes";
    EXPECT_EQ(NvItem("NV_B,2,ReadOnly, < BYTE , min > # <BYTE,max>#").layoutHash(), expected);
    for (const char* other : {"<BYTE,max>#<BYTE,min>#", "<BYTE,min>#<SIGNED_BYTE,max>#", "<BYTE,min>#", "<BYTE,m>#",
                              "<BYTE,min>#<BYTE,max>#<BYTE,>#"}) {
        EXPECT_NE(hash(other), expected) << other;
    }
}

/// Random layouts and bytes: bytes -> texts -> bytes is the identity, and an untouched second item gives the same
/// texts.
TEST(NvItem, RandomItemsSurviveTheWayThroughText) {
    for (unsigned seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
        std::vector<std::string> types;
        std::size_t width = 0;
        for (unsigned wanted = 1 + below(128); types.size() < wanted && width <= 120;) {
            const SubItemTypeInfo& type = kSubItemTypes[below(types.size() % 3 == 0 ? 8 : 2)];
            width += type.bytes;
            types.emplace_back(type.ringSpelling);
        }
        Bytes bytes(width);
        const unsigned extremes = below(3); // every third layout: sign bits and limits
        for (std::uint8_t& byte : bytes) {
            byte = extremes == 0 ? Bytes{0, 0x7F, 0x80, 0xFF}[below(4)] : static_cast<std::uint8_t>(below(256));
        }

        NvItem raw = itemOf(types);
        raw.setData(blockOf(bytes, 0xAA).data());
        NvItem typed = itemOf(types);
        typed.setData(valuesOf(raw));
        ASSERT_THAT(typed.rawData(), ElementsAreArray(blockOf(bytes))) << valuesOf(raw);
        ASSERT_EQ(typed.getSubItems(), raw.getSubItems());
    }
}

} // namespace
