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
    CommandInfo{CommandId::kHelpTopic, "", "", true, false},
    CommandInfo{CommandId::kNextWindow, "Go to the next document window", "", true, false},
    CommandInfo{CommandId::kPreviousWindow, "Go to the document window before", "", true, false},
    CommandInfo{CommandId::kCloseWindow, "Close the document window", "", true, false},
    CommandInfo{CommandId::kUndo, "Undo the last typing or edit", "", true, false},
    CommandInfo{CommandId::kRedo, "Do again what was undone", "", true, false},
    CommandInfo{CommandId::kRevertSubField, "Give the sub-field being edited its last known value back", "", true,
                false},
    CommandInfo{CommandId::kRevertItem, "Give the selected item its last known values back", "", true, false},
    CommandInfo{CommandId::kRevertAll, "Give all listed items their last known values back", "", true, false},
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
};
constexpr std::array kEdit{
    command("Undo", CommandId::kUndo),
    command("Redo", CommandId::kRedo),
    kLine,
    command("Revert Sub-Field", CommandId::kRevertSubField),
    command("Revert Item", CommandId::kRevertItem),
    command("Revert All", CommandId::kRevertAll),
};
constexpr std::array<MenuInfo, 7> kDocumentMenus{{{"File", kFile},
                                                  {"View", kView},
                                                  {"Option", kOption},
                                                  {"Setting", kSetting},
                                                  {"Help", kHelp},
                                                  {"Edit", kEdit},
                                                  {"Window", kWindow}}};

constexpr std::array kEmptyFile{
    command("&New\tCtrl+N", CommandId::kNew),
    command("&Open...\tCtrl+O", CommandId::kOpen),
    kLine,
    MenuEntry{kRecentFiles, ""},
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
