// The catalog's reads from and writes to calibration files.

#include "calfile/MoxFile.h"
#include "engine/PhoneProperties.h"
#include "tests/catalog/CatalogFixture.h"

namespace {

const std::string kCreate = "Calvane::createMoxFile( const string fileName ) - ";
const std::string kCreateListed = "Calvane::createMoxFile( const string fileName, const vector< NvItem >& nvItems, "
                                  "const unsigned short phoneModelId ) - ";
const std::string kNoItems = "MoxFile::writeToDisk() - Before calling this member function you need to add at least 1 "
                             "NV item to the this object using the insertion operator.";

class FileTransfer : public CatalogFixture {
protected:
    FileTransfer() { loadRing("A,1,Write,<BYTE,x>#\nB,2,Write,<BYTE,x>#\nC,3,Read,<BYTE,x>#\nD,10,Write,<BYTE,x>#\n"); }

    /// A new file, of model 55, with an item of one byte for each number.
    void fill(std::initializer_list<std::uint16_t> numbers, int value) {
        std::filesystem::remove(path);
        MoxFile file;
        for (const std::uint16_t number : numbers) {
            file.addNvItem(number, itemOf(number, value).getData());
        }
        file.writeToDisk(path.c_str(), 55);
    }

    /// "model: number=first byte ..." and the record that the forms write, where the file has it with its model.
    std::string content() const {
        MoxFile file;
        file.open(path);
        std::string text;
        auto record = file.begin();
        for (const auto end = file.end(); record != end; ++record) {
            text += " " + std::to_string(record->id) + "=" + std::to_string(record->data[0]);
        }
        const auto model = static_cast<char>(file.readPhoneModelId());
        const std::string properties =
            std::string("\x44\x33\x22\x11", 4) + model + std::string("\0\1\2\3\0s/w\2\0me", 12);
        return std::to_string(int{model}) + ":" + text +
               (readText(path).find(properties) == std::string::npos ? "" : " record");
    }

    const std::string path = folder / "phone.mox";
    const std::string loaded = folder / "loaded.mox";
};

TEST_F(FileTransfer, AReadTakesWhatTheRingDescribesAndMakesItTheLoadedItems) {
    fill({2, 10, 999}, 90);
    catalog.setNvItem(1, std::string("7"));
    EXPECT_EQ(numbersOf(catalog.getNvItemFrompMoxFile(path)), (std::vector<int>{2, 10}));
    catalog.createMoxFile(loaded);
    EXPECT_EQ(numbersOf(catalog.getNvItemFrompMoxFile(loaded)), (std::vector<int>{2, 10})) << "not 1, not 999";
}

using Path = const std::string&;
using Items = const std::vector<NvItem>&;
constexpr unsigned short kModel = 77;
constexpr std::uint32_t kEsn = 0x11223344;

const struct {
    void (*write)(Calvane&, Path, Items);
    int model;
    bool listed; ///< writes the items that it is given; otherwise the loaded ones
    bool record;
} kForms[] = {
    {[](Calvane& c, Path p, Items i) { c.createMoxFile(p, i, kModel, kEsn, 1, 2, "s/w", "me"); }, 77, true, true},
    {[](Calvane& c, Path p, Items i) { c.createMoxFile(p, i, kEsn, 1, 2, "s/w", "me"); }, 0, true, true},
    {[](Calvane& c, Path p, Items) { c.createMoxFile(p, kModel, kEsn, 1, 2, "s/w", "me"); }, 77, false, true},
    {[](Calvane& c, Path p, Items) { c.createMoxFile(p, kEsn, 1, 2, "s/w", "me"); }, 0, false, true},
    {[](Calvane& c, Path p, Items i) { c.createMoxFile(p, i, kModel); }, 77, true, false},
    {[](Calvane& c, Path p, Items i) { c.createMoxFile(p, i); }, 0, true, false},
    {[](Calvane& c, Path p, Items) { c.createMoxFile(p, kModel); }, 77, false, false},
    {[](Calvane& c, Path p, Items) { c.createMoxFile(p); }, 0, false, false},
};

TEST_F(FileTransfer, EachFormWritesItsItemsItsModelAndItsRecord) {
    const std::vector<NvItem> listed{itemOf(2, 102), itemOf(3, 103, "ReadOnly"), itemOf(20, 120)};
    for (const auto& form : kForms) {
        const bool prunes = form.listed && !form.record;
        const std::string record = form.record ? " record" : "";
        const std::string updated = !form.listed ? "55: 1=201 2=9 3=9 4=9 10=210"
                                    : prunes     ? "55: 2=102 3=9 20=120"
                                                 : "55: 1=9 2=102 3=9 4=9 20=120";
        catalog.clearNvItems();
        catalog.setNvItem(itemOf(1, 201));
        catalog.setNvItem(itemOf(3, 203));
        catalog.setNvItem(itemOf(10, 210));
        std::filesystem::remove(path);
        form.write(catalog, path, listed);
        EXPECT_EQ(content(), std::to_string(form.model) + (form.listed ? ": 2=102 20=120" : ": 1=201 10=210") + record)
            << "form " << &form - kForms;
        const std::optional<PhoneProperties> written = PhoneProperties{kEsn, 1, 2, "s/w", "me"};
        EXPECT_TRUE(catalog.phonePropertiesOf(path) == (form.record ? written : std::nullopt));

        fill({1, 2, 3, 4}, 9);
        form.write(catalog, path, listed);
        EXPECT_EQ(content(), updated + record);

        catalog.clearNvItems();
        for (const std::string& file : {path, loaded}) {
            EXPECT_EQ(refusalOf([&] { form.write(catalog, file, {itemOf(3, 1, "ReadOnly")}); }),
                      (prunes ? kCreateListed : kCreate) + kNoItems);
        }
        EXPECT_FALSE(std::filesystem::exists(loaded));
        EXPECT_EQ(content(), updated + record) << "nothing is removed before a write that can't be";
    }
    EXPECT_EQ(valueOf(2), "") << "a write changes no item of the catalog";
}

} // namespace
