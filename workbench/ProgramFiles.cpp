#include "workbench/ProgramFiles.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Trace.h"
#include "platform/kernel/WholeFile.h"
#include "workbench/RingInfo.h"
#include "workbench/Units.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace workbench {
namespace {

namespace fs = std::filesystem;

constexpr const char* kUnitsFileName = "NV Decoder.units";
constexpr const char* kSampleFileName = "Sample Phone.nvmem";
constexpr const char* kHelpFileName = "CALVANE.HLP";
constexpr std::size_t kMaxShippedBytes = std::size_t{1} << 20;

struct ShippedFile {
    const char* name;
    const char* sha256;
};

/// All that have ever shipped, the present ones included: who changes one in data/ adds a row.
constexpr ShippedFile kShippedFiles[] = {
    {kRingFileName, "ea279df54770f430f18ccfaef7d7292259dd3b4221f93a808be429bf18eb0174"},
    {kRingFileName, "7e5cba66eb93205ea0c5fc189aa6eee38f94b524cef156ad6a76dcd7edc1447e"},
    {kUnitsFileName, "7f60c0b89bdabcf47e3a849c2b8ea176479b3915def01a3c8c5eebb0637481b7"},
    {kUnitsFileName, "d05c01d24e91c5fc271b4ecc3361ff5a5222ac4b52331723a4c23565e63f3c03"},
    {kSampleFileName, "3879d4523f98b0eff84173b3e9bdbf68dd0ecceb4282c4796c85689a709bcb94"},
    {kSampleFileName, "baf0cba5e03854a9e759b33e158795902a4c6a3c68a2b5bee64fd08f402e9821"},
    {kServiceFileName, "ea8253080940e44703ef3c6ebe93e6973d85b79f8cd7218b5741878cd154e79d"},
    {kServiceFileName, "09975f20d79650ed65208306611f4083b62a25b1884110c033190044aab32f16"},
    {kServiceFileName, "0a6e99bd58d2dfa58a469a049fbde0c0f973c9d4f6dd4a1edeb2b1cf31d398bf"},
    {kServiceFileName, "f5e6c4824d244a206c8155f40c5c591e2396114d61d259611e071cf3401d64c1"},
    {kServiceFileName, "73ccb7494e4a504d11c034312c5fa23b81be366daa6fe1a0b8e2303a1a3d20b7"},
    {kServiceFileName, "f587820f2086b83e0bcafb5908c153c553df8e416c49650cf7c097de7ef60e2f"},
};

bool isThere(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

/// A link is the user's doing, wherever it leads.
bool isPlainFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(fs::symlink_status(path, ignored));
}

bool isAsShipped(const fs::path& path, std::string_view name) {
    if (!isPlainFile(path)) {
        return false;
    }
    const std::string hash = fileHash(path);
    return std::ranges::any_of(kShippedFiles,
                               [&](const ShippedFile& file) { return name == file.name && hash == file.sha256; });
}

/// Whether the ring in the user's folder, with its units, says nothing of the user's.
bool isRingAsShipped(const fs::path& ring) {
    const fs::path units = Units::pathBeside(ring);
    return isAsShipped(ring, kRingFileName) && (!isThere(units) || isAsShipped(units, kUnitsFileName));
}

bool isProgram(const fs::path& path) {
    std::string head; // one more than the bytes that are asked for
    return isPlainFile(path) && kernel::readRegularFile(path, 3, head) == EFBIG &&
           head == "\x7F"
                   "ELF";
}

void logFailure(const fs::path& path, const char* what, const std::string& why) {
    kernel::logError("Can't " + std::string(what) + " " + path.string() + ": " + why);
}

void removeCopy(const fs::path& path) {
    std::error_code error;
    fs::remove(path, error);
    if (error) {
        logFailure(path, "remove the old copy", error.message());
    }
}

/// Makes the folder and those above it for the user alone.
bool makeFolder(const fs::path& folder) {
    fs::path made;
    int error = 0;
    for (const fs::path& part : folder) {
        made /= part;
        if (::mkdir(made.c_str(), S_IRWXU) != 0 && errno != EEXIST && error == 0) {
            error = errno;
        }
    }
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) {
        logFailure(folder, "make",
                   error != 0 ? std::generic_category().message(error)
                              : "a file, or a link that leads to no folder, is in its place");
        return false;
    }
    return true;
}

void removeOldCopies(const kernel::ProgramFolders& folders) {
    const fs::path& own = folders.own;
    bool hadPrograms = false;
    for (const char* name : {"calvane", "calvane-batch"}) {
        if (own != folders.program && isProgram(own / name)) {
            removeCopy(own / name);
            hadPrograms = true;
        }
    }
    // The help came with the programs, and was replaced by the shipped one whenever these were started.
    if (hadPrograms && isPlainFile(own / kHelpFileName)) {
        removeCopy(own / kHelpFileName);
    }
    // In this order: a ring without units is still one as it was shipped, for a program that meets it now.
    if (isThere(folders.shipped / kRingFileName) && isRingAsShipped(own / kRingFileName)) {
        removeCopy(own / kUnitsFileName);
        removeCopy(own / kRingFileName);
    }
    if (isThere(folders.shipped / kSampleFileName) && isAsShipped(own / kSampleFileName, kSampleFileName)) {
        removeCopy(own / kSampleFileName);
    }
}

void placeServiceFile(const kernel::ProgramFolders& folders) {
    const fs::path own = folders.own / kServiceFileName;
    const bool isOld = isAsShipped(own, kServiceFileName);
    std::string text;
    if ((isThere(own) && !isOld) ||
        kernel::readRegularFile(folders.shipped / kServiceFileName, kMaxShippedBytes, text) != 0 ||
        (isOld && fileHash(own) == fileHash(folders.shipped / kServiceFileName))) {
        return;
    }
    const auto written = kernel::writeWholeFile(own, text, {.mayReplace = isOld, .beforeNaming = {}});
    if (!written.succeeded() && written.error() != EEXIST) { // another program was faster
        logFailure(own, "write", std::generic_category().message(written.error()));
    }
}

} // namespace

fs::path sideFile(const std::string& name, const fs::path& own, const fs::path& shipped) {
    return isThere(own / name) || !isThere(shipped / name) ? own / name : shipped / name;
}

fs::path ringFile(const fs::path& own, const fs::path& shipped) {
    const bool givesWay = own != shipped && isThere(shipped / kRingFileName) && isRingAsShipped(own / kRingFileName);
    return givesWay ? shipped / kRingFileName : sideFile(kRingFileName, own, shipped);
}

void bringUpToDate(const kernel::ProgramFolders& folders) {
    if (folders.own == folders.shipped || !makeFolder(folders.own)) {
        return;
    }
    removeOldCopies(folders);
    placeServiceFile(folders);
    if (isThere(folders.own / kUnitsFileName) && !isThere(folders.own / kRingFileName)) {
        logFailure(folders.own / kUnitsFileName, "use", "there is no \"" + std::string(kRingFileName) + "\" beside it");
    }
}

} // namespace workbench
