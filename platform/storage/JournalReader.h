#pragma once

#include "platform/storage/FileBytes.h"
#include "platform/storage/JournalRecord.h"

#include <vector>

namespace storage {

// The records at the end of a file that a process left there, oldest first, and where the newest of them begins. All of
// their ranges lie before that. None where there is no journal, or one that nobody wrote in earnest: a writer brings
// ranges of zero bytes to their places before it writes another record, so that they are never longer together than the
// file, and none is longer than kLongestJournal. What it takes to carry a journal out is therefore within a small
// multiple of the file's length, in memory of that limit.
struct FoundJournal {
    std::vector<Buffer> records;
    std::uint64_t start = 0;
};

FoundJournal findJournal(FileBytes& file, std::uint64_t fileSize);

} // namespace storage
