#pragma once

#include "platform/storage/Container.h"
#include "platform/storage/Storage.h"

#include <memory>
#include <new>
#include <stdexcept>

namespace storage {

// What an open storage and an open stream have in common: their file, their entry, and what they may do.
class Element {
public:
    Element(std::shared_ptr<Container> container, std::uint32_t id, std::uint32_t access);
    ~Element();
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;

    // Kept by the container, which links its open elements through them.
    Element* nextOpen = nullptr;

    // The entry is gone: every further call answers kReverted.
    void revert() { reverted_ = true; }

    const std::shared_ptr<Container>& container() const { return container_; }
    std::uint32_t id() const { return id_; }
    bool mayRead() const { return access_ != kWrite; }
    bool mayWrite() const { return access_ != kRead; }
    // Throw kReverted, kAccessDenied.
    void require() const;
    void requireRead() const;
    void requireWrite() const;

private:
    std::shared_ptr<Container> container_;
    std::uint32_t id_;
    std::uint32_t access_;
    bool reverted_ = false;
};

// The root storage of an open container.
ComPtr<IStorage> makeRoot(std::shared_ptr<Container> container, std::uint32_t access);

// Runs the body of an interface method and turns what it throws into a status.
template <class Body>
Status guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const Failure& failure) {
        return failure.code();
    } catch (const std::bad_alloc&) {
        return kInsufficientMemory;
    } catch (const std::length_error&) {
        return kInsufficientMemory;
    } catch (const std::exception&) {
        return kUnknownFailure;
    }
}

// The access that a mode asks for. kInvalidFlag where it is none: only exclusive sharing is known, and kCreate only
// where `mayReplace`.
std::uint32_t accessOf(std::uint32_t mode, bool mayReplace);

} // namespace storage
