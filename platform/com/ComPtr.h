#pragma once

#include "platform/com/ComError.h"
#include "platform/com/Unknown.h"

#include <utility>

namespace com {

/// A counted reference to an object through interface `T`: takes a reference when it is copied, gives it back when it
/// goes. Using a null one through -> is a ComError with kPointer, so a missing object is a failure and never a crash.
template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    /// Takes a further reference to `object`.
    explicit ComPtr(T* object) : object_(object) {
        if (object_ != nullptr) {
            object_->addRef();
        }
    }
    ComPtr(const ComPtr& other) : ComPtr(other.object_) {}
    ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~ComPtr() { reset(); }

    /// Takes over a reference that the caller owns (one that an interface method handed out, or a new object's first).
    static ComPtr adopt(T* object) {
        ComPtr owner;
        owner.object_ = object;
        return owner;
    }

    void reset() {
        if (T* object = std::exchange(object_, nullptr)) {
            object->release();
        }
    }

    T* get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

    T* operator->() const {
        forgetFailure();
        if (object_ == nullptr) {
            raise(kPointer);
        }
        return object_;
    }

    /// Asks the object for interface `U`. kPointer for a null reference; `out` is null after every failure.
    template <class U>
    Status query(ComPtr<U>& out) const {
        out.reset();
        forgetFailure();
        if (object_ == nullptr) {
            return kPointer;
        }
        void* found = nullptr;
        const Status status = object_->queryInterface(U::kId, &found);
        if (succeeded(status)) {
            out = ComPtr<U>::adopt(static_cast<U*>(found));
        }
        return status;
    }

private:
    T* object_ = nullptr;
};

/// Makes a new object of class `Object` and answers its interface `T`.
template <class T, class Object, class... Arguments>
ComPtr<T> makeObject(Arguments&&... arguments) {
    return ComPtr<T>::adopt(new Object(std::forward<Arguments>(arguments)...));
}

/// Whether two references lead to the same object, through whatever interfaces.
template <class T, class U>
bool sameObject(const ComPtr<T>& left, const ComPtr<U>& right) {
    ComPtr<Unknown> leftIdentity;
    ComPtr<Unknown> rightIdentity;
    left.query(leftIdentity);
    right.query(rightIdentity);
    return leftIdentity.get() == rightIdentity.get();
}

} // namespace com
