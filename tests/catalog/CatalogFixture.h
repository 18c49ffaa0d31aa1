#pragma once

#include "engine/Calvane.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

/// A catalog with the given decoder ring, and a folder for its files that goes with it.
class CatalogFixture : public testing::Test {
protected:
    CatalogFixture() {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        folder = std::filesystem::temp_directory_path() /
                 ("calvane-" + std::to_string(::getpid()) + "-" + test->test_suite_name() + "-" + test->name());
        std::filesystem::create_directories(folder);
    }
    ~CatalogFixture() override { std::filesystem::remove_all(folder); }

    void loadRing(const std::string& text) {
        const auto path = folder / "ring.vrk";
        std::ofstream(path, std::ios::binary) << text;
        catalog.loadDecoderRingFile(path);
    }

    /// 128 bytes that begin with `bytes`.
    static std::vector<unsigned char> dataOf(std::vector<unsigned char> bytes) {
        bytes.resize(128);
        return bytes;
    }

    std::filesystem::path folder;
    Calvane catalog;
};

/// The message of the catalog's exception that `call` throws; "" where it throws none.
inline std::string refusalOf(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (const Calvane::Exception& error) {
        return error.what();
    }
}

inline std::vector<int> numbersOf(const std::vector<NvItem>& items) {
    std::vector<int> numbers;
    for (const NvItem& item : items) {
        numbers.push_back(item.getId());
    }
    return numbers;
}
