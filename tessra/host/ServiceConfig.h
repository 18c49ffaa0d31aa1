#pragma once

#include "tessra/serial/SerialPort.h"
#include "tessra/simulator/ConfigError.h"
#include "tessra/simulator/Faults.h"
#include "tessra/simulator/PhoneModel.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tessra {

struct PortConfig {
    std::string name;         ///< such as "COM1"
    std::uint16_t number = 0; ///< what clients know it by; not 0, and no other port's
    /// The serial line on which its phone is; without a device it is the simulated phone that follows.
    LineSetup line;
    /// Memory and its initial contents as NvMemoryFile takes them.
    PhoneSetup phone;
    std::filesystem::path memory;
    std::filesystem::path initial;
    bool present = true;
    std::vector<FaultRule> faults;
};

struct ServiceConfig {
    bool taskWindow = true; ///< the service owns a window of class kTaskWindowClass, by which clients find it
    std::vector<PortConfig> ports;
    std::vector<FaultRule> faults; ///< of the calls that belong to no port
};

/// Reads the service's configuration file (data/Tessra.toml explains its keys). Paths in it that are relative start at
/// its folder; an `initial` that is not there may be a sample that came with the program. ConfigError, naming file and
/// line, for a file that can't be read, is no TOML, has a key that this service does not know or a value that a key
/// can't have.
ServiceConfig loadServiceConfig(const std::filesystem::path& file);
/// The same for a text that is, or is to be, what the file holds.
ServiceConfig parseServiceConfig(const std::string& text, const std::filesystem::path& file);

} // namespace tessra
