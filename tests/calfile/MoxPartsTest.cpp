// The parts below the class: texts of codes, bodies that let nothing escape, and a container that takes too little.

#include "calfile/MoxFailures.h"
#include "platform/com/ComError.h"
#include "tests/calfile/MoxFixture.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

using testing::_;

TEST(MoxFailures, ACodeHasTheTablesTextUnchanged) {
    const struct {
        std::uint32_t code;
        const char* text;
    } cases[] = {
        {0x80030005, "Access Denied.\r\n"},
        {0x80030002, "%1 could not be found.\r\n"},
        {0x80080000, "The operation completed successfully.\r\n"}, // facility 8: the low 16 bits
        {0x80080005, "[Could not find an error description]"},
        {0x80030003 + 0x1000, "[Could not find an error description]"},
        {0x80000000, "[Could not find an error description]"}, // facility 0: looked up whole
    };
    for (const auto& row : cases) {
        EXPECT_EQ(mox::hresultText(com::makeStatus(row.code)), row.text) << std::hex << row.code;
    }
}

TEST(MoxFailures, ABodyRecordsWhateverIsThrown) {
    const std::string unhandled = "Body - An unhandled exception was thrown and caught in a ... catch statement";
    const struct {
        bool showsOwn;
        std::function<void()> work;
        std::string recorded;
    } cases[] = {
        {true, [] { throw MoxException("own"); }, "Body - own"},
        {false, [] { throw MoxException("own"); }, unhandled},
        {false, [] { throw com::ComError(com::kPointer); }, "Body - " + kNullReference},
        {true, [] { throw com::ComError(com::makeStatus(0x80040201), "Src", "Why"); },
         "Body - Error\n\a\tCode = 80040201\n\a\tCode meaning = IDispatch error #1\n\a\tSource = Src\n\a\tDescription "
         "= "
         "Why"},
        {true, [] { throw std::runtime_error("x"); }, unhandled},
        {true, [] { throw 7; }, unhandled},
        {true, [] {}, ""},
    };
    for (const auto& row : cases) {
        bool pending = false;
        std::string message;
        mox::runBody({"Body", row.showsOwn}, pending, message, row.work);
        EXPECT_EQ(message, row.recorded);
        EXPECT_EQ(pending, !row.recorded.empty());
    }
}

/// A stream that takes or gives at most `limit` bytes and reports success.
class ShortStream : public com::Implements<storage::IStream> {
public:
    explicit ShortStream(std::uint32_t limit) : limit_(limit) {}
    com::Status read(std::span<std::uint8_t>, std::uint32_t& transferred) override { return give(transferred); }
    com::Status write(std::span<const std::uint8_t>, std::uint32_t& transferred) override { return give(transferred); }
    com::Status moveTo(std::uint64_t) override { return com::kOk; }
    com::Status setSize(std::uint64_t) override { return com::kNotImplemented; }
    com::Status size(std::uint64_t&) override { return com::kNotImplemented; }

private:
    com::Status give(std::uint32_t& transferred) const {
        transferred = limit_;
        return com::kOk;
    }
    std::uint32_t limit_;
};

/// A storage whose streams are short.
class ShortStorage : public com::Implements<storage::IStorage> {
public:
    com::Status createStorage(std::u16string_view, std::uint32_t, mox::StoragePtr& out) override {
        out = com::makeObject<storage::IStorage, ShortStorage>();
        return com::kOk;
    }
    com::Status createStream(std::u16string_view, std::uint32_t, storage::ComPtr<storage::IStream>& out) override {
        out = com::makeObject<storage::IStream, ShortStream>(5u);
        return com::kOk;
    }
    com::Status openStorage(std::u16string_view, std::uint32_t, mox::StoragePtr&) override { return com::kFail; }
    com::Status openStream(std::u16string_view, std::uint32_t, storage::ComPtr<storage::IStream>&) override {
        return com::kFail;
    }
    com::Status destroyElement(std::u16string_view) override { return storage::kWriteFault; }
    com::Status enumElements(mox::EnumPtr&) override { return com::kFail; }
    com::Status stat(storage::ElementInfo&) override { return com::kFail; }
    com::Status flush() override { return storage::kMediumFull; }
};

/// A file whose container is the short one.
class ShortFile : public MoxFile {
public:
    bool withItem = true;

protected:
    void setupStgPointers() override {
        rootStorage_ = com::makeObject<storage::IStorage, ShortStorage>();
        defaultStorage_ = rootStorage_;
        needsSetup_ = false;
        if (!withItem) {
            items_.clear();
        }
    }
};

TEST(ShortContainer, EachStreamThatTookTooLittleIsNamed) {
    const std::string inner = "MoxFile::writeToDiskImpl() - Tried to write ";
    const auto root = com::makeObject<storage::IStorage, ShortStorage>();
    EXPECT_EQ(refusalOf([&] { mox::writeVersionStream(root); }),
              inner + "the File_Version Stream but was only able to write 5 out of 6.");
    const std::array<std::uint8_t, 128> data{};
    ShortFile file;
    file.addNvItem(65535, data.data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk("x", 0); }),
              "MoxFile::writeToDiskImpl() - " + inner +
                  "NV Item: '65535' but was only able to write 5 out of 134 bytes");
    file.cleanUp();
    file.withItem = false;
    file.addNvItem(1, data.data());
    EXPECT_EQ(refusalOf([&] { file.writeToDisk("x", 0); }),
              "MoxFile::writeToDiskImpl() - There is insufficient disk space to complete operation.\r\n")
        << "what a release could not report";
    file.setMobilePropertyInfo(0, 0, 0, "abc", "");
    EXPECT_EQ(refusalOf([&] { file.writeToDisk("x", 0); }),
              "MoxFile::writeToDiskImpl() - " + inner +
                  "the Mobile_Property_Info but was only able to write 5 out of 15");
    EXPECT_EQ(refusalOf([&] { file.removeNvItem(1); }),
              "MoxFile::removeNvItemsImpl() - A disk error occurred during a write operation.\r\n");
    file.cleanUp();
    file.open("x");
    EXPECT_EQ(
        refusalOf([&] { file.begin(); }),
        "MoxFile::IteratorImpl::initialize - An unhandled exception was thrown and caught in a ... catch statement")
        << "a storage that can't be enumerated";
}

} // namespace
