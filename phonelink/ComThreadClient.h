#pragma once

#include <cstdint>

/// The base of every class whose member functions run on the COM worker thread (see ComThreadManager).
///
/// A derived class implements `invoke` by calling the function on itself. The functions are its own members, converted
/// to pointers to members of this base; ComThreadManager::executeFunction does that for its callers.
class ComThreadClient {
public:
    using Function = void (ComThreadClient::*)();
    /// The argument word carries a number or a pointer.
    using FunctionWithArgument = void (ComThreadClient::*)(std::uintptr_t);

    virtual ~ComThreadClient() = default;

    /// Calls `function` on this object with `argument`, which is not 0.
    virtual void invoke(FunctionWithArgument function, std::uintptr_t argument) = 0;
    /// Calls `function` on this object.
    virtual void invoke(Function function) = 0;

private:
    friend class ComThreadManager;

    /// Calls `function` with the argument 0. That goes through the `invoke` without argument, as all work without an
    /// argument does; since a function that takes a word cannot be called without one, `callWithZero` stands in for it.
    void invokeWithZero(FunctionWithArgument function) {
        takesZero_ = function;
        invoke(&ComThreadClient::callWithZero);
    }
    void callWithZero() { (this->*takesZero_)(0); }

    FunctionWithArgument takesZero_ = nullptr; ///< touched by the worker thread alone
};
