#pragma once

#include "platform/kernel/MessageException.h"

/// A failure of the engine. Also reached as Calvane::Exception; it stands in a header of its own so that the item model
/// can throw it without knowing the catalog.
class CalvaneException : public kernel::MessageException {
public:
    using MessageException::MessageException;
};
