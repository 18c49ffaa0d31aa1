#pragma once

#include "platform/kernel/Process.h"

#include <filesystem>
#include <string>

/// The side files of an installed program. What ships with it is read where it was installed; a file of the same name
/// in the user's folder takes its place, unless that is a copy of an earlier shipped one that nobody has changed.
/// Earlier versions ran in the user's folder and copied everything there.
///
/// Where both folders are one, as in a build tree, the file in it is the answer to everything.
namespace workbench {

inline constexpr const char* kRingFileName = "NV Decoder.vrk";
inline constexpr const char* kServiceFileName = "Tessra.toml";

/// The file of this name in the user's folder `own`; the shipped one where he has none. Where neither is there, the
/// name in `own`.
std::filesystem::path sideFile(const std::string& name, const std::filesystem::path& own,
                               const std::filesystem::path& shipped = kernel::programFolders().shipped);

/// The decoder ring in use. The user's counts together with the units beside it, as these mean something for their ring
/// alone: a ring as it was shipped is the user's own where the units beside it are. Units without a ring are not used.
std::filesystem::path ringFile(const std::filesystem::path& own,
                               const std::filesystem::path& shipped = kernel::programFolders().shipped);

/// Brings the user's folder up to date: makes it, closed to others, with a Tessra.toml to begin with; replaces that
/// one, and removes ring, units and sample, where they are unchanged copies of shipped ones, and removes the copies of
/// the programs and the help that earlier versions made. May run in several programs at once. What can't be done is
/// logged and left.
void bringUpToDate(const kernel::ProgramFolders& folders);

} // namespace workbench
