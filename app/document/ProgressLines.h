#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

/// What one line of progress says, such as "57 12 4660 - NV_SOME_ITEM".
struct ProgressLine {
    std::uint16_t total = 0;    ///< the length of the bar
    std::uint16_t position = 0; ///< how much of it is done
    std::string text;           ///< the rest after the second number, from its blank on

    bool operator==(const ProgressLine&) const = default;
};

std::string formatProgressLine(std::uint32_t total, std::uint32_t position, std::uint16_t nvItemId,
                               const std::string& nvItemName);

/// A number that is missing or too large for the bar counts as 0 and 65535.
ProgressLine parseProgressLine(const std::string& line);

/// Lines on their way from the thread that reads to the window that shows them, in order. Any thread may call it.
class ProgressQueue {
public:
    /// Whether the line is the first one of those that wait: the taker is to be told once for all of them.
    bool push(std::string line);
    /// Takes all lines, the oldest first.
    std::vector<std::string> takeAll();

private:
    std::mutex lock_; ///< guards lines_
    std::vector<std::string> lines_;
};

/// Where a read reports its progress. CProgressDlg is one.
class ProgressWindow {
public:
    virtual ~ProgressWindow() = default;

    /// Takes a line to be shown, on any thread, without waiting until it is.
    virtual void addLine(std::string line) = 0;
};
