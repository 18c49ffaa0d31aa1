#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

namespace kernel {

/// Why a file could not be written: error numbers of the system, 0 where there was no such failure.
struct WholeFileResult {
    int openError = 0;  ///< the file can't be written to at all; it is as it was
    int writeError = 0; ///< not everything could be written; a regular file that was to be replaced is as it was

    int error() const { return openError != 0 ? openError : writeError; }
    bool succeeded() const { return error() == 0; }
};

/// What a writer may ask for beyond the content.
struct WholeFileOptions {
    /// Where false, the path must be free: EEXIST is the openError (or the writeError, if it was taken meanwhile).
    bool mayReplace = true;
    /// Where false, the content need not survive a power cut, and the write does not wait for the disk.
    bool toDisk = true;
    /// Called with the new file, complete and open, before it takes its name, so that a lock on it holds from the first
    /// moment on. Answers 0, or the error number with which the write ends. Not called for a file written in place.
    std::function<int(int file)> beforeNaming;
};

/// Makes `content` the whole content of the file at `path`; through links, of the file that they lead to, which is made
/// if it is not there. Any thread may call it.
///
/// A regular file is replaced as a whole or not at all: a new one is written and takes its name when it is complete, so
/// that a full disk, a kill or a power cut leaves the old one. The new one has no name until then, where the file
/// system has such files; elsewhere it has a short one beside the path (.calvane-...). It keeps the owner, the group
/// and the access rights of the old one; where there is none, it gets those that the process gives to any.
///
/// Written in place instead are
/// - what is no regular file (a terminal; a pipe, which has to have a reader by then, see openOutput()),
/// - a file with further names (hard links), which would go on showing the old content under them, and one that is
///   named by its descriptor (/dev/stdout), whose owner would go on writing to the old one,
/// - a file with an access control list,
/// - a file that can't be exchanged for a new one like it: its folder takes no new files, its owner is somebody else,
///   something is mounted on it.
/// A regular file then gets the room by which it grows before its first byte changes: a full disk leaves it as it was
/// (unless it has holes or the file system writes every change elsewhere). Of one that is reached by its name the
/// content stands complete beside it meanwhile (.calvane-...), where its folder takes new files: a kill, a power cut or
/// a failing disk in the midst damages the file, and leaves those bytes.
///
/// SIGINT, SIGTERM and SIGHUP wait until a regular file is whole and what stood beside it is gone, see SignalHold.
WholeFileResult writeWholeFile(const std::filesystem::path& path, std::string_view content,
                               const WholeFileOptions& options = {});

/// Where the links that begin at `path` end, whether or not a file is there: the file that writeWholeFile() writes.
std::filesystem::path endOfLinks(const std::filesystem::path& path);

} // namespace kernel
