// What a read makes of phones that answer, fail, leave, return and are changed for others.

#include "workbench/PhoneReader.h"

#include "phonelink/TessraServer.h"
#include "tessra/Packet.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/HostedService.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tessra/RunningPhone.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <numeric>

namespace {

using namespace workbench;
using tessra::Call;
using tessra::FaultKind;

const std::vector<std::uint16_t> kItems{1, 2, 3, 4};

// Items 1 to 20 with their number and its complement as first bytes, and something in the last one.
std::filesystem::path memoryIn(const TemporaryFolder& folder) {
    std::ofstream memory(folder / "phone.nvmem");
    for (int number = 1; number <= 20; ++number) {
        std::array<char, 3> hex{};
        std::string bytes;
        for (int index = 0; index < 128; ++index) {
            std::snprintf(hex.data(), hex.size(), "%02x", index == 127 ? 0xEE : (number ^ index) & 0xFF);
            bytes += hex.data();
        }
        memory << number << " 0 " << bytes << "\n";
    }
    return folder / "phone.nvmem";
}

bool hasValueOfItsOwn(const ItemReading& reading) {
    return reading.data[0] == (reading.number & 0xFF) && reading.data[1] == ((reading.number ^ 1) & 0xFF) &&
           reading.data[127] == 0xEE;
}

std::string statesOf(const ReadReport& report) {
    std::string states;
    for (const ItemReading& reading : report.readings) {
        states += "-rnfm"[static_cast<int>(reading.state)];
        EXPECT_EQ(reading.state == ReadState::kRead, hasValueOfItsOwn(reading)) << "item " << reading.number;
    }
    return states;
}

class PhoneReaderTest : public testing::Test {
protected:
    explicit PhoneReaderTest(const std::string& serialNumber = "0000000001") {
        auto config = phonesOn({"COM1"});
        config.ports[0].initial = memoryIn(folder_);
        config.ports[0].phone.serialNumber = serialNumber;
        service_.emplace(config);
    }

    tessra::FaultGate& faults() { return service_->faults("COM1"); }

    void spoil(std::uint16_t item, FaultKind kind, std::uint32_t value = 0, std::uint32_t lastCall = 0xFFFFFFFF) {
        auto rule = faultAt(Call::kSend, kind, value);
        rule.item = item;
        rule.lastCall = lastCall;
        faults().add(rule);
    }

    std::size_t requestsOf(std::uint16_t item) {
        std::size_t count = 0;
        for (const auto& packet : service_->sentPackets("COM1")) {
            count += tessra::nvItemOf(packet) == item ? 1 : 0;
        }
        return count;
    }

    /// Puts the phone back as soon as it is waited for.
    WorkControl returnAtOnce() {
        return {.isCancelled = [this] {
            service_->setPresent("COM1", true);
            return false;
        }};
    }

    ReadReport read(const ReadOptions& options = {}, const WorkControl& control = {}) {
        return PhoneReader(session_, "COM1", options).read(kItems, control);
    }

    const ErrorLog log_;
    TemporaryFolder folder_;
    std::optional<HostedService> service_;
    TessraServer session_{"Test"};
};

TEST_F(PhoneReaderTest, EachAnswerHasItsStateAndTheReadGoesOn) {
    const std::string timeout = "TessraServer::sendSyncImpl - Timeout waiting for response";
    const struct {
        const char* name;
        FaultKind kind;
        std::uint32_t value;
        std::uint32_t lastCall;
        const char* states;
        std::string reason;
    } rows[] = {
        {"inactive", FaultKind::kNvStatus, 5, 9, "rnrr", ""},
        {"failed", FaultKind::kNvStatus, 4, 9, "rfrr", "Command failed, reason other than NVM was full"},
        {"a status without a text", FaultKind::kNvStatus, 0x1234, 9, "rfrr", "NV status 4660"},
        {"a packet refused", FaultKind::kBadResponse, 0, 9, "rfrr",
         "TessraServer::sendSyncImpl - Bad response from phone (DM packet commands 19-24)"},
        {"silent six times", FaultKind::kServerCode, 0x80042005, 6, "rmrr", timeout},
        {"damaged six times", FaultKind::kServerCode, 0x80042002, 6, "rmrr",
         "TessraServer::sendSyncImpl - Serial framing error"},
        {"cut short", FaultKind::kShortAnswer, 132, 5, "rrrr", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        faults().clear();
        spoil(2, row.kind, row.value, row.lastCall);
        ReadReport report = read();
        EXPECT_EQ(statesOf(report), row.states);
        EXPECT_EQ(report.readings[1].reason, row.reason);
        EXPECT_EQ(report.failure, "");
        EXPECT_EQ(report.isComplete(), std::string(row.states).find_first_of("fm") == std::string::npos);
        if (!report.isComplete()) {
            const auto before = requestsOf(1);
            faults().clear();
            PhoneReader(session_, "COM1").complete(report);
            EXPECT_EQ(statesOf(report), "rrrr");
            EXPECT_EQ(requestsOf(1), before) << "what has come is not asked for again";
        }
    }
}

TEST_F(PhoneReaderTest, AFailureThatAskingAgainDoesNotMendEndsTheRead) {
    spoil(2, FaultKind::kServerCode, 0x80042014);
    const ReadReport report = read();
    EXPECT_EQ(statesOf(report), "r---");
    EXPECT_EQ(report.failure, "TessraServer::sendSyncImpl - Phone is locked for exclusive use");
    EXPECT_EQ(report.failureStatus, tessra::kLockedForExclusiveUse);
    service_->setPresent("COM1", false);
    TessraServer fresh("Test");
    const ReadReport without = PhoneReader(fresh, "COM1").read(kItems);
    EXPECT_EQ(without.failureStatus, tessra::kPhoneNotPresent);
    EXPECT_EQ(statesOf(without), "----");
}

TEST_F(PhoneReaderTest, APhoneThatLeavesIsWaitedForAndItsReturnUsesUpNoRepeat) {
    spoil(3, FaultKind::kVanish, 0, 1);
    unsigned asked = 0; // before each of three items, and then while the phone is waited for
    const WorkControl putBack{.isCancelled = [&] {
        service_->setPresent("COM1", service_->faults("COM1").count(Call::kSend) < 4 || ++asked > 3);
        return false;
    }};
    EXPECT_EQ(statesOf(read({.repeats = 0}, putBack)), "rrrr");
    EXPECT_GT(asked, 3U);

    faults().clear();
    spoil(3, FaultKind::kVanish);
    EXPECT_EQ(statesOf(read({.repeats = 2}, returnAtOnce())), "rrmr") << "an item that makes it leave each time";
}

TEST_F(PhoneReaderTest, WhatWasReadIsKeptWhereThePhoneDoesNotReturn) {
    spoil(3, FaultKind::kVanish, 0, 1);
    ReadReport report = read({.returnMs = 50});
    EXPECT_EQ(statesOf(report), "rr--");
    EXPECT_EQ(report.failure, "The phone on COM1 has left and did not return.");
    EXPECT_EQ(report.failureStatus, tessra::kPhoneNotPresent);
    EXPECT_FALSE(report.cancelled || report.otherPhone || report.isComplete());
    service_->setPresent("COM1", true);
    PhoneReader(session_, "COM1").complete(report);
    EXPECT_EQ(statesOf(report), "rrrr");
    EXPECT_TRUE(report.isComplete()) << "the failure of before stays";
}

TEST_F(PhoneReaderTest, AnExpectedPhoneThatIsNotThereIsWaitedFor) {
    const ReadOptions options{.returnMs = 50, .expected = PhoneIdentity{"0000000001", "Sample", "1.0"}};
    service_->setPresent("COM1", false);
    ReadReport report = read(options);
    EXPECT_EQ(statesOf(report) + report.phone.serialNumber, "----0000000001");
    EXPECT_EQ(report.failureStatus, tessra::kPhoneNotPresent);
    report = read({.expected = options.expected}, {.isCancelled = [] { return true; }});
    EXPECT_TRUE(report.cancelled && report.failure.empty());
    unsigned asked = 0;
    const WorkControl putBack{.isCancelled = [&] {
        service_->setPresent("COM1", ++asked > 1);
        return false;
    }};
    EXPECT_EQ(statesOf(read({.expected = options.expected}, putBack)), "rrrr");
}

TEST_F(PhoneReaderTest, AReadIsCancelledBetweenItemsAndWhileThePhoneIsAway) {
    std::string progress;
    const auto readUntil = [&](std::uint64_t packets) {
        WorkControl control;
        progress.clear();
        control.progress = [&](std::size_t position, std::size_t count, std::uint16_t number) {
            progress += std::to_string(position) + "/" + std::to_string(count) + ":" + std::to_string(number) + " ";
        };
        const auto before = faults().count(Call::kSend);
        control.isCancelled = [&, packets, before] { return faults().count(Call::kSend) - before >= packets; };
        return read({}, control);
    };
    ReadReport report = readUntil(3);
    EXPECT_EQ(statesOf(report) + progress, "rr--0/4:1 1/4:2 ");
    EXPECT_TRUE(report.cancelled);
    PhoneReader(session_, "COM1").complete(report);
    EXPECT_TRUE(report.isComplete() && !report.cancelled);

    spoil(3, FaultKind::kVanish, 0, 1);
    report = readUntil(4);
    EXPECT_EQ(statesOf(report), "rr--");
    EXPECT_TRUE(report.cancelled && report.failure.empty());
}

TEST_F(PhoneReaderTest, AnotherPhoneThanTheExpectedOneIsNotRead) {
    const std::string other = "Another phone answers on COM1: Sample 0000000001 instead of ";
    const std::pair<PhoneIdentity, std::string> rows[] = {
        {{"0000000002", "Sample", "1.0"}, other + "Sample 0000000002."},
        {{"0000000001", "Other", "1.0"}, other + "Other 0000000001."},
        {{"", "Sample", "1.0"}, other + "unknown phone."},
        {{"0000000001", "Sample", "0.9"}, ""},
    };
    for (const auto& [expected, failure] : rows) {
        const auto before = requestsOf(1);
        const ReadReport report = read({.expected = expected});
        EXPECT_EQ(report.failure, failure);
        EXPECT_EQ(report.otherPhone, !failure.empty());
        EXPECT_EQ(requestsOf(1) - before, failure.empty() ? 1U : 0U);
    }
}

class ReadOverALine : public PhoneReaderTest {
protected:
    ReadOverALine() {
        auto config = phonesOn({"COM1"});
        config.ports[0].line = {.device = folder_ / "line", .askEveryMs = 100};
        service_.reset();
        service_.emplace(config);
    }

    RunningPhone phone_{folder_ / "line", {}, memoryIn(folder_)};
};

TEST_F(ReadOverALine, AnotherPhoneThatReturnsEndsTheRead) {
    std::optional<RunningPhone> second;
    const ReadReport report =
        read({}, {.progress = [&](std::size_t, std::size_t, std::uint16_t number) {
                 if (number == 3) {
                     phone_.terminal.setPlugged(false);
                     second.emplace(folder_ / "line", tessra::PhoneSetup{.serialNumber = "2"}, memoryIn(folder_));
                 }
             }});
    EXPECT_EQ(statesOf(report), "rr--");
    EXPECT_TRUE(report.otherPhone);
    EXPECT_EQ(report.failure, "Another phone answers on COM1: Sample 2 instead of Sample 0000000001.");
    EXPECT_EQ(report.phone.serialNumber, "0000000001") << "whose values these are";
}

// scripts/try-bit-errors does this with a whole phone.
TEST_F(ReadOverALine, ALineThatInvertsBitsDeliversEveryItemAndNoWrongValue) {
    std::vector<std::uint16_t> numbers(20);
    std::iota(numbers.begin(), numbers.end(), std::uint16_t{1});
    for (const std::uint64_t seed : {1U, 2U, 3U}) {
        phone_.terminal.setFaults({.bitErrors = 0.00005, .seed = seed});
        const ReadReport report = PhoneReader(session_, "COM1").read(numbers);
        EXPECT_EQ(statesOf(report), std::string(20, 'r')) << "seed " << seed;
        EXPECT_EQ(report.failure, "");
    }
}

TEST_F(PhoneReaderTest, ValuesThatMayBeAnotherPhonesAreDropped) {
    auto otherVersion = faultAt(Call::kSend, FaultKind::kShortAnswer, 20);
    otherVersion.firstCall = 6; // the question after the last item
    faults().add(otherVersion);
    const ReadReport report = read();
    EXPECT_EQ(statesOf(report), "----");
    EXPECT_TRUE(report.otherPhone);

    faults().clear();
    otherVersion.firstCall = 7; // the third version, after a silence: what came before it is the first phone's
    spoil(2, FaultKind::kServerCode, 0x80042005, 1);
    spoil(4, FaultKind::kServerCode, 0x80042005, 1);
    faults().add(otherVersion);
    EXPECT_EQ(statesOf(read()), "rrrm");
}

class UnknownPhone : public PhoneReaderTest {
protected:
    UnknownPhone() : PhoneReaderTest("") {}
};

TEST_F(UnknownPhone, IsReadButNotKnownAgainAfterItHasLeft) {
    spoil(2, FaultKind::kServerCode, 0x80042005, 1);
    EXPECT_EQ(statesOf(read()), "rrrr") << "a silence is no absence";
    faults().clear();
    spoil(3, FaultKind::kVanish, 0, 1);
    ReadReport report = read({}, returnAtOnce());
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(statesOf(report), "rr--");
        EXPECT_TRUE(report.otherPhone);
        EXPECT_EQ(report.failure, "The phone on COM1 tells no serial number, so it can't be told from another one.");
        PhoneReader(session_, "COM1").complete(report);
    }
}

TEST(PhoneIdentityTest, IsWhatTheVersionAnswerTells) {
    const struct {
        tessra::PhoneSetup setup;
        std::string shortName;
        std::string fullName;
    } rows[] = {
        {{.model = "M1", .softwareVersion = "2.0", .serialNumber = "12"}, "M1 12", "M1 12, software 2.0"},
        {{.model = "", .softwareVersion = "", .serialNumber = " 12 "}, "12", "12"},
        {{.model = "M1", .serialNumber = "   "}, "unknown phone", "unknown phone M1, software 1.0"},
        {{.serialNumber = std::string(10, '\xFF')}, "unknown phone", "unknown phone Sample, software 1.0"},
        {{.versionBytes = 0}, "unknown phone", "unknown phone"},
    };
    for (const auto& row : rows) {
        auto config = phonesOn({"COM1"});
        config.ports[0].phone = row.setup;
        const HostedService service(config);
        TessraServer session("Test");
        session.connect("COM1");
        const PhoneIdentity phone = askIdentity(session);
        EXPECT_EQ(shortName(phone), row.shortName);
        EXPECT_EQ(fullName(phone), row.fullName);
    }
}

} // namespace
