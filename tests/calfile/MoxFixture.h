#pragma once

#include "calfile/MoxFile.h"
#include "calfile/MoxTree.h"
#include "tests/support/MessageOf.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

/// The message of the file's exception that `call` throws; "" where it throws none.
inline std::string refusalOf(const std::function<void()>& call) {
    return messageOf<MoxFile::Exception>(call);
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
    static std::array<std::uint8_t, 128> dataOf(std::uint8_t first) {
        std::array<std::uint8_t, 128> data{};
        data.front() = first;
        data.back() = static_cast<std::uint8_t>(~first);
        return data;
    }

    /// Writes items whose data is dataOf(their number's low byte + `shift`), and closes the file.
    void writeItems(std::initializer_list<std::uint16_t> numbers, std::uint16_t modelId = 123, int shift = 0) {
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
            for (const auto end = file.end(); item != end; ++item) {
                found.push_back(item->id);
            }
        }
        file.cleanUp();
        return found;
    }

    /// Puts what MoxFile itself does not write into the file at `path`: a stream "a/b/c", or the storages of "a/b/".
    void put(std::u16string_view name, const std::vector<std::uint8_t>& bytes = {}) const {
        mox::StoragePtr storage;
        if (com::failed(storage::stgOpenStorage(path, mox::kForWriting, storage))) {
            ASSERT_EQ(storage::stgCreateDocfile(path, mox::kNewFile, storage), com::kOk);
        }
        for (std::size_t end = name.find(u'/'); end != name.npos; end = name.find(u'/')) {
            mox::StoragePtr child;
            if (com::failed(storage->openStorage(name.substr(0, end), mox::kForWriting, child))) {
                ASSERT_EQ(storage->createStorage(name.substr(0, end), mox::kNewFile, child), com::kOk);
            }
            storage = child;
            name.remove_prefix(end + 1);
        }
        if (!name.empty()) {
            storage::ComPtr<storage::IStream> stream;
            std::uint32_t written = 0;
            ASSERT_EQ(storage->createStream(name, mox::kNewElement, stream), com::kOk);
            ASSERT_EQ(stream->write(bytes, written), com::kOk);
        }
    }

    /// A stream as libgsf's tool reads it.
    std::string gsfStream(const std::string& name) const { return outputOf("gsf cat '" + path + "' " + name); }

    const TemporaryFolder folder;
    const std::string path = folder / "phone.mox";
    MoxFile file;
};
