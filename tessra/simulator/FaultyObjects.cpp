#include "tessra/simulator/FaultyObjects.h"

#include "tessra/Interfaces.h"
#include "tessra/Packet.h"

#include <type_traits>
#include <utility>

namespace tessra {
namespace {

template <class T>
void clearOutput(T& argument) {
    if constexpr (!std::is_const_v<T>) {
        argument = T();
    }
}

// Makes a call of `inner` where the faults of `gate` let it pass; its outputs are empty otherwise.
template <class Gate, class Interface, class... Parameters, class... Arguments>
Status pass(Gate& gate, const ComPtr<Interface>& inner, Call call, Status (Interface::*method)(Parameters...),
            Arguments&... arguments) {
    Fault fault;
    const Status status = gate.enter(call, fault);
    if (com::succeeded(status)) {
        return (inner.get()->*method)(arguments...);
    }
    (clearOutput(arguments), ...);
    return status;
}

// An object without any interface that a client asks for.
class UselessObject final : public com::Implements<com::Unknown> {};

// Makes a call that hands out an object, which a fault may spoil.
template <class Gate, class Object, class Inner>
Status passObject(Gate& gate, Call call, ComPtr<Object>& out, Inner inner) {
    out.reset();
    Fault fault;
    Status status = gate.enter(call, fault);
    if (com::succeeded(status)) {
        status = inner();
    }
    if (com::succeeded(status) && fault.kind == FaultKind::kNullObject) {
        out.reset();
    }
    if constexpr (std::is_same_v<Object, com::Unknown>) {
        if (com::succeeded(status) && fault.kind == FaultKind::kWrongObject) {
            out = com::makeObject<com::Unknown, UselessObject>();
        }
    }
    return status;
}

// Puts a wrapper around the object that a call has handed out with `status`.
template <class Wrapper, class Interface, class Gate, class Object>
Status wrap(Status status, const std::shared_ptr<Gate>& gate, ComPtr<Object>& out) {
    ComPtr<Interface> inner;
    if (com::succeeded(status)) {
        status = out.query(inner);
    }
    return com::succeeded(status) ? com::makeObject<Interface, Wrapper>(gate, std::move(inner)).query(out) : status;
}

// An object that passes its calls on to one of the service's.
template <class Interface, class Gate>
class Wrapper : public com::Implements<Interface> {
public:
    Wrapper(std::shared_ptr<Gate> gate, ComPtr<Interface> inner) : gate_(std::move(gate)), inner_(std::move(inner)) {}

protected:
    const std::shared_ptr<Gate> gate_;
    const ComPtr<Interface> inner_;
};

class FaultySecurity final : public Wrapper<ISecurity, FaultyLink> {
public:
    using Wrapper::Wrapper;

    Status sendCode(std::uint32_t kind, const std::string& code, std::uint32_t reserved) override {
        return pass(*gate_, inner_, Call::kSecurity, &ISecurity::sendCode, kind, code, reserved);
    }
};

class FaultyPhonePort final : public com::Implements<IPhonePort, ISyncSend, IEventSubscription> {
public:
    FaultyPhonePort(std::shared_ptr<FaultyLink> phone, ComPtr<IPhonePort> port)
        : phone_(std::move(phone)), port_(std::move(port)) {
        com::throwIfFailed(port_.query(sender_));
        com::throwIfFailed(port_.query(events_));
    }

    Status changeMode(std::uint16_t mode) override {
        return pass(*phone_, port_, Call::kChangeMode, &IPhonePort::changeMode, mode);
    }
    Status lock(std::uint32_t exclusive) override {
        return pass(*phone_, port_, Call::kLock, &IPhonePort::lock, exclusive);
    }
    Status unlock() override { return pass(*phone_, port_, Call::kUnlock, &IPhonePort::unlock); }
    Status mode(std::uint16_t& mode) override { return pass(*phone_, port_, Call::kMode, &IPhonePort::mode, mode); }
    Status state(std::uint16_t& state) override {
        const Status status = pass(*phone_, port_, Call::kState, &IPhonePort::state, state);
        state = com::succeeded(status) ? phone_->stateOverride().value_or(state) : state;
        return status;
    }
    Status subObject(std::uint32_t id, std::uint32_t reserved, ComPtr<com::Unknown>& out) override {
        return passObject(*phone_, Call::kSubObject, out, [&] {
            return wrap<FaultySecurity, ISecurity>(port_->subObject(id, reserved, out), phone_, out);
        });
    }

    Status sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t priority,
                    std::uint32_t reserved, std::uint32_t timeoutMs, std::uint16_t& responseLength,
                    std::uint8_t* response) override {
        const auto item = request != nullptr ? nvItemOf({request, requestLength}) : std::nullopt;
        Fault fault;
        if (const Status status = phone_->enter(Call::kSend, fault, item, timeoutMs); com::failed(status)) {
            responseLength = 0;
            return status;
        }
        const FaultyLink::ClientPacket packet(fault);
        return sender_->sendSync(requestLength, request, priority, reserved, timeoutMs, responseLength, response);
    }

    Status subscribe(const ComPtr<IEventSink>& sink, std::uint32_t& cookie) override {
        return pass(*phone_, events_, Call::kSubscribe, &IEventSubscription::subscribe, sink, cookie);
    }
    Status unsubscribe(std::uint32_t cookie) override {
        Fault fault;
        const Status status = phone_->enter(Call::kUnsubscribe, fault);
        // Once the service has ended there are no faults any more, and the sink has to be let go.
        return com::failed(status) && status != com::kDisconnected ? status : events_->unsubscribe(cookie);
    }

private:
    const std::shared_ptr<FaultyLink> phone_;
    const ComPtr<IPhonePort> port_;
    ComPtr<ISyncSend> sender_;
    ComPtr<IEventSubscription> events_;
};

class FaultyTranslator final : public Wrapper<IPortNameTranslator, ServiceFaults> {
public:
    using Wrapper::Wrapper;

    Status portNumber(const std::string& name, std::uint16_t& number) override {
        return pass(*gate_, inner_, Call::kPortNumber, &IPortNameTranslator::portNumber, name, number);
    }
};

class FaultyCollection final : public Wrapper<IPortCollection, ServiceFaults> {
public:
    using Wrapper::Wrapper;

    Status translator(ComPtr<IPortNameTranslator>& out) override {
        return passObject(*gate_, Call::kTranslator, out, [&] {
            return wrap<FaultyTranslator, IPortNameTranslator>(inner_->translator(out), gate_, out);
        });
    }
    Status portByNumber(std::uint16_t number, ComPtr<IPhonePort>& out) override {
        return passObject(*gate_, Call::kPortByNumber, out, [&] {
            const Status status = inner_->portByNumber(number, out);
            return com::failed(status) ? status : wrap<FaultyPhonePort, IPhonePort>(status, gate_->phone(number), out);
        });
    }
};

class FaultyAgent final : public Wrapper<IConfigurationAgent, ServiceFaults> {
public:
    using Wrapper::Wrapper;

    Status portNumbers(std::vector<std::uint16_t>& numbers) override {
        return pass(*gate_, inner_, Call::kPortNumbers, &IConfigurationAgent::portNumbers, numbers);
    }
    Status keepOpen(const std::vector<std::uint16_t>& numbers) override { return inner_->keepOpen(numbers); }
    Status describePort(std::uint16_t number, PortDescription& description) override {
        description = {};
        Fault fault;
        const Status status = enterPort(number, Call::kDescribePort, fault);
        return com::failed(status) ? status : inner_->describePort(number, description);
    }
    Status describePhone(std::uint16_t number, PhoneDescription& description) override {
        description = {};
        Fault fault;
        Status status = enterPort(number, Call::kDescribePhone, fault);
        if (com::succeeded(status)) {
            status = inner_->describePhone(number, description);
        }
        if (com::succeeded(status) && fault.kind == FaultKind::kNoAnswer) {
            const PhoneMode mode = description.mode;
            description = {};
            description.mode = mode;
        }
        return status;
    }

private:
    Status enterPort(std::uint16_t number, Call call, Fault& fault) {
        const auto phone = gate_->phone(number);
        return phone ? phone->enter(call, fault) : com::kOk;
    }
};

class FaultyServer final : public Wrapper<IServer, ServiceFaults> {
public:
    using Wrapper::Wrapper;

    Status setInterfaceVersion(std::uint32_t version) override {
        return pass(*gate_, inner_, Call::kSetVersion, &IServer::setInterfaceVersion, version);
    }
    Status createAgent(const std::string& name, std::int32_t instance, std::uint16_t& handle,
                       ComPtr<com::Unknown>& agent) override {
        handle = 0;
        return passObject(*gate_, Call::kCreateAgent, agent, [&] {
            const Status status = inner_->createAgent(name, instance, handle, agent);
            return wrap<FaultyAgent, IConfigurationAgent>(status, gate_, agent);
        });
    }
    Status releaseAgent(std::uint16_t handle) override {
        return pass(*gate_, inner_, Call::kReleaseAgent, &IServer::releaseAgent, handle);
    }
    Status portCollection(ComPtr<IPortCollection>& out) override {
        return passObject(*gate_, Call::kPortCollection, out, [&] {
            return wrap<FaultyCollection, IPortCollection>(inner_->portCollection(out), gate_, out);
        });
    }
};

class FaultyRegistry final : public Wrapper<IClientRegistry, ServiceFaults> {
public:
    using Wrapper::Wrapper;

    Status setInterfaceVersion(std::uint32_t version) override {
        return pass(*gate_, inner_, Call::kSetVersion, &IClientRegistry::setInterfaceVersion, version);
    }
    Status registerClient(const std::string& clientName, const std::string& machineName, std::uint32_t processId,
                          std::uint32_t registered, std::uint16_t& handle) override {
        return pass(*gate_, inner_, Call::kRegisterClient, &IClientRegistry::registerClient, clientName, machineName,
                    processId, registered, handle);
    }
    Status unregisterClient(std::uint16_t handle) override {
        return pass(*gate_, inner_, Call::kUnregisterClient, &IClientRegistry::unregisterClient, handle);
    }
};

template <class Wrapper, class Interface>
com::ClassFactory faultyFactory(const std::shared_ptr<ServiceFaults>& faults, Call call,
                                const com::ClassFactory& make) {
    return [=](ComPtr<com::Unknown>& out) {
        return passObject(*faults, call, out, [&] { return wrap<Wrapper, Interface>(make(out), faults, out); });
    };
}

} // namespace

com::ClassFactory faultyServers(const std::shared_ptr<ServiceFaults>& faults, const com::ClassFactory& makeServer) {
    return faultyFactory<FaultyServer, IServer>(faults, Call::kCreateServer, makeServer);
}

com::ClassFactory faultyRegistries(const std::shared_ptr<ServiceFaults>& faults,
                                   const com::ClassFactory& makeRegistry) {
    return faultyFactory<FaultyRegistry, IClientRegistry>(faults, Call::kCreateRegistry, makeRegistry);
}

} // namespace tessra
