#include "app/frame/CommandTable.h"

#include <array>

namespace {

constexpr std::array kCommands{
    CommandInfo{CommandId::ReadFromPhone, "", "Read RF NV Items From The Phone", true, true},
    CommandInfo{CommandId::ReadFromMox, "", "Read RF NV Items From A MOX File", true, true},
    CommandInfo{CommandId::WriteChangedToPhone, "", "Write the changed NV items only", true, true},
    CommandInfo{CommandId::WriteListedToPhone, "", "Write Listed NV Items To Phone. (Override the existing ones)", true,
                true},
    CommandInfo{CommandId::WriteListedToMox, "", "Write Listed NV Items To MOX.", true, true},
    CommandInfo{CommandId::WriteListedToText, "", "Write Listed NV Items To A Text File", true, true},
    CommandInfo{CommandId::ReadSupportedItems, "", "Read Supported RF NV Items regardless the status", true, true},
    CommandInfo{CommandId::SortByIdNumber, "Sort NV Items By The ID Number", "", true, true},
    CommandInfo{CommandId::SortAlphabetical, "Sort The NV Items In Alphabetical Order", "", true, true},
    CommandInfo{CommandId::Search, "", "", true, false},
    CommandInfo{CommandId::CustomizedList, "", "Create your customized NV item list", true, true},
    CommandInfo{CommandId::ResetPhone, "", "Reset Phone", true, true},
    CommandInfo{CommandId::OfflineMode, "", "", true, false},
    CommandInfo{CommandId::Comport, "", "Comport configuration", true, true},
    CommandInfo{CommandId::HelpTopic, "", "", true, false},
    CommandInfo{CommandId::New, "Open a new document window", "New", false, false},
    CommandInfo{CommandId::Open, "Open a document window with the port that a file names", "Open", false, false},
    CommandInfo{CommandId::About, "Show the program's version", "About", false, false},
    CommandInfo{CommandId::Exit, "Leave the program", "Exit", false, false},
    CommandInfo{CommandId::ViewToolbar, "Show or hide the toolbar", "Toggle Toolbar", false, false},
    CommandInfo{CommandId::ViewStatusBar, "Show or hide the status bar", "Toggle Status Bar", false, false},
};

using enum MenuEntry::Kind;

constexpr MenuEntry command(std::string_view text, CommandId id) {
    return {kCommand, text, id};
}
constexpr MenuEntry kLine{kSeparator, ""};

constexpr std::array kFile{
    command("Read From Phone", CommandId::ReadFromPhone),
    command("Read From MOX", CommandId::ReadFromMox),
    kLine,
    command("Write Changed NV Items To Phone", CommandId::WriteChangedToPhone),
    command("Write Only Listed NV Items To Phone", CommandId::WriteListedToPhone),
    command("Write Only Listed NV Items To MOX", CommandId::WriteListedToMox),
    command("Write Only Listed NV Items To Text", CommandId::WriteListedToText),
    kLine,
    command("Read Supported RF NV Items", CommandId::ReadSupportedItems),
    kLine,
    command("Exit", CommandId::Exit),
};
constexpr std::array kView{
    MenuEntry{kSubmenu, "Sort"},
    command("ID Number", CommandId::SortByIdNumber),
    command("Alphabetical", CommandId::SortAlphabetical),
    MenuEntry{kEndOfSubmenu, ""},
    command("Search", CommandId::Search),
};
constexpr std::array kOption{
    command("Customized NV Item List", CommandId::CustomizedList),
    command("Reset Phone", CommandId::ResetPhone),
    command("Offline Mode", CommandId::OfflineMode),
};
constexpr std::array kSetting{command("Comport", CommandId::Comport)};
constexpr std::array kHelp{
    command("About Calvane...", CommandId::About),
    command("Help Topic", CommandId::HelpTopic),
};
constexpr std::array<MenuInfo, 5> kDocumentMenus{
    {{"File", kFile}, {"View", kView}, {"Option", kOption}, {"Setting", kSetting}, {"Help", kHelp}}};

constexpr std::array kEmptyFile{
    command("&New\tCtrl+N", CommandId::New),
    command("&Open...\tCtrl+O", CommandId::Open),
    kLine,
    MenuEntry{kRecentFiles, ""},
    kLine,
    command("E&xit", CommandId::Exit),
};
constexpr std::array kEmptyView{
    command("&Toolbar", CommandId::ViewToolbar),
    command("&Status Bar", CommandId::ViewStatusBar),
};
constexpr std::array kEmptyHelp{command("&About Calvane...", CommandId::About)};
constexpr std::array<MenuInfo, 3> kEmptyMenus{{{"&File", kEmptyFile}, {"&View", kEmptyView}, {"&Help", kEmptyHelp}}};

constexpr std::array kToolbar{
    CommandId::ReadFromPhone,
    CommandId::WriteChangedToPhone,
    CommandId::WriteListedToPhone,
    CommandId::ReadFromMox,
    CommandId::WriteListedToMox,
    kToolbarSeparator,
    CommandId::ResetPhone,
    kToolbarSeparator,
    CommandId::Comport,
    kToolbarSeparator,
    CommandId::About,
};

} // namespace

std::span<const CommandInfo> commandTable() {
    return kCommands;
}

std::span<const MenuInfo> documentMenus() {
    return kDocumentMenus;
}

std::span<const MenuInfo> emptyMenus() {
    return kEmptyMenus;
}

std::span<const CommandId> toolbarButtons() {
    return kToolbar;
}
