#pragma once

#include "platform/storage/FileBytes.h"
#include "platform/storage/Storage.h"

#include <memory>

namespace storage {

// The two docfile functions without their path: over bytes that somebody else provides. Tests put files under the
// container that fail, or that live in memory.
Status createContainer(std::unique_ptr<FileBytes> emptyFile, ComPtr<IStorage>& out);
Status openContainer(std::unique_ptr<FileBytes> file, std::uint32_t mode, ComPtr<IStorage>& out);

} // namespace storage
