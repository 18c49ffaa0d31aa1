#include "platform/storage/Status.h"

#include "platform/kernel/Trace.h"

#include <cerrno>
#include <new>
#include <stdexcept>

namespace storage {

Status statusOfErrno(int error, Status otherwise) {
    switch (error) {
    case ENOENT:
        return kFileNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
        return kPathNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ETXTBSY:
        return kAccessDenied;
    case EEXIST:
        return kFileAlreadyExists;
    case EMFILE:
    case ENFILE:
        return kTooManyOpenFiles;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return kMediumFull;
    case EWOULDBLOCK:
        return kShareViolation;
    case ENOMEM:
        return kInsufficientMemory;
    default:
        return otherwise;
    }
}

Status statusOfException() noexcept {
    try {
        throw;
    } catch (const Failure& failure) {
        if (failure.what()[0] != '\0') {
            kernel::logError(failure.what());
        }
        return failure.code();
    } catch (const std::bad_alloc&) {
        return kInsufficientMemory;
    } catch (const std::length_error&) {
        return kInsufficientMemory;
    } catch (...) {
        return kUnknownFailure;
    }
}

} // namespace storage
