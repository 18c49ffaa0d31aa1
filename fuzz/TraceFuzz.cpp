// The input is a trace. What is read is the same when it is written and read again, and a replay answers all of its
// requests within bounds.
#include "fuzz/FuzzInput.h"
#include "tessra/simulator/ConfigError.h"
#include "tessra/simulator/ReplayedPhone.h"
#include "tessra/simulator/TraceReader.h"
#include "tessra/trace/TraceText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<tessra::TraceRecord> records;
    try {
        records = tessra::parseTrace(textOf(data, size), "trace");
    } catch (const tessra::ConfigError& refusal) {
        require(refusal.line() > 0);
        return 0;
    }
    std::string text = tessra::traceHeadLine({});
    for (const tessra::TraceRecord& record : records) {
        text += tessra::traceLine(record);
    }
    require(tessra::parseTrace(text, "again") == records);
    tessra::ReplayedPhone phone(records);
    for (const tessra::TraceRecord& record : records) {
        require(phone.answer(record.bytes).size() <= 4 * text.size() + 1024);
    }
    return 0;
}
