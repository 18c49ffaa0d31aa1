#pragma once

#include "platform/com/Status.h"

#include <exception>

// The failure codes of the compound-file container (facility 3). Their texts stand in com's message table.
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

// The container's own exception: thrown inside its layers, turned into the status that it carries by the interface
// methods, never seen outside.
class Failure : public std::exception {
public:
    explicit Failure(Status code) : code_(code) {}
    Status code() const { return code_; }
    const char* what() const noexcept override { return "compound file failure"; }

private:
    Status code_;
};

} // namespace storage
