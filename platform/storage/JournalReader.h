#pragma once

#include "platform/storage/FileBytes.h"
#include "platform/storage/JournalRecord.h"

#include <vector>

namespace storage {

// The records at the end of a file that a process left there, oldest first, and where the newest of them begins. All of
// their ranges lie before that. None where there is no journal, or one that nobody wrote in earnest:
//
// - a writer brings ranges of zero bytes to their places before it writes another record, so that the newest record
//   alone has such ranges, in ascending order and without overlaps;
// - no journal is longer than kLongestJournal, and no file that has one is much longer than kLargestFile.
//
// What it takes to carry a journal out is therefore within a small multiple of the file's length, and the memory within
// one of those limits.
struct FoundJournal {
    std::vector<Buffer> records;
    std::uint64_t start = 0;
};

FoundJournal findJournal(FileBytes& file, std::uint64_t fileSize);

} // namespace storage
