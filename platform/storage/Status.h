#pragma once

#include "platform/com/Status.h"

#include <exception>
#include <string>
#include <utility>

/// The failure codes of the compound-file container (facility 3). Their texts stand in com's message table.
namespace storage {

using com::Status;

inline constexpr Status kFileNotFound = com::makeStatus(0x80030002);
inline constexpr Status kPathNotFound = com::makeStatus(0x80030003);
inline constexpr Status kTooManyOpenFiles = com::makeStatus(0x80030004);
inline constexpr Status kAccessDenied = com::makeStatus(0x80030005);
inline constexpr Status kInsufficientMemory = com::makeStatus(0x80030008);
inline constexpr Status kWriteFault = com::makeStatus(0x8003001D);
inline constexpr Status kReadFault = com::makeStatus(0x8003001E);
inline constexpr Status kShareViolation = com::makeStatus(0x80030020);
inline constexpr Status kFileAlreadyExists = com::makeStatus(0x80030050);
inline constexpr Status kMediumFull = com::makeStatus(0x80030070);
inline constexpr Status kInvalidHeader = com::makeStatus(0x800300FB);
inline constexpr Status kInvalidName = com::makeStatus(0x800300FC);
inline constexpr Status kUnknownFailure = com::makeStatus(0x800300FD);
inline constexpr Status kInvalidFlag = com::makeStatus(0x800300FF);
inline constexpr Status kReverted = com::makeStatus(0x80030102);
inline constexpr Status kFileCorrupt = com::makeStatus(0x80030109);
inline constexpr Status kFileTooLarge = com::makeStatus(0x80030111);

/// The container's own exception: thrown inside it, turned into its code by the interface methods, never seen outside.
class Failure : public std::exception {
public:
    /// `reason` says what was wrong, for the error log; empty where the code says it all.
    explicit Failure(Status code, std::string reason = {}) : code_(code), reason_(std::move(reason)) {}
    Status code() const { return code_; }
    const char* what() const noexcept override { return reason_.c_str(); }

private:
    Status code_;
    std::string reason_;
};

/// The code for an error number of the system; `otherwise` for one that has none of its own.
Status statusOfErrno(int error, Status otherwise);

/// Answers the code of the exception that is being handled; its reason goes into the error log.
Status statusOfException() noexcept;

/// Runs the body of an interface method: what it throws becomes its status.
template <class Body>
Status guarded(Body&& body) {
    try {
        body();
        return com::kOk;
    } catch (...) {
        return statusOfException();
    }
}

} // namespace storage
