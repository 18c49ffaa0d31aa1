// phone-simulator: a phone behind a pseudo-terminal, for trying the serial path without hardware.

#include "platform/kernel/StandardDescriptors.h"
#include "tessra/simulator/ConfigError.h"
#include "tessra/simulator/NvMemoryFile.h"
#include "tessra/simulator/PhoneTerminal.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

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
    bool isPaced = false;
};

// The rate of a port for which nothing else is configured.
constexpr std::uint32_t kPacedBaud = 115200;

void describe(CLI::App& app, Options& options) {
    app.add_option("--memory", options.memory, "keeps what is written to the phone; made by the first write");
    app.add_option("--initial", options.initial, "what the phone holds before that");
    app.add_option("--link", options.link, "a symbolic link to be made to the terminal");
    app.add_option("--serial", options.phone.serialNumber, "the phone's serial number, at most 10 characters");
    app.add_option("--spc", options.phone.spc, "its service programming code, six digits");
    app.add_option("--away-ms", options.phone.awayMs, "from a reset until it is back; -1: it never is");
    app.add_flag("--paced", options.isPaced, "the terminal is as slow as a line of 115200 baud");
    const std::string faults = "Faults of the line (packets are counted from 1)";
    app.add_option("--bit-errors", options.faults.bitErrors, "probability for each bit to be inverted")
        ->check(CLI::Range(0.0, 1.0))
        ->group(faults);
    app.add_option("--lost-bytes", options.faults.lostBytes, "probability for each byte to be lost")
        ->check(CLI::Range(0.0, 1.0))
        ->group(faults);
    app.add_flag("--spare-requests", options.faults.sparesRequests, "these two meet the answers alone")->group(faults);
    app.add_option("--seed", options.faults.seed, "makes the same errors again")->group(faults);
    app.add_option("--delay-ms", options.faults.delayMs, "before each answer")->group(faults);
    app.add_option("--doubled-answers", options.faults.doubledAnswers,
                   "probability for each answer to come again before the next")
        ->check(CLI::Range(0.0, 1.0))
        ->group(faults);
    app.add_option("--garbage", options.faults.garbageBytes, "bytes of no frame before each answer")
        ->check(CLI::Range(0, 65536))
        ->group(faults);
    app.add_option("--silent-from", options.faults.silentFrom, "no answer from this packet on")->group(faults);
    app.add_option("--babble-from", options.faults.babbleFrom, "bytes without end from this packet on")->group(faults);
    app.add_flag("--echo", options.faults.echoes, "the line gives back what it is sent, before any answer")
        ->group(faults);
    app.add_option("--unplug-at", options.faults.unplugAt, "this packet finds the terminal gone")->group(faults);
    app.add_option("--back-after-ms", options.faults.backAfterMs, "from then until there is a new one; -1: never")
        ->group(faults);
}

int serve(const Options& options) {
    tessra::NvMemoryFile memory(options.memory, options.initial);
    tessra::PhoneModel phone(options.phone, memory);
    tessra::PhoneTerminal terminal(phone, options.link);
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

} // namespace

int main(int argc, char** argv) {
    kernel::openStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // a failure of the write, to be told
    CLI::App app("Puts a simulated phone behind a pseudo-terminal, prints the terminal's name, and answers until it is "
                 "ended by a signal.");
    Options options;
    describe(app, options);
    CLI11_PARSE(app, argc, argv);
    try {
        return serve(options);
    } catch (const std::exception& error) {
        std::cerr << "phone-simulator: " << error.what() << '\n';
        return 1;
    }
}
