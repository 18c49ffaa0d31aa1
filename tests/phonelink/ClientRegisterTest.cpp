// How the program registers with the service's list of clients, and how often it asks for that.

#include "phonelink/CClientRegisterHelper.h"
#include "platform/com/Apartment.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Text.h"
#include "tests/support/HostedService.h"

#include <gtest/gtest.h>

namespace {

const std::string kThisComputer = kernel::lowerCase(kernel::computerName().value_or("Unknown Machine Name"));

class ClientRegister : public testing::Test {
protected:
    ClientRegister() { com::enterApartment(); }
    ~ClientRegister() override { com::leaveApartment(); }

    HostedService service{phonesOn({})};
    CClientRegisterHelper helper{"Calvane"};
};

TEST_F(ClientRegister, CountsPerMachineAndTellsTheServiceTheFirstAndTheLast) {
    const std::string shouted = "\\\\" + kernel::upperCase(kThisComputer);
    EXPECT_EQ(helper.UnRegister(nullptr), com::kFail);
    EXPECT_EQ(helper.Register(nullptr), com::kOk);
    EXPECT_EQ(helper.Register(shouted.c_str() + 2), com::kOk);
    const auto clients = service.clients();
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0].clientName, "Calvane");
    EXPECT_EQ(clients[0].machineName, kThisComputer);
    EXPECT_EQ(clients[0].processId, kernel::processId());
    EXPECT_EQ(helper.Register("elsewhere"), com::kOk) << "another machine has a count of its own";
    EXPECT_EQ(service.clients().size(), 2u);
    EXPECT_EQ(helper.UnRegister(nullptr), com::kOk);
    EXPECT_EQ(service.clients().size(), 2u);
    EXPECT_EQ(helper.UnRegister(nullptr), com::kOk);
    EXPECT_EQ(service.clients().size(), 1u);
    EXPECT_EQ(helper.UnRegister("Elsewhere"), com::kOk);
    EXPECT_EQ(service.clients().size(), 0u);
}

} // namespace
