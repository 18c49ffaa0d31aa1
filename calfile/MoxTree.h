#pragma once

#include "calfile/MoxLayout.h"
#include "platform/storage/Storage.h"

#include <span>

/// The steps on the storages and streams of an open calibration file. All run on the worker thread, and throw a
/// MoxException where the container refuses (its code's text) or transfers fewer bytes than it was given.
namespace mox {

/// How storages and streams are opened and created.
inline constexpr std::uint32_t kForReading = storage::kRead | storage::kShareExclusive;
inline constexpr std::uint32_t kForWriting = storage::kReadWrite | storage::kShareExclusive;
inline constexpr std::uint32_t kNewFile = kForWriting | storage::kCreate;
inline constexpr std::uint32_t kNewElement = storage::kWrite | storage::kShareExclusive | storage::kCreate;

using StoragePtr = storage::ComPtr<storage::IStorage>;
using EnumPtr = storage::ComPtr<storage::IEnumElements>;

/// Steps to the next child that is a storage named by digits. False where no more follow; a failure of the enumeration
/// ends it as well, and goes into the error log.
bool nextNumbered(const EnumPtr& children, storage::ElementInfo& child);

void writeVersionStream(const StoragePtr& root);
/// Replaces the items of these numbers, in their order, under names of eight digits. What stands for the same item
/// under a name of other digits goes: two values of an item are none.
void writeItems(const StoragePtr& defaultStorage, std::span<const Record> records);
void writeProperties(const StoragePtr& defaultStorage, const Properties& properties);
/// Nothing where the file has no property stream, or one that is cut short.
std::optional<Properties> readProperties(const StoragePtr& defaultStorage);
/// Removes the items of these numbers in their order, up to the first that the file lacks. Where an item is not found
/// by its name of eight digits, one whose storage other writers named by another number of digits goes: it is read as
/// the item of that number, so it can be removed as that.
void removeItems(const StoragePtr& defaultStorage, std::span<const std::uint16_t> numbers);

/// Reads the data bytes of the item in the storage called `name`. Answers how many there were; the rest is zero.
std::uint32_t readItemData(const StoragePtr& defaultStorage, std::u16string_view name,
                           std::span<std::uint8_t, kItemDataBytes> data);

} // namespace mox
