// The catalog's collections: what the ring puts into them, look-ups, and items that are set.

#include "tests/catalog/CatalogFixture.h"

namespace {

constexpr const char* kRing = "NV_B,20,ReadWrite,<BYTE,b>#\n"
                              "NV_A,500,ReadWrite,<BYTE,a>#<WORD,w>#\n"
                              "NV_TWIN,40,ReadWrite,<BYTE,later>#\n"
                              "NV_TWIN,30,ReadOnly,<BYTE,earlier>#\n";

using Catalog = CatalogFixture;

TEST_F(Catalog, LooksUpByNumberAndByTheFirstNameThatIsExactlyTheSame) {
    loadRing(kRing);
    EXPECT_EQ(numbersOf(catalog.getSupportedNvItems()), (std::vector<int>{20, 30, 40, 500}));
    EXPECT_EQ(catalog.getSupportedNvItem(static_cast<unsigned short>(500)).getName(), "NV_A");
    EXPECT_EQ(catalog.getSupportedNvItem("NV_TWIN").getId(), 30);
    EXPECT_EQ(refusalOf([&] { catalog.getSupportedNvItem(static_cast<unsigned short>(21)); }),
              "Calvane::getSupportedNvItem( std::string nvItemName ) - The NV item id '21' is not found in the decoder "
              "ring file.");
    EXPECT_EQ(refusalOf([&] { catalog.getSupportedNvItem("nv_a"); }),
              "Calvane::getSupportedNvItem( std::string nvItemName ) - The NV item 'nv_a' is not found in the decoder "
              "ring file.");
}

TEST_F(Catalog, SetsItemsByNumberByNameAndFromAnItem) {
    loadRing(kRing);
    const auto value = [&](unsigned short number) { return catalog.getSupportedNvItem(number).getSubItems()[0].value; };
    catalog.setNvItem(20, dataOf({0x11}).data());
    EXPECT_EQ(value(20), "17");
    catalog.setNvItem("NV_B", dataOf({0x12}).data());
    EXPECT_EQ(value(20), "18");
    catalog.setNvItem(20, std::string("19"));
    EXPECT_EQ(value(20), "19");
    catalog.setNvItem("NV_B", std::string("20"));
    EXPECT_EQ(value(20), "20");
    NvItem item("NV_ELSEWHERE,20,ReadWrite,<BYTE,x>#");
    item.setData(std::string("21"));
    catalog.setNvItem(item);
    EXPECT_EQ(value(20), "21");
    EXPECT_EQ(catalog.getSupportedNvItem(static_cast<unsigned short>(20)).getName(), "NV_B");
}

TEST_F(Catalog, RefusesUnknownItemsButForRawDataByNumber) {
    loadRing(kRing);
    EXPECT_EQ(refusalOf([&] { catalog.setNvItem(7, std::string("1")); }),
              "NV Item ID: '7' is not supported by the Calvane.");
    EXPECT_EQ(refusalOf([&] { catalog.setNvItem("NV_X", std::string("1")); }),
              "NV Item: 'NV_X' is not supported by the Calvane.");
    EXPECT_EQ(refusalOf([&] { catalog.setNvItem("NV_X", dataOf({1}).data()); }),
              "NV Item: 'NV_X' is not supported by the Calvane.");
    EXPECT_EQ(refusalOf([&] { catalog.setNvItem(7, dataOf({0x5A, 1, 2}).data()); }), "");
    EXPECT_EQ(catalog.getSupportedNvItems().size(), 4u) << "an unknown item does not become a supported one";
}

TEST_F(Catalog, AFailedTextPassesThroughAndKeepsWhatWasStoredBeforeIt) {
    loadRing(kRing);
    EXPECT_EQ(refusalOf([&] { catalog.setNvItem("NV_A", std::string("9")); }),
              "Calvane::NvItem::setData( const string commaDelimitedDataString ) - For NV item: 'NV_A' there are 2 "
              "expected data items, and there are only 1 in the passed in comma delimited data string: '9'");
    EXPECT_EQ(catalog.getSupportedNvItem("NV_A").getSubItems()[0].value, "9");
}

TEST_F(Catalog, ARingLoadedAgainReplacesTheOneBefore) {
    loadRing(kRing);
    loadRing("NV_NEW,9,ReadWrite,<BYTE,x>#\n");
    EXPECT_EQ(numbersOf(catalog.getSupportedNvItems()), std::vector<int>{9});
    EXPECT_EQ(
        refusalOf([&] { catalog.loadDecoderRingFile("nowhere.vrk"); }),
        "Calvane::Calvane( const string decoderRingFile ) - The decoder ring file: 'nowhere.vrk' doesn't exist.  A "
        "decoder ring file is required.");
    EXPECT_TRUE(catalog.getSupportedNvItems().empty());
    EXPECT_NE(refusalOf([&] { loadRing("NV_A,1,ReadWrite,<BYTE,x>#\nNV_B,1,ReadWrite,<BYTE,x>#\n"); }), "");
    EXPECT_EQ(numbersOf(catalog.getSupportedNvItems()), std::vector<int>{1}) << "the lines before the failure stay";
}

} // namespace
