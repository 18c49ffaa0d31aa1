#pragma once

#include "phonelink/ComThreadClient.h"
#include "platform/com/ComError.h"

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

class ComThreadManager;

/// How a function that runs on the worker words its failures: its name, " - ", and one of these.
struct WorkerFailureTexts {
    const char* function;
    /// For an exception that has no text of its own here.
    const char* unhandled;
    /// For a com::ComError.
    std::string (*ofComError)(const com::ComError&) = com::errorReport;
    /// Whether a kernel::MessageException shows its message.
    bool showsMessages = false;
};

/// A client of the shared COM worker whose functions may fail: it hands a member function to the worker and waits; the
/// function records what went wrong, and the waiting thread throws it. Uses the worker for its whole life.
///
/// One thread at a time may call it, as the failure stands in the object. The fields belong to the worker while a
/// function runs there, and to the caller otherwise.
class ComThreadUser : public ComThreadClient {
public:
    ComThreadUser(const ComThreadUser&) = delete;
    ComThreadUser& operator=(const ComThreadUser&) = delete;

    void invoke(FunctionWithArgument function, std::uintptr_t argument) override { (this->*function)(argument); }
    void invoke(Function function) override { (this->*function)(); }

protected:
    /// Acquires the shared worker; what ComThreadManager::acquire throws comes through.
    ComThreadUser();
    ~ComThreadUser() override;

    /// Runs a member function of this object on the worker, without limit of time.
    template <class Owner>
    void handToWorker(void (Owner::*function)()) {
        execute(static_cast<Function>(function));
    }
    template <class Owner>
    void handToWorker(void (Owner::*function)(std::uintptr_t), std::uintptr_t argument) {
        execute(static_cast<FunctionWithArgument>(function), argument);
    }
    /// The same, and throws the failure that the function recorded as an `Exception`.
    template <class Exception, class... Work>
    void runOnWorker(Work... work) {
        handToWorker(work...);
        throwRecorded<Exception>();
    }
    /// Throws the recorded failure, which is none from then on; does nothing where there is none. An Exception that
    /// takes a status code gets that of the failure.
    template <class Exception>
    void throwRecorded() const {
        if (!std::exchange(errorPending_, false)) {
            return;
        }
        if constexpr (std::is_constructible_v<Exception, std::string, com::Status>) {
            throw Exception(errorMessage_, errorStatus_);
        } else {
            throw Exception(errorMessage_);
        }
    }

    /// On the worker: runs `work`, and records what it throws as `texts` say; of a com::ComError, its code as well.
    void recordFailures(const WorkerFailureTexts& texts, const std::function<void()>& work);
    void recordFailure(std::string message, com::Status status = com::kOk);

    ComThreadManager& threadManager_;
    /// Of the last failure. A comparison of const objects can have one, too.
    mutable bool errorPending_ = false;
    mutable std::string errorMessage_;
    com::Status errorStatus_ = com::kOk; ///< com::kOk for a failure that has none

private:
    void execute(Function function);
    void execute(FunctionWithArgument function, std::uintptr_t argument);
};
