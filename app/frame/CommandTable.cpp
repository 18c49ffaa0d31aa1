#include "app/frame/CommandTable.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array kCommands{
    CommandInfo{CommandId::kReadFromPhone, "", "Read RF NV Items From The Phone", true, true},
    CommandInfo{CommandId::kReadFromMox, "", "Read RF NV Items From A MOX File", true, true},
    CommandInfo{CommandId::kWriteChangedToPhone, "", "Write the changed NV items only", true, true},
    CommandInfo{CommandId::kWriteListedToPhone, "", "Write Listed NV Items To Phone. (Override the existing ones)",
                true, true},
    CommandInfo{CommandId::kWriteListedToMox, "", "Write Listed NV Items To MOX.", true, true},
    CommandInfo{CommandId::kWriteListedToText, "", "Write Listed NV Items To A Text File", true, true},
    CommandInfo{CommandId::kReadSupportedItems, "", "Read Supported RF NV Items regardless the status", true, true},
    CommandInfo{CommandId::kSortByIdNumber, "Sort NV Items By The ID Number", "", true, true},
    CommandInfo{CommandId::kSortAlphabetical, "Sort The NV Items In Alphabetical Order", "", true, true},
    CommandInfo{CommandId::kSearch, "", "", true, false},
    CommandInfo{CommandId::kCustomizedList, "", "Create your customized NV item list", true, true},
    CommandInfo{CommandId::kResetPhone, "", "Reset Phone", true, true},
    CommandInfo{CommandId::kOfflineMode, "", "", true, false},
    CommandInfo{CommandId::kReadMissingItems, "Read the items that the last read from the phone left out", "", true,
                true},
    CommandInfo{CommandId::kComport, "", "Comport configuration", true, true},
    CommandInfo{CommandId::kReviewBeforeWriting, "Show what will be written to the phone, and ask, before it is sent",
                "", false, false},
    CommandInfo{CommandId::kHistorySettings, "Choose what of reads and writes is recorded, and where", "", false,
                false},
    CommandInfo{CommandId::kHelpTopic, "", "", true, false},
    CommandInfo{CommandId::kNextWindow, "Go to the next document window", "", true, false},
    CommandInfo{CommandId::kPreviousWindow, "Go to the document window before", "", true, false},
    CommandInfo{CommandId::kCloseWindow, "Close the window in front", "", true, false},
    CommandInfo{CommandId::kUndo, "Undo the last typing or edit", "", true, false},
    CommandInfo{CommandId::kRedo, "Do again what was undone", "", true, false},
    CommandInfo{CommandId::kRevertSubField, "Give the sub-field being edited its last known value back", "", true,
                false},
    CommandInfo{CommandId::kRevertItem, "Give the selected item its last known values back", "", true, false},
    CommandInfo{CommandId::kRevertAll, "Give all listed items their last known values back", "", true, false},
    CommandInfo{CommandId::kCompare, "Compare two sets of items", "", true, false},
    CommandInfo{CommandId::kDocumentProperties, "Show where the document's items come from", "", true, false},
    CommandInfo{CommandId::kTrace, "Show what goes over the ports, packet by packet", "", true, false},
    CommandInfo{CommandId::kHistory, "Show what was read from phones and written to them", "", false, false},
    CommandInfo{CommandId::kItemHistory, "Show the values that the selected item has had, and has on other phones", "",
                true, false},
    CommandInfo{CommandId::kFilterBar, "Show or hide the filter line over the item list", "", true, false, true},
    CommandInfo{CommandId::kFilter, "Show only the items that fit what is typed", "", true, false},
    CommandInfo{CommandId::kFindNext, "Go to the next item that the last search finds", "", true, false},
    CommandInfo{CommandId::kFindPrevious, "Go to the item before that the last search finds", "", true, false},
#ifdef CALVANE_CURVES
    CommandInfo{CommandId::kCurve, "Show or hide the values of the selected item as curves", "", true, false, true},
#endif
    CommandInfo{CommandId::kCopyValues, "Copy the selected values, one a line", "", true, false},
    CommandInfo{CommandId::kCopyWithDescriptions, "Copy the selected values with their descriptions", "", true, false},
    CommandInfo{CommandId::kPasteValues, "Give the values on the clipboard to the boxes from the selected one on", "",
                true, false},
    CommandInfo{CommandId::kFillDown, "Give the first selected value to all selected boxes", "", true, false},
    CommandInfo{CommandId::kAddOrMultiply, "Add a number to the selected values, or multiply them by it", "", true,
                false},
    CommandInfo{CommandId::kInterpolate, "Fill the values between the first and the last selected one evenly", "", true,
                false},
    CommandInfo{CommandId::kHelpOnFocus, "Show the help on what has the focus", "", false, false},
    CommandInfo{CommandId::kLicences, "Show the licences and versions of the program's parts", "", false, false},
    CommandInfo{CommandId::kNew, "Open a new document window", "New", false, false},
    CommandInfo{CommandId::kOpen, "Open a document window with the port that a file names", "Open", false, false},
    CommandInfo{CommandId::kAbout, "Show the program's version", "About", false, false},
    CommandInfo{CommandId::kExit, "Leave the program", "Exit", false, false},
    CommandInfo{CommandId::kViewToolbar, "Show or hide the toolbar", "Toggle Toolbar", false, false},
    CommandInfo{CommandId::kViewStatusBar, "Show or hide the status bar", "Toggle Status Bar", false, false},
};

using enum MenuEntry::Kind;

constexpr MenuEntry command(std::string_view text, CommandId id) {
    return {kCommand, text, id};
}
constexpr MenuEntry kLine{kSeparator, ""};
constexpr MenuEntry kCalibrationFiles{kRecentCalibrationFiles, "Recent Calibration &Files"};

constexpr std::array kFile{
    command("Read From Phone", CommandId::kReadFromPhone),
    command("Read From MOX", CommandId::kReadFromMox),
    kLine,
    command("Write Changed NV Items To Phone", CommandId::kWriteChangedToPhone),
    command("Write Only Listed NV Items To Phone", CommandId::kWriteListedToPhone),
    command("Write Only Listed NV Items To MOX", CommandId::kWriteListedToMox),
    command("Write Only Listed NV Items To Text", CommandId::kWriteListedToText),
    kLine,
    command("Read Supported RF NV Items", CommandId::kReadSupportedItems),
    kLine,
    kCalibrationFiles,
    kLine,
    command("Exit", CommandId::kExit),
};
constexpr std::array kView{
    MenuEntry{kSubmenu, "Sort"},
    command("ID Number", CommandId::kSortByIdNumber),
    command("Alphabetical", CommandId::kSortAlphabetical),
    MenuEntry{kEndOfSubmenu, ""},
    command("Search", CommandId::kSearch),
    kLine,
    command("Toolbar", CommandId::kViewToolbar),
    command("Status Bar", CommandId::kViewStatusBar),
    kLine,
    command("&Filter...", CommandId::kFilter),
    command("Find &Next", CommandId::kFindNext),
    command("Find &Previous", CommandId::kFindPrevious),
    kLine,
    command("Filter &Bar", CommandId::kFilterBar),
#ifdef CALVANE_CURVES
    command("&Curve", CommandId::kCurve),
#endif
};
constexpr std::array kOption{
    command("Customized NV Item List", CommandId::kCustomizedList),
    command("Reset Phone", CommandId::kResetPhone),
    command("Offline Mode", CommandId::kOfflineMode),
    kLine,
    command("Read Missing Items", CommandId::kReadMissingItems),
};
constexpr std::array kSetting{
    command("Comport", CommandId::kComport),
    command("Review Before Writing", CommandId::kReviewBeforeWriting),
    kLine,
    command("&History...", CommandId::kHistorySettings),
};
constexpr std::array kWindow{
    command("Next", CommandId::kNextWindow),
    command("Previous", CommandId::kPreviousWindow),
    command("Close", CommandId::kCloseWindow),
    kLine,
    MenuEntry{kWindowList, ""},
};
constexpr std::array kHelp{
    command("About Calvane...", CommandId::kAbout),
    command("Help Topic", CommandId::kHelpTopic),
    kLine,
    command("Help on This &Part\tF1", CommandId::kHelpOnFocus),
    command("&Licences and Versions...", CommandId::kLicences),
};
constexpr std::array kEdit{
    command("Undo", CommandId::kUndo),
    command("Redo", CommandId::kRedo),
    kLine,
    command("Revert Sub-Field", CommandId::kRevertSubField),
    command("Revert Item", CommandId::kRevertItem),
    command("Revert All", CommandId::kRevertAll),
    kLine,
    command("&Copy Values", CommandId::kCopyValues),
    command("Copy &With Descriptions", CommandId::kCopyWithDescriptions),
    command("&Paste Values", CommandId::kPasteValues),
    command("&Fill Down", CommandId::kFillDown),
    command("&Add or Multiply...", CommandId::kAddOrMultiply),
    command("&Interpolate", CommandId::kInterpolate),
};
constexpr std::array kTools{
    command("&Compare...", CommandId::kCompare), command("Document &Properties", CommandId::kDocumentProperties),
    command("&Trace...", CommandId::kTrace),     kLine,
    command("&History...", CommandId::kHistory), command("History of This &Item...", CommandId::kItemHistory),
};
constexpr std::array<MenuInfo, 8> kDocumentMenus{{{"File", kFile},
                                                  {"View", kView},
                                                  {"Option", kOption},
                                                  {"Setting", kSetting},
                                                  {"Help", kHelp},
                                                  {"Edit", kEdit},
                                                  {"&Tools", kTools},
                                                  {"Window", kWindow}}};

constexpr std::array kEmptyFile{
    command("&New\tCtrl+N", CommandId::kNew),
    command("&Open...\tCtrl+O", CommandId::kOpen),
    kLine,
    MenuEntry{kRecentFiles, ""},
    kCalibrationFiles,
    command("&Close", CommandId::kCloseWindow),
    command("&History...", CommandId::kHistory),
    kLine,
    command("E&xit", CommandId::kExit),
};
constexpr std::array kEmptyView{
    command("&Toolbar", CommandId::kViewToolbar),
    command("&Status Bar", CommandId::kViewStatusBar),
};
constexpr std::array kEmptyHelp{command("&About Calvane...", CommandId::kAbout)};
constexpr std::array<MenuInfo, 3> kEmptyMenus{{{"&File", kEmptyFile}, {"&View", kEmptyView}, {"&Help", kEmptyHelp}}};

constexpr std::array kToolbar{
    CommandId::kReadFromPhone,
    CommandId::kWriteChangedToPhone,
    CommandId::kWriteListedToPhone,
    CommandId::kReadFromMox,
    CommandId::kWriteListedToMox,
    kToolbarSeparator,
    CommandId::kResetPhone,
    kToolbarSeparator,
    CommandId::kComport,
    kToolbarSeparator,
    CommandId::kAbout,
};

} // namespace

std::span<const CommandInfo> commandTable() {
    return kCommands;
}

std::span<const MenuInfo> documentMenus() {
    return kDocumentMenus;
}

std::string_view documentMenuText(CommandId id) {
    for (const MenuInfo& menu : kDocumentMenus) {
        const auto found = std::ranges::find(menu.entries, id, &MenuEntry::id);
        if (found != menu.entries.end()) {
            return found->text;
        }
    }
    return {};
}

std::span<const MenuInfo> emptyMenus() {
    return kEmptyMenus;
}

std::span<const CommandId> toolbarButtons() {
    return kToolbar;
}
