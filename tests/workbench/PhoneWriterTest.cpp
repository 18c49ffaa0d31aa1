// What a write does to phones that refuse, fall silent, leave, return and are changed for others.

#include "workbench/PhoneWriter.h"

#include "phonelink/TessraServer.h"
#include "platform/kernel/TickCount.h"
#include "tessra/Packet.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/HostedService.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tessra/RunningPhone.h"

#include <gtest/gtest.h>

namespace {

using namespace workbench;
using tessra::Call;
using tessra::FaultKind;

constexpr std::uint32_t kTimeout = 0x80042005;

/// The phone on COM1 has items 1 to 4; their first byte is 9, and the last one is beyond what the ring describes.
class PhoneWriterTest : public testing::Test {
protected:
    explicit PhoneWriterTest(const std::string& serialNumber = "0000000001") {
        std::string memory;
        for (int number = 1; number <= 4; ++number) {
            memory += std::to_string(number) + " 0 09" + std::string(252, '0') + "ee\n";
        }
        writeText(folder_ / "phone.nvmem", memory);
        config_ = phonesOn({"COM1"});
        config_.ports[0].initial = folder_ / "phone.nvmem";
        config_.ports[0].phone.serialNumber = serialNumber;
        startAnew();
        plan_ = makePlan(wanted(), readAll());
    }

    /// A phone as it was before all writes.
    void startAnew() {
        session_.reset();
        service_.reset();
        service_.emplace(config_);
        session_.emplace("Test");
    }

    /// Items 1 to 4 with another first byte.
    static std::vector<WantedItem> wanted() {
        std::vector<WantedItem> items;
        for (int number = 1; number <= 4; ++number) {
            NvItem item("NV_X," + std::to_string(number) + ",ReadWrite,<BYTE,x>#");
            item.setData(std::to_string(number));
            items.push_back({item});
        }
        return items;
    }

    ReadReport readAll() { return PhoneReader(*session_, "COM1").read(std::vector<std::uint16_t>{1, 2, 3, 4}); }

    /// First and last byte of each item on the phone.
    std::string onPhone() {
        std::string bytes;
        for (const ItemReading& reading : readAll().readings) {
            bytes += std::to_string(reading.data.front()) + (reading.data.back() == 0xEE ? "e " : "? ");
        }
        return bytes;
    }

    tessra::FaultGate& faults() { return service_->faults("COM1"); }

    /// Of the packets that read or write item 2 from now on, these (from 1) meet a fault; without any all do.
    void spoil(FaultKind kind, std::uint32_t value, const std::vector<std::uint32_t>& packets = {}) {
        auto rule = faultAt(Call::kSend, kind, value);
        rule.item = 2;
        if (packets.empty()) {
            faults().add(rule);
        }
        for (const std::uint32_t packet : packets) {
            rule.firstCall = rule.lastCall = packet;
            faults().add(rule);
        }
    }

    std::size_t writesOf(std::uint16_t item) {
        std::size_t count = 0;
        for (const auto& packet : service_->sentPackets("COM1")) {
            count += tessra::hasCommand(packet, tessra::Command::kNvWrite) && tessra::nvItemOf(packet) == item ? 1 : 0;
        }
        return count;
    }

    WriteReport write(WriteOptions options = {}, const WorkControl& control = {}) {
        options.repeats = 1;
        options.returnMs = 50;
        return PhoneWriter(*session_, plan_, options).write(control);
    }

    void retry(WriteReport& report, const WriteOptions& options = {}, const WorkControl& control = {}) {
        PhoneWriter(*session_, plan_, options).retry(report, control);
    }

    static std::string statesOf(const WriteReport& report) {
        std::string states;
        for (const WriteResult& result : report.results) {
            states += "-vrd?"[static_cast<int>(result.state)];
        }
        return states;
    }

    const ErrorLog log_;
    const TemporaryFolder folder_;
    tessra::ServiceConfig config_;
    std::optional<HostedService> service_;
    std::optional<TessraServer> session_;
    WritePlan plan_;
};

TEST_F(PhoneWriterTest, EachItemIsReadBackAndKeepsItsBytesBehindTheSubFields) {
    plan_.setTicked(2, false);
    const WriteReport report = write();
    EXPECT_EQ(report.summary(), "3 written and verified");
    EXPECT_TRUE(report.isDone());
    EXPECT_EQ(report.phone.serialNumber + report.comPort + report.failure, "0000000001COM1");
    EXPECT_EQ(report.results[2].row, 3U);
    EXPECT_EQ(onPhone(), "1e 2e 9e 4e ");
}

struct Outcome {
    const char* name;
    FaultKind kind;
    std::uint32_t value;
    std::vector<std::uint32_t> packets; ///< of item 2 that meet the fault, see spoil()
    bool goOn;
    const char* states;
    std::string reason;
    std::size_t writes; ///< that reached the phone
};

const std::string kReadOnly = "Parameter is write-protected and thus read only";
const std::string kBytes = "The phone reads back other bytes.";
const std::string kOld = "Two answers were lost, and the phone still has what it had before.";
const std::string kNothing = "The phone reads back no value.";
const std::string kNoRead = "The phone does not read it back: Unrecognizable command field";
const std::string kLost = "TessraServer::sendSyncImpl - Timeout waiting for response";
const std::string kLocked = "TessraServer::sendSyncImpl - Phone is locked for exclusive use";
const std::string kBad = "TessraServer::sendSyncImpl - Bad response from phone (DM packet commands 19-24)";
const Outcome kOutcomes[] = {
    {"refused", FaultKind::kNvStatus, 7, {1}, false, "vr--", kReadOnly, 1},
    {"refused, and on", FaultKind::kNvStatus, 7, {1}, true, "vrvv", kReadOnly, 1},
    {"refused as a packet", FaultKind::kBadResponse, 0, {1}, true, "vrvv", kBad, 0},
    {"a status that counts as success, and is none", FaultKind::kNvStatus, 11, {1}, true, "vdvv", kBytes, 1},
    {"never arrived", FaultKind::kServerCode, kTimeout, {1}, false, "vvvv", "", 1},
    {"never arrived twice", FaultKind::kServerCode, kTimeout, {1, 3}, true, "vdvv", kOld, 0},
    {"arrived, the answer did not", FaultKind::kShortAnswer, 10, {1}, false, "vvvv", "", 1},
    {"the read-back came the second time", FaultKind::kServerCode, kTimeout, {2}, false, "vvvv", "", 1},
    {"no read-back", FaultKind::kServerCode, kTimeout, {2, 3}, false, "v?--", kLost, 1},
    {"nothing came", FaultKind::kServerCode, kTimeout, {}, true, "v?vv", kLost, 0},
    {"reads back nothing", FaultKind::kNvStatus, 5, {2}, true, "vdvv", kNothing, 1},
    {"reads back a failure", FaultKind::kNvStatus, 2, {2}, true, "vdvv", kNoRead, 1},
    {"not let through", FaultKind::kServerCode, 0x80042014, {1}, true, "v---", kLocked, 0},
};

TEST_F(PhoneWriterTest, WhatBecomesOfAnItem) {
    for (const Outcome& row : kOutcomes) {
        SCOPED_TRACE(row.name);
        startAnew();
        spoil(row.kind, row.value, row.packets);
        const WriteReport report = write({.goOnAfterRefusal = row.goOn});
        EXPECT_EQ(statesOf(report), row.states);
        EXPECT_EQ(report.results[1].reason, row.reason);
        const std::string stopped = row.goOn ? row.reason : "Stopped at NV item 2 (NV_X): " + row.reason;
        EXPECT_EQ(report.failure, statesOf(report).ends_with("-") ? stopped : "");
        EXPECT_EQ(writesOf(2), row.writes);
    }
}

TEST_F(PhoneWriterTest, TheLastByteCounts) {
    const ItemData wanted{9}; // as on the phone but for the last byte
    plan_.rows[1].item.setRawData(wanted);
    spoil(FaultKind::kNvStatus, 11, {1}); // not stored
    const WriteReport report = write();
    EXPECT_EQ(statesOf(report), "vd--");
    EXPECT_EQ(report.results[1].readBack.value()[127], 0xEE);
}

TEST_F(PhoneWriterTest, WhatIsNotKnownIsReadBackBeforeItIsSentAgain) {
    const struct {
        const char* name;
        FaultKind kind; ///< of all packets at first
        std::uint32_t value;
        std::uint8_t meanwhile; ///< somebody else writes this; 0: nobody
        const char* states;     ///< after the retry
        std::size_t writes;     ///< all in all
    } rows[] = {
        {"it had arrived", FaultKind::kShortAnswer, 10, 0, "vvvv", 1},
        {"it had not", FaultKind::kServerCode, kTimeout, 0, "vvvv", 1},
        {"something else is there", FaultKind::kShortAnswer, 10, 77, "vd--", 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        startAnew();
        spoil(row.kind, row.value);
        WriteReport report = write();
        EXPECT_EQ(report.summary(), "1 written and verified, 1 not known, 2 not tried");
        faults().clear();
        if (row.meanwhile != 0) {
            std::uint16_t status = 0;
            session_->writeNv(2, ItemData{row.meanwhile}.data(), status);
        }
        retry(report);
        EXPECT_EQ(statesOf(report), row.states);
        EXPECT_EQ(writesOf(2), row.writes);
        EXPECT_EQ(writesOf(1), 1U) << "what is verified is not written again";
    }
}

TEST_F(PhoneWriterTest, IsCancelledBetweenTwoItems) {
    std::string progress;
    bool cancel = false;
    const WorkControl control{.progress =
                                  [&](std::size_t position, std::size_t count, std::uint16_t number) {
                                      progress += std::to_string(position) + "/" + std::to_string(count) + ":" +
                                                  std::to_string(number) + " ";
                                      cancel = number == 2;
                                  },
                              .isCancelled = [&] { return cancel; }};
    WriteReport report = write({}, control);
    EXPECT_EQ(statesOf(report) + progress, "vv--0/4:1 1/4:2 ");
    EXPECT_TRUE(report.cancelled);
    EXPECT_EQ(onPhone(), "1e 2e 9e 9e ");
    cancel = false;
    retry(report, {}, control);
    EXPECT_EQ(statesOf(report) + progress, "vvvv0/4:1 1/4:2 0/2:3 1/2:4 ");
    EXPECT_FALSE(report.cancelled);
}

TEST_F(PhoneWriterTest, NothingGoesToAnotherPhone) {
    const struct {
        const char* name;
        PhoneIdentity planned;
        bool unknownAllowed;
        bool isWritten;
    } rows[] = {
        {"another serial number", {"0000000002", "Sample", "1.0"}, true, false},
        {"another model", {"0000000001", "Other", "1.0"}, true, false},
        {"a plan for no phone", {"", "Sample", "1.0"}, true, false},
        {"new software", {"0000000001", "Sample", "0.9"}, false, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        plan_.phone = row.planned;
        const WriteReport report = write({.offlineFirst = true, .unknownPhoneAllowed = row.unknownAllowed});
        EXPECT_EQ(statesOf(report), row.isWritten ? "vvvv" : "----");
        EXPECT_EQ(report.otherPhone, !row.isWritten);
        EXPECT_EQ(report.failure.empty(), row.isWritten);
        EXPECT_EQ(writesOf(1), row.isWritten ? 1U : 0U);
        EXPECT_EQ(faults().count(Call::kChangeMode), row.isWritten ? 1U : 0U);
    }
}

TEST_F(PhoneWriterTest, WritesOnlyWhereThePhoneSaysThatItIsOffline) {
    const struct {
        std::uint32_t modeAnswerBytes;
        tessra::PhoneMode before;
        const char* states;
        const char* failure;
    } rows[] = {
        {3, tessra::PhoneMode::kOnline, "vvvv", ""},
        {2, tessra::PhoneMode::kOnline, "----", "The phone has agreed to go offline, but does not say that it is."},
        {3, tessra::PhoneMode::kDownload, "----",
         "The phone on COM1 runs its loader, and reads and writes no items there. Restart the phone."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.failure);
        startAnew();
        ASSERT_EQ(service_->setMode("COM1", row.before), com::kOk);
        auto modeQuestion = faultAt(Call::kSend, FaultKind::kShortAnswer, row.modeAnswerBytes);
        modeQuestion.firstCall = modeQuestion.lastCall = 2; // after the one for the version
        faults().add(modeQuestion);
        const WriteReport report = write({.offlineFirst = true});
        EXPECT_EQ(statesOf(report) + report.failure, std::string(row.states) + row.failure);
    }
}

// The phone behind a line is another one from one item to the next.
TEST_F(PhoneWriterTest, APhoneThatIsChangedDuringTheWriteGetsNothing) {
    config_.ports[0].line = {.device = folder_ / "line", .askEveryMs = 20};
    RunningPhone first(folder_ / "line", {}, folder_ / "phone.nvmem");
    std::optional<RunningPhone> second;
    startAnew();
    bool isUnplugged = false;
    WorkControl control;
    control.progress = [&](std::size_t, std::size_t, std::uint16_t number) {
        isUnplugged = number == 3;
        first.terminal.setPlugged(!isUnplugged);
    };
    control.isCancelled = [&] { // asked again when the phone is waited for
        if (isUnplugged && !second) {
            second.emplace(folder_ / "line", tessra::PhoneSetup{.serialNumber = "2"}, folder_ / "phone.nvmem");
        }
        return false;
    };
    const WriteReport report = PhoneWriter(*session_, plan_, {.goOnAfterRefusal = true}).write(control);
    EXPECT_EQ(statesOf(report), "vv?-");
    EXPECT_TRUE(report.otherPhone);
    EXPECT_EQ(report.failure, "Another phone answers on COM1: Sample 2 instead of Sample 0000000001.");
    EXPECT_EQ(onPhone(), "9e 9e 9e 9e ");
}

TEST_F(PhoneWriterTest, IsSureWhosePhoneItWas) {
    const struct {
        const char* name;
        std::uint32_t packet;  ///< the version question, of all packets, that another phone answers
        bool isSilent;         ///< at the write of item 2
        std::uint32_t pauseMs; ///< before item 3
        bool verifyAfterReset;
        const char* states;
        std::size_t resets;
    } rows[] = {
        {"after four items", 10, false, 0, false, "????", 0},
        {"after a silence", 5, true, 0, false, "v?--", 0},
        {"after a pause of ours", 6, false, 1100, false, "vv--", 0},
        {"before the reset", 10, false, 0, true, "????", 0},
        {"after the reset", 11, false, 0, true, "vvvv", 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        startAnew();
        if (row.isSilent) {
            spoil(FaultKind::kServerCode, kTimeout, {1});
        }
        auto otherVersion = faultAt(Call::kSend, FaultKind::kShortAnswer, 20);
        otherVersion.firstCall = otherVersion.lastCall = row.packet;
        faults().add(otherVersion);
        const auto pause = [&](std::size_t position, std::size_t, std::uint16_t) {
            kernel::sleepMs(position == 2 ? row.pauseMs : 0);
        };
        const WriteReport report = write({.verifyAfterReset = row.verifyAfterReset}, {.progress = pause});
        EXPECT_EQ(statesOf(report), row.states);
        EXPECT_TRUE(report.otherPhone);
        EXPECT_EQ(faults().count(Call::kChangeMode), row.resets);
    }
}

TEST_F(PhoneWriterTest, APhoneThatLeavesIsWaitedForAndGoesOfflineAnew) {
    spoil(FaultKind::kVanish, 0, {1});
    const WorkControl putBack{.isCancelled = [&] {
        service_->setPresent("COM1", true);
        return false;
    }};
    EXPECT_EQ(statesOf(write({.offlineFirst = true}, putBack)), "vvvv");
    EXPECT_EQ(faults().count(Call::kChangeMode), 2U);
    EXPECT_EQ(writesOf(2), 1U);

    spoil(FaultKind::kVanish, 0, {2}); // between the write and the read-back
    WriteReport report = write({.goOnAfterRefusal = true});
    EXPECT_EQ(statesOf(report), "v?--") << "a phone that has left ends the write";
    EXPECT_EQ(report.failure, "The phone on COM1 has left and did not return.");
    service_->setPresent("COM1", true);
    faults().clear();
    retry(report);
    EXPECT_EQ(statesOf(report) + report.failure, "vvvv");
    EXPECT_EQ(writesOf(2), 2U);
}

TEST_F(PhoneWriterTest, WhatNobodyMayWriteOrHasAValueOfIsNotSent) {
    auto items = wanted();
    for (WantedItem& item : items) {
        item.hasValue = false; // three clicks on a fresh start
    }
    plan_ = makePlan(items, readAll());
    EXPECT_EQ(write({.offlineFirst = true, .verifyAfterReset = true}).summary(), "nothing written");
    EXPECT_EQ(faults().count(Call::kChangeMode), 1U) << "offline, as without a plan";
    plan_.rows[0].item = NvItem("NV_X,1,ReadOnly,<BYTE,x>#");
    plan_.rows[0].leftOut = LeftOut::kNothing; // past the plan's own rule
    EXPECT_EQ(statesOf(write()), "-");
    EXPECT_EQ(onPhone(), "9e 9e 9e 9e ");
}

TEST_F(PhoneWriterTest, BytesThatNobodyKnowsAreReadBeforeTheWrite) {
    ReadReport nothingRead;
    nothingRead.phone = plan_.phone;
    nothingRead.comPort = "COM1";
    plan_ = makePlan(wanted(), nothingRead);
    spoil(FaultKind::kServerCode, kTimeout, {1, 2});
    WriteReport report = write({.goOnAfterRefusal = true});
    EXPECT_EQ(statesOf(report), "v-vv");
    EXPECT_EQ(report.results[1].reason, "The bytes behind its sub-fields could not be read: "
                                        "TessraServer::sendSyncImpl - Timeout waiting for response");
    EXPECT_EQ(onPhone(), "1e 9e 3e 4e ");
    spoil(FaultKind::kServerCode, kTimeout, {2}); // the write: what was read before it tells that it did not arrive
    retry(report);
    EXPECT_EQ(onPhone(), "1e 2e 3e 4e ");
}

TEST_F(PhoneWriterTest, VerifiesOnceMoreAfterAReset) {
    EXPECT_EQ(statesOf(write({.verifyAfterReset = true})), "vvvv");
    EXPECT_EQ(faults().count(Call::kChangeMode), 1U);
    spoil(FaultKind::kNvStatus, 5, {3});
    EXPECT_EQ(statesOf(write({.verifyAfterReset = true})), "vdvv");
    faults().add(serverCodeAt(Call::kChangeMode, kTimeout));
    const WriteReport report = write({.verifyAfterReset = true});
    EXPECT_EQ(statesOf(report) + report.failure, "vvvvTessraServer::resetImpl - Timeout waiting for response");
}

TEST_F(PhoneWriterTest, TellsWhatHasNotBeenVerifiedAfterTheReset) {
    const struct {
        const char* name;
        std::uint16_t refused;     ///< 0: no item
        std::uint16_t cancelledAt; ///< 0: at none
        const char* summary;
        std::size_t resets;
    } rows[] = {
        {"a stop at the last item", 4, 0, "3 written and verified, 1 refused", 1},
        {"a stop before it", 2, 0, "1 written and verified, 1 refused, 2 not tried, not verified after a reset", 0},
        {"cancelled at the last item", 0, 4, "4 written and verified, not verified after a reset", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        startAnew();
        auto refusal = faultAt(Call::kSend, FaultKind::kNvStatus, 7);
        refusal.item = row.refused;
        refusal.firstCall = refusal.lastCall = 1;
        faults().add(refusal);
        std::uint16_t last = 0;
        const WorkControl control{.progress = [&](std::size_t, std::size_t, std::uint16_t number) { last = number; },
                                  .isCancelled = [&] { return row.cancelledAt != 0 && last == row.cancelledAt; }};
        WriteReport report = write({.verifyAfterReset = true}, control);
        EXPECT_EQ(report.summary(), row.summary);
        EXPECT_EQ(faults().count(Call::kChangeMode), row.resets);
        retry(report, {.verifyAfterReset = true});
        EXPECT_EQ(report.summary(), "4 written and verified");
        EXPECT_EQ(faults().count(Call::kChangeMode), row.resets + 1);
    }
}

class WriteToUnknownPhone : public PhoneWriterTest {
protected:
    WriteToUnknownPhone() : PhoneWriterTest("") {}
};

TEST_F(WriteToUnknownPhone, NeedsConsentBeforeTheFirstItemAndAfterEachSilence) {
    const WriteReport refused = write();
    EXPECT_EQ(statesOf(refused), "----");
    EXPECT_TRUE(refused.otherPhone);
    for (const std::uint32_t packet : {1U, 2U}) {
        startAnew();
        spoil(FaultKind::kServerCode, kTimeout, {packet});
        WriteReport report = write({.unknownPhoneAllowed = true});
        EXPECT_EQ(statesOf(report), "v?--");
        EXPECT_TRUE(report.otherPhone);
        retry(report, {.unknownPhoneAllowed = true});
        EXPECT_EQ(statesOf(report), "vvvv");
        EXPECT_EQ(writesOf(2), 1U);
    }
}

} // namespace
