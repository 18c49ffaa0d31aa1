// What a typed number would become, and how messages are shown.

#include "workbench/MessageText.h"
#include "workbench/TypedValues.h"

#include <gtest/gtest.h>

namespace {

using workbench::checkTypedValue;
using Type = SubItemType;
using Verdict = workbench::TypedValue::Verdict;

TEST(TypedValues, TellWhatWouldBeStoredInsteadOfWhatWasTyped) {
    const struct {
        Type type;
        const char* text;
        Verdict verdict;
        const char* stored;
    } cases[] = {
        {Type::BYTE, "\t+00255 ", Verdict::kFits, ""},
        {Type::BYTE, "300", Verdict::kChanged, "44"},
        {Type::BYTE, "-1", Verdict::kChanged, "255"},
        {Type::BYTE, "65536", Verdict::kChanged, ""},
        {Type::SIGNED_BYTE, "200", Verdict::kChanged, "-56"},
        {Type::SIGNED_WORD, "32768", Verdict::kChanged, ""},
        {Type::QWORD, "18446744073709551615", Verdict::kFits, ""},
        {Type::QWORD, "18446744073709551616", Verdict::kChanged, "0"},
        {Type::SIGNED_QWORD, "9223372036854775808", Verdict::kChanged, "-9223372036854775808"},
        {Type::DWORD, "", Verdict::kEmpty, ""},
        {Type::DWORD, " \t", Verdict::kEmpty, ""},
        {Type::DWORD, "-", Verdict::kNoNumber, ""},
        {Type::DWORD, "1,2", Verdict::kNoNumber, ""},
    };
    for (const auto& row : cases) {
        const auto typed = checkTypedValue(row.type, row.text);
        EXPECT_EQ(typed.verdict, row.verdict) << row.text;
        EXPECT_EQ(typed.stored, row.stored) << row.text;
    }
}

TEST(TypedValues, TellTheRangeOfEachType) {
    std::string ranges;
    for (std::size_t code = 0; code < kSubItemTypes.size(); ++code) {
        const auto typed = checkTypedValue(static_cast<Type>(code), "x");
        ranges += typed.smallest + ".." + typed.largest + "\n";
    }
    EXPECT_EQ(ranges, "0..255\n-128..127\n0..65535\n-32768..32767\n0..4294967295\n-2147483648..2147483647\n"
                      "0..18446744073709551615\n-9223372036854775808..9223372036854775807\n");
}

TEST(MessageText, ShowsAMessageAsATextAndNeverAsACommand) {
    const struct {
        const char* message;
        const char* path;
        const char* reason;
        const char* shown;
    } cases[] = {
        {"The file %1 is bad.\r\n", "/a/%1.mox", "", "The file /a/%1.mox is bad.\n"},
        {"%1 and %1", "x\n\x1B[2J", "", "x\\x0a\\x1b[2J and x\\x0a\\x1b[2J"},
        {"Error\n\a\tCode = 5\n", "", "No such device", "Error\n\tCode = 5\nNo such device"},
        {"No path for %1\r", "", "", "No path for %1\\x0d"},
        {"\u00E4 \u009B2J \x7F \u00A0", "", "", "\u00E4 \\x9b2J \\x7f \u00A0"},
        {"\u202Ex\u2069 \u202F \u2065", "", "", "\\u202ex\\u2069 \u202F \u2065"},
        {"a\u2028b\u200B\u2064", "", "", "a\\u2028b\\u200b\\u2064"},
        {"L\xE4rm \xC3", "", "\xE2\x82", "L\\xe4rm \\xc3\n\\xe2\\x82"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(workbench::shownMessage(row.message, row.path, row.reason), row.shown);
    }
    EXPECT_EQ(workbench::shownText(std::string_view("a\0\tb\a\r\n", 7)), "a\\x00\\x09b\\x07\\x0d\\x0a");
}

TEST(MessageText, LeavesOutTheFunctionsInFrontOfAReason) {
    const std::pair<const char*, const char*> cases[] = {
        {"'p': A::f() - x\nB::~B - C::D::g( const string& s ) - y", "'p': x\ny"},
        {"a - b, ::c - d, 'A::f - x', A::f(), A::f( - A::f() x",
         "a - b, ::c - d, 'A::f - x', A::f(), A::f( - A::f() x"},
    };
    for (const auto& [message, without] : cases) {
        EXPECT_EQ(workbench::withoutFunctions(message), without);
    }
}

TEST(MessageText, LeavesOutTheMiddleOfWhatIsTooMuchToBeDrawn) {
    const struct {
        const char* text;
        workbench::TextBounds bounds;
        const char* shortened;
    } cases[] = {
        {"\u00E4\u00F6\u00FC\u00DF", {4, 1}, "\u00E4\u00F6\u00FC\u00DF"},
        {"\u00E4\u00F6o\u00FC\u00DF", {3, 1}, "\u00E4[3 characters left out]\u00DF"},
        {"1\n2\n3\n4\n", {100, 5}, "1\n2\n3\n4\n"},
        {"1\n2\n3\n4\n5", {100, 3}, "1\n[3 lines left out]\n5"},
        {"12345\n67", {6, 2}, "1[3 characters left out]5\n67"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(workbench::withinBounds(row.text, row.bounds), row.shortened);
    }
}

} // namespace
