#include "workbench/PhoneReader.h"

#include "engine/Calvane.h"
#include "workbench/PhoneContact.h"

#include <algorithm>
#include <utility>

namespace workbench {
namespace {

bool isFromThePhone(const ItemReading& reading) {
    return reading.state == ReadState::kRead || reading.state == ReadState::kNoValue;
}

void readInto(ReadReport& report, const std::vector<std::size_t>& positions, PhoneContact& contact,
              const std::optional<PhoneIdentity>& expected, const WorkControl& control) {
    std::vector<std::size_t> unconfirmed; // read since the phone last said who it is
    unsigned confirmations = 0;
    contact.open(expected);
    for (std::size_t index = 0; contact.isHeld() && index < positions.size(); ++index) {
        if (control.isCancelled && control.isCancelled()) {
            report.cancelled = true;
            break;
        }
        const std::size_t position = positions[index];
        const std::uint16_t number = report.readings[position].number;
        if (control.progress) {
            control.progress(index, positions.size(), number);
        }
        const auto begin = std::chrono::steady_clock::now();
        ItemReading reading = contact.read(number);
        reading.took = elapsedSince(begin);
        if (std::exchange(confirmations, contact.confirmations()) != contact.confirmations()) {
            unconfirmed.clear();
        }
        if (reading.state != ReadState::kNotTried) {
            if (control.wasRead) {
                control.wasRead(reading);
            }
            report.readings[position] = std::move(reading);
            unconfirmed.push_back(position);
        }
    }
    if (!contact.finish()) {
        for (const std::size_t position : unconfirmed) {
            report.readings[position] = {.number = report.readings[position].number};
        }
    }
    report.phone = contact.phone();
    report.phoneHeld = contact.isHeld();
    report.cancelled = report.cancelled || contact.end() == PhoneContact::End::kCancelled;
    report.otherPhone = contact.end() == PhoneContact::End::kOtherPhone;
    report.other = contact.otherPhone();
    report.failure = contact.failure();
    report.failureStatus = contact.failureStatus();
}

ContactOptions contactOptions(const ReadOptions& options, const WorkControl& control) {
    return {.repeats = options.repeats, .returnMs = options.returnMs, .isCancelled = control.isCancelled};
}

} // namespace

std::size_t ReadReport::count(ReadState state) const {
    return static_cast<std::size_t>(std::count_if(readings.begin(), readings.end(),
                                                  [&](const ItemReading& reading) { return reading.state == state; }));
}

std::vector<std::uint16_t> ReadReport::numbers(ReadState state) const {
    std::vector<std::uint16_t> found;
    for (const ItemReading& reading : readings) {
        if (reading.state == state) {
            found.push_back(reading.number);
        }
    }
    return found;
}

bool ReadReport::isComplete() const {
    return failure.empty() && std::all_of(readings.begin(), readings.end(), isFromThePhone);
}

PhoneReader::PhoneReader(TessraServer& session, std::string comPort, ReadOptions options)
    : session_(session), comPort_(std::move(comPort)), options_(std::move(options)) {}

ReadReport PhoneReader::read(std::span<const std::uint16_t> numbers, const WorkControl& control) {
    ReadReport report;
    report.comPort = comPort_;
    report.when = std::chrono::system_clock::now();
    std::vector<std::size_t> positions;
    for (const std::uint16_t number : numbers) {
        positions.push_back(report.readings.size());
        report.readings.push_back({.number = number});
    }
    PhoneContact contact(session_, comPort_, contactOptions(options_, control));
    readInto(report, positions, contact, options_.expected, control);
    return report;
}

void PhoneReader::complete(ReadReport& report, const WorkControl& control) {
    std::vector<std::size_t> positions;
    for (std::size_t position = 0; position < report.readings.size(); ++position) {
        if (!isFromThePhone(report.readings[position])) {
            positions.push_back(position);
        }
    }
    report.comPort = comPort_;
    report.cancelled = false;
    const bool hasValues = positions.size() < report.readings.size();
    PhoneContact contact(session_, comPort_, contactOptions(options_, control));
    readInto(report, positions, contact, hasValues ? report.phone : options_.expected, control);
}

std::vector<NvItem> itemsOf(const ReadReport& report, Calvane& catalog) {
    std::vector<NvItem> items;
    for (const ItemReading& reading : report.readings) {
        if (reading.state == ReadState::kRead) {
            items.push_back(catalog.describedItem(reading.number));
            items.back().setRawData(reading.data);
        }
    }
    return items;
}

} // namespace workbench
