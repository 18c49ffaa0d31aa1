// Two sets of items, their rows in every order, and their texts for other programs.

#include "tests/catalog/CatalogFixture.h"
#include "workbench/ComparisonRows.h"
#include "workbench/ComparisonText.h"
#include "workbench/ItemJson.h"
#include "workbench/ItemSetLoader.h"

#include <nlohmann/json.hpp>

namespace {

using namespace workbench;
using Set = std::shared_ptr<const ItemSet>;

NvItem item(const std::string& line, const std::string& values) {
    NvItem item(line);
    item.setData(values);
    return item;
}

Set setOf(std::vector<NvItem> items, ItemSet::About about = {ItemSet::Origin::kJsonFile, "a set", nullptr, true, {}}) {
    return std::make_shared<const ItemSet>(std::move(about), std::move(items));
}

std::shared_ptr<const Source> phone(const std::string& serialNumber) {
    return std::make_shared<const Source>(Source{PhoneSource{{serialNumber, "Sample", "1.0"}, "COM1"}, {}});
}

std::shared_ptr<const Source> file(std::optional<PhoneProperties> record) {
    return std::make_shared<const Source>(Source{FileSource{"a.mox", std::move(record)}, {}});
}

/// A JSON file that says of which read it is.
std::shared_ptr<const Source> readFile(const std::string& serialNumber) {
    FileSource from{"a.json", {}};
    from.read = PhoneSource{{serialNumber, "Sample", "1.0"}, "COM3"};
    return std::make_shared<const Source>(Source{std::move(from), {}});
}

const std::string kTwo = ",ReadWrite,<SIGNED_WORD,gain, in dB>#<QWORD,=stamp>#";
const std::string kByte = ",ReadWrite,<BYTE,x>#";

/// Each state once, and two different rows.
std::shared_ptr<const SetComparison> comparisonOfAll() {
    return std::make_shared<const SetComparison>(
        setOf({item("NV_B,20" + kTwo, "-5,0"), item("NV_SAME,10" + kByte, "1"), item("\"NV_A\",30" + kTwo, "7,1"),
               item("NV_L\xE4RM,40" + kByte, "3"), item("NV_LAYOUT,60" + kByte, "3")}),
        setOf({item("NV_SAME,10" + kByte, "1"), item("NV_B,20" + kTwo, "32767,18446744073709551615"),
               item("\"NV_A\",30" + kTwo, "5,1"), item("NV_NEW,50" + kByte, "4"),
               item("NV_LAYOUT,60,ReadWrite,<WORD,x>#", "3")}));
}

TEST(SetComparisonTest, CountsEachRowOnceAndSaysWhatDiffers) {
    const auto comparison = comparisonOfAll();
    EXPECT_EQ(comparison->counts(), "1 equal, 2 different, 1 only left, 1 only right, 1 of another layout");
    EXPECT_EQ(comparison->identities(), "The decoder rings are different: 1 item has another layout.");
    EXPECT_EQ(comparison->left()->find(40)->getData()[0], 3);
    EXPECT_EQ(comparison->left()->find(50), nullptr);
    std::string summaries;
    for (const ItemRow& row : comparison->rows()) {
        const RowSummary summary = comparison->summaryOf(row);
        summaries += std::to_string(summary.differing) + "/" + std::to_string(summary.fields) + " " +
                     (summary.farthest ? textOf(*summary.farthest) : "-") + ", ";
    }
    EXPECT_EQ(summaries, "0/1 0, 2/2 18446744073709551615, 1/2 -2, 0/1 -, 0/1 -, 0/1 -, ");
}

TEST(SetComparisonTest, WhatNobodyKnowsOfASideIsNotCompared) {
    const auto known = comparisonOfAll();
    ItemSet::About about = known->left()->about();
    about.unknown = {20, 50, 70};
    const SetComparison comparison(std::make_shared<const ItemSet>(about, std::vector(known->left()->items().begin(),
                                                                                      known->left()->items().end())),
                                   known->right());
    EXPECT_EQ(comparison.counts(),
              "1 equal, 1 different, 1 only left, 0 only right, 1 of another layout, not compared: item 20, 50, 70");
    EXPECT_EQ(comparison.subFieldsOf(comparison.rows()[1])[0].state, RowState::kNotCompared);
    EXPECT_EQ(comparison.summaryOf(comparison.rows()[1]).differing, 0U);
}

TEST(SetComparisonTest, BytesBehindTheSubFieldsCountWhereBothSidesBringThem) {
    NvItem left = item("NV_B,20" + kByte, "1");
    NvItem right = left;
    ItemData data{1};
    data.back() = 7;
    right.setRawData(data);
    for (const bool brings : {true, false}) {
        const SetComparison comparison(setOf({left}), setOf({right}, {.bringsAllBytes = brings}));
        EXPECT_EQ(comparison.count(RowState::kDiffers), brings ? 1U : 0U);
        EXPECT_EQ(comparison.summaryOf(comparison.rows()[0]).differsBehind, brings);
        EXPECT_EQ(comparison.subFieldsOf(comparison.rows()[0]).size(), brings ? 2U : 1U);
    }
}

TEST(SetComparisonTest, OtherPhonesAreToldWhereBothSidesKnowTheirs) {
    const PhoneProperties record{5, 0, 0, "", ""};
    const PhoneProperties other{6, 0, 0, "", ""};
    const struct {
        std::shared_ptr<const Source> left;
        std::shared_ptr<const Source> right;
        std::string told;
    } rows[] = {
        {phone("1"), phone("1"), ""},
        {phone("1"), phone("2"), "Sample 1 on COM1 (left) and Sample 2 on COM1"},
        {phone("1"), phone(""), ""},
        {phone("1"), readFile("2"), "Sample 1 on COM1 (left) and Sample 2 on COM3"},
        {readFile("1"), readFile("1"), ""},
        {phone("1"), file(record), ""},
        {file(record), file(record), ""},
        {file(other), file(record), "ESN 6 (left) and ESN 5"},
        {file(std::nullopt), file(record), ""},
        {nullptr, phone("2"), ""},
    };
    for (const auto& row : rows) {
        const std::string told = otherPhoneText(*setOf({}, {.source = row.left}), *setOf({}, {.source = row.right}));
        EXPECT_EQ(told, row.told.empty() ? "" : "The values are of two phones: " + row.told + " (right).");
    }
}

TEST(ComparisonRowsTest, FiltersAndOrdersEveryWay) {
    const ComparisonRows rows(comparisonOfAll());
    using Order = ComparisonOrder;
    const struct {
        ComparisonRows::Question question;
        std::string numbers;
    } cases[] = {
        {{}, "20 30 40 50 60 "},
        {{.differencesOnly = false, .isDescending = true}, "60 50 40 30 20 10 "},
        {{.filter = "nv_ 0 B"}, "20 "},
        {{.differencesOnly = false, .filter = "SAME nothing"}, ""},
        {{.differencesOnly = false, .filter = "  10"}, "10 "},
        {{.order = Order::kName}, "30 20 60 40 50 "},
        {{.order = Order::kLeft}, "20 40 60 30 50 "},
        {{.order = Order::kRight, .isDescending = true}, "20 30 50 60 40 "},
        {{.order = Order::kDifference}, "30 20 40 50 60 "},
        {{.order = Order::kDifference, .isDescending = true}, "20 30 40 50 60 "},
        {{.order = Order::kDifferingFields}, "30 20 40 50 60 "},
    };
    for (const auto& one : cases) {
        std::string numbers;
        for (const std::uint32_t position : rows.find(one.question)) {
            numbers += std::to_string(rows.comparison().rows()[position].number) + " ";
        }
        EXPECT_EQ(numbers, one.numbers) << one.question.filter << static_cast<int>(one.question.order);
    }
}

TEST(WideNumberTest, HoldsAnyDifferenceOfOneType) {
    const std::uint8_t all[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    const std::uint8_t lowest[8] = {0, 0, 0, 0, 0, 0, 0, 0x80};
    const struct {
        SubItemType type;
        const std::uint8_t* bytes;
        std::string text;
    } values[] = {
        {SubItemType::BYTE, all, "255"},
        {SubItemType::SIGNED_BYTE, all, "-1"},
        {SubItemType::QWORD, all, "18446744073709551615"},
        {SubItemType::SIGNED_QWORD, lowest, "-9223372036854775808"},
        {SubItemType::SIGNED_DWORD, lowest, "0"},
    };
    for (const auto& value : values) {
        EXPECT_EQ(textOf(numberAt(value.type, value.bytes)), value.text);
        EXPECT_EQ(numberOf(value.text), numberAt(value.type, value.bytes));
    }
    const std::string low = "-9223372036854775808";
    const std::string high = "9223372036854775807";
    EXPECT_EQ(textOf(difference(*numberOf(low), *numberOf(high))), "18446744073709551615");
    EXPECT_EQ(textOf(difference(*numberOf(high), *numberOf(low))), "-18446744073709551615");
    EXPECT_EQ(textOf(difference(*numberOf(low), *numberOf("-1"))), high);
    EXPECT_EQ(numberOf("1 "), std::nullopt);
}

Units units() {
    const TemporaryFolder folder;
    writeText(folder / "u", "20 1 -dB 0.1\n40 1 - 1 10\n60 1 V\n");
    return Units::load(folder / "u");
}

TEST(ComparisonTextTest, CsvIsQuotedAndNoFormula) {
    const auto comparison = comparisonOfAll();
    const std::uint32_t rows[] = {1, 2, 3};
    EXPECT_EQ(comparisonCsv(*comparison, rows, true, units()),
              "number,name,sub-field,left,right,difference,state,left value,right value,unit\r\n"
              "20,NV_B,\"gain, in dB\",-5,32767,32772,different,-0.5,3276.7,'-dB\r\n"
              "20,NV_B,'=stamp,0,18446744073709551615,18446744073709551615,different,,,\r\n"
              "30,\"\"\"NV_A\"\"\",\"gain, in dB\",7,5,-2,different,,,\r\n"
              "40,NV_L\u00E4RM,x,3,,,only left,13,,\r\n");
    const ComparedLine lines[] = {{2, 1}, {3}};
    EXPECT_EQ(comparisonCells(*comparison, lines, true),
              "30\t\"NV_A\"\t'=stamp\t1\t1\t0\tequal\n40\tNV_L\u00E4RM\tx\t3\t\t\tonly left\n");
}

TEST(ComparisonTextTest, JsonComesBack) {
    const auto comparison = comparisonOfAll();
    const std::uint32_t rows[] = {1, 3};
    const auto read = nlohmann::json::parse(comparisonJson(*comparison, rows, false, units()));
    EXPECT_EQ(read["left"], "a set");
    EXPECT_EQ(read["items"].size(), 2U);
    EXPECT_EQ(read["items"][0]["id"], 20);
    EXPECT_EQ(read["items"][0]["fields"][1]["difference"], "18446744073709551615");
    EXPECT_EQ(read["items"][0]["fields"][0]["rightValue"], 3276.7);
    EXPECT_EQ(read["items"][1]["fields"][0]["rightValue"], nullptr);
    EXPECT_EQ(read["items"][1]["name"], "NV_L\u00E4RM");
    EXPECT_EQ(read["items"][1]["state"], "only left");
}

class ItemSetLoaderTest : public CatalogFixture {
protected:
    ItemSetLoaderTest() { loadRing("NV_A,10" + kByte + "\nNV_B,20" + kByte + "\n"); }
};

TEST_F(ItemSetLoaderTest, FilesGiveWhatTheRingDescribesAndSayWhatTheyLeaveOut) {
    const std::string mox = folder / "a.mox";
    NvItem whole = itemOf(10, 5);
    ItemData data{5};
    data.back() = 9;
    whole.setRawData(data);
    catalog.createMoxFile(mox, {whole, itemOf(11, 6)}, 7, 1, 2, "", "");
    writeText(folder / "a.json", itemsToJson(std::vector{catalog.getSupportedNvItem(10)}));
    ItemSetLoader loader(folder / "ring.vrk");
    EXPECT_EQ(messageOf([&] { loader.fromJsonFile(folder / "a.json"); }).empty(), false) << "an item without values";
    writeText(folder / "b.json", R"({"items":[{"id":20,"fields":[{"value":7}]}]})");
    const Set json = loader.fromJsonFile(folder / "b.json");
    EXPECT_EQ(json->find(20)->getSubItems()[0].value, "7");
    EXPECT_FALSE(json->about().bringsAllBytes);

    const std::string head = R"({"form":"raw-items","port":"COM7","phone":{"serialNumber":"9","model":"M"},)"
                             R"("time":"2026-01-02T03:04:05.678Z","missing":{"lost":"20","failed":"7-9"},"items":[)";
    const std::string raw = "\"raw\":\"2A" + std::string(254, '0') + "\"}";
    writeText(folder / "c.json", head + R"({"id":10,)" + raw + R"(,{"id":11,)" + raw + "]}");
    const Set read = loader.fromJsonFile(folder / "c.json");
    EXPECT_EQ(read->find(10)->getSubItems()[0].value, "42");
    EXPECT_EQ(read->about().unknown, std::set<std::uint16_t>{20}) << "of what the ring describes";
    EXPECT_EQ(read->about().remark, "1 missing: the phone did not answer, 1 left out, as the decoder ring does not "
                                    "describe them");
    EXPECT_EQ(utcText(read->about().source->when), "2026-01-02T03:04:05.678Z");
    EXPECT_EQ(std::get<FileSource>(read->about().source->from).read->comPort, "COM7");

    const Set fromMox = loader.fromCalibrationFile(mox);
    ASSERT_NE(fromMox->find(10), nullptr);
    EXPECT_EQ(fromMox->about().label, "a.mox");
    EXPECT_EQ(fromMox->items().size(), 1U);
    EXPECT_EQ(fromMox->about().remark, "1 left out, as the decoder ring does not describe them");
    EXPECT_NE(messageOf([&] { loader.fromCalibrationFile(folder / "none.mox"); }), "");
}

} // namespace
