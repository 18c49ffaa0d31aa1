#include "tessra/simulator/PhoneModel.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tessra {
namespace {

constexpr std::string_view kReleaseDate = "Jan 12 2026";
constexpr std::string_view kReleaseTime = "09:30:00";
constexpr std::uint8_t kVersionRevision = 1;

std::vector<std::uint8_t> badPacket(BadPacket code, std::span<const std::uint8_t> request) {
    const auto fitting = request.first(std::min<std::size_t>(request.size(), kMaxPacketBytes - 1));
    std::vector<std::uint8_t> answer(1 + fitting.size(), static_cast<std::uint8_t>(code));
    std::copy(fitting.begin(), fitting.end(), answer.begin() + 1);
    return answer;
}

void putText(std::span<std::uint8_t> packet, VersionField field, std::string_view text) {
    std::copy_n(text.begin(), std::min(text.size(), field.size),
                packet.begin() + static_cast<std::ptrdiff_t>(field.offset));
}

bool isLoaderMode(PhoneMode mode) {
    return mode == PhoneMode::kDownload || mode == PhoneMode::kStreamDownload;
}

} // namespace

struct PhoneModel::CommandRow {
    Command command;
    std::size_t minBytes;
    std::size_t maxBytes;
    bool inLoader; // accepted in the loader modes too
    Packet (PhoneModel::*handle)(Request request);
};

const PhoneModel::CommandRow PhoneModel::kCommands[] = {
    {Command::kVersion, 1, 1, false, &PhoneModel::version},
    {Command::kNvRead, kNvPacketBytes, kNvPacketBytes, false, &PhoneModel::readNv},
    {Command::kNvWrite, kNvPacketBytes, kNvPacketBytes, false, &PhoneModel::writeNv},
    {Command::kChangeMode, kModePacketBytes, kModePacketBytes, true, &PhoneModel::changeMode},
    {Command::kQueryMode, 1, 1, true, &PhoneModel::queryMode},
    {Command::kTmob, 1, kMaxPacketBytes, false, &PhoneModel::echo},
    {Command::kAccessCode, 1 + kSpcDigits, 1 + kSpcDigits, false, &PhoneModel::takeAccessCode},
};

PhoneModel::PhoneModel(PhoneSetup setup, NvMemoryFile& memory)
    : setup_(std::move(setup)), memory_(memory), mode_(setup_.mode) {}

std::vector<std::uint8_t> PhoneModel::answer(std::span<const std::uint8_t> request) {
    if (state() == PhoneState::kReturning) {
        return {};
    }
    if (request.empty()) {
        return badPacket(BadPacket::kLength, request);
    }
    const auto row = std::find_if(std::begin(kCommands), std::end(kCommands), [&](const CommandRow& candidate) {
        return static_cast<std::uint8_t>(candidate.command) == request[0];
    });
    if (row == std::end(kCommands)) {
        return badPacket(BadPacket::kCommand, request);
    }
    if (isLoaderMode(mode_) && !row->inLoader) {
        return badPacket(BadPacket::kMode, request);
    }
    if (request.size() < row->minBytes || request.size() > row->maxBytes) {
        return badPacket(BadPacket::kLength, request);
    }
    return (this->*row->handle)(request);
}

void PhoneModel::restart() {
    leavesAt_.reset();
    returnsAt_.reset();
    mode_ = PhoneMode::kOnline;
    accessGranted_ = false;
    ++starts_;
}

PhoneState PhoneModel::state() {
    returnIfDue();
    if (!leavesAt_) {
        return PhoneState::kPresent;
    }
    return Clock::now() < *leavesAt_ ? PhoneState::kLeaving : PhoneState::kReturning;
}

PhoneMode PhoneModel::mode() {
    returnIfDue();
    return mode_;
}

std::optional<std::chrono::steady_clock::time_point> PhoneModel::nextChange() {
    return state() == PhoneState::kLeaving ? leavesAt_ : returnsAt_;
}

std::uint32_t PhoneModel::starts() {
    returnIfDue();
    return starts_;
}

PhoneModel::Packet PhoneModel::version(Request request) {
    if (setup_.versionBytes == 0) {
        return badPacket(BadPacket::kCommand, request);
    }
    Packet answer(kVersionAnswerBytes);
    answer[0] = static_cast<std::uint8_t>(Command::kVersion);
    putText(answer, kReleaseDateField, kReleaseDate);
    putText(answer, kReleaseTimeField, kReleaseTime);
    putText(answer, kModelField, setup_.model);
    putText(answer, kSoftwareVersionField, setup_.softwareVersion);
    putText(answer, kSerialNumberField, setup_.serialNumber);
    answer[kVersionRevisionOffset] = kVersionRevision;
    answer.resize(setup_.versionBytes);
    return answer;
}

PhoneModel::Packet PhoneModel::readNv(Request request) {
    Packet answer(request.begin(), request.end());
    const NvCell* cell = memory_.find(kernel::get16(request.data() + kNvItemOffset));
    const std::uint16_t status = cell != nullptr ? cell->status : kNvInactive;
    const auto data = answer.begin() + kNvDataOffset;
    if (status == kNvDone) {
        std::copy(cell->data.begin(), cell->data.end(), data);
    } else {
        std::fill_n(data, kNvDataBytes, std::uint8_t{0});
    }
    kernel::put16(answer.data() + kNvStatusOffset, status);
    return answer;
}

// An item that the phone lacks, or has inactive, becomes active by the write; one with another status of its own
// refuses a write with the same.
PhoneModel::Packet PhoneModel::writeNv(Request request) {
    Packet answer(request.begin(), request.end());
    const std::uint16_t number = kernel::get16(request.data() + kNvItemOffset);
    const NvCell* cell = memory_.find(number);
    std::uint16_t status = kNvDone;
    if (cell != nullptr && (cell->readOnly || (cell->isProtected && !accessGranted_))) {
        status = kNvReadOnly;
    } else if (cell != nullptr && cell->status != kNvDone && cell->status != kNvInactive) {
        status = cell->status;
    } else {
        status = memory_.store(number, request.subspan<kNvDataOffset, kNvDataBytes>());
    }
    kernel::put16(answer.data() + kNvStatusOffset, status);
    return answer;
}

PhoneModel::Packet PhoneModel::changeMode(Request request) {
    const auto mode = static_cast<PhoneMode>(kernel::get16(request.data() + 1));
    switch (mode) {
    case PhoneMode::kOnline:
    case PhoneMode::kDownload:
    case PhoneMode::kOffline:
    case PhoneMode::kStreamDownload:
        mode_ = mode;
        break;
    case PhoneMode::kReset:
        if (setup_.leaveAfterMs >= 0 && !leavesAt_) {
            leavesAt_ = Clock::now() + std::chrono::milliseconds(setup_.leaveAfterMs);
            returnsAt_ =
                setup_.awayMs < 0 ? std::nullopt : std::optional(*leavesAt_ + std::chrono::milliseconds(setup_.awayMs));
            mode_ = mode;
        }
        break;
    default:
        return badPacket(BadPacket::kParameters, request);
    }
    return echo(request);
}

PhoneModel::Packet PhoneModel::queryMode(Request request) {
    Packet answer{request[0], 0, 0};
    kernel::put16(answer.data() + 1, static_cast<std::uint16_t>(mode_));
    return answer;
}

PhoneModel::Packet PhoneModel::echo(Request request) {
    return {request.begin(), request.end()};
}

PhoneModel::Packet PhoneModel::takeAccessCode(Request request) {
    const bool right =
        std::equal(request.begin() + 1, request.end(), setup_.spc.begin(), setup_.spc.end(),
                   [](std::uint8_t byte, char digit) { return byte == static_cast<unsigned char>(digit); });
    accessGranted_ = accessGranted_ || right;
    return {request[0], static_cast<std::uint8_t>(right ? 1 : 0)};
}

// Brings a phone back whose time away is over.
void PhoneModel::returnIfDue() {
    if (returnsAt_ && Clock::now() >= *returnsAt_) {
        restart();
    }
}

} // namespace tessra
