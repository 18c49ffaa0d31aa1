#pragma once

#include <cstdint>
#include <span>
#include <string_view>

/// The numbers of the program's commands, as menus, toolbar buttons and scripts know them.
enum class CommandId : std::uint32_t {
    kReadFromPhone = 32771,
    kWriteChangedToPhone = 32772,
    kWriteListedToPhone = 32773,
    kReadFromMox = 32774,
    kWriteListedToMox = 32775,
    kResetPhone = 32776,
    kComport = 32777,
    kReadSupportedItems = 32784,
    kSortByIdNumber = 32786,
    kSortAlphabetical = 32787,
    kCustomizedList = 32791,
    kWriteListedToText = 32793,
    kHelpTopic = 32794,
    kSearch = 32795,
    kOfflineMode = 32796,
    kNextWindow = 32931,
    kPreviousWindow = 32932,
    kCloseWindow = 32933,
    kRevertSubField = 32801,
    kRevertItem = 32802,
    kRevertAll = 32803,
    kReadMissingItems = 32810,
    kReviewBeforeWriting = 32811,
    kHistorySettings = 32812,
    kCompare = 32820,
    kDocumentProperties = 32821,
    kTrace = 32822,
    kHistory = 32823,
    kItemHistory = 32824,
    kFilterBar = 32830,
    kFilter = 32831,
    kFindNext = 32832,
    kFindPrevious = 32833,
    kCurve = 32840,
    kCopyValues = 32850,
    kCopyWithDescriptions = 32851,
    kPasteValues = 32852,
    kFillDown = 32853,
    kAddOrMultiply = 32854,
    kInterpolate = 32855,
    kRecentCalibrationFiles = 32860, ///< the first of them; the others follow
    kHelpOnFocus = 32880,
    kLicences = 32881,
    kNew = 57600,
    kOpen = 57601,
    kRecentFiles = 57616,
    kUndo = 57643,
    kRedo = 57644,
    kAbout = 57664,
    kExit = 57665,
    kViewToolbar = 59392,
    kViewStatusBar = 59393,
};

/// One command as menus and toolbar show it.
struct CommandInfo {
    CommandId id;
    std::string_view prompt;   ///< shown in the status bar; empty for none
    std::string_view toolTip;  ///< empty for none
    bool needsDocument;        ///< there is nothing to do without a document window
    bool disabledWhileReading; ///< not to be had while a read from the phone runs
    bool isToggle = false;     ///< has a tick while what it shows is shown
};

/// One line of a menu.
struct MenuEntry {
    enum class Kind {
        kCommand,
        kSeparator,
        kRecentFiles,
        kRecentCalibrationFiles, ///< a submenu
        kSubmenu,
        kEndOfSubmenu,
        kWindowList
    };

    Kind kind;
    std::string_view text; ///< of a command or submenu
    CommandId id{};        ///< of a command
};

struct MenuInfo {
    std::string_view title;
    std::span<const MenuEntry> entries;
};

std::span<const CommandInfo> commandTable();
/// The menus while a document is open, and while none is.
std::span<const MenuInfo> documentMenus();
/// The text of a command in the document's menus.
std::string_view documentMenuText(CommandId id);
std::span<const MenuInfo> emptyMenus();

/// The commands of the toolbar's buttons, and separators between them.
inline constexpr CommandId kToolbarSeparator{};
std::span<const CommandId> toolbarButtons();
