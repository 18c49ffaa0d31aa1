// How the program registers with the service's list of clients, and how often it asks for that.

#include "phonelink/CClientRegisterHelper.h"
#include "platform/com/Apartment.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Trace.h"
#include "platform/window/TopLevelWindow.h"
#include "tests/phonelink/SessionFixture.h"

#include <algorithm>
#include <optional>

namespace {

using tessra::Call;
using tessra::FaultKind;

std::string changedCase(std::string text, int (*change)(int)) {
    std::transform(text.begin(), text.end(), text.begin(), [change](char c) { return static_cast<char>(change(c)); });
    return text;
}

const std::string kThisComputer = changedCase(kernel::computerName().value_or("Unknown Machine Name"), std::tolower);

class ClientRegister : public testing::Test {
protected:
    ClientRegister() {
        com::enterApartment();
        auto config = phonesOn({});
        config.taskWindow = false;
        service.emplace(config);
    }
    ~ClientRegister() override { com::leaveApartment(); }

    std::uint64_t contacts() { return service->faults().count(Call::kCreateRegistry); }

    std::optional<tessra::Service> service;
    std::optional<window::TopLevelWindow> task;
};

TEST_F(ClientRegister, CountsPerMachineAndContactsTheServiceForTheFirstAndTheLast) {
    task.emplace("Orrin Task Window");
    CClientRegisterHelper helper("Calvane");
    EXPECT_EQ(helper.UnRegister(nullptr), com::kFail);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
    }
    EXPECT_EQ(helper.Register(changedCase(kThisComputer, std::toupper).c_str()), com::kOk);
    EXPECT_EQ(contacts(), 1u);
    const auto clients = service->clients();
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0].clientName, "Calvane");
    EXPECT_EQ(clients[0].machineName, kThisComputer);
    EXPECT_EQ(clients[0].processId, kernel::processId());
    // Another machine has a count of its own.
    EXPECT_EQ(helper.Register("elsewhere"), com::kOk);
    EXPECT_EQ(service->clients().size(), 2u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(helper.UnRegister(nullptr), com::kOk);
        EXPECT_EQ(contacts(), 2u);
    }
    EXPECT_EQ(helper.UnRegister(nullptr), com::kOk);
    EXPECT_EQ(contacts(), 3u);
    EXPECT_EQ(service->clients().size(), 1u);
    EXPECT_EQ(helper.UnRegister(nullptr), com::kFail);
    EXPECT_EQ(helper.UnRegister("Elsewhere"), com::kOk);
    EXPECT_EQ(service->clients().size(), 0u);
}

TEST_F(ClientRegister, WithoutATaskWindowThisComputerIsCountedButNotContacted) {
    const std::string upper = changedCase(kThisComputer, std::toupper);
    for (const std::string& name : {kThisComputer, upper, "\\\\" + upper}) {
        SCOPED_TRACE(name);
        const std::uint64_t before = contacts();
        CClientRegisterHelper helper("Calvane");
        EXPECT_EQ(helper.Register(name.c_str()), com::kOk);
        std::uint16_t handle = 1;
        EXPECT_EQ(helper.RegisterToggle(name.c_str(), true, handle), com::kOk);
        EXPECT_EQ(handle, 0xFFFF);
        EXPECT_EQ(contacts(), before);
        // The service's task has come: the next registration reaches it.
        task.emplace("Orrin Task Window");
        EXPECT_EQ(helper.Register(name.c_str()), com::kOk);
        EXPECT_EQ(contacts(), before + 1);
        EXPECT_EQ(service->clients().size(), 1u);
        helper.UnRegister(name.c_str());
        helper.UnRegister(name.c_str());
        EXPECT_EQ(service->clients().size(), 0u);
        task.reset();
    }
}

TEST_F(ClientRegister, AServiceThatCannotBeReachedIsTriedAgain) {
    const struct {
        const char* name;
        tessra::FaultRule fault;
        com::Status toggled;
    } cases[] = {
        {"no registry", serverCodeAt(Call::kCreateRegistry, 0x80040154), com::kClassNotRegistered},
        {"null registry", faultAt(Call::kCreateRegistry, FaultKind::kNullObject), com::kPointer},
        {"version refused", serverCodeAt(Call::kSetVersion, 0x80070057), com::kInvalidArgument},
        {"exception", faultAt(Call::kSetVersion, FaultKind::kThrowException), com::kFail},
    };
    task.emplace("Orrin Task Window");
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        CClientRegisterHelper helper("Calvane");
        service->faults().add(row.fault);
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
        std::uint16_t handle = 0xFFFF;
        EXPECT_EQ(helper.RegisterToggle(kThisComputer.c_str(), true, handle), row.toggled);
        EXPECT_EQ(handle, 0xFFFF);
        service->faults().clear();
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
        EXPECT_EQ(service->clients().size(), 1u);
        // The entry goes, and the service's failure is told.
        service->faults().add(serverCodeAt(Call::kCreateRegistry, 0x80042005));
        EXPECT_EQ(helper.UnRegister(nullptr), tessra::kResponseTimeout);
        EXPECT_EQ(helper.UnRegister(nullptr), com::kFail);
        service->faults().clear();
        std::uint16_t left = service->clients().front().handle;
        helper.RegisterToggle(kThisComputer.c_str(), false, left);
        EXPECT_EQ(service->clients().size(), 0u);
    }
}

TEST_F(ClientRegister, WhatTheListItselfAnswersIsNotReported) {
    std::string log;
    kernel::setErrorLog([&log](std::string_view line) { log += line; });
    task.emplace("Orrin Task Window");
    const std::string prefix = "CClientRegisterHelper::RegisterToggle - The service did not ";
    const struct {
        const char* name;
        FaultKind kind;
        std::string reason;
    } cases[] = {{"refusal", FaultKind::kServerCode, "Access is denied."},
                 {"exception", FaultKind::kThrowException, "A fault was ordered for the call "}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        service->faults().add(faultAt(Call::kRegisterClient, row.kind, 0x80070005));
        CClientRegisterHelper helper("Calvane");
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
        EXPECT_EQ(log.find(prefix + "register this program: " + row.reason), 0u) << log;
        std::uint16_t handle = 7;
        EXPECT_EQ(helper.RegisterToggle(kThisComputer.c_str(), true, handle), com::kOk);
        EXPECT_EQ(handle, 0) << "what the service gave";
        service->faults().clear();
        const std::uint64_t before = contacts();
        EXPECT_EQ(helper.Register(nullptr), com::kOk);
        EXPECT_EQ(helper.UnRegister(nullptr), com::kOk);
        EXPECT_EQ(contacts(), before) << "it is counted";
        service->faults().add(faultAt(Call::kUnregisterClient, row.kind, 0x80070005));
        log.clear();
        EXPECT_EQ(helper.UnRegister(nullptr), com::kOk);
        EXPECT_EQ(log.find(prefix + "unregister this program: " + row.reason), 0u) << log;
        EXPECT_EQ(helper.UnRegister(nullptr), com::kFail);
        service->faults().clear();
        log.clear();
    }
    kernel::setErrorLog({});
}

TEST_F(ClientRegister, AClientWithoutANameHasOne) {
    task.emplace("Orrin Task Window");
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        CClientRegisterHelper helper(name);
        helper.Register(nullptr);
        EXPECT_EQ(service->clients().at(0).clientName, "Unknown Client Name");
        helper.UnRegister(nullptr);
    }
}

TEST_F(ClientRegister, EachStepLeavesItsTrace) {
    std::string trace;
    kernel::setDebugOutput([&trace](std::string_view text) { trace += text; });
    {
        CClientRegisterHelper helper("Calvane");
        helper.Register(nullptr);
        helper.UnRegister(nullptr);
    }
    kernel::setDebugOutput({});
    EXPECT_EQ(trace, "CClientRegisterHelper::CClientRegisterHelper\n"
                     "CClientRegisterHelper::Register\n"
                     "CClientRegisterHelper::RegisterToggle\n"
                     "CClientRegisterHelper::UnRegister\n"
                     "CClientRegisterHelper::RegisterToggle\n"
                     "CClientRegisterHelper::~CClientRegisterHelper\n");
}

TEST(SessionRegistration, LastsFromTheAttachmentToTheEndOfTheSession) {
    tessra::Service service(phonesOn({"COM1"}));
    {
        TessraServer session("Test program");
        EXPECT_EQ(service.clients().size(), 0u);
        // An attachment that fails half-way and is tried again leaves one registration.
        service.faults().add(serverCodeAt(Call::kCreateAgent, 0x80070005));
        EXPECT_NE(failureOf([&] { session.connect("COM1"); }), "");
        service.faults().clear();
        session.connect("COM1");
        ASSERT_EQ(service.clients().size(), 1u);
        EXPECT_EQ(service.clients()[0].clientName, "Test program");
    }
    EXPECT_EQ(service.clients().size(), 0u);
    service.faults().add(serverCodeAt(Call::kCreateRegistry, 0x80070005));
    TessraServer unregistered("Test");
    EXPECT_EQ(failureOf([&] { unregistered.connect("COM1"); }), "");
}

} // namespace
