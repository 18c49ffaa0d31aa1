// The members of MoxFile that run on the worker thread.

#include "calfile/MoxFailures.h"
#include "calfile/MoxFile.h"
#include "calfile/MoxTree.h"
#include "platform/com/Messages.h"
#include "platform/kernel/Trace.h"

#include <sys/stat.h>

#include <cerrno>

namespace {

const WorkerFailureTexts kWriteToDisk = mox::failureTexts("MoxFile::writeToDiskImpl()", true);
const WorkerFailureTexts kReadPropertyInfo = mox::failureTexts("MoxFile::readMobilePropertyInfoImpl()", true);
const WorkerFailureTexts kRemoveNvItems = mox::failureTexts("MoxFile::removeNvItemsImpl()", true);
const WorkerFailureTexts kSetupStgPointers = mox::failureTexts("MoxFile::setupStgPointers()", true);
const WorkerFailureTexts kCleanUp = mox::failureTexts("MoxFile::cleanUpImpl()", false);

bool isThere(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

} // namespace

bool mox::mayExist(const std::string& path) {
    return isThere(path) || (errno != ENOENT && errno != ENOTDIR);
}

void MoxFile::writeToDiskImpl() {
    recordFailures(kWriteToDisk, [this] {
        changeFile([this] {
            mox::writeItems(defaultStorage_, items_);
            if (propertiesSet_) {
                mox::writeProperties(defaultStorage_, properties_);
            }
        });
        items_.clear();
    });
}

void MoxFile::readPhoneModelIdImpl() {
    if (needsSetup_) {
        requestedMode_ = OpenMode::kRead;
        setupStgPointers();
    }
    if (errorPending_) {
        errorMessage_ = "MoxFile::readPhoneModelIdImpl() - " + errorMessage_;
    }
}

void MoxFile::readMobilePropertyInfoImpl() {
    recordFailures(kReadPropertyInfo, [this] {
        foundProperties_ = defaultStorage_ ? mox::readProperties(defaultStorage_) : std::nullopt;
    });
}

void MoxFile::removeNvItemsImpl() {
    recordFailures(kRemoveNvItems, [this] {
        changeFile([this] { mox::removeItems(defaultStorage_, itemsToRemove_); });
        itemsToRemove_.clear();
    });
}

// What was done before a failure is saved, too; of two failures the first is told.
void MoxFile::changeFile(const std::function<void()>& change) {
    prepareToWrite();
    try {
        change();
    } catch (...) {
        if (const com::Status status = save(); com::failed(status)) {
            kernel::logError("'" + fileName_ + "' can't be saved after a failure: " + com::standardMessage(status));
        }
        throw;
    }
    mox::check(save());
}

// What failed here shows in the first use of a storage that is not open, whose failure then replaces it.
void MoxFile::prepareToWrite() {
    if (!needsSetup_ && currentMode_ != OpenMode::kRead) {
        return;
    }
    requestedMode_ = OpenMode::kWrite;
    setupStgPointers();
    if (errorPending_ && !defaultStorage_) {
        std::string reason = errorMessage_.substr(0, errorMessage_.find_last_not_of("\r\n") + 1);
        if (const auto place = reason.find("%1"); place != std::string::npos) {
            reason.replace(place, 2, "'" + fileName_ + "'");
        }
        kernel::logError("'" + fileName_ + "' can't be written: " + reason);
    }
}

com::Status MoxFile::save() {
    return rootStorage_ ? rootStorage_->flush() : com::kOk;
}

void MoxFile::setupStgPointers() {
    recordFailures(kSetupStgPointers, [this] {
        if (requestedMode_ == currentMode_) {
            return;
        }
        if (currentMode_ == OpenMode::kNone) {
            if (requestedMode_ == OpenMode::kRead && !isThere(fileName_)) {
                throw Exception("Trying to read '" + fileName_ + "' that doesn't exists");
            }
            if (requestedMode_ == OpenMode::kWrite && !mox::mayExist(fileName_)) {
                createFile();
                needsSetup_ = false;
                currentMode_ = OpenMode::kWrite;
                return;
            }
        }
        cleanUpImpl();
        openFile(requestedMode_ == OpenMode::kRead ? mox::kForReading : mox::kForWriting);
        currentMode_ = requestedMode_;
        needsSetup_ = false;
    });
}

void MoxFile::createFile() {
    mox::check(storage::stgCreateDocfile(fileName_, mox::kNewFile, rootStorage_));
    whole_ = true;
    mox::check(rootStorage_->createStorage(mox::NumberName(properties_.phoneModelId), mox::kNewFile, modelStorage_));
    mox::check(modelStorage_->createStorage(mox::kDefaultStorage, mox::kNewFile, defaultStorage_));
    mox::writeVersionStream(rootStorage_);
}

// Where several storages could be the model's, the one enumerated last is.
void MoxFile::openFile(std::uint32_t mode) {
    mox::check(storage::stgOpenStorage(fileName_, mode, rootStorage_));
    whole_ = rootStorage_->isWhole();
    mox::EnumPtr children;
    mox::check(rootStorage_->enumElements(children));
    storage::ElementInfo child;
    while (mox::nextNumbered(children, child)) {
        // Nothing may be written to the one before, should this one not open.
        defaultStorage_.reset();
        mox::check(rootStorage_->openStorage(child.name, mode, modelStorage_));
        mox::check(modelStorage_->openStorage(mox::kDefaultStorage, mode, defaultStorage_));
        // A name of a greater number is no phone's; the file is one all the same, under the greatest id.
        properties_.phoneModelId = mox::numberOf(child.name).value_or(0xFFFF);
    }
}

void MoxFile::cleanUpImpl() {
    recordFailures(kCleanUp, [this] {
        rootStorage_.reset();
        modelStorage_.reset();
        defaultStorage_.reset();
    });
    currentMode_ = OpenMode::kNone;
}
