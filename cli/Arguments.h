#pragma once

#include "cli/ExitStatus.h"
#include "cli/SetRequest.h"
#include "cli/ShownStream.h"
#include "engine/PhoneProperties.h"
#include "workbench/PhoneIdentity.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

class Run;

/// How the tool tells on standard error how far it has got.
enum class Progress { kBar, kJson, kNone };

/// What the batch tool was asked to do. Which fields count depends on the verb.
struct Arguments {
    enum class Verb {
        kPorts,
        kRead,
        kList,
        kSet,
        kWrite,
        kReset,
        kShow,
        kPrune,
        kTree,
        kDiff,
        kCheck,
        kHistoryList,
        kHistoryShow,
        kHistoryItem,
        kHistoryRestore,
        kHistoryExport,
        kHistoryImport,
        kHistoryPrune,
        kHistoryNote,
    };

    Verb verb = Verb::kPorts;
    std::string verbName;
    Run* run = nullptr;     ///< this run of the verb; set by runRecorded(), which owns it
    bool isVerbose = false; ///< failures with the functions in which they were noticed
    std::string ringPath;
    std::string servicePath;
    std::string tracePath; ///< where the packets of its ports are recorded; empty for nowhere
    std::string comPort;
    std::vector<std::string> comPorts; ///< where several are named: these side by side, and no comPort
    std::string onlyPort;              ///< the one of them that this process is for; empty in the one that was started
    std::string reportPath;            ///< of the report, on verbs with a phone; empty for none
    std::string logPath;               ///< of the log that is appended to; empty for none
    Progress progress = Progress::kBar;
    ColourChoice colour = ColourChoice::kAuto;
    /// where the run is recorded, or, on the verbs of the record, of which one: a file, a URL or "none"; empty for what
    /// the settings say
    std::string historyPlace;
    bool isQuiet = false;        ///< on standard error failures alone
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
    bool raw = false;                 ///< read, write: bytes alone, also of items that the ring lacks
    std::string resumePath;           ///< read: the JSON of a raw read that this one goes on with
    bool hex = false;                 ///< show
    bool info = false;                ///< show: of the file itself, not of its items
    std::vector<SetRequest> requests; ///< set
    std::string inputPath;            ///< write: the JSON file; tree: the compound file
    struct Side {
        std::string name;
        bool isPort = false; ///< settled when the arguments are carried out
    };
    std::array<Side, 2> sides; ///< diff
    bool namesOnly = false;    ///< diff: numbers and names of the items that differ are enough
    std::string unitsPath;     ///< check: the file of units and limits; empty for that beside the ring
    struct History {
        bool ofSessions = false;           ///< list: the sessions also where nothing narrows them
        std::optional<std::string> serial; ///< list, item: of this phone alone
        std::optional<std::string> model;  ///< item: of phones of this model alone
        std::optional<std::string> port;   ///< list: over this port; item: of phones without a serial number on it
        std::optional<std::chrono::system_clock::time_point> since; ///< list
        std::size_t limit = 1000;                                   ///< list: sessions at most
        std::string session;                                        ///< the begin of its uuid
        std::uint16_t item = 0;
        bool before = false; ///< restore, export: the values from before a write
        bool after = false;  ///< restore, export: those from after it
        bool withDate = false;
        bool unknownPhone = false; ///< restore: also to a phone without a serial number
        std::string outputPath;    ///< export
        std::chrono::days keep{};  ///< prune
        bool isShared = false;     ///< prune: the shared record
        std::string note;
    };
    History history;
    /// set, write, history restore:
    std::string accessCode; ///< sent to the phone before; see accessCodeOf()
    std::string accessCodePath;
    std::optional<std::string> expectedSerial; ///< of the phone that it has to be; nothing for any
    /// history restore: the phone that it has to be, which may be one without a serial number
    std::optional<workbench::PhoneIdentity> expectedPhone;
    bool wrap = false;        ///< values that their types store as others are meant
    bool isDryRun = false;    ///< the plan is printed, nothing is sent
    bool changedOnly = false; ///< what the phone has already is not written
    bool keepGoing = false;   ///< after a refusal, and without items that can't be read
    bool verifyAfterReset = false;
    bool requiresRecord = false;              ///< nothing is written unless the record has it before
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
