// How the program registers with the service's list of clients, and how often it asks for that.

#include "phonelink/CClientRegisterHelper.h"
#include "platform/com/Apartment.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Text.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/HostedService.h"

#include <gtest/gtest.h>

namespace {

using tessra::Call;
using tessra::FaultKind;

const std::string kThisComputer = kernel::lowerCase(kernel::computerName().value_or("Unknown Machine Name"));

class ClientRegister : public testing::Test {
protected:
    ClientRegister() { com::enterApartment(); }
    ~ClientRegister() override { com::leaveApartment(); }

    std::uint64_t contacts() { return service.faults().count(Call::kCreateRegistry); }

    HostedService service{phonesOn({})};
    CClientRegisterHelper helper{"Calvane"};
};

TEST_F(ClientRegister, CountsPerMachineAndContactsTheServiceForTheFirstAndTheLast) {
    const std::string shouted = "\\\\" + kernel::upperCase(kThisComputer);
    EXPECT_EQ(helper.UnRegister(nullptr), com::kFail);
    EXPECT_EQ(helper.Register(nullptr), com::kOk);
    EXPECT_EQ(helper.Register(shouted.c_str() + 2), com::kOk);
    EXPECT_EQ(contacts(), 1u);
    const auto clients = service.clients();
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0].clientName, "Calvane");
    EXPECT_EQ(clients[0].machineName, kThisComputer);
    EXPECT_EQ(clients[0].processId, kernel::processId());
    EXPECT_EQ(helper.Register("elsewhere"), com::kOk) << "another machine has a count of its own";
    EXPECT_EQ(service.clients().size(), 2u);
    EXPECT_EQ(helper.UnRegister(nullptr), com::kOk);
    EXPECT_EQ(contacts(), 2u);
    EXPECT_EQ(helper.UnRegister(nullptr), com::kOk);
    EXPECT_EQ(contacts(), 3u);
    EXPECT_EQ(helper.UnRegister("Elsewhere"), com::kOk);
    EXPECT_EQ(service.clients().size(), 0u);
}

TEST_F(ClientRegister, AServiceThatCannotBeReachedIsTriedAgain) {
    const struct {
        tessra::FaultRule fault;
        com::Status unregistered;
    } cases[] = {
        {serverCodeAt(Call::kCreateRegistry, 0x80040154), com::kClassNotRegistered},
        {faultAt(Call::kSetVersion, FaultKind::kThrowException), com::kFail},
    };
    std::size_t registered = 0;
    for (const auto& row : cases) {
        service.faults().add(row.fault);
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
        EXPECT_EQ(helper.UnRegister(nullptr), com::kFail) << "it was counted";
        service.faults().clear();
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
        EXPECT_EQ(service.clients().size(), ++registered);
        service.faults().add(row.fault);
        EXPECT_EQ(helper.UnRegister(nullptr), row.unregistered);
        service.faults().clear();
    }
}

TEST_F(ClientRegister, WhatTheListItselfAnswersIsLoggedAndNotReported) {
    const ErrorLog log;
    service.faults().add(serverCodeAt(Call::kRegisterClient, 0x80070005));
    EXPECT_EQ(helper.Register(nullptr), com::kOk);
    EXPECT_EQ(log.text(),
              "CClientRegisterHelper::RegisterToggle - The service did not register this program: Access is denied.\n");
    EXPECT_EQ(helper.UnRegister(nullptr), com::kOk) << "it was not counted";
}

} // namespace
