#pragma once

#include <cstdint>
#include <string>

/// One line on standard error that shows how far a long piece of work has got. Shows nothing where standard error is no
/// terminal. Redrawn at most 20 times a second, so that it costs nothing; the object takes the line away when it is
/// destroyed.
class ProgressBar {
public:
    ProgressBar();
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// `position` of `count` pieces are under way, the last of them called `label`.
    void show(std::uint32_t position, std::uint32_t count, const std::string& label);
    /// Takes the line away, for one that stays; the next show() draws it anew.
    void clear();

private:
    const bool visible_;
    bool drawn_ = false;
    std::int64_t lastDrawnMs_ = 0;
};
