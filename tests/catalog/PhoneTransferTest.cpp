// The catalog's reads from and writes to a phone of the real service.

#include "platform/kernel/TickCount.h"
#include "tests/catalog/CatalogFixture.h"
#include "tests/support/HostedService.h"

#include <memory>

namespace {

using tessra::Call;
using tessra::FaultKind;

class PhoneTransfer : public CatalogFixture {
protected:
    PhoneTransfer() {
        loadRing("NV_TEN,10,ReadWrite,<BYTE,x>#\nNV_TWENTY,20,ReadWrite,<BYTE,x>#\nNV_THIRTY,30,ReadOnly,<BYTE,x>#\n");
    }

    /// The phone answers this from now on when the item is read or written.
    void answer(std::uint16_t item, FaultKind kind, std::uint32_t value) {
        auto rule = faultAt(Call::kSend, kind, value);
        rule.item = item;
        service.faults("COM1").add(rule);
    }

    /// The items that were written to the phone, in the order in which the packets went out.
    std::vector<int> writtenNumbers() {
        std::vector<int> numbers;
        for (const auto& packet : service.sentPackets("COM1")) {
            if (packet[0] == 0x27) {
                numbers.push_back(packet[1] | packet[2] << 8);
            }
        }
        return numbers;
    }

    HostedService service{phonesOn({"COM1"})};
};

TEST_F(PhoneTransfer, AReadDeliversTheItemsThatThePhoneHasAndTellsEachBefore) {
    catalog.writeToPhone("COM1", {itemOf(20, 20), itemOf(30, 30), itemOf(999, 231)}, false, nullptr);
    catalog.setNvItem(10, std::string("77"));
    std::string progress;
    const auto items = catalog.getNvItemsFromPhone(
        "COM1", &progress,
        [](void* context, std::uint16_t id, std::string name, std::uint32_t count, std::uint32_t position) {
            *static_cast<std::string*>(context) +=
                std::to_string(id) + " " + name + " " + std::to_string(position) + "/" + std::to_string(count) + ", ";
        });
    EXPECT_EQ(numbersOf(items), (std::vector<int>{20, 30}));
    EXPECT_EQ(progress, "10 NV_TEN 1/3, 20 NV_TWENTY 2/3, 30 NV_THIRTY 3/3, ");
    EXPECT_EQ(valueOf(10), "77") << "a skipped item keeps its data";

    // Item 10 is no longer loaded, item 30 may not be written, and a port without a phone changes nothing.
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemsFromPhone("COM9"); }),
              "Calvane::getNvItemsFromPhone( const string comPort ) - COM9 is an invalid COM port.  Please choose a "
              "different COM port.");
    EXPECT_EQ(catalog.writeToPhone("COM1", false, nullptr), "");
    EXPECT_EQ(writtenNumbers(), (std::vector<int>{20, 30, 999, 20}));

    const auto some = catalog.getNvItemsFromPhone("COM1", {999, 20, 10}, nullptr, nullptr);
    EXPECT_EQ(some[0].getName() + some[0].getAccess() + some[0].getSubItems()[0].value, "No Namereadwrite231");
    catalog.clearNvItems();
    catalog.writeToPhone("COM1", false, nullptr);
    EXPECT_EQ(writtenNumbers().size(), 4u) << "forgotten items are not written";
}

TEST_F(PhoneTransfer, TheFirstRefusedItemEndsTheWriteWithItsText) {
    const std::vector<NvItem> items{itemOf(3, 3), itemOf(4, 4, "ReadOnly"), itemOf(2, 2), itemOf(1, 1)};
    const std::string prefix = "Calvane::writeToPhone( const string comPort, const vector< NvItem >& nvItems, bool "
                               "throwException ) - Unable to write 'NV_X' to the phone. (";
    const std::pair<std::uint32_t, std::string> rows[] = {
        {1, prefix + "Request is queued)"},
        {10, prefix + "address is not a valid allocation)"},
        {11, ""},
    };
    for (const auto& [status, refusal] : rows) {
        answer(2, FaultKind::kNvStatus, status);
        EXPECT_EQ(refusalOf([&] { catalog.writeToPhone("COM1", items, false, nullptr); }), refusal);
        service.faults("COM1").clear();
    }
    EXPECT_EQ(writtenNumbers(), (std::vector<int>{3, 2, 3, 2, 3, 2, 1}));
}

TEST_F(PhoneTransfer, ToleratedRefusalsAreReportedInBothForms) {
    answer(10, FaultKind::kNvStatus, 7);
    answer(20, FaultKind::kNvStatus, 9);
    const std::set<int> tolerated{10, 20};
    catalog.setNvItem(10, std::string("1"));
    catalog.setNvItem(20, std::string("1"));
    EXPECT_EQ(catalog.writeToPhone("COM1", catalog.getSupportedNvItems(), false, &tolerated),
              "10 Had the following error while writing to the phone - Parameter is write-protected and thus read "
              "only\n20 Had the following error while writing to the phone - free memory exhausted\n");
    EXPECT_EQ(catalog.writeToPhone("COM1", false, &tolerated),
              "NV Item ID: 10 had the following error while writing to the phone - Parameter is write-protected and "
              "thus read only\n\nNV Item ID: 20 had the following error while writing to the phone - free memory "
              "exhausted");
    const std::set<int> other{20};
    EXPECT_EQ(refusalOf([&] { catalog.writeToPhone("COM1", false, &other); }),
              "Calvane::writeToPhone( const string comPort, bool throwException ) - Unable to write 'NV_TEN' to the "
              "phone.  (Parameter is write-protected and thus read only)");
}

TEST_F(PhoneTransfer, OfflineFirstGoesOfflineOnceBeforeTheFirstWrite) {
    answer(1, FaultKind::kServerCode, 0x80042004);
    EXPECT_EQ(refusalOf([&] { catalog.writeToPhone("COM1", {itemOf(1, 1)}, true, nullptr); }),
              "Calvane::writeToPhone( const string comPort ) - TessraServer::sendSyncImpl - Serial write failure");
    EXPECT_EQ(service.faults("COM1").count(Call::kChangeMode), 1u);
    catalog.writeToPhone("COM1", {itemOf(2, 2, "ReadOnly")}, true, nullptr);
    EXPECT_EQ(service.faults("COM1").count(Call::kChangeMode), 2u) << "also when there is nothing to write";
}

TEST_F(PhoneTransfer, ACatalogIsHeldByAServiceThatHangsForTenSecondsOnly) {
    auto ending = std::make_unique<Calvane>();
    ending->getNvItemsFromPhone("COM1");
    tessra::FaultRule hang = faultAt(Call::kReleaseAgent, FaultKind::kNone);
    hang.delayMs = 60000;
    service.faults().add(hang);
    const std::uint32_t start = kernel::tickCount();
    ending.reset();
    const std::uint32_t tookMs = kernel::elapsedMs(start, kernel::tickCount());
    EXPECT_GE(tookMs, 9900u) << "the session did not wait for the service at all";
    EXPECT_LT(tookMs, 20000u) << "the file was closed after the session, behind the work that hangs";
}

} // namespace
