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

/// The texts that come out, or the message.
std::string outcome(const std::function<Texts()>& run) {
    std::string result;
    const std::string message = messageOf<CalvaneException>([&] { result = joined(run()); });
    return message.empty() ? result : message;
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
    const std::string front = "Value 2 of 2, ";
    const struct {
        Type type;
        int base;
        Texts texts;
        std::string outcome;
    } cases[] = {
        {Type::SIGNED_WORD, 10, {"+032767", "-32768"}, "[32767][-32768]"},
        {Type::BYTE, 10, {"255", "256"}, front + "\"256\", does not fit \"step 2\": 0 to 255. Nothing was pasted."},
        {Type::SIGNED_BYTE,
         10,
         {"1", "-129"},
         front + "\"-129\", does not fit \"step 2\": -128 to 127. Nothing was pasted."},
        {Type::BYTE, 10, {"1", ""}, front + "\"\", does not fit \"step 2\": empty, 0 to 255. Nothing was pasted."},
        {Type::BYTE,
         10,
         {"1", "1e1"},
         front + "\"1e1\", does not fit \"step 2\": no decimal number, 0 to 255. Nothing was pasted."},
        {Type::BYTE,
         16,
         {"0x0f", "1g"},
         front + "\"1g\", does not fit \"step 2\": no hexadecimal number, 0x0 to 0xff. Nothing was pasted."},
        {Type::SIGNED_WORD,
         16,
         {"fffffffffffffffb", "fffb"},
         front + "\"fffb\", does not fit \"step 2\": 0xffffffffffff8000 to 0x7fff. Nothing was pasted."},
        {Type::QWORD, 16, {"ffffffffffffffff", "0"}, "[ffffffffffffffff][0]"},
        {Type::QWORD, 10, {"18446744073709551615", "0"}, "[18446744073709551615][0]"},
        {Type::QWORD,
         10,
         {"1", "18446744073709551616"},
         front + "\"18446744073709551616\", does not fit \"step 2\": 0 to 18446744073709551615. Nothing was pasted."},
        {Type::SIGNED_QWORD,
         10,
         {"-9223372036854775808", "99999999999999999999999999999999999999999"},
         front + "\"9999999999999999999999999999999999999999...\", does not fit \"step 2\": -9223372036854775808 to "
                 "9223372036854775807. Nothing was pasted."},
        {Type::BYTE,
         10,
         {"1", "2", "3", "4"},
         "There are 4 values, but only 3 boxes in the table from \"step 1\" on. Nothing was pasted."},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(outcome([&] {
                      return pastedValues(cells(row.type, {"", "", ""}), row.texts, row.base);
                  }),
                  row.outcome);
    }
}

TEST(TableOperations, GiveAllValuesOrNameTheFirstThatDoesNotFit) {
    const auto calculate = [](Arithmetic arithmetic, const char* number, Type type, const Texts& values,
                              int base = 10) {
        return outcome([&] { return calculated(cells(type, values), arithmetic, number, base); });
    };
    const auto add = [&](auto... rest) { return calculate(Arithmetic::kAdd, rest...); };
    const auto multiply = [&](auto... rest) { return calculate(Arithmetic::kMultiply, rest...); };
    const auto interpolate = [](Type type, const Texts& values, int base) {
        return outcome([&] { return interpolated(cells(type, values), base); });
    };
    const auto fill = [](Type type, const Texts& values, int base) {
        return outcome([&] { return filledDown(cells(type, values), base); });
    };
    const std::string ends = " Nothing was changed.";
    const std::pair<std::string, std::string> cases[] = {
        {multiply("1.05", Type::WORD, Texts{"10", "30", "100"}), "[11][32][105]"}, // 10.5, 31.5: halves away from zero
        {multiply("-0.5", Type::SIGNED_BYTE, Texts{"3", "-3", "127"}), "[-2][2][-64]"},
        {multiply("3", Type::BYTE, Texts{"85", "86"}), "\"step 2\" would become 258, but takes 0 to 255." + ends},
        {multiply("999999999999999999", Type::QWORD, Texts{"18446744073709551615"}),
         "\"step 1\" would become 18446744073709551596553255926290448385, but takes 0 to 18446744073709551615." + ends},
        {add(" +0x1f ", Type::DWORD, Texts{"1", "4294967264"}, 16), "[20][ffffffff]"},
        {add("-1", Type::BYTE, Texts{"1", "0"}, 16),
         "\"step 2\" would become 0xffffffffffffffff, but takes 0x0 to 0xff." + ends},
        {add("0.4", Type::BYTE, Texts{"1", ""}), "\"step 2\" holds no number." + ends},
        {add("-99999999999999999999", Type::QWORD, Texts{"100000000000000000000"}),
         "\"-99999999999999999999\" is no number such as 12, -0.5 or 0x1f, of 18 digits at most and 9 of them behind "
         "the point." +
             ends},
        {add("-1", Type::BYTE, Texts{"99999999999999999999"}), "\"step 1\" holds no number." + ends},
        {add("1", Type::QWORD, Texts{"18446744073709551614"}), "[18446744073709551615]"},
        {interpolate(Type::SIGNED_WORD, {"10", "", "x", "-1"}, 10), "[10][6][3][-1]"},
        {interpolate(Type::BYTE, {"0", "9", "255"}, 16), "[0][80][ff]"},
        {interpolate(Type::BYTE, {"1", "2"}, 10), "There is no box between the first and the last one." + ends},
        {fill(Type::SIGNED_BYTE, {"-5", "", "7"}, 16), "[fffffffffffffffb][fffffffffffffffb][fffffffffffffffb]"},
        {fill(Type::BYTE, {"300", "1"}, 10), "\"step 1\" would become 300, but takes 0 to 255." + ends},
        {fill(Type::BYTE, {"3"}, 10), "There is no box to be filled below the first one." + ends},
    };
    for (const auto& [result, expected] : cases) {
        EXPECT_EQ(result, expected);
    }
    for (const char* number : {"", "-", ".", "1,5", "1e3", "--1", "+-1", "0x", "0x1000000000000000",
                               "1234567890123456789", "0.0000000001"}) {
        EXPECT_TRUE(
            add(number, Type::BYTE, Texts{"1"}).starts_with("\"" + std::string(number) + "\" is no number such as"))
            << number;
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
