// phone-simulator: a phone behind a pseudo-terminal, for trying the serial path without hardware.

#include "platform/kernel/MessageException.h"
#include "platform/kernel/ShownText.h"
#include "platform/kernel/StandardDescriptors.h"
#include "platform/kernel/Trace.h"
#include "tessra/Packet.h"
#include "tessra/simulator/ConfigTable.h"
#include "tessra/simulator/NvMemoryFile.h"
#include "tessra/simulator/PhoneTerminal.h"
#include "tessra/simulator/ReplayedPhone.h"
#include "tessra/simulator/TraceReader.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

// While it lives, the signals that end a program make the terminal stop. Afterwards they do nothing: the program is
// about to end by itself.
class EndingSignals {
public:
    explicit EndingSignals(tessra::PhoneTerminal& terminal) {
        running = &terminal;
        handleAll([](int) { running->stop(); });
    }
    ~EndingSignals() { handleAll(SIG_IGN); }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

private:
    static void handleAll(void (*handler)(int)) {
        std::signal(SIGINT, handler);
        std::signal(SIGTERM, handler);
        if (std::signal(SIGHUP, handler) == SIG_IGN) {
            std::signal(SIGHUP, SIG_IGN); // it was started to outlive its terminal
        }
    }

    static inline tessra::PhoneTerminal* running = nullptr;
};

struct Options {
    tessra::PhoneSetup phone;
    tessra::LineFaults faults;
    std::string memory;
    std::string initial;
    std::string link;
    std::string replay;
    std::string replayPort;
    bool isPaced = false;
};

// The rate of a port for which nothing else is configured.
constexpr std::uint32_t kPacedBaud = 115200;

constexpr int kWrongUsage = 2;

// The same bounds as in a port's configuration. The library's own range takes what is no number for one in it.
CLI::Option* asRate(CLI::Option* option) {
    return option->check(
        [](const std::string& text) {
            double rate = 0;
            const bool isRate = CLI::detail::lexical_cast(text, rate) && rate >= 0 && rate <= 1;
            return isRate ? std::string() : "must be a number from 0 to 1";
        },
        "0 to 1");
}

CLI::Option* asMs(CLI::Option* option, std::int64_t min) {
    return option->check(CLI::Range(min, tessra::kMaxConfigMs));
}

CLI::Option* asName(CLI::Option* option) {
    return option->check([](const std::string& text) { return text.empty() ? "must not be empty" : std::string(); },
                         "");
}

std::string serialProblem(const std::string& text) {
    const bool isPrintable = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
    const bool isSerial = isPrintable && !text.empty() && text.size() <= tessra::kSerialNumberField.size;
    return isSerial ? "" : "must be 1 to 10 printable ASCII characters";
}

std::string spcProblem(const std::string& text) {
    const bool isSpc = text.size() == tessra::kSpcDigits && text.find_first_not_of("0123456789") == std::string::npos;
    return isSpc ? "" : "must be six digits";
}

void describePhone(CLI::App& app, Options& options) {
    CLI::Option* const own[] = {
        asName(
            app.add_option("--memory", options.memory, "keeps what is written to the phone; made by the first write")),
        asName(app.add_option("--initial", options.initial, "what the phone holds before that")),
        app.add_option("--serial", options.phone.serialNumber, "the phone's serial number, at most 10 characters")
            ->check(serialProblem, ""),
        app.add_option("--spc", options.phone.spc, "its service programming code, six digits")->check(spcProblem, ""),
        asMs(app.add_option("--away-ms", options.phone.awayMs, "from a reset until it is back; -1: it never is"), -1),
    };
    CLI::Option* const replay = asName(app.add_option(
        "--replay", options.replay, "answers as the phone of this trace did, instead of as a phone with a memory"));
    for (CLI::Option* const option : own) {
        replay->excludes(option);
    }
    asName(app.add_option("--replay-port", options.replayPort, "the port of a trace that has several"))->needs(replay);
    asName(app.add_option("--link", options.link, "a symbolic link to be made to the terminal"));
    app.add_flag("--paced", options.isPaced, "the terminal is as slow as a line of 115200 baud");
}

void describeFaults(CLI::App& app, tessra::LineFaults& faults) {
    CLI::Option* const options[] = {
        asRate(app.add_option("--bit-errors", faults.bitErrors, "probability for each bit to be inverted")),
        asRate(app.add_option("--lost-bytes", faults.lostBytes, "probability for each byte to be lost")),
        app.add_flag("--spare-requests", faults.sparesRequests, "these two meet the answers alone"),
        app.add_option("--seed", faults.seed, "makes the same errors again")->check(CLI::NonNegativeNumber),
        asMs(app.add_option("--delay-ms", faults.delayMs, "before each answer"), 0),
        asRate(app.add_option("--doubled-answers", faults.doubledAnswers,
                              "probability for each answer to come again before the next")),
        app.add_option("--garbage", faults.garbageBytes, "bytes of no frame before each answer")
            ->check(CLI::Range(0, 65536)),
        app.add_option("--silent-from", faults.silentFrom, "no answer from this packet on"),
        app.add_option("--babble-from", faults.babbleFrom, "bytes without end from this packet on"),
        app.add_flag("--echo", faults.echoes, "the line gives back what it is sent, before any answer"),
        app.add_option("--unplug-at", faults.unplugAt, "this packet finds the terminal gone"),
        asMs(app.add_option("--back-after-ms", faults.backAfterMs, "from then until there is a new one; -1: never"),
             -1),
    };
    for (CLI::Option* const option : options) {
        option->group("Faults of the line (packets are counted from 1)");
    }
}

int run(tessra::PhoneTerminal& terminal, const Options& options) {
    terminal.setFaults(options.faults);
    terminal.setPaced(options.isPaced ? kPacedBaud : 0);
    const EndingSignals signals(terminal);
    std::cout << terminal.device() << std::endl; // at once, for whoever waits for it
    if (!std::cout) {
        throw std::runtime_error("Can't write to standard output.");
    }
    terminal.run();
    return 0;
}

int serve(const Options& options) {
    if (!options.replay.empty()) {
        tessra::ReplayedPhone phone(tessra::loadTrace(options.replay, options.replayPort));
        tessra::PhoneTerminal terminal([&phone](std::span<const std::uint8_t> packet) { return phone.answer(packet); },
                                       options.link);
        return run(terminal, options);
    }
    tessra::NvMemoryFile memory(options.memory, options.initial);
    tessra::PhoneModel phone(options.phone, memory);
    tessra::PhoneTerminal terminal(phone, options.link);
    return run(terminal, options);
}

} // namespace

int main(int argc, char** argv) {
    kernel::openStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // a failure of the write, to be told
    kernel::setErrorLog([](std::string_view line) { std::cerr << kernel::shownLines(line) << '\n'; });
    CLI::App app("Puts a simulated phone behind a pseudo-terminal, prints the terminal's name, and answers until it is "
                 "ended by a signal.");
    Options options;
    describePhone(app, options);
    describeFaults(app, options.faults);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& outcome) {
        std::ostringstream complaint;
        const int status = app.exit(outcome, std::cout, complaint);
        std::cerr << kernel::shownLines(complaint.str());
        return status == 0 ? 0 : kWrongUsage;
    }
    try {
        return serve(options);
    } catch (const std::exception& error) {
        std::cerr << "phone-simulator: " << kernel::shownLines(kernel::messageOf(error)) << '\n';
        return 1;
    }
}
