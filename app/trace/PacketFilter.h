#pragma once

#include "tessra/trace/TraceRecord.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Chooses packets by a line of words, all of which have to fit:
///
///   1007           the number of an NV item
///   status=5       NV status
///   bytes=26ef03   bytes in a row, in hexadecimal digits, of which the last byte may lack its second
///   >  <  !        to the phone, from the phone, damaged
///   other words    a part of the command or of the port's name, capital or small
class PacketFilter {
public:
    PacketFilter() = default;
    explicit PacketFilter(std::string_view line);

    bool isEmpty() const { return words_.empty(); }
    bool fits(const tessra::TraceRecord& record) const;

private:
    enum class Kind { kItem, kStatus, kBytes, kWay, kName };
    struct Word {
        Kind kind;
        std::string text;
        std::vector<std::uint8_t> bytes; ///< of kBytes
    };
    static bool hasBytes(const tessra::TraceRecord& record, const Word& word);
    static bool fits(const Word& word, const tessra::TraceRecord& record, const tessra::TraceWords& words);

    std::vector<Word> words_;
};
