#pragma once

#include "app/frame/CommandIds.h"

#include <span>
#include <string_view>

/// One command as menus and toolbar show it.
struct CommandInfo {
    CommandId id;
    std::string_view prompt;   ///< shown in the status bar; empty for none
    std::string_view toolTip;  ///< empty for none
    bool needsDocument;        ///< there is nothing to do without a document window
    bool disabledWhileReading; ///< not to be had while a read from the phone runs
};

/// One line of a menu.
struct MenuEntry {
    enum class Kind { kCommand, kSeparator, kRecentFiles, kSubmenu, kEndOfSubmenu };

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
std::span<const MenuInfo> emptyMenus();

/// A separator where it says no command.
inline constexpr CommandId kToolbarSeparator{};
std::span<const CommandId> toolbarButtons();
