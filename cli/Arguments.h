#pragma once

#include "engine/PhoneProperties.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// What the batch tool was asked to do. Which fields count depends on the verb.
struct Arguments {
    enum class Verb { kPorts, kRead, kList, kSet, kWrite, kReset, kShow, kPrune, kTree };

    Verb verb = Verb::kPorts;
    std::string ringPath;
    std::string servicePath;
    std::string comPort;
    std::optional<std::vector<std::uint16_t>> itemNumbers; ///< read, list, show: these alone; prune: to keep
    std::string textPath;                                  ///< read: where the text export goes; empty for nowhere
    std::string jsonPath;                                  ///< read, show: where the JSON goes; empty for nowhere
    std::string moxPath;                                   ///< read, write, show, prune: the calibration file
    std::uint16_t phoneModelId = 0;                        ///< read: of a calibration file that is created
    std::optional<PhoneProperties> properties;             ///< read: for the calibration file, where one is wanted
    bool hex = false;                                      ///< show
    std::uint16_t itemNumber = 0;                          ///< set
    std::string values;                                    ///< set: one text per sub-field, separated by commas
    std::string inputPath;                                 ///< write: the JSON file; tree: the compound file
    std::string accessCode;                                ///< set, write: sent to the phone before; empty for none
    bool offlineFirst = false;                             ///< write
    std::set<int> toleratedNumbers;                        ///< write
};

/// The arguments of the command line, or the exit status with which to end: after a request for help 0, and 2 after
/// wrong usage. Help and complaint have been printed then.
struct ParsedArguments {
    std::optional<Arguments> arguments;
    int exitStatus = 0;
};
ParsedArguments parseArguments(int argc, const char* const* argv);
