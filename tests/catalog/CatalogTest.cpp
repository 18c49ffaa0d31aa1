// The catalog's collections: look-ups, and items that are set.

#include "tests/catalog/CatalogFixture.h"

namespace {

class Catalog : public CatalogFixture {
protected:
    Catalog() { loadRing("NV_B,20,RW,<BYTE,b>#\nNV_TWIN,40,RW,<BYTE,later>#\nNV_TWIN,30,RW,<BYTE,earlier>#\n"); }
};

TEST_F(Catalog, SetsItemsByNumberByNameAndFromAnItem) {
    const std::function<void()> steps[] = {
        [&] { catalog.setNvItem(20, itemOf(0, 0).getData()); },
        [&] { catalog.setNvItem("NV_B", itemOf(0, 1).getData()); },
        [&] { catalog.setNvItem(20, std::string("2")); },
        [&] { catalog.setNvItem("NV_B", std::string("3")); },
        [&] { catalog.setNvItem(itemOf(20, 4)); },
    };
    for (int expected = 0; const auto& step : steps) {
        step();
        EXPECT_EQ(valueOf(20), std::to_string(expected++));
    }
    EXPECT_EQ(catalog.getSupportedNvItem("NV_TWIN").getId(), 30);
}

TEST_F(Catalog, RefusesUnknownItemsButForRawDataByNumber) {
    const std::string lookUp = "Calvane::getSupportedNvItem( std::string nvItemName ) - The NV item ";
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { catalog.getSupportedNvItem(static_cast<unsigned short>(21)); },
         lookUp + "id '21' is not found in the decoder ring file."},
        {[&] { catalog.getSupportedNvItem("nv_b"); }, lookUp + "'nv_b' is not found in the decoder ring file."},
        {[&] { catalog.setNvItem(7, std::string("1")); }, "NV Item ID: '7' is not supported by the Calvane."},
        {[&] { catalog.setNvItem("NV_X", std::string("1")); }, "NV Item: 'NV_X' is not supported by the Calvane."},
        {[&] { catalog.setNvItem(7, itemOf(7, 90).getData()); }, ""},
    };
    for (const auto& [call, refusal] : cases) {
        EXPECT_EQ(refusalOf(call), refusal);
    }
    EXPECT_EQ(numbersOf(catalog.getSupportedNvItems()), (std::vector<int>{20, 30, 40}));
}

} // namespace
