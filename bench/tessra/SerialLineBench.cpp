// What a serial line costs on top of the terminal that it goes through: reads of an NV item through SerialLine, with
// the phone model at the other end, beside the same frame sent through a terminal that echoes it; and what is added
// where such a read is recorded. And what the service costs when nobody asks it anything: processor time in its own
// process, with phones in another.

#include "tessra/Packet.h"
#include "tessra/Service.h"
#include "tessra/serial/FrameCodec.h"
#include "tessra/serial/LineTap.h"
#include "tessra/serial/SerialLine.h"
#include "tessra/simulator/NvMemoryFile.h"
#include "tessra/simulator/PhoneTerminal.h"
#include "tessra/trace/TraceBuffer.h"
#include "tessra/trace/TraceFile.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <list>
#include <string>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes readRequest(std::uint16_t item) {
    Bytes request(tessra::kNvPacketBytes);
    request[0] = static_cast<std::uint8_t>(tessra::Command::kNvRead);
    kernel::put16(request.data() + tessra::kNvItemOffset, item);
    return request;
}

void exchange(benchmark::State& state) {
    tessra::NvMemoryFile memory({}, {});
    tessra::PhoneModel phone({}, memory);
    tessra::PhoneTerminal terminal(phone);
    std::thread runner([&] { terminal.run(); });
    {
        tessra::LineSetup setup;
        setup.device = terminal.device();
        tessra::SerialLine line("COM1", setup);
        line.start([] {});
        line.open();
        line.awaitFirstView();
        // As in a transfer: a request that equals the one before costs a question.
        const Bytes requests[] = {readRequest(1007), readRequest(1008)};
        Bytes answer;
        for (std::size_t count = 0; auto _ : state) {
            if (line.exchange(requests[count++ % 2], 2000, answer) != com::kOk) {
                state.SkipWithError("no answer");
                break;
            }
        }
    }
    terminal.stop();
    runner.join();
}

// A request and its answer, on their way past the tap of a line.
void record(benchmark::State& state, const std::shared_ptr<tessra::PacketRecorder>& recorder) {
    tessra::LineTap tap(tessra::PacketTap("COM1", recorder));
    const Bytes packet = readRequest(1007);
    const Bytes frame = tessra::encodeFrame(packet);
    for (auto _ : state) {
        tap.sent(packet);
        tap.took(tessra::FrameResult::kPacket, packet, frame, false);
    }
}

void recordOff(benchmark::State& state) {
    record(state, std::make_shared<tessra::PacketRecorder>([](const tessra::TraceRecord&) {}, false));
}

void recordToBuffer(benchmark::State& state) {
    tessra::TraceBuffer buffer;
    record(state, std::make_shared<tessra::PacketRecorder>(
                      [&buffer](tessra::TraceRecord&& each) { buffer.add(std::move(each)); }));
}

void recordToFile(benchmark::State& state) {
    const auto path = std::filesystem::temp_directory_path() / ("calvane-bench-" + std::to_string(::getpid()));
    {
        tessra::TraceFile file(path, std::chrono::system_clock::now());
        record(state,
               std::make_shared<tessra::PacketRecorder>([&file](const tessra::TraceRecord& each) { file.add(each); }));
    }
    std::filesystem::remove(path);
}

// Both ends of a terminal; bytes written to one come out of the other as they are.
struct Terminal {
    Terminal() : master(::posix_openpt(O_RDWR | O_NOCTTY)) {
        ::grantpt(master.number());
        ::unlockpt(master.number());
        // NOLINTNEXTLINE(concurrency-mt-unsafe)
        slave = kernel::FileDescriptor(::open(::ptsname(master.number()), O_RDWR | O_NOCTTY));
        termios settings{};
        ::tcgetattr(slave.number(), &settings);
        ::cfmakeraw(&settings);
        ::tcsetattr(slave.number(), TCSANOW, &settings);
    }
    kernel::FileDescriptor master;
    kernel::FileDescriptor slave;
};

void echo(benchmark::State& state) {
    Terminal terminal;
    std::thread echoer([&] {
        std::array<std::uint8_t, 1024> buffer;
        for (;;) {
            const ssize_t count = ::read(terminal.master.number(), buffer.data(), buffer.size());
            if (count <= 1 || ::write(terminal.master.number(), buffer.data(), static_cast<std::size_t>(count)) < 0) {
                return; // a single byte ends it
            }
        }
    });
    const Bytes frame = tessra::encodeFrame(readRequest(1007));
    std::array<std::uint8_t, 1024> buffer;
    const int slave = terminal.slave.number();
    for (auto _ : state) {
        if (::write(slave, frame.data(), frame.size()) != static_cast<ssize_t>(frame.size())) {
            state.SkipWithError("not written");
        }
        for (std::size_t got = 0; got < frame.size();) {
            pollfd file{slave, POLLIN, 0};
            ::poll(&file, 1, -1);
            const ssize_t count = ::read(slave, buffer.data(), buffer.size());
            got += static_cast<std::size_t>(count > 0 ? count : 0);
        }
    }
    [[maybe_unused]] const auto written = ::write(slave, frame.data(), 1);
    echoer.join();
}

double processorMs() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

constexpr int kPorts = 4;

// Four phones in a process of their own, until that is killed.
[[noreturn]] void servePhones(const std::filesystem::path& folder, int ready) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    tessra::NvMemoryFile memory({}, {});
    std::list<tessra::PhoneModel> phones;
    std::list<tessra::PhoneTerminal> terminals;
    std::vector<std::thread> threads;
    for (int i = 0; i < kPorts; ++i) {
        auto& terminal =
            terminals.emplace_back(phones.emplace_back(tessra::PhoneSetup{}, memory), folder / std::to_string(i));
        threads.emplace_back([&terminal] { terminal.run(); });
    }
    [[maybe_unused]] const auto written = ::write(ready, "", 1);
    for (;;) {
        ::pause();
    }
}

void idleService(benchmark::State& state) {
    std::string name = (std::filesystem::temp_directory_path() / "calvane-bench-XXXXXX").string();
    const std::filesystem::path folder = ::mkdtemp(name.data());
    int ready[2];
    if (::pipe(ready) != 0) {
        state.SkipWithError("no pipe");
        return;
    }
    const pid_t phones = ::fork();
    if (phones == 0) {
        servePhones(folder, ready[1]);
    }
    char byte = 0;
    [[maybe_unused]] const auto got = ::read(ready[0], &byte, 1);
    {
        std::vector<std::shared_ptr<tessra::Port>> ports;
        for (int i = 0; i < kPorts; ++i) {
            tessra::LineSetup setup;
            setup.device = folder / std::to_string(i);
            ports.push_back(
                std::make_shared<tessra::Port>("COM", 1 + i, std::make_shared<tessra::SerialLine>("COM", setup)));
            if (ports.back()->requirePhone() != com::kOk) {
                state.SkipWithError("a port without its phone");
            }
        }
        const tessra::Service service(ports);
        constexpr int kSeconds = 4;
        for (auto _ : state) {
            const double before = processorMs();
            std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
            state.counters["processor_ms_per_s"] = (processorMs() - before) / kSeconds;
        }
    }
    ::kill(phones, SIGKILL);
    ::waitpid(phones, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);
    std::filesystem::remove_all(folder);
}

BENCHMARK(exchange)->Name("SerialExchange")->UseRealTime();
BENCHMARK(recordOff)->Name("SerialRecord_off")->UseRealTime();
BENCHMARK(recordToBuffer)->Name("SerialRecord_buffer")->UseRealTime();
BENCHMARK(recordToFile)->Name("SerialRecord_file")->UseRealTime();
BENCHMARK(echo)->Name("SerialExchange_echo")->UseRealTime();
BENCHMARK(idleService)->Name("IdleService/4_ports")->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
