#pragma once

#include "platform/com/Status.h"

#include <atomic>
#include <compare>
#include <cstdint>

namespace com {

/// The identity of an interface or of a class: 128 bits, unequal for unequal things.
struct Guid {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    friend constexpr auto operator<=>(const Guid&, const Guid&) = default;
};
using InterfaceId = Guid;
using ClassId = Guid;

/// The identity interface: what every counted object offers. A query for it gives the same pointer each time, so two
/// interfaces belong to one object exactly when their identity pointers are equal.
class Unknown {
public:
    static constexpr InterfaceId kId{0x0000000000000000, 0xC000000000000046};

    /// Hands out interface `id` of this object with a reference of its own. kNoInterface (and *out null) where the
    /// object has no such interface, kPointer where `out` is null.
    virtual Status queryInterface(const InterfaceId& id, void** out) = 0;
    /// Both answer the count that results; it serves tests and traces alone.
    virtual std::uint32_t addRef() = 0;
    virtual std::uint32_t release() = 0;

protected:
    ~Unknown() = default;
};

/// The counted half of an object that implements `Interfaces`: made with one reference, which its maker owns, and
/// deleted with the last. Counting is safe from any thread; what the methods ask of their thread is the object's own
/// matter.
template <class... Interfaces>
class Implements : public Interfaces... {
public:
    Implements() = default;
    Implements(const Implements&) = delete;
    Implements& operator=(const Implements&) = delete;

    Status queryInterface(const InterfaceId& id, void** out) override {
        if (out == nullptr) {
            return kPointer;
        }
        *out = nullptr;
        if (id == Unknown::kId) {
            *out = identity();
        } else {
            (void)((id == Interfaces::kId ? (*out = static_cast<Interfaces*>(this), true) : false) || ...);
        }
        if (*out == nullptr) {
            return kNoInterface;
        }
        addRef();
        return kOk;
    }

    std::uint32_t addRef() override { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }

    std::uint32_t release() override {
        const std::uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) {
            delete this;
        }
        return left;
    }

protected:
    virtual ~Implements() = default;

private:
    template <class First, class...>
    struct FirstOf {
        using Type = First;
    };

    Unknown* identity() { return static_cast<typename FirstOf<Interfaces...>::Type*>(this); }

    std::atomic<std::uint32_t> references_{1};
};

} // namespace com
