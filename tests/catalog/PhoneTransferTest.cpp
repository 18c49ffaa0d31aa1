// The catalog's reads from and writes to a phone of the real service.

#include "phonelink/TessraServer.h"
#include "tessra/Service.h"
#include "tests/catalog/CatalogFixture.h"

#include <set>

namespace {

using tessra::Call;
using tessra::FaultKind;
using tessra::FaultRule;

constexpr const char* kRing = "NV_TEN,10,ReadWrite,<BYTE,x>#\n"
                              "NV_TWENTY,20,ReadWrite,<BYTE,x>#\n"
                              "NV_THIRTY,30,ReadOnly,<BYTE,x>#\n";

class PhoneTransfer : public CatalogFixture {
protected:
    PhoneTransfer() { loadRing(kRing); }

    static tessra::ServiceConfig config() {
        tessra::ServiceConfig config;
        config.ports.resize(1);
        config.ports[0].name = "COM1";
        config.ports[0].number = 1;
        config.ports[0].phone.awayMs = 30;
        return config;
    }

    void fault(FaultKind kind, std::optional<std::uint16_t> item, std::uint32_t value, Call call = Call::kSend) {
        FaultRule rule;
        rule.call = call;
        rule.kind = kind;
        rule.item = item;
        rule.value = value;
        port.faults().add(rule);
    }

    /// Gives the phone a value of one byte for each of the numbers.
    void fillPhone(std::initializer_list<std::uint16_t> numbers) {
        TessraServer filler("Filler");
        filler.connect("COM1");
        for (const std::uint16_t number : numbers) {
            std::uint16_t status = 0;
            filler.writeNv(number, dataOf({static_cast<unsigned char>(number)}).data(), status);
            ASSERT_EQ(status, 0);
        }
    }

    /// The items that were written to the phone, in the order in which the packets went out.
    std::vector<int> writtenNumbers() const {
        std::vector<int> numbers;
        for (const auto& packet : port.sentPackets()) {
            if (packet[0] == 0x27) {
                numbers.push_back(packet[1] | packet[2] << 8);
            }
        }
        return numbers;
    }

    static NvItem itemOf(const std::string& name, int number, const std::string& access = "ReadWrite") {
        NvItem item(name + "," + std::to_string(number) + "," + access + ",<BYTE,x>#");
        item.setData(std::string("1"));
        return item;
    }

    tessra::Service service{config()};
    tessra::Port& port = service.port("COM1");
};

TEST_F(PhoneTransfer, AReadDeliversTheItemsThatThePhoneHasAndTellsEachBefore) {
    fillPhone({20, 30});
    catalog.setNvItem(10, std::string("77"));
    std::vector<std::string> progress;
    const auto items = catalog.getNvItemsFromPhone(
        "COM1", &progress,
        [](void* context, std::uint16_t id, std::string name, std::uint32_t count, std::uint32_t position) {
            static_cast<std::vector<std::string>*>(context)->push_back(
                std::to_string(id) + " " + name + " " + std::to_string(position) + "/" + std::to_string(count));
        });
    EXPECT_EQ(numbersOf(items), (std::vector<int>{20, 30}));
    EXPECT_EQ(items[0].getSubItems()[0].value, "20");
    EXPECT_EQ(progress, (std::vector<std::string>{"10 NV_TEN 1/3", "20 NV_TWENTY 2/3", "30 NV_THIRTY 3/3"}));
    EXPECT_EQ(catalog.getSupportedNvItem("NV_TEN").getSubItems()[0].value, "77") << "a skipped item keeps its data";

    // Item 10 is no longer loaded, and item 30 may not be written.
    EXPECT_EQ(catalog.writeToPhone("COM1", false, nullptr), "");
    EXPECT_EQ(writtenNumbers(), (std::vector<int>{20, 30, 20}));
}

TEST_F(PhoneTransfer, AReadOfSomeItemsAsksForTheseAlone) {
    fillPhone({20, 999});
    const auto items = catalog.getNvItemsFromPhone("COM1", {999, 20, 10}, nullptr, nullptr);
    EXPECT_EQ(numbersOf(items), (std::vector<int>{999, 20}));
    EXPECT_EQ(items[0].getName(), "No Name");
    EXPECT_EQ(items[0].getAccess(), "readwrite");
    EXPECT_EQ(items[0].getSubItems()[0].value, std::to_string(999 & 0xFF));
}

TEST_F(PhoneTransfer, AFailedReadKeepsWhatItHadRead) {
    fillPhone({10, 20});
    fault(FaultKind::kServerCode, 20, 0x80042003);
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemsFromPhone("COM1"); }),
              "Calvane::getNvItemsFromPhone( const string comPort ) - TessraServer::sendSyncImpl - Serial CRC error");
    port.faults().clear();
    EXPECT_EQ(catalog.getSupportedNvItem("NV_TEN").getSubItems()[0].value, "10");
    const auto before = writtenNumbers().size();
    catalog.writeToPhone("COM1", false, nullptr);
    EXPECT_EQ(writtenNumbers().size(), before + 1) << "item 10 is loaded, item 20 is not";

    // A connect that fails touches nothing, not even what is loaded.
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemsFromPhone("COM9"); }),
              "Calvane::getNvItemsFromPhone( const string comPort ) - COM9 is an invalid COM port.  Please choose a "
              "different COM port.");
    catalog.writeToPhone("COM1", false, nullptr);
    EXPECT_EQ(writtenNumbers().size(), before + 2);
}

TEST_F(PhoneTransfer, AWriteSendsTheWritableItemsInTheirOrder) {
    EXPECT_EQ(
        catalog.writeToPhone("COM1", {itemOf("A", 3), itemOf("B", 2, "ReadOnly"), itemOf("C", 1)}, false, nullptr), "");
    EXPECT_EQ(writtenNumbers(), (std::vector<int>{3, 1}));
}

TEST_F(PhoneTransfer, TheFirstRefusedItemEndsTheWriteWithItsText) {
    const std::vector<NvItem> items{itemOf("NV_W", 1), itemOf("NV_X", 2), itemOf("NV_Y", 3)};
    const struct {
        std::uint16_t status;
        const char* text;
    } cases[] = {
        {1, "Request is queued"},
        {2, "Unrecognizable command field"},
        {3, "The NVM is full"},
        {4, "Command failed, reason other than NVM was full"},
        {5, "Variable was not active"},
        {6, "Bad parameter in command block"},
        {7, "Parameter is write-protected and thus read only"},
        {8, "Item not valid for Target"},
        {9, "free memory exhausted"},
        {10, "address is not a valid allocation"},
        {11, nullptr},
        {0xFFFF, nullptr},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.status);
        port.faults().clear();
        fault(FaultKind::kNvStatus, 2, row.status);
        const auto before = writtenNumbers().size();
        const std::string refusal = refusalOf([&] { catalog.writeToPhone("COM1", items, false, nullptr); });
        if (row.text == nullptr) {
            EXPECT_EQ(refusal, "");
            EXPECT_EQ(writtenNumbers().size(), before + 3);
        } else {
            EXPECT_EQ(refusal, "Calvane::writeToPhone( const string comPort, const vector< NvItem >& nvItems, bool "
                               "throwException ) - Unable to write 'NV_X' to the phone. (" +
                                   std::string(row.text) + ")");
            EXPECT_EQ(writtenNumbers().size(), before + 2);
        }
    }
    port.faults().clear();
    fault(FaultKind::kNvStatus, 20, 3);
    catalog.setNvItem(20, std::string("1"));
    EXPECT_EQ(refusalOf([&] { catalog.writeToPhone("COM1", false, nullptr); }),
              "Calvane::writeToPhone( const string comPort, bool throwException ) - Unable to write 'NV_TWENTY' to the "
              "phone.  (The NVM is full)");
}

TEST_F(PhoneTransfer, ToleratedRefusalsAreReportedInBothForms) {
    loadRing("NV_7,7,ReadWrite,<BYTE,x>#\nNV_8,8,ReadWrite,<BYTE,x>#\nNV_9,9,ReadWrite,<BYTE,x>#\n");
    fault(FaultKind::kNvStatus, 7, 7);
    fault(FaultKind::kNvStatus, 9, 9);
    const std::set<int> tolerated{7, 9};
    for (const int number : {7, 8, 9}) {
        catalog.setNvItem(static_cast<unsigned short>(number), std::string("1"));
    }
    EXPECT_EQ(catalog.writeToPhone("COM1", catalog.getSupportedNvItems(), false, &tolerated),
              "7 Had the following error while writing to the phone - Parameter is write-protected and thus read only\n"
              "9 Had the following error while writing to the phone - free memory exhausted\n");
    EXPECT_EQ(
        catalog.writeToPhone("COM1", false, &tolerated),
        "NV Item ID: 7 had the following error while writing to the phone - Parameter is write-protected and thus "
        "read only\n\nNV Item ID: 9 had the following error while writing to the phone - free memory exhausted");
    const std::set<int> other{9};
    EXPECT_NE(refusalOf([&] { catalog.writeToPhone("COM1", false, &other); }), "");
}

TEST_F(PhoneTransfer, OfflineFirstGoesOfflineOnceBeforeTheFirstWrite) {
    fault(FaultKind::kServerCode, 1, 0x80042004);
    const std::string prefix = "Calvane::writeToPhone( const string comPort ) - ";
    EXPECT_EQ(refusalOf([&] { catalog.writeToPhone("COM1", {itemOf("A", 1)}, true, nullptr); }),
              prefix + "TessraServer::sendSyncImpl - Serial write failure");
    EXPECT_EQ(port.faults().count(Call::kChangeMode), 1u);
    catalog.writeToPhone("COM1", {itemOf("B", 2, "ReadOnly")}, true, nullptr);
    EXPECT_EQ(port.faults().count(Call::kChangeMode), 2u) << "also when there is nothing to write";
    fault(FaultKind::kThrowException, std::nullopt, 0, Call::kChangeMode);
    EXPECT_EQ(refusalOf([&] { catalog.writeToPhone("COM1", true, nullptr); }),
              prefix + "TessraServer::offlineImpl - Unable to go Offline.");
}

TEST_F(PhoneTransfer, ARefusedResetPassesThroughWithoutAPrefix) {
    EXPECT_EQ(refusalOf([&] { catalog.resetPhone(); }),
              "TessraServer::reset - TessraServer::connect must be called before calling this member function.");
    catalog.getTessraServer()->connect("COM1");
    EXPECT_EQ(refusalOf([&] { catalog.resetPhone(); }), "");
}

TEST_F(PhoneTransfer, ForgottenItemsAreNotWritten) {
    catalog.setNvItem(20, std::string("1"));
    catalog.setNvItem(999, dataOf({0x5A}).data());
    catalog.writeToPhone("COM1", false, nullptr);
    EXPECT_EQ(writtenNumbers(), (std::vector<int>{20, 999}));
    catalog.clearNvItems();
    catalog.writeToPhone("COM1", false, nullptr);
    EXPECT_EQ(writtenNumbers().size(), 2u);
    catalog.setNvItem(999, dataOf({0x5B}).data());
    catalog.writeToPhone("COM1", false, nullptr);
    ASSERT_EQ(writtenNumbers(), (std::vector<int>{20, 999, 999}));
    EXPECT_EQ(port.sentPackets().back()[3], 0x5B);
    loadRing(kRing);
    catalog.writeToPhone("COM1", false, nullptr);
    EXPECT_EQ(writtenNumbers().size(), 3u) << "a new ring empties the loaded items too";
}

} // namespace
