#include "platform/storage/Docfile.h"

#include "platform/storage/Elements.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace storage {
namespace {

// The files that this process has open. The lock of the operating system keeps other processes out; on some file systems
// it does not tell two opens of one process apart.
class OpenFiles {
public:
    static OpenFiles& instance() {
        static OpenFiles files;
        return files;
    }
    // kShareViolation where it is in the table.
    void add(const PosixFile::Identity& file) {
        const std::lock_guard lock(mutex_);
        if (!files_.insert(file).second) {
            throw Failure(kShareViolation);
        }
    }
    void remove(const PosixFile::Identity& file) {
        const std::lock_guard lock(mutex_);
        files_.erase(file);
    }

private:
    std::mutex mutex_;
    std::set<PosixFile::Identity> files_;
};

void flushFolderOf(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        // Some file systems cannot; the file itself is on the disk all the same.
        (void)fsync(descriptor);
        close(descriptor);
    }
}

// A file of the operating system with its place in the table. A new one has its name brought to the disk, too.
class SharedFile final : public FileBytes {
public:
    explicit SharedFile(std::unique_ptr<PosixFile> file, std::string newPath = {})
        : file_(std::move(file)), newPath_(std::move(newPath)), identity_(file_->identity()) {
        OpenFiles::instance().add(identity_);
    }
    ~SharedFile() override { OpenFiles::instance().remove(identity_); }
    SharedFile(const SharedFile&) = delete;
    SharedFile& operator=(const SharedFile&) = delete;

    std::uint64_t size() override { return file_->size(); }
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> out) override { return file_->read(offset, out); }
    void write(std::uint64_t offset, ByteView bytes) override { file_->write(offset, bytes); }
    void resize(std::uint64_t newSize) override { file_->resize(newSize); }
    void flush() override {
        file_->flush();
        if (!newPath_.empty()) {
            flushFolderOf(std::exchange(newPath_, {}));
        }
    }

private:
    std::unique_ptr<PosixFile> file_;
    std::string newPath_;
    PosixFile::Identity identity_;
};

// Writes the empty container under a name of its own and then gives it the path: whoever looks sees the old file or the
// whole new one.
std::unique_ptr<FileBytes> createFile(const std::string& path, PosixFile* replaced) {
    static std::atomic<unsigned> counter{0};
    const std::string temporary = path + "." + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".new";
    std::unique_ptr<PosixFile> file;
    try {
        file = std::make_unique<PosixFile>(temporary, PosixFile::Open::createNew);
    } catch (const Failure& failure) {
        throw Failure(failure.code() == kFileNotFound ? kPathNotFound : failure.code());
    }
    try {
        if (replaced != nullptr) {
            file->copyPermissions(*replaced);
        }
        const Buffer empty = Sectors::emptyFile();
        file->resize(empty.size());
        file->write(0, empty);
        auto shared = std::make_unique<SharedFile>(std::move(file), path);
        if (std::rename(temporary.c_str(), path.c_str()) != 0) {
            throw Failure(statusOfErrno(errno, kUnknownFailure));
        }
        return shared;
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}

ComPtr<IStorage> rootOf(std::unique_ptr<FileBytes> file, std::uint32_t access) {
    return makeRoot(std::make_shared<Container>(std::move(file), access != kRead), access);
}

} // namespace

Status stgCreateDocfile(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out) {
    out.reset();
    return guarded([&] {
        const std::uint32_t access = accessOf(mode, true);
        if (access == kRead) {
            throw Failure(kInvalidFlag);
        }
        std::error_code ignored;
        // A link stays, and what it leads to is replaced.
        const auto resolved = std::filesystem::weakly_canonical(path, ignored).string();
        const std::string& target = resolved.empty() ? path : resolved;
        std::unique_ptr<SharedFile> held;
        std::unique_ptr<PosixFile> old;
        try {
            old = std::make_unique<PosixFile>(target, PosixFile::Open::forWriting);
        } catch (const Failure& failure) {
            if (failure.code() != kFileNotFound) {
                throw;
            }
        }
        PosixFile* replaced = old.get();
        if (old != nullptr) {
            if ((mode & kCreate) == 0) {
                throw Failure(kFileAlreadyExists);
            }
            held = std::make_unique<SharedFile>(std::move(old));
        }
        out = rootOf(createFile(target, replaced), access);
        return com::kOk;
    });
}

Status stgOpenStorage(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out) {
    out.reset();
    return guarded([&] {
        const std::uint32_t access = accessOf(mode, false);
        const auto how = access == kRead ? PosixFile::Open::forReading : PosixFile::Open::forWriting;
        out = rootOf(std::make_unique<SharedFile>(std::make_unique<PosixFile>(path, how)), access);
        return com::kOk;
    });
}

Status createContainer(std::unique_ptr<FileBytes> emptyFile, ComPtr<IStorage>& out) {
    out.reset();
    return guarded([&] {
        const Buffer empty = Sectors::emptyFile();
        emptyFile->resize(empty.size());
        emptyFile->write(0, empty);
        out = rootOf(std::move(emptyFile), kReadWrite);
        return com::kOk;
    });
}

Status openContainer(std::unique_ptr<FileBytes> file, std::uint32_t mode, ComPtr<IStorage>& out) {
    out.reset();
    return guarded([&] {
        const std::uint32_t access = accessOf(mode, false);
        out = rootOf(std::move(file), access);
        return com::kOk;
    });
}

} // namespace storage
