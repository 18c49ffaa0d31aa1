#include "platform/storage/Status.h"

#include "platform/kernel/Trace.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <new>

namespace storage {
namespace {

constexpr struct {
    int error;
    Status status;
} kStatusOfErrno[]{
    {ENOENT, kFileNotFound},        {ENOTDIR, kPathNotFound},      {ENAMETOOLONG, kPathNotFound},
    {ELOOP, kPathNotFound},         {EACCES, kAccessDenied},       {EPERM, kAccessDenied},
    {EROFS, kAccessDenied},         {EISDIR, kAccessDenied},       {ETXTBSY, kAccessDenied},
    {EEXIST, kFileAlreadyExists},   {EMFILE, kTooManyOpenFiles},   {ENFILE, kTooManyOpenFiles},
    {ENOSPC, kMediumFull},          {EDQUOT, kMediumFull},         {EFBIG, kMediumFull},
    {EWOULDBLOCK, kShareViolation}, {ENOMEM, kInsufficientMemory},
};

} // namespace

Status statusOfErrno(int error, Status otherwise) {
    const auto row = std::ranges::find(kStatusOfErrno, error, [](const auto& known) { return known.error; });
    return row == std::end(kStatusOfErrno) ? otherwise : row->status;
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
    } catch (...) {
        return kUnknownFailure;
    }
}

} // namespace storage
