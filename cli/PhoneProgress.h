#pragma once

#include "cli/ProgressBar.h"
#include "engine/Calvane.h"
#include "workbench/PhoneWork.h"

#include <cstdint>
#include <map>
#include <string>

/// Shows how far a read or a write has got, and remembers it for the case that it gets no further. It ends the work
/// where a signal came, see Interruption. It outlives what control() answers.
class PhoneProgress {
public:
    explicit PhoneProgress(Calvane& catalog);

    workbench::WorkControl control();

    /// "Stopped at 1005 NV_BOARD_IDENTITY_I, item 6 of 227."; nothing before the first item.
    std::string stoppedAt() const;

private:
    std::string label(std::uint16_t number) const;

    std::map<std::uint16_t, std::string> names_;
    ProgressBar bar_;
    std::uint16_t number_ = 0;
    std::size_t position_ = 0; ///< from 1
    std::size_t count_ = 0;
};
