#pragma once

#include "tessra/trace/PacketRecorder.h"
#include "tessra/trace/TraceBuffer.h"

#include <memory>

/// Where the packets of the program's ports come from: the recorder that its service has, off until somebody looks, and
/// the buffer that this fills.
struct TraceSource {
    std::shared_ptr<tessra::TraceBuffer> buffer = std::make_shared<tessra::TraceBuffer>();
    std::shared_ptr<tessra::PacketRecorder> recorder = std::make_shared<tessra::PacketRecorder>(
        [to = buffer](tessra::TraceRecord&& record) { to->add(std::move(record)); }, false);
};
