#pragma once

#include "tessra/Packet.h"
#include "tessra/serial/SerialLine.h"

#include <optional>
#include <string>

namespace tessra {

/// What asking on a device has come to.
struct ProbeResult {
    std::optional<VersionTexts> phone; ///< who is there; empty texts for a phone that does not tell them
    std::string problem;               ///< without a phone: why the device can't be used, "DEVICE: ..."; empty: silence
};

/// Asks once on a serial device whether there is a phone, as a port does: for its mode and its version. This opens the
/// device and sends it a few bytes, so it is for a device that somebody has chosen, and for no other.
class DeviceProbe {
public:
    /// Begins to ask. Throws std::system_error where there is no thread to be had.
    explicit DeviceProbe(const LineSetup& setup);

    /// Waits for the answer, 1.5 s at most, and lets go of the device. To be called once.
    ProbeResult run();
    /// Ends run(), which then finds nobody. Any thread may call it, before, during and after.
    void cancel() { line_.close(); }

private:
    SerialLine line_;
};

} // namespace tessra
