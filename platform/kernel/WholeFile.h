#pragma once

#include <filesystem>
#include <string_view>

namespace kernel {

/// Why a file could not be written: error numbers of the system, 0 where there was no such failure.
struct WholeFileResult {
    int openError = 0;  ///< the file can't be written to at all; it is as it was
    int writeError = 0; ///< not everything could be written; a regular file that was to be replaced is as it was

    bool succeeded() const { return openError == 0 && writeError == 0; }
};

/// Makes `content` the whole content of the file at `path`; through links, of the file that they lead to, which is made
/// if it is not there. Any thread may call it.
///
/// A regular file is replaced as a whole or not at all: a new one is written beside it and takes its name when it is
/// complete, so that a full disk or a power cut leaves the old one. It keeps its owner, its group and its access
/// rights; a new file gets those that the process gives to any.
///
/// Written in place instead are
/// - what is no regular file (a pipe, a terminal),
/// - a file with further names (hard links), which would go on showing the old content under them, and one that is
///   named by its descriptor (/dev/stdout), whose owner would go on writing to the old one,
/// - a file with an access control list,
/// - a file that can't be exchanged for a new one like it: its folder takes no new files, its owner is somebody else,
///   something is mounted on it.
/// A regular file then gets the room by which it grows before its first byte changes: a full disk leaves it as it was
/// (unless it has holes or the file system writes every change elsewhere), but a power cut or a failing disk in the
/// midst of the write damages it.
WholeFileResult writeWholeFile(const std::filesystem::path& path, std::string_view content);

} // namespace kernel
