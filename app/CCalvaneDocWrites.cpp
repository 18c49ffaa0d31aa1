// The document's writes: to the phone, to calibration files and to text files.

#include "app/CCalvaneDoc.h"
#include "app/LoadedDate.h"
#include "app/MoxWriteForm.h"
#include "engine/TextExport.h"

#include <cerrno>
#include <fstream>

namespace {

constexpr const char* kNoDateChanged = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file";
constexpr const char* kNoDateListed = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file!!";

std::string currentStamp() {
    return std::to_string(loadedDateStamp(std::time(nullptr)));
}

} // namespace

std::optional<NvItem> CCalvaneDoc::stampedCatalogItem(const std::string& stamp, const char* failureCaption) {
    std::optional<NvItem> item;
    try {
        item = catalog_->getSupportedNvItem(std::string(kLoadedDateItem));
    } catch (const Calvane::Exception& failure) {
        showFailure(failure, failureCaption);
        return std::nullopt;
    }
    item->setData(stamp);
    return item;
}

void CCalvaneDoc::addStampedItem(std::vector<NvItem>& items, const std::string& stamp, const char* failureCaption) {
    const std::size_t listed = positionOf(kLoadedDateItem);
    if (listed < nvItems_.size()) {
        nvItems_[listed].setData(stamp);
        items.push_back(nvItems_[listed]);
    } else if (auto item = stampedCatalogItem(stamp, failureCaption)) {
        items.push_back(std::move(*item));
    }
}

void CCalvaneDoc::writeToPhone(const std::vector<NvItem>& items) {
    catalog_->writeToPhone(comPort_, items, false, nullptr);
}

void CCalvaneDoc::writeChangedToPhone() {
    runBusy([this] {
        const std::string stamp = currentStamp();
        if (changedItems_.empty())
            return;
        std::vector<NvItem> items;
        for (const std::size_t position : changedItems_)
            items.push_back(nvItems_[position]);
        addStampedItem(items, stamp, kNoDateChanged);
        writeToPhone(items);
    });
}

void CCalvaneDoc::writeListedToPhone() {
    runBusy([this] {
        const std::string stamp = currentStamp();
        if (nvItems_.empty())
            return;
        const std::size_t listed = positionOf(kLoadedDateItem);
        if (listed < nvItems_.size())
            nvItems_[listed].setData(stamp);
        else if (auto item = stampedCatalogItem(stamp, kNoDateListed))
            nvItems_.push_back(std::move(*item));
        writeToPhone(nvItems_);
    });
}

void CCalvaneDoc::writePendingToPhone() {
    runBusy([this] {
        addStampedItem(pendingWrite_, currentStamp(), kNoDateListed);
        writeToPhone(pendingWrite_);
    });
    // Also after a failure: an item that the phone refuses would else stand before every later one.
    pendingWrite_.clear();
}

bool CCalvaneDoc::writeItem(const std::string& name, const std::string& values) {
    const std::size_t position = positionOf(name);
    if (position == nvItems_.size())
        return false;
    NvItem item = nvItems_[position];
    item.setData(values);
    nvItems_[position] = item;
    pendingWrite_.push_back(std::move(item));
    writePendingToPhone();
    return true;
}

void CCalvaneDoc::writeListedToMoxFile() {
    const auto properties = userInterface_.askFileProperties();
    if (!properties)
        return;
    fileName_ = properties->fileName;
    if (fileName_.empty())
        return;
    runBusy([&] { chooseMoxWriteForm(*properties).write(*catalog_, fileName_, nvItems_); });
}

void CCalvaneDoc::writeListedToText() {
    const auto path =
        userInterface_.askFileToSave({"Save", "Text File ( *.txt )|*.txt|All Files ( *.* )|*.*||", "txt"});
    if (!path)
        return;
    errno = 0;
    std::ofstream file(*path, std::ios::binary | std::ios::trunc);
    if (!file) {
        userInterface_.showMessage("Couldn't open text file for writing " + std::to_string(errno), "Calvane",
                                   MessageIcon::kExclamation);
        return;
    }
    items::writeTextExport(file, nvItems_);
    file.close();
    if (!file) {
        userInterface_.showMessage("Couldn't write the whole text file " + *path + ": " + std::to_string(errno),
                                   "Calvane", MessageIcon::kExclamation);
    }
}
