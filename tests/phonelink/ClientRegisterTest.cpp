// How the program registers with the service's list of clients, and how often it asks for that.

#include "phonelink/CClientRegisterHelper.h"
#include "platform/com/Apartment.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Text.h"
#include "platform/window/TopLevelWindow.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/HostedService.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using tessra::Call;
using tessra::FaultKind;

const std::string kThisComputer = kernel::lowerCase(kernel::computerName().value_or("Unknown Machine Name"));

tessra::ServiceConfig withoutTaskWindow() {
    auto config = phonesOn({});
    config.taskWindow = false;
    return config;
}

class ClientRegister : public testing::Test {
protected:
    ClientRegister() { com::enterApartment(); }
    ~ClientRegister() override { com::leaveApartment(); }

    std::uint64_t contacts() { return service.faults().count(Call::kCreateRegistry); }

    HostedService service{withoutTaskWindow()};
    std::optional<window::TopLevelWindow> task{"Orrin Task Window"};
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

    task.reset(); // the service does not run here: it is counted, and not contacted
    EXPECT_EQ(helper.Register(shouted.c_str()), com::kOk);
    EXPECT_EQ(contacts(), 4u);
    task.emplace("Orrin Task Window");
    EXPECT_EQ(helper.Register(shouted.c_str()), com::kOk);
    EXPECT_EQ(service.clients().size(), 1u) << "the next registration tries again";
}

TEST_F(ClientRegister, AServiceThatCannotBeReachedIsTriedAgain) {
    const struct {
        tessra::FaultRule fault;
        com::Status toggled;
    } cases[] = {
        {serverCodeAt(Call::kCreateRegistry, 0x80040154), com::kClassNotRegistered},
        {faultAt(Call::kCreateRegistry, FaultKind::kNullObject), com::kPointer},
        {serverCodeAt(Call::kSetVersion, 0x80070057), com::kInvalidArgument},
        {faultAt(Call::kSetVersion, FaultKind::kThrowException), com::kFail},
    };
    for (const auto& row : cases) {
        service.faults().add(row.fault);
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
        std::uint16_t handle = 0xFFFF;
        EXPECT_EQ(helper.RegisterToggle(kThisComputer.c_str(), true, handle), row.toggled);
        EXPECT_EQ(handle, 0xFFFF);
        service.faults().clear();
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
        handle = service.clients().at(0).handle;
        service.faults().add(row.fault);
        EXPECT_EQ(helper.UnRegister(nullptr), row.toggled);
        EXPECT_EQ(helper.UnRegister(nullptr), com::kFail) << "the entry stays";
        service.faults().clear();
        helper.RegisterToggle(kThisComputer.c_str(), false, handle);
    }
}

TEST_F(ClientRegister, WhatTheListItselfAnswersIsLoggedAndNotReported) {
    const ErrorLog log;
    const std::string prefix = "CClientRegisterHelper::RegisterToggle - The service did not ";
    service.faults().add(serverCodeAt(Call::kRegisterClient, 0x80070005));
    service.faults().add(faultAt(Call::kUnregisterClient, FaultKind::kThrowException));
    EXPECT_EQ(helper.Register(nullptr), com::kOk);
    EXPECT_EQ(log.text(), prefix + "register this program: Access is denied.\n");
    EXPECT_EQ(helper.UnRegister(nullptr), com::kOk) << "it is counted";
    EXPECT_TRUE(log.contains(prefix + "unregister this program: A fault was ordered for the call ")) << log.text();
}

} // namespace
