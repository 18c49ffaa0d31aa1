#pragma once

#include <filesystem>
#include <string_view>

namespace kernel {

/// Why a file could not be written: error numbers of the system, 0 where there was no such failure.
struct WholeFileResult {
    int openError = 0;  ///< the file can't be written to at all; it is as it was
    int writeError = 0; ///< not everything could be written; a regular file is as it was

    bool succeeded() const { return openError == 0 && writeError == 0; }
};

/// Makes `content` the whole content of the file at `path`. A regular file is replaced as a whole or not at all, so
/// that a full disk or a power cut leaves the old one; through a link, it is the file that it leads to that is
/// replaced, or made. It keeps its access rights. What can't be replaced (a pipe, a terminal, a file in a folder that
/// takes no new files) is written in place.
WholeFileResult writeWholeFile(const std::filesystem::path& path, std::string_view content);

} // namespace kernel
