#include "tessra/trace/TraceRecord.h"

#include "platform/kernel/Text.h"
#include "tessra/Packet.h"

#include <algorithm>
#include <string_view>

namespace tessra {
namespace {

struct CodeName {
    std::uint8_t code;
    std::string_view name;
};
constexpr CodeName kNames[] = {
    {static_cast<std::uint8_t>(Command::kVersion), "version"},
    {static_cast<std::uint8_t>(Command::kNvRead), "read"},
    {static_cast<std::uint8_t>(Command::kNvWrite), "write"},
    {static_cast<std::uint8_t>(Command::kChangeMode), "change-mode"},
    {static_cast<std::uint8_t>(Command::kQueryMode), "query-mode"},
    {static_cast<std::uint8_t>(Command::kTmob), "tmob"},
    {static_cast<std::uint8_t>(Command::kAccessCode), "access-code"},
    {static_cast<std::uint8_t>(BadPacket::kCommand), "bad-command"},
    {static_cast<std::uint8_t>(BadPacket::kParameters), "bad-parameters"},
    {static_cast<std::uint8_t>(BadPacket::kLength), "bad-length"},
    {static_cast<std::uint8_t>(BadPacket::kMode), "bad-mode"},
};

std::string nameOf(std::uint8_t code) {
    const auto* const found = std::ranges::find(kNames, code, &CodeName::code);
    return found == std::end(kNames) ? "0x" + kernel::hexDigits(code, 2) : std::string(found->name);
}

} // namespace

std::optional<std::size_t> accessCodeIn(TraceWay way, std::span<const std::uint8_t> packet) {
    const auto command = std::ranges::find_if_not(packet, isBadPacketCode);
    const auto at = static_cast<std::size_t>(command - packet.begin());
    if (at == packet.size() || !hasCommand(packet.subspan(at), Command::kAccessCode)) {
        return std::nullopt;
    }
    const bool isVerdict =
        way == TraceWay::kFromPhone && at == 0 && packet.size() == kAccessCodeAnswerBytes && packet[1] <= 1;
    return isVerdict ? std::nullopt : std::optional(at + 1);
}

TraceWords wordsOf(const TraceRecord& record) {
    TraceWords words{"-", "-", "-"};
    std::span<const std::uint8_t> packet(record.bytes);
    if (record.way == TraceWay::kDamaged) {
        words.command = "damaged";
        return words;
    }
    if (packet.empty()) {
        words.command = "empty";
        return words;
    }
    words.command = nameOf(packet[0]);
    const bool isRefusal = record.way == TraceWay::kFromPhone && isBadPacketCode(packet[0]);
    if (const auto item = nvItemOf(isRefusal ? packet.subspan(1) : packet)) {
        words.item = std::to_string(*item);
        if (record.way == TraceWay::kFromPhone && !isRefusal) {
            words.status = std::to_string(kernel::get16(packet.data() + kNvStatusOffset));
        }
    }
    return words;
}

} // namespace tessra
