#pragma once

#include <cstdint>

/// The numbers of the program's commands, as menus, toolbar buttons and scripts know them.
enum class CommandId : std::uint32_t {
    ReadFromPhone = 32771,
    WriteChangedToPhone = 32772,
    WriteListedToPhone = 32773,
    ReadFromMox = 32774,
    WriteListedToMox = 32775,
    ResetPhone = 32776,
    Comport = 32777,
    ReadSupportedItems = 32784,
    SortByIdNumber = 32786,
    SortAlphabetical = 32787,
    CustomizedList = 32791,
    WriteListedToText = 32793,
    HelpTopic = 32794,
    Search = 32795,
    OfflineMode = 32796,
    New = 57600,
    Open = 57601,
    RecentFiles = 57616,
    About = 57664,
    Exit = 57665,
    ViewToolbar = 59392,
    ViewStatusBar = 59393,
};
