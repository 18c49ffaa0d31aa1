// The side file of units and limits.

#include "workbench/Units.h"

#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

using workbench::FieldUnit;
using workbench::Units;

class UnitsFile : public testing::Test {
protected:
    Units load(const std::string& text) {
        writeText(path, text);
        return Units::load(path);
    }

    const TemporaryFolder folder;
    const std::filesystem::path path = folder / "Ring.units";
};

TEST_F(UnitsFile, SaysOfEachSubFieldWhatItMeans) {
    const Units units = load("\xEF\xBB\xBF# a comment\r\n\r\n 7\t2-3  dBm 0.1 1 -60 33.5 # of both\r\n7 1 -\n"
                             "65535 128 \xC2\xB0\x43 - - - - 20 5");
    EXPECT_EQ(units.find(7, 3), nullptr);
    EXPECT_EQ(units.find(8, 0), nullptr);
    EXPECT_EQ(units.find(7, 0)->unit, "");
    const FieldUnit* level = units.find(7, 1);
    ASSERT_EQ(level, units.find(7, 2));
    EXPECT_EQ(physicalText(*level, -135), "-12.5 dBm");
    EXPECT_EQ(workbench::bandText(*level), "-60.0 dBm to 33.5 dBm");
    const FieldUnit* degrees = units.find(65535, 127);
    EXPECT_EQ(degrees->factor, 1);
    EXPECT_EQ(workbench::bandText(*degrees), "15 \xC2\xB0\x43 to 25 \xC2\xB0\x43");
}

TEST_F(UnitsFile, IsBesideTheRingOrThereAreNoUnits) {
    EXPECT_EQ(Units::pathBeside("/a/NV Decoder.vrk"), "/a/NV Decoder.units");
    EXPECT_TRUE(Units::load(path).isEmpty());
    EXPECT_EQ(messageOf([&] { Units::load(folder.path); }), folder.path.string() + " can't be read: Is a directory");
}

TEST_F(UnitsFile, NamesTheLineOfEachFault) {
    const std::string longLine = "1 1 V " + std::string(4091, ' ');
    const std::pair<std::string, const char*> cases[] = {
        {"x 1 V", "'x' is no item number from 0 to 65535"},
        {"65536 1 V", "'65536' is no item number from 0 to 65535"},
        {"1 1", "item, sub-fields and unit are needed"},
        {"1 1 V 1 0 0 9 5 1 2", "'2' is one word too many"},
        {"1 0 V", "'0' is no sub-field or range of sub-fields from 1 to 128"},
        {"1 2-129 V", "'2-129' is no sub-field or range of sub-fields from 1 to 128"},
        {"1 3-2 V", "'3-2' ends before it begins"},
        {"1 1 abcdefghijklmnopq", "'abcdefghijklmnopq' is no unit: it has more than 16 bytes, or is no UTF-8"},
        {"1 1 \xB0", "is no unit: it has more than 16 bytes, or is no UTF-8"},
        {"1 1 V 0,1", "'0,1' is no number"},
        {"1 1 V nan", "'nan' is no number"},
        {"1 1 V 1 inf", "'inf' is too large or too small"},
        {"1 1 V 1e999", "'1e999' is too large or too small"},
        {"1 1 V 0", "the factor is 0"},
        {"1 1 V 1 0 5 4", "the least value is larger than the most"},
        {"1 1 V 1 0 - - - 1", "there is a tolerance, but no nominal value"},
        {"1 1 V 1 0 - - 1 -1", "the tolerance is negative"},
        {"1 1 V 1 0 5 - 1 1", "no value is within the tolerance and between least and most"},
        {"7 3-5 V", "sub-field 4 of item 7 has a unit already"},
        {longLine, "the line has more than 4096 bytes"},
    };
    for (const auto& [line, message] : cases) {
        EXPECT_EQ(messageOf([&, &line = line] { load("7 4 mV\n" + line + "\n"); }),
                  path.string() + ", line 2: " + message);
    }
}

TEST(UnitValues, HaveTheDecimalsThatTellThemApart) {
    const std::tuple<double, double, double, const char*> cases[] = {
        {1, 0, -3, "-3 u"},
        {0.1, 0, 3, "0.3 u"},
        {0.1, 0, -0.2, "0.0 u"},
        {0.0078125, 0, 1, "0.008 u"},
        {1e-6, 0, -12, "-0.000012 u"},
        {2, 0.5, 1, "2.5 u"},
        {1, 1e-300, 1, "1.000 u"},
        {1e15, 0, 18446744073709551615.0, "18446744073709551616000000000000000 u"},
    };
    for (const auto& [factor, offset, raw, text] : cases) {
        EXPECT_EQ(workbench::physicalText({"u", factor, offset, {}, {}, {}, {}}, raw), text);
    }
}

TEST(UnitValues, ArePermittedUpToTheLimits) {
    const FieldUnit both{"", 0.1, 0, -1, 0.3, 0, 0.5}; // 3 * 0.1 is a little more than 0.3
    EXPECT_TRUE(both.permits(both.physical(3)));
    EXPECT_FALSE(both.permits(both.physical(4)));
    EXPECT_TRUE(both.permits(both.physical(-5)));
    EXPECT_FALSE(both.permits(both.physical(-6)));
    EXPECT_EQ(workbench::bandText(both), "-0.5 to 0.3");
    EXPECT_EQ(workbench::bandText({"V", 1, 0, {}, 5, 4, {}}), "at most 5 V") << "a nominal value alone limits nothing";
}

TEST(UnitsSample, IsWithoutFault) {
    EXPECT_FALSE(Units::load(CALVANE_SOURCE_DIR "/data/NV Decoder.units").isEmpty());
}

} // namespace
