// Operations on several values of a table at once.

#include "workbench/TableEdit.h"

#include "engine/CalvaneException.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

namespace {

using namespace workbench;
using Texts = std::vector<std::string>;
using Type = SubItemType;

std::vector<TableCell> cells(Type type, const Texts& values) {
    std::vector<TableCell> result;
    for (const std::string& value : values) {
        result.push_back({type, "step " + std::to_string(result.size() + 1), value});
    }
    return result;
}

std::string joined(const Texts& texts) {
    std::string line;
    for (const std::string& text : texts) {
        line += "[" + text + "]";
    }
    return line;
}

/// The texts that come out, or the message without the end that all have.
std::string outcome(const std::function<Texts()>& run) {
    std::string result;
    const std::string message = messageOf<CalvaneException>([&] { result = joined(run()); });
    return message.empty() ? result : message.substr(0, message.rfind(". Nothing was "));
}

TEST(PastedTexts, KeepEachValueInItsPlace) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {" 7 ", "[7]"},
        {"1\r\n2\r\n3\r\n", "[1][2][3]"},
        {"1\t2\n3\t4", "[1][2][3][4]"},
        {"1, -2, 300, ", "[1][-2][300]"},
        {"1  2\t 3 ,4", "[1][2][3][4]"},
        {"1\n\n3\n\n\n", "[1][][3]"},
        {"\n2", "[][2]"},
        {"1,,3", "[1][][3]"},
    };
    for (const auto& [text, texts] : cases) {
        EXPECT_EQ(joined(pastedTexts(text)), texts) << text;
    }
}

TEST(PastedValues, AreAllCheckedBeforeOneIsTaken) {
    const auto refused = [](const std::string& text, const std::string& why) {
        return "Value 2 of 2, \"" + text + "\", does not fit \"step 2\": " + why;
    };
    const std::tuple<Type, int, Texts, std::string> cases[] = {
        {Type::SIGNED_WORD, 10, {"+032767", "-32768"}, "[32767][-32768]"},
        {Type::BYTE, 10, {"255", "256"}, refused("256", "0 to 255")},
        {Type::SIGNED_BYTE, 10, {"1", "-129"}, refused("-129", "-128 to 127")},
        {Type::BYTE, 10, {"1", ""}, refused("", "empty, 0 to 255")},
        {Type::BYTE, 10, {"1", "1e1"}, refused("1e1", "no decimal number, 0 to 255")},
        {Type::BYTE, 16, {"0x0f", "1g"}, refused("1g", "no hexadecimal number, 0x0 to 0xff")},
        {Type::SIGNED_WORD, 16, {"fffffffffffffffb", "fffb"}, refused("fffb", "0xffffffffffff8000 to 0x7fff")},
        {Type::QWORD, 16, {"ffffffffffffffff", "0"}, "[ffffffffffffffff][0]"},
        {Type::QWORD, 10, {"18446744073709551615", "0"}, "[18446744073709551615][0]"},
        {Type::QWORD, 10, {"1", "18446744073709551616"}, refused("18446744073709551616", "0 to 18446744073709551615")},
        {Type::WORD, 10, {"1", std::string(99, '9')}, refused(std::string(40, '9') + "...", "0 to 65535")},
        {Type::BYTE, 10, {"1", "2", "3"}, "There are 3 values, but only 2 boxes in the table from \"step 1\" on"},
    };
    for (const auto& [type, base, texts, expected] : cases) {
        const auto all = cells(type, {"", ""});
        EXPECT_EQ(outcome([&, &texts = texts, base = base] { return pastedValues(all, texts, base); }), expected);
    }
}

TEST(TableOperations, GiveAllValuesOrNameTheFirstThatDoesNotFit) {
    const auto calculate = [](Arithmetic how, const char* by, Type type, const Texts& values, int base = 10) {
        return outcome([&] { return calculated(cells(type, values), how, by, base); });
    };
    const auto add = [&](auto... rest) { return calculate(Arithmetic::kAdd, rest...); };
    const auto multiply = [&](auto... rest) { return calculate(Arithmetic::kMultiply, rest...); };
    const auto steps = [](Type type, const Texts& values, int base) {
        return outcome([&] { return interpolated(cells(type, values), base); });
    };
    const auto fill = [](Type type, const Texts& values, int base) {
        return outcome([&] { return filledDown(cells(type, values), base); });
    };
    const auto become = [](const std::string& value, const std::string& range) {
        return "\"step 2\" would become " + value + ", but takes " + range;
    };
    const Texts large{"0", "18446744073709551615"};
    const std::pair<std::string, std::string> cases[] = {
        {multiply("1.05", Type::WORD, Texts{"10", "30", "100"}), "[11][32][105]"}, // of 10.5, 31.5 and 105
        {multiply("-0.5", Type::SIGNED_BYTE, Texts{"3", "-3", "127"}), "[-2][2][-64]"},
        {multiply("3", Type::BYTE, Texts{"85", "86"}), become("258", "0 to 255")},
        {multiply("999999999999999999", Type::QWORD, large),
         become("18446744073709551596553255926290448385", "0 to 18446744073709551615")},
        {add(" +0x1f ", Type::DWORD, Texts{"1", "4294967264"}, 16), "[20][ffffffff]"},
        {add("-1", Type::BYTE, Texts{"1", "0"}, 16), become("0xffffffffffffffff", "0x0 to 0xff")},
        {add("0.4", Type::BYTE, Texts{"1", ""}), "\"step 2\" holds no number"},
        {add("-1", Type::BYTE, Texts{"1", "99999999999999999999"}), "\"step 2\" holds no number"},
        {add("1", Type::QWORD, Texts{"18446744073709551614"}), "[18446744073709551615]"},
        {steps(Type::SIGNED_WORD, {"10", "", "x", "-1"}, 10), "[10][6][3][-1]"},
        {steps(Type::BYTE, {"0", "9", "255"}, 16), "[0][80][ff]"},
        {steps(Type::BYTE, {"1", "2"}, 10), "There is no box between the first and the last one"},
        {fill(Type::SIGNED_BYTE, {"-5", "7"}, 16), "[fffffffffffffffb][fffffffffffffffb]"},
        {fill(Type::BYTE, {"3"}, 10), "There is no box to be filled below the first one"},
    };
    for (const auto& [result, expected] : cases) {
        EXPECT_EQ(result, expected);
    }
    for (const char* by : {"", "-", ".", "1,5", "1e3", "--1", "+-1", "0x", "0x1000000000000000", "1234567890123456789",
                           "0.0000000001"}) {
        EXPECT_TRUE(add(by, Type::BYTE, Texts{"1"}).starts_with("\"" + std::string(by) + "\" is no number such as"));
    }
}

TEST(CopiedText, IsWhatASpreadsheetTakesAsItIs) {
    const TableLine lines[] = {{"gain\tat 1", "-5"}, {"=1+1", "100000"}};
    EXPECT_EQ(copiedText(lines, false, 10), "-5\n100000\n");
    EXPECT_EQ(copiedText(lines, true, 10), "gain at 1\t-5\n'=1+1\t100000\n");
    const TableLine hexadecimal[] = {{"a", "1e5"}, {"b", "5/29/2009"}, {"c", ""}};
    EXPECT_EQ(copiedText(hexadecimal, false, 16), "0x1e5\n5/29/2009\n\n");
}

} // namespace
