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
    explicit DeviceProbe(const LineSetup& setup) : line_(setup.device.string(), setup) {}

    /// Takes 1.5 s at most. To be called once. Throws std::system_error where there is no thread to be had.
    ProbeResult run();
    /// Ends run(), which then finds nobody. Any thread may call it, once run() has begun or later.
    void cancel() { line_.close(); }

private:
    SerialLine line_;
};

} // namespace tessra
