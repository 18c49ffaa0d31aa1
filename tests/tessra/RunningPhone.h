#pragma once

#include "tessra/simulator/NvMemoryFile.h"
#include "tessra/simulator/PhoneTerminal.h"

#include <filesystem>
#include <thread>

/// A phone at the end of a line, answering on a thread of its own.
class RunningPhone {
public:
    explicit RunningPhone(const std::filesystem::path& link, tessra::PhoneSetup setup = {},
                          const std::filesystem::path& initial = {})
        : memory_({}, initial), model_(std::move(setup), memory_), terminal(model_, link),
          thread_([this] { terminal.run(); }) {}
    ~RunningPhone() {
        terminal.stop();
        thread_.join();
    }

private:
    tessra::NvMemoryFile memory_;
    tessra::PhoneModel model_;

public:
    tessra::PhoneTerminal terminal;

private:
    std::thread thread_;
};
