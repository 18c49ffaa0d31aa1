#include "tessra/ServiceObjects.h"

#include <algorithm>

namespace tessra {
namespace {

class SecurityObject final : public com::Implements<ISecurity>, private ServiceObject {
public:
    SecurityObject(std::shared_ptr<Service> service, std::shared_ptr<Port> port, ClientId client)
        : ServiceObject(std::move(service)), port_(std::move(port)), client_(client) {}

    Status sendCode(std::uint32_t kind, const std::string& code, std::uint32_t reserved) override {
        if (const Status status = checkCaller(); com::failed(status)) {
            return status;
        }
        if (kind != 0 || reserved != 0) {
            return failWith(com::kInvalidArgument, "The service programming code is of kind 0.");
        }
        return port_->sendCode(client_, code);
    }

private:
    const std::shared_ptr<Port> port_;
    const ClientId client_;
};

class PhonePortObject final : public com::Implements<IPhonePort, ISyncSend, IEventSubscription>, private ServiceObject {
public:
    PhonePortObject(std::shared_ptr<Service> service, std::shared_ptr<Port> port)
        : ServiceObject(std::move(service)), port_(std::move(port)), use_(port_), client_(port_->newClient()) {}

    Status changeMode(std::uint16_t mode) override {
        const Status status = checkCaller();
        return com::failed(status) ? status : port_->changeMode(client_, mode);
    }

    Status lock(std::uint32_t exclusive) override {
        if (const Status status = checkCaller(); com::failed(status)) {
            return status;
        }
        return exclusive == 1 ? port_->lock(client_) : failWith(com::kInvalidArgument, "A lock is exclusive (1).");
    }

    Status unlock() override {
        const Status status = checkCaller();
        return com::failed(status) ? status : port_->unlock(client_);
    }

    Status mode(std::uint16_t& mode) override {
        mode = 0;
        const Status status = checkCaller();
        return com::failed(status) ? status : port_->mode(mode);
    }

    Status state(std::uint16_t& state) override {
        state = 0;
        const Status status = checkCaller();
        return com::failed(status) ? status : port_->state(state);
    }

    Status subObject(std::uint32_t id, std::uint32_t reserved, ComPtr<com::Unknown>& out) override {
        out.reset();
        if (const Status status = checkCaller(); com::failed(status)) {
            return status;
        }
        if (id != kSecuritySubObject || reserved != 0) {
            return failWith(com::kInvalidArgument, "A phone port has no sub-object with this number.");
        }
        return com::makeObject<ISecurity, SecurityObject>(service_, port_, client_).query(out);
    }

    Status sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t priority,
                    std::uint32_t reserved, std::uint32_t timeoutMs, std::uint16_t& responseLength,
                    std::uint8_t* response) override {
        const std::uint16_t capacity = std::exchange(responseLength, std::uint16_t{0});
        if (const Status status = checkCaller(); com::failed(status)) {
            return status;
        }
        if ((request == nullptr && requestLength > 0) || (response == nullptr && capacity > 0)) {
            return failWith(com::kPointer, "A packet's buffer is missing.");
        }
        if (priority != 1 || reserved != 0) {
            return failWith(com::kInvalidArgument, "Packets are sent with priority 1.");
        }
        if (requestLength > kMaxPacketBytes) {
            return failWith(kPacketTooLong, "The request is longer than 256 bytes.");
        }
        if (timeoutMs == 0) {
            return failWith(kZeroTimeout, "An answer can't arrive within 0 ms.");
        }
        std::vector<std::uint8_t> answer;
        if (const Status status = port_->send(client_, {request, requestLength}, timeoutMs, answer);
            com::failed(status)) {
            return status;
        }
        if (answer.size() > capacity) {
            return failWith(kPacketTooLong, "The answer is longer than the buffer for it.");
        }
        std::copy(answer.begin(), answer.end(), response);
        responseLength = static_cast<std::uint16_t>(answer.size());
        return com::kOk;
    }

    Status subscribe(const ComPtr<IEventSink>& sink, std::uint32_t& cookie) override {
        cookie = 0;
        const Status status = checkCaller();
        return com::failed(status) ? status : port_->subscribe(client_, sink, cookie);
    }

    Status unsubscribe(std::uint32_t cookie) override {
        const Status caller = checkCaller();
        if (com::failed(caller) && caller != com::kDisconnected) {
            return caller;
        }
        // Also when the service has ended: the client may destroy its sink once it has called this.
        const Status status = port_->unsubscribe(client_, cookie);
        return com::failed(caller) ? caller : status;
    }

private:
    ~PhonePortObject() override { port_->forget(client_); }

    const std::shared_ptr<Port> port_;
    const PortUse use_;
    const ClientId client_;
};

} // namespace

ComPtr<IPhonePort> makePhonePort(const std::shared_ptr<Service>& service, const std::shared_ptr<Port>& port) {
    return com::makeObject<IPhonePort, PhonePortObject>(service, port);
}

} // namespace tessra
