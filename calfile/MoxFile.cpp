#include "calfile/MoxFile.h"

#include "platform/kernel/Trace.h"

#include <algorithm>
#include <utility>

namespace {

void requireShortEnough(const std::string& text, const char* what) {
    if (text.size() > mox::kMaxPropertyTextBytes) {
        throw MoxException(std::string("MoxFile::setMobilePropertyInfo() - The ") + what + " is longer than " +
                           std::to_string(mox::kMaxPropertyTextBytes) + " bytes.");
    }
}

} // namespace

MoxFile::~MoxFile() {
    try {
        runOnWorker(&MoxFile::cleanUpImpl);
    } catch (const std::exception& error) {
        kernel::logError(std::string("MoxFile::~MoxFile() - ") + error.what());
    }
}

void MoxFile::open(std::string fileName) {
    fileName_ = std::move(fileName);
    requestedMode_ = OpenMode::kRead;
    needsSetup_ = true;
}

void MoxFile::operator<<(const NvRecord& record) {
    items_.push_back(record);
    itemsAdded_ = true;
}

void MoxFile::addNvItem(std::uint16_t nvItemId, const std::uint8_t* data) {
    NvRecord record;
    record.id = nvItemId;
    std::copy_n(data, record.data.size(), record.data.begin());
    *this << record;
}

void MoxFile::removeNvItem(std::uint16_t nvItemId) {
    removeNvItems({nvItemId});
}

void MoxFile::removeNvItems(const std::vector<std::uint16_t>& nvItemIds) {
    itemsToRemove_ = nvItemIds;
    handToWorker(&MoxFile::removeNvItemsImpl);
    itemsToRemove_.clear();
    throwIfFailed();
}

void MoxFile::writeToDisk() {
    requireItems();
    write();
}

void MoxFile::writeToDisk(std::uint16_t phoneModelId) {
    requireItems();
    properties_.phoneModelId = phoneModelId;
    write();
}

void MoxFile::writeToDisk(const char* fileName, std::uint16_t phoneModelId) {
    requireItems();
    if (fileName != fileName_.c_str()) {
        fileName_ = fileName;
    }
    properties_.phoneModelId = phoneModelId;
    write();
}

void MoxFile::requireItems() const {
    if (!itemsAdded_) {
        throw Exception("MoxFile::writeToDisk() - Before calling this member function you need to add at least 1 NV "
                        "item to the this object using the insertion operator.");
    }
}

void MoxFile::write() {
    runOnWorker(&MoxFile::writeToDiskImpl);
}

void MoxFile::cleanUp() {
    items_.clear();
    itemsAdded_ = false;
    propertiesSet_ = false;
    needsSetup_ = true;
    requestedMode_ = OpenMode::kRead;
    runOnWorker(&MoxFile::cleanUpImpl);
}

void MoxFile::setMobilePropertyInfo(std::uint32_t esn, std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion,
                                    std::string softwareVersion, std::string clientName) {
    requireShortEnough(softwareVersion, "software version");
    requireShortEnough(clientName, "client name");
    properties_.esn = esn;
    properties_.nvMajorVersion = nvMajorVersion;
    properties_.nvMinorVersion = nvMinorVersion;
    properties_.softwareVersion = std::move(softwareVersion);
    properties_.clientName = std::move(clientName);
    propertiesSet_ = true;
}

std::optional<mox::Properties> MoxFile::readMobilePropertyInfo() {
    requireFileName();
    setUpIfNeeded();
    runOnWorker(&MoxFile::readMobilePropertyInfoImpl);
    return std::exchange(foundProperties_, std::nullopt);
}

MoxFile::Iterator MoxFile::begin() {
    requireFileName();
    setUpIfNeeded();
    return Iterator(defaultStorage_.get());
}

MoxFile::Iterator MoxFile::end() {
    requireFileName();
    setUpIfNeeded();
    return {};
}

std::uint16_t MoxFile::readPhoneModelId() {
    return properties_.phoneModelId;
}

bool MoxFile::isWhole() const {
    return whole_;
}

void MoxFile::requireFileName() const {
    if (fileName_.empty()) {
        throw Exception("MoxFile::begin() - Error no MOX file has been opened.  Either create the MOX with a file "
                        "name, or call the open member function with a file name as a parameter.");
    }
}

void MoxFile::setUpIfNeeded() {
    if (needsSetup_) {
        runOnWorker(&MoxFile::setupStgPointers);
    }
}

void MoxFile::runOnWorker(void (MoxFile::*body)()) {
    handToWorker(body);
    throwIfFailed();
}

void MoxFile::throwIfFailed() {
    throwRecorded<Exception>();
}
