#include "tessra/ServiceObjects.h"

#include <utility>

namespace tessra {
namespace {

// An object that knows the service, with the entry that every call makes.
class CoreObject : protected ServiceObject {
protected:
    explicit CoreObject(std::shared_ptr<ServiceCore> core) : core_(std::move(core)) {}

    Status enter(Call call, Strike& strike) {
        const Status status = checkCaller();
        return com::failed(status) ? status : core_->faults().enter(call, strike);
    }
    Status enter(Call call) {
        Strike ignored;
        return enter(call, ignored);
    }
    // The port for a call about one port; null and a failure in `status` where there is none.
    std::shared_ptr<Port> findPort(std::uint16_t number, Status& status) {
        auto port = core_->portNumbered(number);
        status =
            port ? com::kOk : refuse(com::kInvalidArgument, "No port has the number " + std::to_string(number) + ".");
        return port;
    }

    const std::shared_ptr<ServiceCore> core_;
};

class TranslatorObject final : public com::Implements<IPortNameTranslator>, private CoreObject {
public:
    explicit TranslatorObject(std::shared_ptr<ServiceCore> core) : CoreObject(std::move(core)) {}

    Status portNumber(const std::string& name, std::uint16_t& number) override {
        number = 0;
        if (const Status status = enter(Call::kPortNumber); com::failed(status)) {
            return status;
        }
        const auto port = core_->portNamed(name);
        if (!port) {
            return refuse(com::kFail, "The service has no port named '" + name + "'.");
        }
        number = port->number();
        return com::kOk;
    }
};

class CollectionObject final : public com::Implements<IPortCollection>, private CoreObject {
public:
    explicit CollectionObject(std::shared_ptr<ServiceCore> core) : CoreObject(std::move(core)) {}

    Status translator(ComPtr<IPortNameTranslator>& out) override {
        out.reset();
        Strike strike;
        const Status status = enter(Call::kTranslator, strike);
        if (com::succeeded(status) && strike.kind != FaultKind::kNullObject) {
            out = com::makeObject<IPortNameTranslator, TranslatorObject>(core_);
        }
        return status;
    }

    Status portByNumber(std::uint16_t number, ComPtr<IPhonePort>& out) override {
        out.reset();
        Strike strike;
        Status status = enter(Call::kPortByNumber, strike);
        if (com::failed(status)) {
            return status;
        }
        const auto port = findPort(number, status);
        if (port) {
            status = port->requirePhone();
        }
        if (com::succeeded(status) && strike.kind != FaultKind::kNullObject) {
            out = makePhonePort(port);
        }
        return status;
    }
};

class AgentObject final : public com::Implements<IConfigurationAgent>, private CoreObject {
public:
    explicit AgentObject(std::shared_ptr<ServiceCore> core) : CoreObject(std::move(core)) {}

    Status portNumbers(std::vector<std::uint16_t>& numbers) override {
        numbers.clear();
        if (const Status status = enter(Call::kPortNumbers); com::failed(status)) {
            return status;
        }
        for (const auto& port : core_->ports()) {
            numbers.push_back(port->number());
        }
        return com::kOk;
    }

    Status describePort(std::uint16_t number, PortDescription& description) override {
        description = {};
        Status status = checkCaller();
        if (com::failed(status)) {
            return status;
        }
        const auto port = findPort(number, status);
        return port ? port->describe(description) : status;
    }

    Status describePhone(std::uint16_t number, PhoneDescription& description) override {
        description = {};
        Status status = checkCaller();
        if (com::failed(status)) {
            return status;
        }
        const auto port = findPort(number, status);
        return port ? port->describePhone(description) : status;
    }
};

// An object whose other methods wait for the client to tell the version of the interfaces that it was built for.
class VersionedObject : protected CoreObject {
protected:
    explicit VersionedObject(std::shared_ptr<ServiceCore> core) : CoreObject(std::move(core)) {}

    Status takeVersion(std::uint32_t version) {
        if (const Status status = enter(Call::kSetVersion); com::failed(status)) {
            return status;
        }
        if (version != kInterfaceVersion) {
            return refuse(com::kInvalidArgument, "The service speaks version 30000 of its interfaces.");
        }
        hasVersion_ = true;
        return com::kOk;
    }

    Status enterVersioned(Call call, Strike& strike) {
        const Status status = enter(call, strike);
        if (com::succeeded(status) && !hasVersion_) {
            return refuse(com::kUnexpected, "The client has not told the version of its interfaces.");
        }
        return status;
    }
    Status enterVersioned(Call call) {
        Strike ignored;
        return enterVersioned(call, ignored);
    }

private:
    bool hasVersion_ = false;
};

class ServerObject final : public com::Implements<IServer>, private VersionedObject {
public:
    explicit ServerObject(std::shared_ptr<ServiceCore> core) : VersionedObject(std::move(core)) {}

    Status setInterfaceVersion(std::uint32_t version) override { return takeVersion(version); }

    Status createAgent(const std::string& name, std::int32_t instance, std::uint16_t& handle,
                       ComPtr<com::Unknown>& agent) override {
        handle = 0;
        agent.reset();
        Strike strike;
        if (const Status status = enterVersioned(Call::kCreateAgent, strike); com::failed(status)) {
            return status;
        }
        if (name != kConfigurationAgentName || instance != -1) {
            return refuse(com::kInvalidArgument, "The service has no agent '" + name + "' of this instance.");
        }
        handle = core_->newAgentHandle();
        if (handle == 0) {
            return refuse(com::kOutOfMemory, "There are too many agents.");
        }
        switch (strike.kind) {
        case FaultKind::kNullObject:
            return com::kOk;
        case FaultKind::kWrongObject:
            return com::makeObject<IPortCollection, CollectionObject>(core_).query(agent);
        default:
            return com::makeObject<IConfigurationAgent, AgentObject>(core_).query(agent);
        }
    }

    Status releaseAgent(std::uint16_t handle) override {
        if (const Status status = enterVersioned(Call::kReleaseAgent); com::failed(status)) {
            return status;
        }
        return core_->releaseAgentHandle(handle) ? com::kOk
                                                 : refuse(com::kInvalidArgument, "No agent has this handle.");
    }

    Status portCollection(ComPtr<IPortCollection>& out) override {
        out.reset();
        Strike strike;
        const Status status = enterVersioned(Call::kPortCollection, strike);
        if (com::succeeded(status) && strike.kind != FaultKind::kNullObject) {
            out = com::makeObject<IPortCollection, CollectionObject>(core_);
        }
        return status;
    }
};

class RegistryObject final : public com::Implements<IClientRegistry>, private VersionedObject {
public:
    explicit RegistryObject(std::shared_ptr<ServiceCore> core) : VersionedObject(std::move(core)) {}

    Status setInterfaceVersion(std::uint32_t version) override { return takeVersion(version); }

    Status registerClient(const std::string& clientName, const std::string& machineName, std::uint32_t processId,
                          std::uint32_t registered, std::uint16_t& handle) override {
        handle = 0;
        if (const Status status = enterVersioned(Call::kRegisterClient); com::failed(status)) {
            return status;
        }
        if (registered != 1) {
            return refuse(com::kInvalidArgument, "A client is registered with 1.");
        }
        handle = core_->registerClient({0, clientName, machineName, processId});
        return handle != 0 ? com::kOk : refuse(com::kOutOfMemory, "Too many clients are registered.");
    }

    Status unregisterClient(std::uint16_t handle) override {
        if (const Status status = enterVersioned(Call::kUnregisterClient); com::failed(status)) {
            return status;
        }
        return core_->unregisterClient(handle) ? com::kOk : refuse(com::kInvalidArgument, "No client has this handle.");
    }
};

// Makes an object for the class table, or what a fault on `call` makes of it.
template <class Interface, class Object>
Status make(Call call, const std::shared_ptr<ServiceCore>& core, ComPtr<com::Unknown>& out) {
    out.reset();
    Strike strike;
    if (const Status status = core->faults().enter(call, strike); com::failed(status)) {
        return status;
    }
    switch (strike.kind) {
    case FaultKind::kNullObject:
        return com::kOk;
    case FaultKind::kWrongObject:
        return com::makeObject<IPortCollection, CollectionObject>(core).query(out);
    default:
        return com::makeObject<Interface, Object>(core).query(out);
    }
}

} // namespace

Status makeServer(const std::shared_ptr<ServiceCore>& core, ComPtr<com::Unknown>& out) {
    return make<IServer, ServerObject>(Call::kCreateServer, core, out);
}

Status makeClientRegistry(const std::shared_ptr<ServiceCore>& core, ComPtr<com::Unknown>& out) {
    return make<IClientRegistry, RegistryObject>(Call::kCreateRegistry, core, out);
}

} // namespace tessra
