// What goes over a port in a trace: its text, what is blanked out, what a line makes of noise, and what a replay
// answers.

#include "RunningPhone.h"
#include "ServiceClient.h"
#include "tessra/serial/LineTap.h"
#include "tessra/serial/SerialLine.h"
#include "tessra/simulator/ReplayedPhone.h"
#include "tessra/simulator/TraceReader.h"
#include "tessra/trace/TraceBuffer.h"
#include "tessra/trace/TraceText.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <atomic>

using namespace tessra;

namespace {

const std::string kHead = std::string(kTraceHead) + "2026-01-12T09:30:00.000001Z\n";

// Lines of a way and bytes, "> 2a", as records of one second each.
std::vector<TraceRecord> recordsOf(const std::vector<std::string>& lines) {
    std::vector<TraceRecord> records;
    for (const std::string& line : lines) {
        records.push_back({.timeUs = std::ssize(records) * 1'000'000, .port = "COM1", .bytes = {}});
        TraceRecord& record = records.back();
        record.way = static_cast<TraceWay>(std::string("><!").find(line[0]));
        for (std::size_t at = 2; at < line.size(); at += 2) {
            const bool isBlank = line[at] == '*';
            record.blankFrom = isBlank ? std::min(record.blankFrom, record.bytes.size()) : record.blankFrom;
            record.bytes.push_back(
                static_cast<std::uint8_t>(isBlank ? 0 : std::stoul(line.substr(at, 2), nullptr, 16)));
        }
    }
    return records;
}

Bytes bytesOf(const std::string& hex) {
    return recordsOf({"> " + hex})[0].bytes;
}

std::string nv(const std::string& head, const std::string& status = "0000") {
    return head + std::string(2 * kNvStatusOffset - head.size(), '0') + status;
}

// A recorder whose records come out as such lines.
struct Recorded {
    std::vector<std::string> lines;
    std::shared_ptr<PacketRecorder> recorder = std::make_shared<PacketRecorder>([this](const TraceRecord& record) {
        lines.push_back(std::string(1, waySign(record.way)) + " " + traceBytes(record));
    });
};

TEST(TraceText, IsReadAsItWasWritten) {
    const std::pair<TraceRecord, std::string> rows[] = {
        {{0, "COM1", TraceWay::kToPhone, bytesOf("2a")}, "0.000000 COM1 > query-mode - - 2a\n"},
        {{12'000'345, "the 2nd%", TraceWay::kFromPhone, bytesOf(nv("26ef03", "0500"))},
         "12.000345 the%202nd%25 < read 1007 5 " + nv("26ef03", "0500") + "\n"},
        {{1, "COM1", TraceWay::kFromPhone, bytesOf("13" + nv("270900"))},
         "0.000001 COM1 < bad-command 9 - 13" + nv("270900") + "\n"},
        {{1, "COM1", TraceWay::kToPhone, bytesOf("41000000"), 1}, "0.000001 COM1 > access-code - - 41******\n"},
        {{1, "COM1", TraceWay::kDamaged, bytesOf("7e557e")}, "0.000001 COM1 ! damaged - - 7e557e\n"},
        {{1, "COM1", TraceWay::kToPhone, bytesOf("7f00")}, "0.000001 COM1 > 0x7f - - 7f00\n"},
        {{1, "COM1", TraceWay::kToPhone, {}}, "0.000001 COM1 > empty - - -\n"},
    };
    for (const auto& [record, line] : rows) {
        EXPECT_EQ(traceLine(record), line);
        EXPECT_EQ(parseTrace(kHead + "# a remark\n\n" + line, "t"), std::vector{record}) << line;
    }
    EXPECT_EQ(traceHeadLine(std::chrono::system_clock::time_point(std::chrono::microseconds(1'768'210'200'000'001))),
              kHead);
}

TEST(TraceText, NamesTheLineOfAFault) {
    const std::pair<std::string, std::string> rows[] = {
        {"0.000001 COM1 > query-mode - - 2a", "t:3: the line is not complete"},
        {"0.00001 COM1 > query-mode - - 2a\n", "t:3: the time '0.00001' is no number of seconds with six decimals"},
        {"-1.000001 COM1 > query-mode - - 2a\n", "t:3: the time '-1.000001' is no number of seconds with six decimals"},
        {"1.000001 COM% > query-mode - - 2a\n",
         "t:3: a per cent sign in the port needs two hexadecimal digits behind it"},
        {"1.000001 COM1 >\x1b query-mode - - 2a\n", "t:3: the way '>?' is none of >, < and !"},
        {"1.000001 COM1 > query-mode - -\n", "t:3: the packet is missing"},
        {"1.000001 COM1 > query-mode - - 2A\n", "t:3: '2A' is no byte in two lower-case hexadecimal digits"},
        {"1.000001 COM1 > query-mode - - 2\n", "t:3: the bytes must be \"-\" or up to 256 pairs of hexadecimal digits"},
        {"1.000001 COM1 > access-code - - 41**00\n",
         "t:3: '00' is no byte in two lower-case hexadecimal digits, as all behind ** must be **"},
        {"1.000001 COM1 > version - - 2a\n", "t:3: 'version - -' does not fit the bytes, which are 'query-mode - -'"},
        {"1.000001 COM1 > query-mode - - 2a 00\n", "t:3: more follows behind the bytes"},
    };
    for (const auto& [line, message] : rows) {
        EXPECT_EQ(messageOf([&text = line] { parseTrace(kHead + "# a remark\n" + text, "t"); }), message);
    }
    const TemporaryFolder folder;
    const std::string two = "0.000001 COM1 > query-mode - - 2a\n0.000002 COM2 > query-mode - - 2a\n";
    writeText(folder / "t", kHead + two);
    const std::string path = (folder / "t").string();
    EXPECT_EQ(messageOf([&] { loadTrace(path, ""); }),
              path + ": it has the packets of several ports, and one is to be chosen: 'COM1', 'COM2'");
    EXPECT_EQ(messageOf([&] { loadTrace(path, "COM3"); }),
              path + ": it has no packets of 'COM3', but of 'COM1', 'COM2'");
    EXPECT_EQ(loadTrace(path, "COM2").size(), 1U);
}

// What repeats the code keeps it out of the trace, also where its command code has been damaged.
TEST(PacketTap, BlanksTheServiceProgrammingCodeOut) {
    const std::string code = "313233343536";
    const std::string blank = "************";
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"! 7e4055417e", "! 7e4055417e"},
        {"! 7e1341" + code, "! 7e1341" + blank},
        {"! 557e7d61" + code + "7e", "! 557e7d61" + blank + "**"},
        {"> 41" + code, "> 41" + blank},
        {"! 7e40" + code + "7e", "! ****" + blank + "**"},
        {"< 4101", "< 4101"},
        {"< 4131", "< 41**"},
        {"< 1341" + code, "< 1341" + blank},
        {"< 2a0100", "< 2a0100"},
        {"! 7e1340" + code, "! ******" + blank},
        {"< 2a0100", "< 2a0100"},
        {"! 7e40" + code, "! 7e40" + code},
    };
    for (const bool isOnFromTheStart : {true, false}) {
        Recorded recorded;
        PacketTap tap("COM1", recorded.recorder);
        std::vector<std::string> expected;
        recorded.recorder->setOn(isOnFromTheStart);
        for (const auto& [line, shown] : rows) {
            const TraceRecord record = recordsOf({line})[0];
            const auto take = record.way == TraceWay::kToPhone     ? &PacketTap::sent
                              : record.way == TraceWay::kFromPhone ? &PacketTap::received
                                                                   : &PacketTap::damaged;
            (tap.*take)(record.bytes, PacketTap::Clock::now());
            if (recorded.recorder->isOn()) {
                expected.push_back(shown);
            } else if (record.way == TraceWay::kToPhone) {
                recorded.recorder->setOn(true); // it has seen the code all the same
            }
        }
        EXPECT_EQ(recorded.lines, expected);
    }
}

TEST(LineTap, RecordsEachByteOnceAndInOrder) {
    using Lines = std::vector<std::string>;
    const Bytes frame = encodeFrame(bytesOf("2a0100"));
    const std::string good = traceBytes({.port = {}, .bytes = frame});
    const std::string rest = good.substr(6);
    struct Row {
        const char* what;
        Lines pieces; ///< as they are read; ">": a request is sent between
        Lines recorded;
    };
    const Row rows[] = {
        {"noise before a frame", {"5555" + good}, {"! 5555", "< 2a0100"}},
        {"a flag that two frames share", {good + good.substr(2)}, {"< 2a0100", "< 2a0100"}},
        {"a frame in pieces", {good.substr(0, 6), rest}, {"< 2a0100"}},
        {"a damaged frame", {"7e2a01017e" + good}, {"! 7e2a01017e", "< 2a0100"}},
        {"flags alone", {"7e7e7e", ">"}, {"> 00"}},
        {"noise that nothing follows", {"7e2a", ">"}, {"! 7e2a", "> 00"}},
        {"a frame whose end is late",
         {good.substr(0, 6), ">", rest, good},
         {"! " + good.substr(0, 6), "> 00", "! " + rest, "< 2a0100"}},
    };
    for (const Row& row : rows) {
        Recorded recorded;
        FrameDecoder decoder;
        LineTap tap(PacketTap("COM1", recorded.recorder));
        const auto read = [&](const Bytes& piece) {
            for (std::span<const std::uint8_t> bytes(piece); !bytes.empty();) {
                const auto before = bytes;
                const FrameResult result = decoder.next(bytes);
                tap.took(result, decoder.packet(), before.first(before.size() - bytes.size()), decoder.inFrame());
            }
        };
        for (const std::string& piece : row.pieces) {
            if (piece == ">") {
                tap.sent(Bytes{0});
            } else {
                read(bytesOf(piece));
            }
        }
        EXPECT_EQ(recorded.lines, row.recorded) << row.what;
        recorded.lines.clear();
        read(Bytes(100 * LineTap::kMaxNoiseBytes, 0x55));
        tap.flush();
        EXPECT_LE(recorded.lines.size(), LineTap::kMaxNoiseBytes / TraceRecord::kMaxDamagedBytes + 1) << "and no more";
    }
}

// The packets in the bytes of a line, "?" for each that is none.
std::string packetsIn(const Bytes& bytes) {
    std::string text;
    FrameDecoder decoder;
    for (std::span<const std::uint8_t> rest(bytes); !rest.empty();) {
        if (const FrameResult result = decoder.next(rest); result != FrameResult::kMore) {
            const Bytes packet(decoder.packet().begin(), decoder.packet().end());
            text += (text.empty() ? "" : " ") +
                    (result == FrameResult::kPacket ? traceBytes({.port = {}, .bytes = packet}) : "?");
        }
    }
    return text;
}

TEST(ReplayedPhone, AnswersAsThePhoneOfTheTraceDid) {
    const std::string item7 = nv("260700");
    const std::string item8 = nv("260800");
    const std::string code = "41313233343536";
    struct Row {
        const char* what;
        std::vector<std::string> trace;
        std::vector<std::pair<std::string, std::string>> talk; ///< requests and answers
    };
    const Row rows[] = {
        {"each record once, the next of equal bytes first",
         {"> " + nv("27070001"), "< 2701", "> " + nv("27070002"), "< 2702", "> " + nv("27070002"), "< 2703"},
         {{nv("27070002"), "2702"},
          {nv("27070002"), "2703"},
          {nv("27070009"), "2701"},
          {nv("27070009"), "13" + nv("27070009")}}},
        {"else the next of equal command and item",
         {"> " + item8, "< 2608", "> " + item7, "< 2607"},
         {{nv("260700", "0900"), "2607"}, {item7, "13" + item7}, {item8, "2608"}}},
        {"unknown requests are bad commands", {"> 00", "< 0076"}, {{"7f01", "137f01"}, {item7, "13" + item7}}},
        {"silence, several answers and damage",
         {"> 3b01", "> 3b02", "< 3b", "! 7e55557e", "< 3b02"},
         {{"3b01", ""}, {"3b02", "3b ? 3b02"}}},
        {"any code fits one that is blanked out, and is repeated",
         {"> 41************", "< 1341************", "> 41************", "! ******", "> 41************", "< 4101"},
         {{code, "13" + code}, {"41393939393939", "?"}, {code, "4101"}, {code, "13" + code}}},
        {"questions once more, as the trace has them between commands",
         {"> 2a", "< 2a0100", "> 290500", "< 290500", "> 2a", "> 2a", "< 2a0200"},
         {{"2a", "2a0100"}, {"2a", "2a0100"}, {"290500", "290500"}, {"2a", ""}, {"2a", "2a0200"}, {"2a", "2a0200"}}},
        {"questions that come early or are not in the trace",
         {"> " + item7, "< 2607", "> 00", "< 0076"},
         {{"00", "0076"}, {"2a", "2a0100"}}},
        {"an answer that came when the line was used again",
         {"> 2a", "> " + item7, "< 2a0100", "< 2607"},
         {{"2a", "2a0100"}, {item7, "2607"}}},
        {"a reset that nobody watched",
         {"> 2a", "< 2a0100", "> 290500", "< 290500"},
         {{"290500", "290500"}, {"2a", ""}, {"00", ""}}},
    };
    for (const Row& row : rows) {
        ReplayedPhone phone(recordsOf(row.trace));
        for (const auto& [request, answer] : row.talk) {
            EXPECT_EQ(packetsIn(phone.answer(bytesOf(request))), answer) << row.what << ": " << request;
        }
    }
}

// The window's way: recording is switched on and off, and records are taken, while exchanges go on.
TEST(TraceBuffer, IsFilledAndEmptiedByTwoThreads) {
    const TemporaryFolder folder;
    const RunningPhone phone(folder / "a");
    TraceBuffer buffer;
    const auto recorder =
        std::make_shared<PacketRecorder>([&buffer](TraceRecord&& record) { buffer.add(std::move(record)); }, false);
    SerialLine line("COM1", {.device = folder / "a"}, PacketTap("COM1", recorder));
    line.start([] {});
    line.open();
    line.awaitFirstView();
    std::atomic<bool> isOver = false;
    std::thread client([&] {
        for (int count = 0; !isOver; ++count) {
            Bytes answer;
            EXPECT_EQ(line.exchange(bytesOf(nv(count % 2 == 0 ? "260700" : "260800")), 2000, answer), com::kOk);
        }
    });
    std::size_t taken = 0;
    EXPECT_TRUE(eventually([&] {
        recorder->setOn(!recorder->isOn());
        taken += buffer.takeAll().records.size();
        return taken > 500;
    }));
    isOver = true;
    client.join();
    recorder->setOn(false);
    line.close();
    buffer.takeAll();
    for (std::size_t count = 0; count < TraceBuffer::kMaxRecords + 3; ++count) {
        buffer.add({.timeUs = static_cast<std::int64_t>(count), .port = "COM1", .bytes = {}});
    }
    const auto batch = buffer.takeAll();
    EXPECT_EQ(batch.records.size(), TraceBuffer::kMaxRecords);
    EXPECT_EQ(batch.dropped, 3U);
    EXPECT_EQ(batch.records.back().timeUs, static_cast<std::int64_t>(TraceBuffer::kMaxRecords + 2));
}

} // namespace
