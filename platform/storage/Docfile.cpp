#include "platform/storage/Docfile.h"

#include "platform/storage/Elements.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>
#include <utility>

namespace storage {
namespace {

// The files that this process has open. The lock of the operating system keeps other processes out; on some file
// systems it does not tell two opens of one process apart.
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

// A file of the operating system with its place in the table.
class SharedFile final : public FileBytes {
public:
    explicit SharedFile(std::unique_ptr<PosixFile> file) : file_(std::move(file)), identity_(file_->identity()) {
        OpenFiles::instance().add(identity_);
    }
    ~SharedFile() override { OpenFiles::instance().remove(identity_); }
    SharedFile(const SharedFile&) = delete;
    SharedFile& operator=(const SharedFile&) = delete;

    std::uint64_t size() override { return file_->size(); }
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> out) override { return file_->read(offset, out); }
    void write(std::uint64_t offset, ByteView bytes) override { file_->write(offset, bytes); }
    void resize(std::uint64_t newSize) override { file_->resize(newSize); }
    void flush() override { file_->flush(); }

private:
    std::unique_ptr<PosixFile> file_;
    PosixFile::Identity identity_;
};

// A file that is being made. The first flush gives it its path: whoever looks sees the old file or the new one as its
// maker wanted it to be seen. One whose writing failed before never gets there. Until then it has no name, so that
// nothing of it is left when the process ends; or, where the file system has no such files, a name of its own beside
// the path.
class NewFile final : public FileBytes {
public:
    // `replaced` is the old file at the path, held until the new one takes its place; null where there is none.
    // kPathNotFound, kAccessDenied, as the system answers.
    NewFile(const std::string& path, std::unique_ptr<PosixFile> replaced) : path_(path) {
        auto made = makeUnnamed();
        unnamed_ = made != nullptr;
        if (!unnamed_) {
            made = makeTemporary();
        }
        try {
            bare_ = made.get();
            if (replaced != nullptr) {
                made->copyPermissions(*replaced);
                replaced_ = std::make_unique<SharedFile>(std::move(replaced));
            }
            file_ = std::make_unique<SharedFile>(std::move(made));
        } catch (...) {
            removeTemporary();
            throw;
        }
    }
    ~NewFile() override {
        if (!inPlace_) {
            removeTemporary();
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // Without a name it is nobody else's to cut: its size is known.
    std::uint64_t size() override { return unnamed_ ? size_ : file_->size(); }
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> out) override { return file_->read(offset, out); }
    void write(std::uint64_t offset, ByteView bytes) override {
        noting([&] { file_->write(offset, bytes); });
    }
    void resize(std::uint64_t newSize) override {
        noting([&] { file_->resize(newSize); });
        size_ = newSize;
    }
    void flush() override {
        noting([&] { file_->flush(); });
        if (inPlace_) {
            return;
        }
        if (failed_) {
            throw Failure(kWriteFault);
        }
        takePath();
        inPlace_ = true;
        unnamed_ = false;
        replaced_.reset();
        flushFolderOf(path_);
    }
    // Before it has its path nobody finds what a power cut leaves of it.
    void orderWrites() override {
        if (inPlace_) {
            file_->flush();
        }
    }

private:
    // Null where the file system has no files without a name, or none that can get one later.
    std::unique_ptr<PosixFile> makeUnnamed() const {
        const std::string folder = std::filesystem::path(path_).parent_path().string();
        try {
            auto made = std::make_unique<PosixFile>(folder.empty() ? "." : folder, PosixFile::Open::createUnnamed);
            return made->canBeNamed() ? std::move(made) : nullptr;
        } catch (const Failure&) {
            // The way with a name will say what is wrong.
            return nullptr;
        }
    }

    std::unique_ptr<PosixFile> makeTemporary() {
        for (unsigned tries = 1;; ++tries) {
            chooseTemporary();
            try {
                return std::make_unique<PosixFile>(temporary_, PosixFile::Open::createNew);
            } catch (const Failure& failure) {
                if (failure.code() != kFileAlreadyExists || tries == kMostTries) {
                    throw Failure(failure.code() == kFileNotFound ? kPathNotFound : failure.code());
                }
            }
        }
    }

    // A short name, so that every path that can be had can be made. A process of our number that was killed may have
    // left one.
    void chooseTemporary() {
        static std::atomic<unsigned> counter{0};
        temporary_ = std::filesystem::path(path_).parent_path() /
                     (".calvane-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".new");
    }
    static constexpr unsigned kMostTries = 100;

    void removeTemporary() const {
        if (!unnamed_) {
            unlink(temporary_.c_str());
        }
    }

    template <class Step>
    void noting(Step step) {
        try {
            step();
        } catch (...) {
            failed_ = true;
            throw;
        }
    }

    void takePath() {
        if (unnamed_ && replaced_ == nullptr) {
            if (!bare_->nameAs(path_)) {
                throw Failure(statusOfErrno(errno, kUnknownFailure));
            }
            return;
        }
        if (unnamed_) {
            // What replaces a file needs a name of its own for a moment.
            bool named = false;
            for (unsigned tries = 1; !named && (tries == 1 || errno == EEXIST) && tries <= kMostTries; ++tries) {
                chooseTemporary();
                named = bare_->nameAs(temporary_);
            }
            if (!named) {
                throw Failure(statusOfErrno(errno, kUnknownFailure));
            }
            unnamed_ = false;
        }
        if (replaced_ != nullptr) {
            if (std::rename(temporary_.c_str(), path_.c_str()) != 0) {
                throw Failure(statusOfErrno(errno, kUnknownFailure));
            }
            return;
        }
        // Never over a file that somebody else has put there meanwhile. Some file systems have only one of these ways,
        // and very few have neither.
        if (renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0) {
            return;
        }
        if (errno != EEXIST && link(temporary_.c_str(), path_.c_str()) == 0) {
            unlink(temporary_.c_str());
        } else if (errno == EEXIST) {
            throw Failure(kFileAlreadyExists);
        } else if (std::rename(temporary_.c_str(), path_.c_str()) != 0) {
            throw Failure(statusOfErrno(errno, kUnknownFailure));
        }
    }

    const std::string path_;
    std::string temporary_;
    bool unnamed_ = false;
    // The file has its path.
    bool inPlace_ = false;
    std::unique_ptr<SharedFile> replaced_;
    PosixFile* bare_ = nullptr; // belongs to file_
    std::unique_ptr<SharedFile> file_;
    std::uint64_t size_ = 0;
    bool failed_ = false;
};

// An empty container that will stand at `path`. `old`: the file that stands there now, or null.
std::unique_ptr<FileBytes> createFile(const std::string& path, std::unique_ptr<PosixFile> old) {
    auto made = std::make_unique<NewFile>(path, std::move(old));
    const Buffer empty = Sectors::emptyFile();
    made->resize(empty.size());
    made->write(0, empty);
    return made;
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
        std::unique_ptr<PosixFile> old;
        try {
            old = std::make_unique<PosixFile>(target, PosixFile::Open::forWriting);
        } catch (const Failure& failure) {
            if (failure.code() != kFileNotFound) {
                throw;
            }
        }
        if (old != nullptr && (mode & kCreate) == 0) {
            throw Failure(kFileAlreadyExists);
        }
        out = rootOf(createFile(target, std::move(old)), access);
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
