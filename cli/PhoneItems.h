#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"
#include "workbench/PhoneReader.h"

#include <cstdint>
#include <string>
#include <vector>

/// Reads the items of the arguments from the phone on their port, or all that the decoder ring describes, with progress
/// on standard error. Throws a BatchFailure for a number that the ring does not describe, before the phone is asked for
/// anything, and for a read that does not get to its end. `undescribed`: further numbers that are read.
workbench::ReadReport readItems(Calvane& catalog, const Arguments& arguments,
                                const std::vector<std::uint16_t>& undescribed = {});

/// "Missing: 20, 31: Timeout waiting for response"; a line for each reason why items could not be read.
std::string gapsOf(const workbench::ReadReport& report);
