#pragma once

#include "tessra/PhoneLink.h"
#include "tessra/trace/PacketRecorder.h"

#include <memory>
#include <mutex>

namespace tessra {

/// A link whose packets are recorded as they pass, wrapped around one that does not record by itself, such as that to a
/// simulated phone. Any thread may call any method.
class TracedLink final : public PhoneLink {
public:
    TracedLink(std::shared_ptr<PhoneLink> link, PacketTap tap) : link_(std::move(link)), tap_(std::move(tap)) {}

    void start(std::function<void()> changed) override { link_->start(std::move(changed)); }
    void open() override { link_->open(); }
    void release() override { link_->release(); }
    void close() override { link_->close(); }
    PhoneView look() override { return link_->look(); }
    void awaitFirstView() override { link_->awaitFirstView(); }
    std::optional<std::vector<std::uint8_t>> knownVersion() override { return link_->knownVersion(); }
    Status exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                    std::vector<std::uint8_t>& answer) override;

private:
    const std::shared_ptr<PhoneLink> link_;
    std::mutex lock_; ///< held during an exchange, so that the answer follows its request in the trace
    PacketTap tap_;   ///< guarded by lock_
};

} // namespace tessra
