#include "platform/storage/JournalReader.h"

#include <algorithm>
#include <utility>

namespace storage {
namespace {

// A file grows by its journal's length, and by some megabytes more for the next one.
constexpr std::uint64_t kLongestFile = JournalRecord::kLargestFile + 2 * JournalRecord::kLongestJournal;

bool isZeros(const JournalRecord::Range& range) {
    return range.bytes == nullptr;
}

// Reads a file from its end backwards. Most records are far shorter than a piece, and come with few calls.
class BackwardReader {
public:
    BackwardReader(FileBytes& file, std::uint64_t fileSize) : file_(file), fileSize_(fileSize) {}

    // The `length` bytes before `end`, which goes down from call to call.
    ByteView before(std::uint64_t end, std::uint64_t length) {
        if (end - length < from_ || end > from_ + piece_.size()) {
            from_ = end - std::min(end, std::max(length, end == fileSize_ ? kFirstPiece : kPiece));
            piece_.resize(end - from_);
            if (file_.read(from_, piece_) < piece_.size()) {
                throw Failure(kReadFault);
            }
        }
        return ByteView(piece_).subspan(end - length - from_, length);
    }

private:
    // Most files have no journal.
    static constexpr std::uint64_t kFirstPiece = JournalRecord::kFooterBytes;
    static constexpr std::uint64_t kPiece = 64 * 1024;

    FileBytes& file_;
    std::uint64_t fileSize_;
    std::uint64_t from_ = 0;
    Buffer piece_;
};

} // namespace

FoundJournal findJournal(FileBytes& file, std::uint64_t fileSize) {
    FoundJournal journal{{}, fileSize};
    if (fileSize > kLongestFile) {
        return journal;
    }
    BackwardReader reader(file, fileSize);
    std::uint64_t number = 0;
    while (journal.start >= JournalRecord::kFooterBytes) {
        const ByteView footer = reader.before(journal.start, JournalRecord::kFooterBytes);
        if (journal.records.empty()) {
            number = JournalRecord::numberByFooter(footer);
        }
        const auto length = JournalRecord::sizeByFooter(footer, journal.start, number++);
        if (!length) {
            break;
        }
        if (fileSize - journal.start + *length > JournalRecord::kLongestJournal) {
            return {{}, fileSize};
        }
        const ByteView record = reader.before(journal.start, *length);
        if (!JournalRecord::intact(record)) {
            break;
        }
        journal.records.emplace_back(record.begin(), record.end());
        journal.start -= *length;
    }
    // Nothing is set before all of it is known to be right.
    std::vector<JournalRecord::Range> ranges;
    for (const Buffer& record : journal.records) {
        const bool newest = &record == &journal.records.back();
        const bool sound = JournalRecord::listRanges(record, journal.start, ranges);
        if (!sound || (!newest && std::ranges::any_of(ranges, isZeros))) {
            return {{}, fileSize};
        }
    }
    return journal;
}

} // namespace storage
