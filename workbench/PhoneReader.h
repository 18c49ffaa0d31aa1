#pragma once

#include "engine/NvItem.h"
#include "workbench/PhoneIdentity.h"
#include "workbench/PhoneWork.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

class Calvane;
class TessraServer;

namespace workbench {

enum class ReadState {
    kNotTried, ///< the read ended before this item
    kRead,
    kNoValue, ///< the phone says that the item is inactive (NV status 5)
    kFailed,  ///< the phone answered another NV status, or refused the packet
    kMissing, ///< no whole answer came, also when asked again
};

/// What a phone answered for one item.
struct ItemReading {
    std::uint16_t number = 0;
    ReadState state = ReadState::kNotTried;
    ItemData data{};                  ///< where state is kRead
    std::uint16_t status = 0;         ///< the phone's NV status, where it answered
    std::string reason = {};          ///< for kFailed and kMissing: what the phone or the line said
    std::chrono::microseconds took{}; ///< with all repeats
};

/// What came of a read, also of one that did not get to its end.
struct ReadReport {
    PhoneIdentity phone; ///< that the values are of; the expected one where none has answered
    std::string comPort;
    std::chrono::system_clock::time_point when; ///< its begin
    std::vector<ItemReading> readings;          ///< one for each item that was asked for, in that order
    bool cancelled = false;
    bool phoneHeld = false;  ///< the phone has said who it is in this run, and was there until its end
    bool otherPhone = false; ///< another phone than the expected one answers, or one that can't be told from others
    PhoneIdentity other;     ///< that one
    std::string failure;     ///< why the read ended before its end; empty where it did not
    std::int32_t failureStatus = 0; ///< the status code of the service for that (tessra/Interfaces.h); 0: none

    std::size_t count(ReadState state) const;
    std::vector<std::uint16_t> numbers(ReadState state) const;
    /// Every item was asked for, and none is missing or failed.
    bool isComplete() const;
};

struct ReadOptions {
    unsigned repeats = 5;          ///< of an item that times out or comes damaged, and of the question who the phone is
    std::uint32_t returnMs = 5000; ///< how long a phone that has left is waited for
    /// The phone that it has to be; nothing: any, but the same one from the first item to the last.
    std::optional<PhoneIdentity> expected = std::nullopt;
};

/// Reads items from the phone on one port through the catalog's session, and asks again where an answer is lost: a read
/// does no harm. A phone that leaves is waited for, and must be the same one when it returns.
///
/// Runs on the caller's thread; nobody else uses the session meanwhile.
class PhoneReader {
public:
    PhoneReader(TessraServer& session, std::string comPort, ReadOptions options = {});

    /// Connects, asks the phone who it is, and reads the items. Throws nothing but std::bad_alloc and what the worker
    /// itself throws (ComThreadManager): every other failure stands in the report.
    ReadReport read(std::span<const std::uint16_t> numbers, const WorkControl& control = {});
    /// Reads the items of `report` that are missing, failed or not tried, from the same phone.
    void complete(ReadReport& report, const WorkControl& control = {});

private:
    TessraServer& session_;
    const std::string comPort_;
    const ReadOptions options_;
};

/// The items that were read, with the layouts of the catalog; one that the ring does not describe is a "No Name" item.
std::vector<NvItem> itemsOf(const ReadReport& report, Calvane& catalog);

} // namespace workbench
