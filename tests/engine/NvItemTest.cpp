#include "engine/NvItem.h"

#include "engine/CalvaneException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Block = std::array<unsigned char, 128>;
using testing::ElementsAre;
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

std::vector<std::string> values(const NvItem& item) {
    std::vector<std::string> texts;
    for (const SubItem& subItem : item.getSubItems()) {
        texts.push_back(subItem.value);
    }
    return texts;
}

std::vector<std::string> typeNames(const NvItem& item) {
    std::vector<std::string> texts;
    for (const SubItem& subItem : item.getSubItems()) {
        texts.push_back(subItem.typeName);
    }
    return texts;
}

Block block(const Bytes& start, unsigned char rest = 0) {
    Block bytes;
    bytes.fill(rest);
    std::copy(start.begin(), start.end(), bytes.begin());
    return bytes;
}

Block data(const NvItem& item) {
    Block bytes;
    std::copy_n(item.getData(), bytes.size(), bytes.begin());
    return bytes;
}

std::string failureOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const CalvaneException& exception) {
        return exception.what();
    }
    return "no failure";
}

TEST(NvItem, StartsEmpty) {
    const NvItem item;
    EXPECT_EQ(item.getId(), 0);
    EXPECT_EQ(item.getName(), "");
    EXPECT_EQ(item.getAccess(), "");
    EXPECT_TRUE(item.getSubItems().empty());
    EXPECT_TRUE(item.getSubItemTypes().empty());
    EXPECT_EQ(data(item), Block{});
}

TEST(NvItem, RawDataWithoutSubItemsIsKeptWhole) {
    NvItem item;
    item.setData(block({1, 2, 3}, 0x77).data());
    EXPECT_EQ(data(item), block({1, 2, 3}, 0x77));
    EXPECT_TRUE(item.getSubItems().empty());
}

struct RawCase {
    const char* breaks;
    std::vector<std::string> types;
    Bytes bytes;
    std::vector<std::string> texts;
};

TEST(NvItem, RawDataGivesTextsAndClearsTheRest) {
    const RawCase cases[] = {
        {"packing without padding",
         {"BYTE", "SIGNED_WORD", "DWORD"},
         {1, 0xFE, 0xFF, 0x78, 0x56, 0x34, 0x12},
         {"1", "-2", "305419896"}},
        {"byte as a character", {"BYTE", "SIGNED_BYTE", "SIGNED_BYTE"}, {0xFF, 0x80, 0x7F}, {"255", "-128", "127"}},
        {"sign of two bytes", {"WORD", "SIGNED_WORD"}, {0xFF, 0xFF, 0, 0x80}, {"65535", "-32768"}},
        {"sign of four bytes",
         {"DWORD", "SIGNED_DWORD"},
         {0, 0, 0, 0x80, 0, 0, 0, 0x80},
         {"2147483648", "-2147483648"}},
        {"sign of eight bytes",
         {"QWORD", "SIGNED_QWORD", "SIGNED_QWORD"},
         {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0x80, 5, 0, 0, 0, 0, 0, 0, 0},
         {"18446744073709551615", "-9223372036854775808", "5"}},
    };
    for (const RawCase& row : cases) {
        SCOPED_TRACE(row.breaks);
        NvItem item = itemOf(row.types);
        item.setData(block(row.bytes, 0x77).data());
        EXPECT_EQ(values(item), row.texts);
        EXPECT_EQ(data(item), block(row.bytes));
        item.setData(item.getData()); // the item's own block
        EXPECT_EQ(data(item), block(row.bytes));
    }
}

TEST(NvItem, TextDataLeavesUncoveredBytes) {
    NvItem item = itemOf({"QWORD"});
    item.setData(block({1, 2, 3, 4, 5, 6, 7, 8}).data());
    item.setDecoderRingString("NV_Y,6,ReadOnly,<BYTE,x>#<WORD,y>#");
    item.setData("255, 7");
    EXPECT_EQ(data(item), block({255, 7, 0, 4, 5, 6, 7, 8}));
}

struct TextCase {
    const char* breaks;
    std::vector<std::string> types;
    std::string text;
    Bytes bytes;
};

TEST(NvItem, TextDataIsStoredAndKeptAsTyped) {
    const Bytes ones(8, 0xFF);
    const TextCase cases[] = {
        {"blanks around", {"BYTE", "SIGNED_BYTE", "WORD"}, "10, -1,65535", {10, 0xFF, 0xFF, 0xFF}},
        {"all white space", {"WORD", "WORD"}, "\t1 \v\f,\r\n2 \t", {1, 0, 2, 0}},
        {"plus and zeros", {"WORD", "QWORD"}, "+0007,+0007", {7, 0, 7, 0, 0, 0, 0, 0, 0, 0}},
        {"bytes up to their limits",
         {"BYTE", "BYTE", "SIGNED_BYTE", "SIGNED_BYTE"},
         "-128,255,-128,255",
         {0x80, 0xFF, 0x80, 0xFF}},
        {"word negates modulo 2^16", {"WORD", "WORD"}, "-1,-65535", {0xFF, 0xFF, 1, 0}},
        {"signed word's limits", {"SIGNED_WORD", "SIGNED_WORD"}, "-32768,32767", {0, 0x80, 0xFF, 0x7F}},
        {"dword negates modulo 2^32", {"DWORD", "DWORD"}, "-1,4294967295", ones},
        {"signed dword's limits",
         {"SIGNED_DWORD", "SIGNED_DWORD"},
         "-2147483648,2147483647",
         {0, 0, 0, 0x80, 0xFF, 0xFF, 0xFF, 0x7F}},
        {"largest qword", {"QWORD"}, "18446744073709551615", ones},
        {"signed qword minus one", {"SIGNED_QWORD"}, "-1", ones},
        {"qword wraps modulo 2^64", {"QWORD"}, "18446744073709551617", {1, 0, 0, 0, 0, 0, 0, 0}},
        {"qword of many digits", {"SIGNED_QWORD"}, "-36893488147419103233", ones},
        {"white space at the end exhausts", {"BYTE"}, "7  ", {7}},
    };
    for (const TextCase& row : cases) {
        SCOPED_TRACE(row.breaks);
        NvItem item = itemOf(row.types);
        item.setData(row.text);
        EXPECT_EQ(data(item), block(row.bytes));
        std::string joined;
        for (const std::string& value : values(item)) {
            joined += (joined.empty() ? "" : ",") + value;
        }
        EXPECT_EQ(joined, row.text);
    }
}

struct RefusedCase {
    const char* breaks;
    std::vector<std::string> types;
    std::string text;
    std::string message;
    std::vector<std::string> valuesLeft; ///< the sub-fields held 1, 1, ... before
};

TEST(NvItem, RefusedTextKeepsWhatWasStoredBeforeIt) {
    const std::vector<std::string> bytes3{"BYTE", "BYTE", "BYTE"};
    const auto tooFew = [](std::string n, std::string i, std::string input) {
        return kPrefix + "For NV item: 'NV_X' there are " + n + " expected data items, and there are only " + i +
               " in the passed in comma delimited data string: '" + input + "'";
    };
    const auto tooMany = [](std::string n, std::string input, std::string word) {
        return kPrefix + "For NV item 'NV_X' there are " + n + " expected data items, and there are more than " + n +
               " in the passed in comma delimited data string: '" + input +
               "'. The left over string in the buffer is: '" + word + "'";
    };
    const auto noNumber = [](std::string field, std::string text) {
        return kPrefix + "For NV item 'NV_X' the data item " + field + " must be a decimal number, and it is: '" +
               text + "'";
    };
    const auto range = [](std::string field, std::string limits, std::string text) {
        return kPrefix + "For NV item 'NV_X' the data item " + field + " must be from " + limits + ", and it is: '" +
               text + "'";
    };
    const RefusedCase cases[] = {
        {"too few", bytes3, "8,9", tooFew("3", "2", "8,9"), {"8", "9", "1"}},
        {"too few after a qword", {"QWORD", "BYTE"}, "8", tooFew("2", "1", "8"), {"8", "1"}},
        {"too many", bytes3, "1,2,3,4", tooMany("3", "1,2,3,4", "4"), {"1", "2", "3"}},
        {"left-over word ends at a blank", {"BYTE"}, "1,  2,3 4", tooMany("1", "1,  2,3 4", "2,3"), {"1"}},
        {"comma after the last", bytes3, "1,2,3,", tooMany("3", "1,2,3,", ""), {"1", "2", "3"}},
        {"comma after the last qword", {"QWORD"}, "7, ", tooMany("1", "7, ", ""), {"7"}},
        {"no sub-fields, no text",
         {},
         "",
         kPrefix + "For NV item '' there are 0 expected data items, and there are more than 0 in the passed in comma "
                   "delimited data string: ''. The left over string in the buffer is: ''",
         {}},
        {"empty text", {"BYTE"}, "", noNumber("1 ('a')", ""), {"1"}},
        {"comma promises a field", bytes3, "8,9,", noNumber("3 ('c')", ""), {"8", "9", "1"}},
        {"white space only", bytes3, "8, ,9", noNumber("2 ('b')", " "), {"8", "1", "1"}},
        {"letters", {"WORD"}, "abc", noNumber("1 ('a')", "abc"), {"1"}},
        {"junk after digits", {"DWORD"}, "12x", noNumber("1 ('a')", "12x"), {"1"}},
        {"junk after a qword", {"QWORD"}, "12 3", noNumber("1 ('a')", "12 3"), {"1"}},
        {"sign alone", {"SIGNED_QWORD"}, "-", noNumber("1 ('a')", "-"), {"1"}},
        {"two signs", {"SIGNED_WORD"}, "--1", noNumber("1 ('a')", "--1"), {"1"}},
        {"blank behind the sign", {"SIGNED_WORD"}, "- 1", noNumber("1 ('a')", "- 1"), {"1"}},
        {"embedded zero byte",
         {"WORD"},
         std::string("1\0", 2),
         noNumber("1 ('a')", std::string("1\0", 2)).c_str(),
         {"1"}},
        {"byte above", {"BYTE"}, "256", range("1 ('a')", "-128 to 255 for the type BYTE", "256"), {"1"}},
        {"byte below",
         {"BYTE", "SIGNED_BYTE"},
         "2, -129",
         range("2 ('b')", "-128 to 255 for the type SIGNED BYTE", " -129"),
         {"2", "1"}},
        {"word", {"WORD"}, "65536", range("1 ('a')", "-65535 to 65535 for the type WORD", "65536"), {"1"}},
        {"signed word above",
         {"SIGNED_WORD"},
         "32768",
         range("1 ('a')", "-32768 to 32767 for the type SIGNED WORD", "32768"),
         {"1"}},
        {"dword below",
         {"DWORD"},
         "-4294967296",
         range("1 ('a')", "-4294967295 to 4294967295 for the type DWORD", "-4294967296"),
         {"1"}},
        {"beyond 64 bits",
         {"SIGNED_DWORD"},
         "18446744073709551617",
         range("1 ('a')", "-2147483648 to 2147483647 for the type SIGNED DWORD", "18446744073709551617"),
         {"1"}},
    };
    for (const RefusedCase& row : cases) {
        SCOPED_TRACE(row.breaks);
        NvItem item = row.types.empty() ? NvItem() : itemOf(row.types);
        Block expected{};
        std::size_t offset = 0;
        for (std::size_t i = 0; i < row.types.size(); ++i) {
            expected[offset] = 1;
            offset += subItemTypeInfo(item.getSubItemTypes()[i]).bytes;
        }
        item.setData(expected.data());
        EXPECT_EQ(failureOf([&] { item.setData(row.text); }), row.message);
        EXPECT_EQ(values(item), row.valuesLeft);
        offset = 0;
        for (std::size_t i = 0; i < row.types.size(); ++i) {
            expected[offset] = static_cast<unsigned char>(std::stoi(row.valuesLeft[i]));
            offset += subItemTypeInfo(item.getSubItemTypes()[i]).bytes;
        }
        EXPECT_EQ(data(item), expected);
    }
}

TEST(NvItem, ValuesAndTypeNamesFollowWhatWasSetLast) {
    const std::string line = "NV_X,5,ReadWrite,<SIGNED_BYTE,a>#<SIGNED_WORD,b>#";
    NvItem item(line);
    EXPECT_THAT(values(item), ElementsAre("", ""));
    EXPECT_THAT(typeNames(item), ElementsAre("SIGNED_BYTE", "SIGNED_WORD"));

    EXPECT_THROW(item.setData("4"), CalvaneException);
    EXPECT_THAT(values(item), ElementsAre("4", ""));
    EXPECT_THAT(typeNames(item), ElementsAre("SIGNED BYTE", "SIGNED_WORD"));

    item.setData("05, 6");
    EXPECT_THROW(item.setData("7,x"), CalvaneException);
    EXPECT_THAT(values(item), ElementsAre("7", " 6"));

    item.setData(block({8, 9}).data());
    EXPECT_THAT(values(item), ElementsAre("8", "9"));
    EXPECT_THROW(item.setData("10"), CalvaneException);
    EXPECT_THAT(values(item), ElementsAre("10", "9"));
    EXPECT_THAT(typeNames(item), ElementsAre("SIGNED BYTE", "SIGNED WORD"));

    item.setDecoderRingString(line);
    EXPECT_THAT(values(item), ElementsAre("", ""));
    EXPECT_THAT(typeNames(item), ElementsAre("SIGNED_BYTE", "SIGNED_WORD"));
    EXPECT_EQ(data(item), block({10, 9}));
}

TEST(NvItem, CopiesAreIndependent) {
    NvItem original = itemOf({"BYTE", "BYTE"});
    original.setData("1, 2");
    NvItem copy = original;
    original.setData("3,4");
    original.setDecoderRingString("NV_Z,9,ReadOnly,<WORD,z>#");
    EXPECT_EQ(copy.getId(), 5);
    EXPECT_EQ(copy.getName(), "NV_X");
    EXPECT_EQ(copy.getAccess(), "readwrite");
    EXPECT_THAT(values(copy), ElementsAre("1", " 2"));
    EXPECT_EQ(data(copy), block({1, 2}));
}

TEST(NvItem, AccessMarkDecidesWritingAndDates) {
    const auto marks = [](std::string access) {
        const NvItem item("X,1," + access + ",<BYTE,a>#");
        return std::pair(item.isWritable(), item.isTime());
    };
    EXPECT_EQ(marks("ReadWrite"), std::pair(true, false));
    EXPECT_EQ(marks("ReadOnly"), std::pair(false, false));
    EXPECT_EQ(marks("Rewrite at Times"), std::pair(true, true));
    EXPECT_EQ(marks("TIME"), std::pair(false, true));
}

TEST(NvItem, ComparesByNumberOrByNameAtThatMoment) {
    const NvItem a("A,500,x,<BYTE,a>#");
    const NvItem b("B,20,x,<BYTE,a>#");
    NvItem otherA("A,20,y,<WORD,b>#");
    otherA.setData("7");
    EXPECT_TRUE(b < a && a > b && a != b && !(a == b) && !(a < b) && !(b > a));
    EXPECT_TRUE(otherA == b && !(otherA != b) && !(otherA < b) && !(otherA > b));
    EXPECT_TRUE(NvItem("X,40000,x,<BYTE,a>#") > a);

    NvItem::setCompareByName(true);
    EXPECT_TRUE(a < b && b > a && a != b);
    EXPECT_TRUE(a == otherA && !(a != otherA));
    EXPECT_TRUE(NvItem("Z,1,x,<BYTE,a>#") < NvItem("a,1,x,<BYTE,a>#"));
    EXPECT_TRUE(NvItem("z,1,x,<BYTE,a>#") < NvItem("\xE4,1,x,<BYTE,a>#"));
    NvItem::setCompareByName(false);
    EXPECT_TRUE(b < a);
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
        for (unsigned wanted = 1 + below(128); types.size() < wanted;) {
            const SubItemTypeInfo& type = kSubItemTypes[below(types.size() % 3 == 0 ? 8 : 2)];
            if (width + type.bytes > 128) {
                break;
            }
            width += type.bytes;
            types.emplace_back(type.ringSpelling);
        }
        Bytes bytes(width);
        const unsigned extremes = below(3); // every third layout: sign bits and limits
        for (unsigned char& byte : bytes) {
            byte = extremes == 0 ? std::array<unsigned char, 4>{0, 0x7F, 0x80, 0xFF}[below(4)]
                                 : static_cast<unsigned char>(below(256));
        }

        NvItem raw = itemOf(types);
        raw.setData(block(bytes, 0xAA).data());
        std::string texts;
        for (const std::string& value : values(raw)) {
            texts += (texts.empty() ? "" : ",") + value;
        }
        NvItem typed = itemOf(types);
        typed.setData(texts);
        ASSERT_EQ(data(typed), block(bytes)) << texts;
        ASSERT_EQ(typed.getSubItems(), raw.getSubItems());
    }
}

} // namespace
