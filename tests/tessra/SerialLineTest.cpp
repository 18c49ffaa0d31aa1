#include "tessra/serial/SerialLine.h"

#include "RunningPhone.h"
#include "ServiceClient.h"
#include "platform/kernel/FileDescriptor.h"
#include "tessra/serial/FrameCodec.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>

#include <algorithm>
#include <future>
#include <map>
#include <random>
#include <set>

using namespace tessra;

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int kSoakPackets = 6000;
#else
constexpr int kSoakPackets = 100000;
#endif

// 65535 for what is no NV packet, such as the answer of an exchange that failed.
std::uint16_t itemOf(const Bytes& packet) {
    return packet.size() == kNvPacketBytes ? kernel::get16(packet.data() + kNvItemOffset) : std::uint16_t{0xFFFF};
}

const Bytes kVersion{0x00};
const Bytes kVersionAnswer{0x00, 'v'};
const Bytes kMode{0x2A};
const Bytes kModeAnswer{0x2A, 1, 0};

// One that no echo looks like: the last byte of the data is set too.
Bytes nvAnswer(std::uint16_t item, std::uint8_t first, std::uint8_t command = 0x26) {
    Bytes packet = nvWrite(item, first);
    packet[0] = command;
    packet[kNvStatusOffset - 1] = 1;
    return packet;
}

// The other end of a serial line, on which a test hears each packet and says what it likes.
class ScriptedPhone {
public:
    // `link` is made to lead to the device, whatever it was.
    explicit ScriptedPhone(const std::filesystem::path& link)
        : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        EXPECT_EQ(::grantpt(master_.number()) + ::unlockpt(master_.number()), 0);
        const char* const device = ::ptsname(master_.number());
        slave_ = kernel::FileDescriptor(::open(device, O_RDWR | O_NOCTTY | O_CLOEXEC));
        std::filesystem::remove(link);
        std::filesystem::create_symlink(device, link);
    }

    // The next packet; empty where none comes in time.
    Bytes hear(int timeoutMs = 20000) {
        pollfd file{master_.number(), POLLIN, 0};
        std::uint8_t byte = 0;
        while (::poll(&file, 1, timeoutMs) > 0 && ::read(master_.number(), &byte, 1) == 1) {
            std::span<const std::uint8_t> rest(&byte, 1);
            if (decoder_.next(rest) == FrameResult::kPacket) {
                return {decoder_.packet().begin(), decoder_.packet().end()};
            }
        }
        return {};
    }

    void say(const Bytes& packet) {
        const auto frame = encodeFrame(packet);
        EXPECT_EQ(::write(master_.number(), frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
    }

private:
    kernel::FileDescriptor master_;
    kernel::FileDescriptor slave_;
    FrameDecoder decoder_;
};

class SerialLineTest : public testing::Test {
protected:
    ~SerialLineTest() override { line_.reset(); }

    // Questions are rare enough not to meddle with a test unless it wants them.
    void start(std::uint32_t askEveryMs, std::uint32_t baud, std::uint32_t answerMs) {
        line_.emplace("COM1", LineSetup{folder_ / "line", baud, askEveryMs, answerMs, 20});
        line_->start([] {});
        line_->open();
    }
    void open(std::uint32_t askEveryMs = 600000, std::uint32_t baud = 115200, std::uint32_t answerMs = 100) {
        start(askEveryMs, baud, answerMs);
        line_->awaitFirstView();
    }

    // With a phone that tells its mode and version until it has been found.
    void startWith(ScriptedPhone& phone) {
        start(600000, 115200, 200);
        while (line_->look().state != PhoneState::kPresent) {
            if (const Bytes question = phone.hear(10); !question.empty()) {
                phone.say(question == kVersion ? kVersionAnswer : kModeAnswer);
            }
        }
    }

    void leaveUnanswered(ScriptedPhone& phone) {
        EXPECT_EQ(exchange(nvRead(5), 20), kResponseTimeout);
        EXPECT_EQ(phone.hear(), nvRead(5));
    }

    struct Turn {
        Bytes heard;
        std::vector<Bytes> said;
    };
    // An exchange during which the phone hears and says these, and whose answer is the last of them.
    void converse(ScriptedPhone& phone, const Bytes& request, const std::vector<Turn>& turns) {
        auto status = std::async(std::launch::async, [&] { return exchange(request, 20000); });
        for (const Turn& turn : turns) {
            ASSERT_EQ(phone.hear(), turn.heard);
            std::ranges::for_each(turn.said, [&](const Bytes& packet) { phone.say(packet); });
        }
        EXPECT_EQ(status.get(), com::kOk);
        EXPECT_EQ(answer_, turns.back().said.back());
    }

    Status exchange(const Bytes& request, std::uint32_t timeoutMs = 400) {
        return line_->exchange(request, timeoutMs, answer_);
    }

    bool comesTo(PhoneState state) {
        return eventually([&] { return line_->look().state == state; });
    }

    ErrorLog log_;
    TemporaryFolder folder_;
    RunningPhone phone_{folder_ / "line"};
    std::optional<SerialLine> line_;
    Bytes answer_;
};

TEST_F(SerialLineTest, FailuresOfTheLineHaveTheirCodesAndPass) {
    const LineFaults bitErrors{.bitErrors = 0.004, .sparesRequests = true};
    const Bytes code{0x41, '9', '9', '9', '9', '9', '9'};
    const struct {
        const char* name;
        LineFaults faults;
        Bytes request;
        Status status;
        std::uint64_t packets; // that reach the phone
    } rows[] = {
        {"silence", {.silentFrom = 1}, nvRead(5), kResponseTimeout, 1},
        {"a damaged answer to a read is asked for once more", bitErrors, nvRead(5), kCheckSequenceError, 2},
        {"a damaged answer to a write is not", bitErrors, nvWrite(5, 1), kCheckSequenceError, 1},
        {"noise without end", {.babbleFrom = 1}, nvRead(5), kFramingError, 1},
        {"noise before an answer", {.garbageBytes = 40}, nvRead(5), com::kOk, 1},
        {"noise long before what can't be repeated", {.delayMs = 60, .garbageBytes = 1}, code, com::kOk, 1},
    };
    open();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_EQ(exchange(nvRead(1), 5000), com::kOk) << "the line works before";
        ASSERT_EQ(itemOf(answer_), 1);
        const auto before = phone_.terminal.packets();
        phone_.terminal.setFaults(row.faults);
        EXPECT_EQ(exchange(row.request), row.status);
        EXPECT_EQ(answer_.empty(), row.status != com::kOk);
        EXPECT_EQ(phone_.terminal.packets() - before, row.packets);
        phone_.terminal.setFaults({});
    }
    phone_.terminal.setStopped(true);
    EXPECT_EQ(exchange(nvRead(5)), kWriteFailure);
    phone_.terminal.setStopped(false);
    EXPECT_EQ(exchange(nvRead(3), 5000), com::kOk);
    EXPECT_EQ(itemOf(answer_), 3);
}

TEST_F(SerialLineTest, ALateAnswerIsNeverTakenForALaterRequests) {
    open();
    ASSERT_EQ(exchange(nvWrite(5, 1), 5000), com::kOk);
    // The answers to a read and to a write come long after their time. The same item is read again: its answer must
    // not be the one that was sent before the write.
    phone_.terminal.setFaults({.delayMs = 60});
    EXPECT_EQ(exchange(nvRead(5), 20), kResponseTimeout);
    EXPECT_EQ(exchange(nvWrite(5, 2), 20), kResponseTimeout) << "it waits for the earlier answer first";
    ASSERT_EQ(exchange(nvWrite(5, 3), 5000), com::kOk);
    EXPECT_EQ(answer_[kNvDataOffset], 3);
    EXPECT_EQ(exchange(nvRead(5), 20), kResponseTimeout);
    phone_.terminal.setFaults({});
    ASSERT_EQ(exchange(nvWrite(5, 4), 5000), com::kOk);
    ASSERT_EQ(exchange(nvRead(5), 5000), com::kOk);
    EXPECT_EQ(answer_[kNvDataOffset], 4);
}

// The settling question is asked twice, and its first answer settles the line. The second may come at any time, so it
// must not settle the line again.
TEST_F(SerialLineTest, ALateAnswerToTheSettlingQuestionSettlesNothingElse) {
    const Bytes oldValue = nvAnswer(5, 1);
    const Bytes newValue = nvAnswer(5, 2);
    ScriptedPhone phone(folder_ / "line");
    startWith(phone);
    leaveUnanswered(phone);

    auto unanswered = std::async(std::launch::async, [&] { return exchange(nvRead(5), 1000); });
    EXPECT_EQ(phone.hear(), kVersion);
    Bytes heard = phone.hear();
    for (; heard == kVersion; heard = phone.hear()) {
        phone.say(kVersionAnswer);
    }
    EXPECT_EQ(heard, nvRead(5)) << "the line is settled";
    EXPECT_EQ(unanswered.get(), kResponseTimeout);

    auto answered = std::async(std::launch::async, [&] { return exchange(nvRead(5), 20000); });
    EXPECT_EQ(phone.hear(), kMode) << "what a late answer may tell is asked again";
    phone.say(kVersionAnswer);
    phone.say(oldValue);
    phone.say(kModeAnswer);
    EXPECT_EQ(phone.hear(), nvRead(5));
    phone.say(newValue);
    EXPECT_EQ(answered.get(), com::kOk);
    EXPECT_EQ(answer_, newValue);
}

// A question costs as much as half an item. Answers are told apart by command, item and order as far as that goes.
TEST_F(SerialLineTest, ASettlingQuestionGoesOutWhereNothingElseTellsAnswersApart) {
    ScriptedPhone phone(folder_ / "line");
    startWith(phone);
    leaveUnanswered(phone);
    converse(phone, nvRead(6), {{nvRead(6), {nvAnswer(5, 1), nvAnswer(6, 1)}}});
    leaveUnanswered(phone); // asked at once: the answer for item 6 came after the one before
    converse(phone, nvWrite(5, 3), {{nvWrite(5, 3), {nvAnswer(5, 1), nvAnswer(5, 3, 0x27)}}});
    converse(phone, nvRead(5), {{nvRead(5), {nvAnswer(5, 3)}}});
    // What comes twice could be taken for the answer to the next request of its kind, which is the next, and on this
    // line from then on any later one.
    converse(phone, nvRead(5), {{kVersion, {nvAnswer(5, 3), kVersionAnswer}}, {nvRead(5), {nvAnswer(5, 4)}}});
    converse(phone, nvRead(6), {{nvRead(6), {nvAnswer(6, 1)}}});
    converse(phone, nvRead(5), {{kMode, {nvAnswer(5, 4), kModeAnswer}}, {nvRead(5), {nvAnswer(5, 5)}}});
}

// An echo looks like an NV item of zeros, or like one that has been written.
constexpr LineFaults kEchoes[] = {
    {.silentFrom = 1, .echoes = true}, // with nothing behind it
    {.echoes = true},                  // before the answers of a phone
    {.delayMs = 30, .echoes = true},   // before its late answers
};

TEST_F(SerialLineTest, AnEchoIsNeverTakenForAPhone) {
    const std::string told = "The serial line of COM1: " + (folder_ / "line").string() +
                             ": the line repeats what is sent to it, so its answers can't be believed; is it "
                             "short-circuited, or an adapter for a single wire?\n";
    for (const LineFaults& echo : kEchoes) {
        const auto logged = log_.text().size();
        phone_.terminal.setFaults(echo);
        open(20);
        const auto isRefused = [&] { return line_->look().state == PhoneState::kSearching; };
        EXPECT_TRUE(isRefused());
        EXPECT_EQ(line_->look().trouble, kFramingError);
        EXPECT_EQ(exchange(nvRead(5)), kPhoneNotPresent);
        const auto before = phone_.terminal.packets();
        EXPECT_TRUE(eventually([&] { return phone_.terminal.packets() >= before + 6 || !isRefused(); }));
        EXPECT_TRUE(isRefused()) << "however often it is asked";
        EXPECT_EQ(log_.text().substr(logged), told) << "once";
        phone_.terminal.setFaults({});
        EXPECT_TRUE(comesTo(PhoneState::kPresent)) << "once the echo is gone";
        EXPECT_EQ(line_->look().trouble, com::kOk);
    }
}

TEST_F(SerialLineTest, AnEchoThatBeginsBetweenTwoQuestionsIsNoAnswer) {
    for (const LineFaults& echo : kEchoes) {
        for (const Bytes& request : {nvRead(5), nvWrite(5, 0), Bytes{0x29, 4, 0}}) {
            phone_.terminal.setFaults({});
            open();
            ASSERT_EQ(exchange(nvWrite(5, 0), 5000), com::kOk);
            ASSERT_EQ(exchange(nvRead(5), 5000), com::kOk) << "an answer like its request is one all the same";
            phone_.terminal.setFaults(echo);
            EXPECT_EQ(exchange(request), kFramingError);
            EXPECT_TRUE(answer_.empty());
            EXPECT_EQ(line_->look().trouble, kFramingError);
        }
    }
    phone_.terminal.setFaults({});
    open();
    phone_.terminal.setFaults(kEchoes[0]);
    EXPECT_EQ(exchange({0x29, 5, 0}), com::kOk) << "an agreement to a reset is believed";
    EXPECT_TRUE(eventually([&] { return line_->look().trouble == kFramingError; })) << "but looked into at once";
    EXPECT_EQ(line_->look().state, PhoneState::kSearching);
}

// Each successful write equals its request, so the phone is asked for its mode after it.
TEST_F(SerialLineTest, WhatThePhoneHasConfirmedIsNotLostToTheQuestionAfterIt) {
    open(600000, 115200, 5000);
    phone_.terminal.setFaults({.delayMs = 250});
    EXPECT_EQ(exchange(nvWrite(5, 1), 400), com::kOk) << "the question has time of its own";

    phone_.terminal.setFaults({});
    open();
    for (const std::uint32_t silentFrom : {2U, 3U}) { // the second time, another question goes before the write
        phone_.terminal.setFaults({.silentFrom = silentFrom});
        EXPECT_EQ(exchange(nvWrite(5, 2)), kResponseTimeout);
    }
    EXPECT_EQ(line_->look().state, PhoneState::kPresent) << "it has answered both writes";
}

TEST_F(SerialLineTest, APhoneIsWhatTellsItsMode) {
    const PhoneSetup setups[] = {
        {.mode = PhoneMode::kDownload}, // which refuses to tell its version
        {.mode = static_cast<PhoneMode>(3)},
        {.versionBytes = 0},
        {.mode = PhoneMode::kNone},
    };
    for (const PhoneSetup& setup : setups) {
        SCOPED_TRACE(static_cast<int>(setup.mode));
        const RunningPhone other(folder_ / "line", setup);
        open(600000, 115200, 5000); // however slow the machine is
        EXPECT_EQ(line_->look().state, setup.mode == PhoneMode::kNone ? PhoneState::kSearching : PhoneState::kPresent);
        EXPECT_EQ(line_->look().mode, setup.mode);
    }
}

TEST_F(SerialLineTest, AnUnpluggedDeviceEndsTheExchangeAndComesBack) {
    open(100);
    ASSERT_TRUE(comesTo(PhoneState::kPresent));
    const auto first = line_->look().appearance;
    phone_.terminal.setFaults({.delayMs = 3000});
    const auto before = phone_.terminal.packets();
    auto unanswered = std::async(std::launch::async, [&] { return exchange(nvRead(5), 20000); });
    EXPECT_TRUE(eventually([&] { return phone_.terminal.packets() > before; }));
    phone_.terminal.setPlugged(false);
    EXPECT_EQ(unanswered.get(), kPhoneNotPresent);
    EXPECT_TRUE(eventually([&] { return !line_->look().usable; }));
    EXPECT_EQ(exchange(nvRead(5)), kPhoneNotPresent);
    phone_.terminal.setFaults({});
    phone_.terminal.setPlugged(true);
    ASSERT_TRUE(comesTo(PhoneState::kPresent));
    EXPECT_NE(line_->look().appearance, first);
    EXPECT_EQ(exchange(nvRead(5), 5000), com::kOk);
}

TEST_F(SerialLineTest, APhoneRemovesNoLinkButItsOwn) {
    const auto place = folder_ / "link";
    std::filesystem::create_symlink("/dev/pts/999999", place); // left by a phone that was killed
    {
        RunningPhone phone(place);
        EXPECT_EQ(std::filesystem::read_symlink(place), phone.terminal.device());
        phone.terminal.setPlugged(false);
        writeText(place, "precious");
        EXPECT_THROW(phone.terminal.setPlugged(true), std::system_error);
    }
    EXPECT_EQ(readText(place), "precious");
}

TEST_F(SerialLineTest, AQuestionOfTheServiceGivesWayToAClient) {
    open(20, 115200, 30000);
    ASSERT_TRUE(comesTo(PhoneState::kPresent));
    phone_.terminal.setFaults({.silentFrom = 1});
    const auto before = phone_.terminal.packets();
    ASSERT_TRUE(eventually([&] { return phone_.terminal.packets() > before; })) << "the phone is not asked";
    phone_.terminal.setFaults({});
    EXPECT_EQ(exchange(nvRead(3), 10000), com::kOk) << "the client waits for an answer to the question";
    EXPECT_EQ(itemOf(answer_), 3);
}

TEST_F(SerialLineTest, TheLineIsSharedByManyThreads) {
    open(1);
    const auto readFrom = [&](std::uint16_t item) {
        for (const int end = item + 100; item < end; ++item) {
            Bytes answer;
            ASSERT_EQ(line_->exchange(nvRead(item), 20000, answer), com::kOk);
            ASSERT_EQ(itemOf(answer), item);
            line_->look();
        }
    };
    {
        const std::jthread threads[]{std::jthread(readFrom, 1000), std::jthread(readFrom, 2000)};
        readFrom(3000);
    }
    std::thread closer([&] { line_->close(); });
    phone_.terminal.setFaults({.silentFrom = 1});
    EXPECT_TRUE(com::failed(exchange(nvRead(5), 20000)));
    closer.join();
    EXPECT_EQ(exchange(nvRead(5)), com::kDisconnected);
}

TEST_F(SerialLineTest, ADeviceThatIsLetGoIsFreeAndCanBeHadAgain) {
    open(1);
    for (int round = 0; round < 20; ++round) { // most of them in the middle of a question
        line_->release();
        EXPECT_FALSE(line_->look().usable);
        EXPECT_EQ(exchange(nvRead(5)), kPhoneNotPresent);
        SerialPort other;
        std::string problem;
        EXPECT_EQ(other.open({.device = folder_ / "line"}, problem), com::kOk) << problem;
        const auto before = phone_.terminal.packets();
        line_->awaitFirstView();
        EXPECT_EQ(phone_.terminal.packets(), before) << "it asks on";
        other.close();
        line_->open();
        line_->awaitFirstView();
        EXPECT_EQ(line_->look().state, PhoneState::kPresent);
        EXPECT_EQ(exchange(nvRead(5), 5000), com::kOk);
    }
}

TEST_F(SerialLineTest, AnUnusableLineSaysWhy) {
    open(600000, 12345);
    EXPECT_FALSE(line_->look().usable);
    EXPECT_EQ(line_->look().trouble, kInvalidBaudRate);
    open();
    SerialPort second;
    std::string problem;
    EXPECT_EQ(second.open({.device = folder_ / "line"}, problem), com::kFail) << "opened twice";
    EXPECT_EQ(problem, "this program uses it already");
    writeText(folder_ / "file", "keep me");
    EXPECT_EQ(second.open({.device = folder_ / "file"}, problem), com::kFail);
    EXPECT_EQ(problem, "is no serial device");
}

// Random damage in both directions, doubled answers, and values that change: what is accepted must be what the phone
// had at that time.
TEST_F(SerialLineTest, NoWrongValueIsEverAccepted) {
    line_.emplace("COM1", LineSetup{folder_ / "line", 115200, 20, 40, 2});
    line_->start([] {});
    line_->open();
    ASSERT_TRUE(comesTo(PhoneState::kPresent));
    // As much damage in few packets as in many.
    phone_.terminal.setFaults(
        {.bitErrors = 0.05 / kSoakPackets, .lostBytes = 0.1 / kSoakPackets, .seed = 7, .doubledAnswers = 0.001});
    std::mt19937 random(11);
    std::map<std::uint16_t, std::set<std::uint8_t>> possible; // more than one after a write of unknown outcome
    std::set<Status> failures;
    std::uint8_t last = 0;
    const auto first = phone_.terminal.packets();
    while (phone_.terminal.packets() - first < kSoakPackets) {
        const auto item = static_cast<std::uint16_t>(random() % 3);
        auto& values = possible.try_emplace(item, std::set<std::uint8_t>{0}).first->second;
        const bool isWrite = random() % 3 == 0;
        const Status status = exchange(isWrite ? nvWrite(item, ++last) : nvRead(item), 20);
        if (com::succeeded(status)) {
            const std::uint8_t value = answer_[kNvDataOffset];
            ASSERT_EQ(itemOf(answer_), item);
            ASSERT_EQ(answer_[0], isWrite ? 0x27 : 0x26);
            ASSERT_TRUE(isWrite ? value == last : values.contains(value)) << "item " << item;
            values = {value};
            continue;
        }
        failures.insert(status);
        if (isWrite) {
            values.insert(last);
        }
        if (status == kPhoneNotPresent) {
            ASSERT_TRUE(comesTo(PhoneState::kPresent));
        }
    }
    const std::set<Status> known{kFramingError, kCheckSequenceError, kResponseTimeout, kWriteFailure, kPhoneNotPresent};
    EXPECT_TRUE(std::includes(known.begin(), known.end(), failures.begin(), failures.end()));
    EXPECT_FALSE(failures.empty()) << "the damage did not reach the line";
}

} // namespace
