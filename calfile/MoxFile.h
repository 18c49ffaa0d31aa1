#pragma once

#include "calfile/MoxException.h"
#include "calfile/MoxLayout.h"
#include "phonelink/ComThreadUser.h"
#include "platform/storage/Storage.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mox {
/// Whether a file may be at the path: false where nothing is, or its folder is none. Where the system cannot tell,
/// there may be one, which nobody must replace: its opening says what is wrong.
bool mayExist(const std::string& path);
} // namespace mox

/// A calibration file: NV items by number, and optionally a record of the phone's properties. One object serves many
/// files one after the other; the catalog owns one for its whole life.
///
/// Any thread may call it, one call at a time. Every access to the file happens on the COM worker thread: a public
/// member leaves its inputs in the object, hands a private member to the worker, waits for it, and throws the failure
/// that it recorded as a MoxFile::Exception. The object stays usable after that, its file as far open as the member
/// got; cleanUp() closes it.
///
/// To read: open, then walk from begin to end, then cleanUp. To write: cleanUp, addNvItem for each item, perhaps
/// setMobilePropertyInfo, writeToDisk, cleanUp. While the object or one of its iterators has a file open, nobody else
/// can open it.
class MoxFile : public ComThreadUser {
public:
    using Exception = MoxException;
    using NvRecord = mox::Record;
    class IteratorImpl;
    class Iterator;

    enum class OpenMode : std::uint32_t { kNone = 0, kRead = 1, kWrite = 2 };

    /// What the acquisition of the worker throws comes through.
    MoxFile() = default;
    /// Closes the file. A failure of that goes into the error log.
    ~MoxFile() override;

    /// Names the file that begin and end read. Touches no file, and does not close one that is open: without a cleanUp
    /// in between, a file that is open for reading stays the one that is read.
    virtual void open(std::string fileName);
    /// Adds a record to those that writeToDisk writes.
    virtual void operator<<(const NvRecord& record);
    /// The same for 128 bytes at `data`, with status 0.
    virtual void addNvItem(std::uint16_t nvItemId, const std::uint8_t* data);
    /// Removes an item from the file, or several in their order; the first one that the file lacks ends the removal.
    /// A file that is not open for writing is opened so, and is created where there is none. An iterator that is alive
    /// holds the file, so that opening it for writing is refused.
    virtual void removeNvItem(std::uint16_t nvItemId);
    virtual void removeNvItems(const std::vector<std::uint16_t>& nvItemIds);
    /// Writes what was added, and the properties where they were set since the last cleanUp, to the file `fileName`
    /// (without it: to the one named last). A file that is open already stays the one that is written. An existing file
    /// keeps its other items and its model id; a new one is named by `phoneModelId` (without it: the one held). Throws
    /// where nothing was added since the last cleanUp. After a failure the items before it are in the file;
    /// where the file could not be saved, it is as it was.
    virtual void writeToDisk();
    virtual void writeToDisk(std::uint16_t phoneModelId);
    virtual void writeToDisk(const char* fileName, std::uint16_t phoneModelId);
    /// Forgets what was added and set, and closes the file.
    virtual void cleanUp();
    /// The property record that writeToDisk writes. Throws, and changes nothing, for a text of more than 65535 bytes.
    virtual void setMobilePropertyInfo(std::uint32_t esn, std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion,
                                       std::string softwareVersion, std::string clientName);
    /// The property record of the file, which is opened for reading where it is not open; nothing where it has none, or
    /// one that is cut short. Throws where no file was named, and where it can't be opened or read.
    virtual std::optional<mox::Properties> readMobilePropertyInfo();
    /// The first item of the file, which is opened for reading where it is not open. In a file without a model storage
    /// the iterator is not initialised. Throws where no file was named, where it can't be opened, and where its first
    /// item can't be read.
    virtual Iterator begin();
    virtual Iterator end();
    /// The model id of the file opened last, or the one given to the last write. Touches no file.
    virtual std::uint16_t readPhoneModelId();
    /// Whether all of the file opened last could be read. False for a damaged one, which may have had more items than
    /// an iterator finds. Touches no file.
    virtual bool isWhole() const;

protected:
    /// These run on the worker and record what fails.
    virtual void writeToDiskImpl();
    virtual void readPhoneModelIdImpl();
    virtual void readMobilePropertyInfoImpl();
    virtual void removeNvItemsImpl();
    /// Brings the file into the requested mode, creating one that is to be written and does not exist.
    virtual void setupStgPointers();
    virtual void cleanUpImpl();
    /// Throws the recorded failure, which is none from then on.
    virtual void throwIfFailed();

    using StoragePtr = storage::ComPtr<storage::IStorage>;

    bool itemsAdded_ = false;
    bool propertiesSet_ = false;
    bool needsSetup_ = true;
    bool whole_ = true;
    mox::Properties properties_;                     // its phoneModelId is the one held for the file
    std::optional<mox::Properties> foundProperties_; // by readMobilePropertyInfoImpl()
    std::string fileName_;
    std::vector<NvRecord> items_;
    std::vector<std::uint16_t> itemsToRemove_;
    /// Used, and released, on the worker alone.
    StoragePtr rootStorage_;
    StoragePtr modelStorage_;
    StoragePtr defaultStorage_;

private:
    /// Hands the member to the worker, waits for it, and throws what it recorded.
    void runOnWorker(void (MoxFile::*body)());
    void requireItems() const;
    void write();
    void requireFileName() const;
    void setUpIfNeeded();

    /// On the worker, inside a body.
    void prepareToWrite();
    void createFile();
    void openFile(std::uint32_t mode);
    /// Opens the file for writing, changes it, and saves it.
    void changeFile(const std::function<void()>& change);
    com::Status save();

    OpenMode currentMode_ = OpenMode::kNone;
    OpenMode requestedMode_ = OpenMode::kRead;
};

#include "calfile/MoxFileIterator.h"
