// The catalog's transfers from and to calibration files.

#include "calfile/MoxFile.h"
#include "engine/Calvane.h"
#include "engine/PhoneProperties.h"
#include "platform/kernel/Trace.h"

#include <algorithm>

namespace {

const std::string kReadPrefix = "Calvane::getNvItemFrompMoxFile( const string pMoxFileName ) - ";
const std::string kCreatePrefix = "Calvane::createMoxFile( const string fileName ) - ";
const std::string kCreateListedPrefix = "Calvane::createMoxFile( const string fileName, const vector< NvItem >& "
                                        "nvItems, const unsigned short phoneModelId ) - ";

/// Hands each record of the file to `take`. No iterator holds the file when this returns.
template <class Take>
void forEachRecord(MoxFile& file, Take take) {
    MoxFile::Iterator record = file.begin();
    for (const MoxFile::Iterator end = file.end(); record != end; ++record) {
        take(*record);
    }
}

std::vector<const NvItem*> pointersTo(const std::vector<NvItem>& items) {
    std::vector<const NvItem*> pointers;
    pointers.reserve(items.size());
    for (const NvItem& item : items) {
        pointers.push_back(&item);
    }
    return pointers;
}

} // namespace

std::vector<NvItem> Calvane::getNvItemFrompMoxFile(const std::string pMoxFileName) {
    std::vector<NvItem> items;
    onFile(kReadPrefix, [&] {
        file_->open(pMoxFileName);
        loaded_.clear();
        forEachRecord(*file_, [&](const MoxFile::NvRecord& record) {
            if (supported_.contains(record.id)) {
                items.push_back(setData(record.id, record.data.data()));
            }
        });
        file_->cleanUp();
    });
    return items;
}

std::optional<PhoneProperties> Calvane::phonePropertiesOf(const std::string& fileName) {
    std::optional<PhoneProperties> properties;
    try {
        onFile("Calvane::phonePropertiesOf - ", [&] {
            file_->open(fileName);
            if (const auto record = file_->readMobilePropertyInfo()) {
                properties = {record->esn, record->nvMajorVersion, record->nvMinorVersion, record->softwareVersion,
                              record->clientName};
            }
            file_->cleanUp();
        });
    } catch (const Exception& error) {
        kernel::logError(error.what());
    }
    return properties;
}

std::optional<std::uint16_t> Calvane::phoneModelId() {
    return loaded_.empty() ? std::nullopt : std::optional(file_->readPhoneModelId());
}

void Calvane::createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems, unsigned short phoneModelId,
                            std::uint32_t esn, std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion,
                            const std::string softwareVersion, const std::string clientName) {
    const PhoneProperties properties{esn, nvMajorVersion, nvMinorVersion, softwareVersion, clientName};
    onFile(kCreatePrefix, [&] { writeFile(fileName, pointersTo(nvItems), phoneModelId, &properties); });
}

void Calvane::createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems, std::uint32_t esn,
                            std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion, const std::string softwareVersion,
                            const std::string clientName) {
    createMoxFile(fileName, nvItems, 0, esn, nvMajorVersion, nvMinorVersion, softwareVersion, clientName);
}

void Calvane::createMoxFile(const std::string fileName, unsigned short phoneModelId, std::uint32_t esn,
                            std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion, const std::string softwareVersion,
                            const std::string clientName) {
    const PhoneProperties properties{esn, nvMajorVersion, nvMinorVersion, softwareVersion, clientName};
    onFile(kCreatePrefix, [&] { writeFile(fileName, loadedItems(), phoneModelId, &properties); });
}

void Calvane::createMoxFile(const std::string fileName, std::uint32_t esn, std::uint8_t nvMajorVersion,
                            std::uint8_t nvMinorVersion, const std::string softwareVersion,
                            const std::string clientName) {
    createMoxFile(fileName, static_cast<unsigned short>(0), esn, nvMajorVersion, nvMinorVersion, softwareVersion,
                  clientName);
}

void Calvane::createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems,
                            unsigned short phoneModelId) {
    onFile(kCreateListedPrefix, [&] {
        // Without anything to write the file object refuses, and what the file holds must not be gone by then.
        const bool writesAny =
            std::any_of(nvItems.begin(), nvItems.end(), [](const NvItem& item) { return item.isWritable(); });
        if (writesAny && mox::mayExist(fileName)) {
            pruneFile(fileName, nvItems);
        }
        writeFile(fileName, pointersTo(nvItems), phoneModelId, nullptr);
    });
}

void Calvane::createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems) {
    createMoxFile(fileName, nvItems, 0);
}

void Calvane::createMoxFile(const std::string fileName, unsigned short phoneModelId) {
    onFile(kCreatePrefix, [&] { writeFile(fileName, loadedItems(), phoneModelId, nullptr); });
}

void Calvane::createMoxFile(const std::string fileName) {
    createMoxFile(fileName, static_cast<unsigned short>(0));
}

void Calvane::onFile(const std::string& prefix, const std::function<void()>& operation) {
    try {
        operation();
    } catch (const MoxFile::Exception& error) {
        const std::string message = prefix + error.what();
        closeAfterFailure();
        throw Exception(message);
    } catch (...) {
        closeAfterFailure();
        throw;
    }
}

void Calvane::closeAfterFailure() {
    try {
        file_->cleanUp();
    } catch (const std::exception& error) {
        kernel::logError(std::string("Calvane - A calibration file could not be closed: ") + error.what());
    }
}

void Calvane::pruneFile(const std::string& fileName, const std::vector<NvItem>& nvItems) {
    std::set<std::uint16_t> kept;
    for (const NvItem& item : nvItems) {
        kept.insert(item.getId());
    }
    // Collected first: the walk keeps the file open for reading.
    std::vector<std::uint16_t> unwanted;
    file_->cleanUp();
    file_->open(fileName);
    forEachRecord(*file_, [&](const MoxFile::NvRecord& record) {
        if (!kept.contains(record.id)) {
            unwanted.push_back(record.id);
        }
    });
    if (!unwanted.empty()) {
        file_->removeNvItems(unwanted);
    }
}

std::vector<const NvItem*> Calvane::loadedItems() const {
    std::vector<const NvItem*> items;
    items.reserve(loaded_.size());
    for (const auto& [number, item] : loaded_) {
        items.push_back(item);
    }
    return items;
}

void Calvane::writeFile(const std::string& fileName, const std::vector<const NvItem*>& items,
                        unsigned short phoneModelId, const PhoneProperties* properties) {
    file_->cleanUp();
    for (const NvItem* item : items) {
        if (item->isWritable()) {
            file_->addNvItem(item->getId(), item->getData());
        }
    }
    if (properties != nullptr) {
        file_->setMobilePropertyInfo(properties->esn, properties->nvMajorVersion, properties->nvMinorVersion,
                                     properties->softwareVersion, properties->clientName);
    }
    file_->writeToDisk(fileName.c_str(), phoneModelId);
    file_->cleanUp();
}
