// The files that a first run shows: the sample ring, and the sample phone's memory that must fit it.

#include "engine/DecoderRing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::map<std::uint16_t, NvItem> sampleRing() {
    std::map<std::uint16_t, NvItem> ring;
    items::loadDecoderRing(CALVANE_SOURCE_DIR "/data/NV Decoder.vrk", ring);
    return ring;
}

TEST(SampleRing, ShowsEveryKindOfItem) {
    const std::map<std::uint16_t, NvItem> ring = sampleRing();
    EXPECT_GE(ring.size(), 200u);
    std::set<SubItemType> types;
    std::set<std::string> names;
    bool table = false;
    bool readOnly = false;
    for (const auto& [number, item] : ring) {
        const std::vector<SubItemType> itemTypes = item.getSubItemTypes();
        types.insert(itemTypes.begin(), itemTypes.end());
        names.insert(item.getName());
        table = table || itemTypes == std::vector(16, SubItemType::WORD);
        readOnly = readOnly || !item.isWritable();
    }
    EXPECT_EQ(types.size(), kSubItemTypes.size());
    EXPECT_EQ(names.size(), ring.size()) << "a name that occurs twice";
    EXPECT_TRUE(table);
    EXPECT_TRUE(readOnly);
}

TEST(SampleRing, HasTheDateItems) {
    std::set<std::string> found;
    for (const auto& [number, item] : sampleRing()) {
        if (item.getName() != "NV_RF_NV_LOADED_DATE_I" && item.getName() != "NV_RF_CAL_DATE_I") {
            continue;
        }
        found.insert(item.getName());
        EXPECT_TRUE(item.isWritable() && item.isTime());
        EXPECT_EQ(item.getSubItemTypes(), std::vector{SubItemType::DWORD});
    }
    EXPECT_EQ(found.size(), 2u);
}

TEST(SamplePhone, EveryLineFitsTheRing) {
    const std::map<std::uint16_t, NvItem> ring = sampleRing();
    std::ifstream in(CALVANE_SOURCE_DIR "/data/Sample Phone.nvmem");
    ASSERT_TRUE(in);
    std::set<int> numbers;
    std::size_t otherStatus = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line.starts_with("//")) {
            continue;
        }
        SCOPED_TRACE(line);
        std::istringstream words(line);
        int number = -1;
        int status = -1;
        std::string hex;
        std::string marks;
        ASSERT_TRUE(words >> number >> status >> hex);
        words >> marks;
        EXPECT_TRUE(marks.empty() || marks == "readonly" || marks == "protected");
        EXPECT_TRUE((words >> std::ws).eof());

        EXPECT_TRUE(numbers.insert(number).second) << "the number occurs twice";
        const auto item = ring.find(static_cast<std::uint16_t>(number));
        ASSERT_NE(item, ring.end());
        std::size_t width = 0;
        for (const SubItemType type : item->second.getSubItemTypes()) {
            width += subItemTypeInfo(type).bytes;
        }
        if (status == 0) {
            EXPECT_EQ(hex.find_first_not_of("0123456789abcdef"), std::string::npos);
            EXPECT_EQ(hex.size() % 2, 0u);
            EXPECT_LE(hex.size(), 2 * width);
        } else {
            ++otherStatus;
            EXPECT_EQ(hex, "-");
        }
    }
    EXPECT_GE(numbers.size(), 170u);
    EXPECT_GE(otherStatus, 3u);
}

} // namespace
