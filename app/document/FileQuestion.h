#pragma once

#include <string>

/// One dialog that asks for a file's path.
struct FileQuestion {
    std::string title;   ///< empty: the platform's own
    std::string filters; ///< text, pattern, text, pattern, each followed by "|"; one more "|" at the end
    /// Given to a name that is typed without one; no dot. Its first three characters count, as the platform for which
    /// the texts were made takes no more.
    std::string extension;
};
