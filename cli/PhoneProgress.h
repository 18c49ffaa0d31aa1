#pragma once

#include "cli/ProgressBar.h"
#include "cli/Run.h"
#include "workbench/PhoneWork.h"

#include <cstdint>
#include <string>

/// Shows how far a read or a write has got, and remembers it for the case that it gets no further. It ends the work
/// where a signal came, see Interruption. It outlives what control() answers.
class PhoneProgress {
public:
    /// `stage`: "read" or "write", as the events tell it.
    PhoneProgress(Run& run, const char* stage);

    workbench::WorkControl control();

    /// "Stopped at 1005 NV_BOARD_IDENTITY_I, item 6 of 227."; nothing before the first item.
    std::string stoppedAt() const;

private:
    Run& run_;
    const char* const stage_;
    ProgressBar bar_;
    std::uint16_t number_ = 0;
    std::size_t position_ = 0; ///< from 1
    std::size_t count_ = 0;
};
