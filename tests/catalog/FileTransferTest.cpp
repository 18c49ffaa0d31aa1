// The catalog's reads from and writes to calibration files.

#include "calfile/MoxFile.h"
#include "tests/catalog/CatalogFixture.h"

#include <map>

namespace {

const std::string kRead = "Calvane::getNvItemFrompMoxFile( const string pMoxFileName ) - ";
const std::string kCreate = "Calvane::createMoxFile( const string fileName ) - ";
const std::string kCreateListed = "Calvane::createMoxFile( const string fileName, const vector< NvItem >& nvItems, "
                                  "const unsigned short phoneModelId ) - ";
const std::string kNoItems = "MoxFile::writeToDisk() - Before calling this member function you need to add at least 1 "
                             "NV item to the this object using the insertion operator.";

class FileTransfer : public CatalogFixture {
protected:
    FileTransfer() {
        loadRing("NV_ONE,1,ReadWrite,<BYTE,x>#\nNV_TWO,2,ReadWrite,<BYTE,x>#\nNV_THREE,3,ReadOnly,<BYTE,x>#\n"
                 "NV_TEN,10,ReadWrite,<BYTE,x>#<WORD,y>#\nNV_TWENTY,20,Write,<BYTE,x>#\n");
    }

    NvItem item(unsigned short number, unsigned char value) {
        NvItem made = catalog.getSupportedNvItem(number);
        made.setData(dataOf({value}).data());
        return made;
    }

    /// Puts an item with one byte into the file for each number; the model of a new file is 55.
    void fill(std::initializer_list<std::uint16_t> numbers, unsigned char value) {
        MoxFile file;
        for (const std::uint16_t number : numbers) {
            file.addNvItem(number, dataOf({value}).data());
        }
        file.writeToDisk(path.c_str(), 55);
    }

    /// The first data byte of each item in the file.
    std::map<int, int> content() {
        std::map<int, int> found;
        MoxFile file;
        file.open(path);
        auto record = file.begin();
        for (const auto end = file.end(); record != end; ++record) {
            found[record->id] = record->data[0];
        }
        modelId = file.readPhoneModelId();
        return found;
    }

    /// Whether the record that the forms write stands in the file, with the file's model id.
    bool holdsPropertyRecord() const {
        std::ifstream stream(path, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        return bytes.find(std::string("\x44\x33\x22\x11", 4) + std::string(1, static_cast<char>(modelId)) +
                          std::string("\0\x01\x02\x03\0s/w\x02\0me", 12)) != std::string::npos;
    }

    const std::string path = (folder / "phone.mox").string();
    int modelId = -1;
};

TEST_F(FileTransfer, AReadTakesWhatTheRingDescribesAndMakesItTheLoadedItems) {
    fill({10, 20, 999}, 0x5A);
    catalog.setNvItem(1, std::string("7"));
    const auto items = catalog.getNvItemFrompMoxFile(path);
    EXPECT_EQ(numbersOf(items), (std::vector<int>{10, 20}));
    EXPECT_EQ(items[0].getSubItems()[0].value, "90");
    EXPECT_EQ(catalog.getSupportedNvItem(static_cast<unsigned short>(10)).getData()[0], 0x5A);
    catalog.createMoxFile((folder / "loaded.mox").string());
    EXPECT_EQ(numbersOf(catalog.getNvItemFrompMoxFile((folder / "loaded.mox").string())), (std::vector<int>{10, 20}))
        << "neither 1 from before nor 999";
    std::filesystem::remove(path);
    fill({999}, 1);
    EXPECT_TRUE(catalog.getNvItemFrompMoxFile(path).empty());
    EXPECT_EQ(refusalOf([&] { catalog.createMoxFile((folder / "none.mox").string()); }), kCreate + kNoItems);
}

TEST_F(FileTransfer, AFailedReadKeepsWhatItReadAndLetsGoOfTheFile) {
    fill({1, 2, 10}, 9);
    {
        storage::ComPtr<storage::IStorage> levels[4];
        ASSERT_EQ(storage::stgOpenStorage(path, 0x12, levels[0]), 0);
        ASSERT_EQ(levels[0]->openStorage(u"00000055", 0x12, levels[1]), 0);
        ASSERT_EQ(levels[1]->openStorage(u"default", 0x12, levels[2]), 0);
        ASSERT_EQ(levels[2]->createStorage(u"00000002", 0x1012, levels[3]), 0);
    }
    catalog.setNvItem(20, std::string("1"));
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemFrompMoxFile(path); }),
              kRead + "MoxFile::IteratorImpl::increamentImpl() - %1 could not be found.\r\n");
    storage::ComPtr<storage::IStorage> root;
    EXPECT_EQ(storage::stgOpenStorage(path, 0x12, root), 0) << "a failed read leaves the file to others";
    root.reset();
    const std::string loaded = (folder / "loaded.mox").string();
    catalog.createMoxFile(loaded);
    EXPECT_EQ(numbersOf(catalog.getNvItemFrompMoxFile(loaded)), std::vector<int>{1});

    const std::string missing = (folder / "missing.mox").string();
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemFrompMoxFile(missing); }),
              kRead + "MoxFile::setupStgPointers() - Trying to read '" + missing + "' that doesn't exists");
    EXPECT_EQ(refusalOf([&] { catalog.createMoxFile(path); }), kCreate + kNoItems) << "the loaded items went first";
}

/// One form of the write: what it writes of the vector {2, 3 (read-only), 20} and of the loaded items {1, 3, 10}.
struct Form {
    const char* name;
    std::function<void(Calvane&, const std::string&, const std::vector<NvItem>&)> write;
    std::map<int, int> created;
    int createdModel;
    std::map<int, int> updated; ///< a file that held 1, 2, 3 and 4, each with 9
    bool properties;
    const std::string& prefix;
};

TEST_F(FileTransfer, EachFormWritesItsItemsItsModelAndItsRecord) {
    using Items = const std::vector<NvItem>&;
    const std::map<int, int> listed{{2, 102}, {20, 120}};
    const std::map<int, int> loaded{{1, 201}, {10, 210}};
    const std::map<int, int> listedInto{{1, 9}, {2, 102}, {3, 9}, {4, 9}, {20, 120}};
    const std::map<int, int> loadedInto{{1, 201}, {2, 9}, {3, 9}, {4, 9}, {10, 210}};
    const std::map<int, int> pruned{{2, 102}, {3, 9}, {20, 120}};
    const Form forms[] = {
        {"A",
         [](Calvane& c, const std::string& p, Items i) { c.createMoxFile(p, i, 77, 0x11223344, 1, 2, "s/w", "me"); },
         listed, 77, listedInto, true, kCreate},
        {"B", [](Calvane& c, const std::string& p, Items i) { c.createMoxFile(p, i, 0x11223344, 1, 2, "s/w", "me"); },
         listed, 0, listedInto, true, kCreate},
        {"C",
         [](Calvane& c, const std::string& p, Items) {
             c.createMoxFile(p, static_cast<unsigned short>(77), 0x11223344, 1, 2, "s/w", "me");
         },
         loaded, 77, loadedInto, true, kCreate},
        {"D", [](Calvane& c, const std::string& p, Items) { c.createMoxFile(p, 0x11223344, 1, 2, "s/w", "me"); },
         loaded, 0, loadedInto, true, kCreate},
        {"E", [](Calvane& c, const std::string& p, Items i) { c.createMoxFile(p, i, 77); }, listed, 77, pruned, false,
         kCreateListed},
        {"F", [](Calvane& c, const std::string& p, Items i) { c.createMoxFile(p, i); }, listed, 0, pruned, false,
         kCreateListed},
        {"G", [](Calvane& c, const std::string& p, Items) { c.createMoxFile(p, static_cast<unsigned short>(77)); },
         loaded, 77, loadedInto, false, kCreate},
        {"H", [](Calvane& c, const std::string& p, Items) { c.createMoxFile(p); }, loaded, 0, loadedInto, false,
         kCreate},
    };
    const std::vector<NvItem> items{item(2, 102), item(3, 103), item(20, 120)};
    for (const Form& form : forms) {
        SCOPED_TRACE(form.name);
        catalog.clearNvItems();
        for (const auto& [number, value] : std::map<int, int>{{1, 201}, {3, 203}, {10, 210}}) {
            catalog.setNvItem(static_cast<unsigned short>(number), dataOf({static_cast<unsigned char>(value)}).data());
        }
        std::filesystem::remove(path);
        form.write(catalog, path, items);
        EXPECT_EQ(content(), form.created);
        EXPECT_EQ(modelId, form.createdModel);
        EXPECT_EQ(holdsPropertyRecord(), form.properties);

        std::filesystem::remove(path);
        fill({1, 2, 3, 4}, 9);
        form.write(catalog, path, items);
        EXPECT_EQ(content(), form.updated);
        EXPECT_EQ(modelId, 55) << "an existing file keeps its model";
        EXPECT_EQ(holdsPropertyRecord(), form.properties);

        catalog.clearNvItems();
        const std::string fresh = (folder / "fresh.mox").string();
        EXPECT_EQ(refusalOf([&] { form.write(catalog, fresh, {item(3, 1)}); }), form.prefix + kNoItems);
        EXPECT_FALSE(std::filesystem::exists(fresh));
        for (const std::vector<NvItem>& none : {std::vector<NvItem>{}, {item(3, 1)}}) {
            EXPECT_EQ(refusalOf([&] { form.write(catalog, path, none); }), form.prefix + kNoItems);
            EXPECT_EQ(content(), form.updated) << "nothing is removed before a write that can't be";
        }
    }
    EXPECT_EQ(catalog.getSupportedNvItem(static_cast<unsigned short>(2)).getData()[0], 0)
        << "a write changes no item of the catalog";
}

TEST_F(FileTransfer, AFileInUseIsRefusedAndFreeAgainAfterwards) {
    fill({1}, 9);
    {
        MoxFile other;
        other.open(path);
        const auto held = other.begin();
        EXPECT_EQ(refusalOf([&] { catalog.createMoxFile(path, {item(2, 1)}); }),
                  kCreateListed + "MoxFile::setupStgPointers() - A share violation has occurred.\r\n");
        EXPECT_EQ(refusalOf([&] { catalog.getNvItemFrompMoxFile(path); }),
                  kRead + "MoxFile::setupStgPointers() - A share violation has occurred.\r\n");
    }
    EXPECT_EQ(refusalOf([&] { catalog.createMoxFile(path, {item(2, 8)}, 0, 0, 0, 0, std::string(65536, 'x'), ""); }),
              kCreate + "MoxFile::setMobilePropertyInfo() - The software version is longer than 65535 bytes.");
    EXPECT_EQ(content(), (std::map<int, int>{{1, 9}}));
}

} // namespace
