#pragma once

#include "calfile/MoxFile.h"
#include "calfile/MoxTree.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

/// The message of the file's exception that `call` throws; "" where it throws none.
inline std::string refusalOf(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (const MoxFile::Exception& error) {
        return error.what();
    }
}

/// What a COM error of a reference that is null reports.
inline const std::string kNullReference =
    "Error\n\a\tCode = 80004003\n\a\tCode meaning = Invalid pointer\n\a\tSource = "
    "None provided!\n\a\tDescription = None provided!";
inline const std::string kNotFound = "%1 could not be found.\r\n";
inline const std::string kShared = "A share violation has occurred.\r\n";

/// A folder for a test's files, with the tools to look into them from outside MoxFile: the container itself, on this
/// thread, and somebody else's reader.
class MoxFixture : public testing::Test {
protected:
    MoxFixture() {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        folder = std::filesystem::temp_directory_path() /
                 ("calvane-" + std::to_string(::getpid()) + "-" + test->test_suite_name() + "-" + test->name());
        std::filesystem::create_directories(folder);
        path = (folder / "phone.mox").string();
    }
    ~MoxFixture() override { std::filesystem::remove_all(folder); }

    static std::array<std::uint8_t, 128> dataOf(std::uint8_t first) {
        std::array<std::uint8_t, 128> data{};
        data.front() = first;
        data.back() = static_cast<std::uint8_t>(~first);
        return data;
    }

    /// Writes items whose data is dataOf(their number's low byte + `shift`), and closes the file.
    void writeItems(std::initializer_list<std::uint16_t> numbers, std::uint16_t modelId = 123, int shift = 0) {
        file.cleanUp();
        for (const std::uint16_t number : numbers) {
            file.addNvItem(number, dataOf(static_cast<std::uint8_t>(number + shift)).data());
        }
        file.writeToDisk(path.c_str(), modelId);
        file.cleanUp();
    }

    /// The numbers of the file's items in the order of the walk; the file is closed afterwards.
    std::vector<int> numbers() {
        std::vector<int> found;
        file.open(path);
        {
            auto item = file.begin();
            const auto end = file.end();
            for (; item != end; ++item) {
                found.push_back(item->id);
            }
        }
        file.cleanUp();
        return found;
    }

    /// The container of the file at `path`, opened here to prepare what MoxFile itself does not write.
    mox::StoragePtr openRoot() const {
        mox::StoragePtr root;
        EXPECT_EQ(storage::stgOpenStorage(path, mox::kForWriting, root), com::kOk);
        return root;
    }
    static mox::StoragePtr openIn(const mox::StoragePtr& parent, std::u16string_view name) {
        mox::StoragePtr child;
        EXPECT_EQ(parent->openStorage(name, mox::kForWriting, child), com::kOk);
        return child;
    }
    static mox::StoragePtr createIn(const mox::StoragePtr& parent, std::u16string_view name) {
        mox::StoragePtr child;
        EXPECT_EQ(parent->createStorage(name, mox::kNewFile, child), com::kOk);
        return child;
    }
    /// Makes the file anew, with what `fill` puts into its root.
    void prepare(const std::function<void(const mox::StoragePtr&)>& fill) const {
        mox::StoragePtr root;
        ASSERT_EQ(storage::stgCreateDocfile(path, mox::kNewFile, root), com::kOk);
        fill(root);
    }
    static void putStream(const mox::StoragePtr& parent, std::u16string_view name,
                          const std::vector<std::uint8_t>& bytes) {
        storage::ComPtr<storage::IStream> stream;
        ASSERT_EQ(parent->createStream(name, mox::kNewElement, stream), com::kOk);
        std::uint32_t written = 0;
        ASSERT_EQ(stream->write(bytes, written), com::kOk);
    }

    static std::string outputOf(const std::string& command) {
        FILE* pipe = ::popen(command.c_str(), "r");
        std::string output;
        char buffer[4096];
        while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe)) {
            output.append(buffer, count);
        }
        EXPECT_EQ(::pclose(pipe), 0) << command;
        return output;
    }
    /// A stream as libgsf's tool reads it.
    std::string gsfStream(const std::string& name) const { return outputOf("gsf cat '" + path + "' " + name); }

    std::filesystem::path folder;
    std::string path;
    MoxFile file;
};
