#include "tessra/trace/TraceBuffer.h"

#include <utility>

namespace tessra {

void TraceBuffer::add(TraceRecord&& record) {
    const std::lock_guard guard(lock_);
    if (batch_.records.size() == kMaxRecords) {
        batch_.records.pop_front();
        ++batch_.dropped;
    }
    batch_.records.push_back(std::move(record));
}

TraceBuffer::Batch TraceBuffer::takeAll() {
    const std::lock_guard guard(lock_);
    return std::exchange(batch_, {});
}

} // namespace tessra
