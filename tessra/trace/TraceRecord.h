#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessra {

enum class TraceWay : std::uint8_t {
    kToPhone,
    kFromPhone,
    kDamaged, ///< from the phone, but no packet: bytes of the line as they came
};

/// One packet of a port, or bytes that are none. The service programming code is not in it.
struct TraceRecord {
    static constexpr std::size_t kNoBlank = std::numeric_limits<std::size_t>::max();
    /// More bytes that are no packet make several records.
    static constexpr std::size_t kMaxDamagedBytes = 4096;

    std::int64_t timeUs = 0; ///< since the trace began
    std::string port;
    TraceWay way = TraceWay::kToPhone;
    std::vector<std::uint8_t> bytes;
    /// From here on the bytes are blanked out: they are 0, whatever went over the line.
    std::size_t blankFrom = kNoBlank;

    bool isBlank(std::size_t at) const { return at >= blankFrom; }
    friend bool operator==(const TraceRecord&, const TraceRecord&) = default;
};

/// Where the service programming code may begin in a packet: behind the command code of such a request, which the
/// phone may repeat in its answer. Nothing for other packets, and for the answer that the code is right or wrong.
std::optional<std::size_t> accessCodeIn(TraceWay way, std::span<const std::uint8_t> packet);

/// A record in words, each "-" where there is nothing to be said.
struct TraceWords {
    std::string command; ///< such as "read", "bad-command", "0x7f" for one without a name, "damaged"
    std::string item;    ///< the number of an NV item
    std::string status;  ///< NV status, of answers
};
TraceWords wordsOf(const TraceRecord& record);

} // namespace tessra
