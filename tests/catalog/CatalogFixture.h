#pragma once

#include "engine/Calvane.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

/// A catalog, and a folder for its files.
class CatalogFixture : public testing::Test {
protected:
    void loadRing(const std::string& text) {
        writeText(folder / "ring.vrk", text);
        catalog.loadDecoderRingFile(folder / "ring.vrk");
    }

    /// An item of one byte.
    static NvItem itemOf(int number, int value, const std::string& access = "ReadWrite") {
        NvItem item("NV_X," + std::to_string(number) + "," + access + ",<BYTE,x>#");
        item.setData(std::to_string(value));
        return item;
    }

    /// "7" for the value of the item's first sub-field.
    std::string valueOf(unsigned short number) { return catalog.getSupportedNvItem(number).getSubItems()[0].value; }

    const TemporaryFolder folder;
    Calvane catalog;
};

/// What the catalog refuses in `call`, "" where it refuses nothing.
inline std::string refusalOf(const std::function<void()>& call) {
    return messageOf<Calvane::Exception>(call);
}

inline std::vector<int> numbersOf(const std::vector<NvItem>& items) {
    std::vector<int> numbers;
    for (const NvItem& item : items) {
        numbers.push_back(item.getId());
    }
    return numbers;
}
