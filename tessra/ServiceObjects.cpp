#include "tessra/ServiceObjects.h"

#include <map>
#include <utility>

namespace tessra {
namespace {

class TranslatorObject final : public com::Implements<IPortNameTranslator>, private ServiceObject {
public:
    explicit TranslatorObject(std::shared_ptr<Service> service) : ServiceObject(std::move(service)) {}

    Status portNumber(const std::string& name, std::uint16_t& number) override {
        number = 0;
        if (const Status status = checkCaller(); com::failed(status)) {
            return status;
        }
        const auto port = service_->portNamed(name);
        if (!port) {
            return failWith(com::kFail, "The service has no port named '" + name + "'.");
        }
        number = port->number();
        return com::kOk;
    }
};

// The port with this number; null and a failure in `status` where there is none.
std::shared_ptr<Port> findPort(const Service& service, std::uint16_t number, Status& status) {
    auto port = com::succeeded(status) ? service.portNumbered(number) : nullptr;
    if (!port && com::succeeded(status)) {
        status = failWith(com::kInvalidArgument, "No port has the number " + std::to_string(number) + ".");
    }
    return port;
}

class CollectionObject final : public com::Implements<IPortCollection>, private ServiceObject {
public:
    explicit CollectionObject(std::shared_ptr<Service> service) : ServiceObject(std::move(service)) {}

    Status translator(ComPtr<IPortNameTranslator>& out) override {
        out.reset();
        const Status status = checkCaller();
        if (com::succeeded(status)) {
            out = com::makeObject<IPortNameTranslator, TranslatorObject>(service_);
        }
        return status;
    }

    Status portByNumber(std::uint16_t number, ComPtr<IPhonePort>& out) override {
        out.reset();
        Status status = checkCaller();
        const auto port = findPort(*service_, number, status);
        if (!port) {
            return status;
        }
        const PortUse use(port);
        status = port->requirePhone();
        if (com::succeeded(status)) {
            out = makePhonePort(service_, port);
        }
        return status;
    }
};

class AgentObject final : public com::Implements<IConfigurationAgent>, private ServiceObject {
public:
    explicit AgentObject(std::shared_ptr<Service> service) : ServiceObject(std::move(service)) {}

    Status portNumbers(std::vector<std::uint16_t>& numbers) override {
        numbers.clear();
        if (const Status status = checkCaller(); com::failed(status)) {
            return status;
        }
        for (const auto& port : service_->ports()) {
            numbers.push_back(port->number());
        }
        return com::kOk;
    }

    Status keepOpen(const std::vector<std::uint16_t>& numbers) override {
        Status status = checkCaller();
        Uses wanted;
        for (const std::uint16_t number : numbers) {
            const auto port = findPort(*service_, number, status);
            if (!port) {
                return status;
            }
            const auto kept = kept_.find(number);
            wanted.emplace(number, kept != kept_.end() ? kept->second : std::make_shared<PortUse>(port));
        }
        kept_ = std::move(wanted);
        return status;
    }

    Status describePort(std::uint16_t number, PortDescription& description) override {
        description = {};
        Status status = checkCaller();
        const auto port = findPort(*service_, number, status);
        return port ? port->describe(description) : status;
    }

    Status describePhone(std::uint16_t number, PhoneDescription& description) override {
        description = {};
        Status status = checkCaller();
        const auto port = findPort(*service_, number, status);
        return port ? port->describePhone(description) : status;
    }

private:
    using Uses = std::map<std::uint16_t, std::shared_ptr<PortUse>>;
    Uses kept_;
};

// An object whose other methods wait for the client to tell the version of the interfaces that it was built for.
class VersionedObject : protected ServiceObject {
protected:
    explicit VersionedObject(std::shared_ptr<Service> service) : ServiceObject(std::move(service)) {}

    Status takeVersion(std::uint32_t version) {
        if (const Status status = checkCaller(); com::failed(status)) {
            return status;
        }
        if (version != kInterfaceVersion) {
            return failWith(com::kInvalidArgument, "The service speaks version 30000 of its interfaces.");
        }
        hasVersion_ = true;
        return com::kOk;
    }

    Status checkVersionedCaller() const {
        const Status status = checkCaller();
        if (com::succeeded(status) && !hasVersion_) {
            return failWith(com::kUnexpected, "The client has not told the version of its interfaces.");
        }
        return status;
    }

private:
    bool hasVersion_ = false;
};

class ServerObject final : public com::Implements<IServer>, private VersionedObject {
public:
    explicit ServerObject(std::shared_ptr<Service> service) : VersionedObject(std::move(service)) {}

    Status setInterfaceVersion(std::uint32_t version) override { return takeVersion(version); }

    Status createAgent(const std::string& name, std::int32_t instance, std::uint16_t& handle,
                       ComPtr<com::Unknown>& agent) override {
        handle = 0;
        agent.reset();
        if (const Status status = checkVersionedCaller(); com::failed(status)) {
            return status;
        }
        if (name != kConfigurationAgentName || instance != -1) {
            return failWith(com::kInvalidArgument, "The service has no agent '" + name + "' of this instance.");
        }
        handle = service_->newAgentHandle();
        if (handle == 0) {
            return failWith(com::kOutOfMemory, "There are too many agents.");
        }
        return com::makeObject<IConfigurationAgent, AgentObject>(service_).query(agent);
    }

    Status releaseAgent(std::uint16_t handle) override {
        if (const Status status = checkVersionedCaller(); com::failed(status)) {
            return status;
        }
        return service_->releaseAgentHandle(handle) ? com::kOk
                                                    : failWith(com::kInvalidArgument, "No agent has this handle.");
    }

    Status portCollection(ComPtr<IPortCollection>& out) override {
        out.reset();
        const Status status = checkVersionedCaller();
        if (com::succeeded(status)) {
            out = com::makeObject<IPortCollection, CollectionObject>(service_);
        }
        return status;
    }
};

class RegistryObject final : public com::Implements<IClientRegistry>, private VersionedObject {
public:
    explicit RegistryObject(std::shared_ptr<Service> service) : VersionedObject(std::move(service)) {}

    Status setInterfaceVersion(std::uint32_t version) override { return takeVersion(version); }

    Status registerClient(const std::string& clientName, const std::string& machineName, std::uint32_t processId,
                          std::uint32_t registered, std::uint16_t& handle) override {
        handle = 0;
        if (const Status status = checkVersionedCaller(); com::failed(status)) {
            return status;
        }
        if (registered != 1) {
            return failWith(com::kInvalidArgument, "A client is registered with 1.");
        }
        handle = service_->registerClient({0, clientName, machineName, processId});
        return handle != 0 ? com::kOk : failWith(com::kOutOfMemory, "Too many clients are registered.");
    }

    Status unregisterClient(std::uint16_t handle) override {
        if (const Status status = checkVersionedCaller(); com::failed(status)) {
            return status;
        }
        return service_->unregisterClient(handle) ? com::kOk
                                                  : failWith(com::kInvalidArgument, "No client has this handle.");
    }
};

} // namespace

Status makeServer(const std::shared_ptr<Service>& service, ComPtr<com::Unknown>& out) {
    return com::makeObject<IServer, ServerObject>(service).query(out);
}

Status makeClientRegistry(const std::shared_ptr<Service>& service, ComPtr<com::Unknown>& out) {
    return com::makeObject<IClientRegistry, RegistryObject>(service).query(out);
}

} // namespace tessra
