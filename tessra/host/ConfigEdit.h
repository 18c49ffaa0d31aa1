#pragma once

#include "tessra/host/ServiceConfig.h"

#include <filesystem>
#include <string>

namespace tessra {

/// The first of COM1, COM2, ... of which no port has the name or the number. std::runtime_error where all are taken.
std::string freePortName(const ServiceConfig& config);

/// The port of `config` with a line to this device, under whichever of its names; null where there is none.
const PortConfig* portOn(const ServiceConfig& config, const std::filesystem::path& device);

/// Adds a port with a serial line to the service's configuration file, behind all that stands there, which stays as it
/// is: comments, order, ends of lines. A file that is not there is made. The new text is one that loadServiceConfig()
/// takes before it takes the file's place, whole. Answers the port as it is in the file. ConfigError, with the file as
/// it was, where that is not to be had: the file is wrong already, has such a port, or can't be written.
PortConfig addPortTo(const std::filesystem::path& file, const std::string& name, const LineSetup& line);

} // namespace tessra
