#pragma once

#include "cli/ExitStatus.h"
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
    std::string devicePath;      ///< of a phone that needs no configured port; comPort is the same then
    std::uint32_t baud = 115200; ///< of this device
    bool allDevices = false;     ///< ports: the serial devices of the system instead
    std::string probedDevice;    ///< ports: the one to be asked; empty for none
    std::string deviceFolder;    ///< ports: stands in for the system; empty for none
    std::optional<std::vector<std::uint16_t>> itemNumbers; ///< read, list, show, write: these alone; prune: to keep
    std::vector<std::uint16_t> singleNumbers;              ///< of these, the ones named outside ranges
    std::string listPath;                                  ///< the file with these numbers; empty for none
    unsigned retries = 5;                                  ///< read: of an item whose answer is lost or damaged
    std::string textPath;                                  ///< read: where the text export goes; empty for nowhere
    std::string jsonPath;                                  ///< read, show: where the JSON goes; empty for nowhere
    std::string moxPath;                                   ///< read, write, show, prune: the calibration file
    std::uint16_t phoneModelId = 0;                        ///< read: of a calibration file that is created
    std::optional<PhoneProperties> properties;             ///< read: for the calibration file, where one is wanted
    bool hex = false;                                      ///< show
    std::uint16_t itemNumber = 0;                          ///< set
    std::string values;                                    ///< set: one text per sub-field, separated by commas
    std::string inputPath;                                 ///< write: the JSON file; tree: the compound file
    /// set, write:
    std::string accessCode; ///< sent to the phone before; see accessCodeOf()
    std::string accessCodePath;
    std::optional<std::string> expectedSerial; ///< of the phone that it has to be; nothing for any
    bool wrap = false;                         ///< values that their types store as others are meant
    bool isDryRun = false;                     ///< the plan is printed, nothing is sent
    bool changedOnly = false;                  ///< what the phone has already is not written
    bool keepGoing = false;                    ///< after a refusal, and without items that can't be read
    bool verifyAfterReset = false;
    bool offlineFirst = false;                ///< write
    std::set<std::uint16_t> toleratedNumbers; ///< write: a refusal of these is none
};

/// The arguments of the command line, or how the program ends: kDone after a request for help, and kWrongUsage. Help
/// and complaint have been printed then.
struct ParsedArguments {
    std::optional<Arguments> arguments;
    ExitStatus exitStatus = ExitStatus::kDone;
};
ParsedArguments parseArguments(int argc, const char* const* argv);
