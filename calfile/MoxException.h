#pragma once

#include "platform/kernel/MessageException.h"

/// A failure of a calibration file: one message for the user. Callers know it as MoxFile::Exception; it has a header of
/// its own so that the functions on the file's parts can throw it without knowing the class.
class MoxException : public kernel::MessageException {
    using MessageException::MessageException;
};
