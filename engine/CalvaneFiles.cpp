// The catalog's transfers from and to calibration files.

#include "calfile/MoxFile.h"
#include "engine/Calvane.h"
#include "platform/kernel/Trace.h"

#include <algorithm>
#include <unordered_set>

namespace {

const std::string kReadPrefix = "Calvane::getNvItemFrompMoxFile( const string pMoxFileName ) - ";
const std::string kCreatePrefix = "Calvane::createMoxFile( const string fileName ) - ";
const std::string kCreateListedPrefix = "Calvane::createMoxFile( const string fileName, const vector< NvItem >& "
                                        "nvItems, const unsigned short phoneModelId ) - ";

/// Hands each record of the file to `take`, and lets go of the file when it returns.
template <class Take>
void forEachRecord(MoxFile& file, Take take) {
    MoxFile::Iterator record = file.begin();
    const MoxFile::Iterator end = file.end();
    for (; record != end; ++record) {
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

struct Calvane::PropertyRecord {
    std::uint32_t esn;
    std::uint8_t nvMajorVersion;
    std::uint8_t nvMinorVersion;
    const std::string& softwareVersion;
    const std::string& clientName;
};

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

void Calvane::createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems, unsigned short phoneModelId,
                            std::uint32_t esn, std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion,
                            const std::string softwareVersion, const std::string clientName) {
    const PropertyRecord properties{esn, nvMajorVersion, nvMinorVersion, softwareVersion, clientName};
    onFile(kCreatePrefix, [&] {
        file_->cleanUp();
        writeFile(fileName, pointersTo(nvItems), phoneModelId, &properties);
    });
}

void Calvane::createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems, std::uint32_t esn,
                            std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion, const std::string softwareVersion,
                            const std::string clientName) {
    createMoxFile(fileName, nvItems, 0, esn, nvMajorVersion, nvMinorVersion, softwareVersion, clientName);
}

void Calvane::createMoxFile(const std::string fileName, unsigned short phoneModelId, std::uint32_t esn,
                            std::uint8_t nvMajorVersion, std::uint8_t nvMinorVersion, const std::string softwareVersion,
                            const std::string clientName) {
    const PropertyRecord properties{esn, nvMajorVersion, nvMinorVersion, softwareVersion, clientName};
    onFile(kCreatePrefix, [&] {
        file_->cleanUp();
        writeFile(fileName, loadedItems(), phoneModelId, &properties);
    });
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
        file_->cleanUp();
        // Without anything to write the file object refuses, and what the file holds must not be gone by then.
        const bool writesAny =
            std::any_of(nvItems.begin(), nvItems.end(), [](const NvItem& item) { return item.isWritable(); });
        if (writesAny && mox::mayExist(fileName)) {
            pruneFile(fileName, nvItems);
            file_->cleanUp();
        }
        writeFile(fileName, pointersTo(nvItems), phoneModelId, nullptr);
    });
}

void Calvane::createMoxFile(const std::string fileName, const std::vector<NvItem>& nvItems) {
    createMoxFile(fileName, nvItems, 0);
}

void Calvane::createMoxFile(const std::string fileName, unsigned short phoneModelId) {
    onFile(kCreatePrefix, [&] {
        file_->cleanUp();
        writeFile(fileName, loadedItems(), phoneModelId, nullptr);
    });
}

void Calvane::createMoxFile(const std::string fileName) {
    createMoxFile(fileName, static_cast<unsigned short>(0));
}

void Calvane::onFile(const std::string& prefix, const std::function<void()>& operation) {
    // A failure must not leave the file open: nobody else could use it until this catalog's next operation.
    const auto release = [this] {
        try {
            file_->cleanUp();
        } catch (const std::exception& error) {
            kernel::logError(std::string("Calvane - A calibration file could not be closed: ") + error.what());
        }
    };
    try {
        operation();
    } catch (const MoxFile::Exception& error) {
        const std::string message = prefix + error.what();
        release();
        throw Exception(message);
    } catch (...) {
        release();
        throw;
    }
}

/// Removes from the file what `nvItems` does not hold. The walk over the file keeps it open for reading, so nothing is
/// removed before the walk has ended.
void Calvane::pruneFile(const std::string& fileName, const std::vector<NvItem>& nvItems) {
    std::unordered_set<std::uint16_t> kept;
    for (const NvItem& item : nvItems) {
        kept.insert(item.getId());
    }
    std::vector<std::uint16_t> unwanted;
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
                        unsigned short phoneModelId, const PropertyRecord* properties) {
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
