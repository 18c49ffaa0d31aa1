// The document's writes: to the phone, to calibration files and to text files.

#include "app/document/CCalvaneDoc.h"
#include "app/document/LoadedDate.h"
#include "app/document/MoxWriteForm.h"
#include "engine/TextExport.h"
#include "platform/kernel/WholeFile.h"

#include <cerrno>
#include <ctime>
#include <sstream>

namespace {

constexpr const char* kNoDateChanged = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file";
constexpr const char* kNoDateListed = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file!!";

std::string currentStamp() {
    return std::to_string(loadedDateStamp(std::time(nullptr)));
}

bool isPipe(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_fifo(path, ignored);
}

} // namespace

std::optional<NvItem> CCalvaneDoc::stampedCatalogItem(const std::string& stamp, const char* failureCaption) {
    std::optional<NvItem> item;
    try {
        item = catalog_->getSupportedNvItem(std::string(kLoadedDateItem));
    } catch (const Calvane::Exception& failure) {
        // The write goes on afterwards; while the user reads, nothing is busy.
        userInterface_.endBusyCursor();
        showFailure(failure, failureCaption);
        userInterface_.beginBusyCursor();
        return std::nullopt;
    }
    item->setData(stamp);
    return item;
}

void CCalvaneDoc::stampListedItem(std::size_t position, const std::string& stamp) {
    NvItem item = nvItems_[position]; // a copy, as sub-fields before one that has no value in the stamp are set at once
    item.setData(stamp);
    nvItems_[position] = std::move(item);
}

void CCalvaneDoc::addStampedItem(std::vector<NvItem>& items, const std::string& stamp, const char* failureCaption) {
    const std::size_t listed = positionOf(kLoadedDateItem);
    if (listed < nvItems_.size()) {
        stampListedItem(listed, stamp);
        items.push_back(nvItems_[listed]);
    } else if (auto item = stampedCatalogItem(stamp, failureCaption)) {
        items.push_back(std::move(*item));
    }
}

void CCalvaneDoc::writeToPhone(const std::vector<NvItem>& items) {
    runWaiting([&] { catalog_->writeToPhone(comPort_, items, false, nullptr); });
}

void CCalvaneDoc::writeChangedToPhone() {
    runBusy([this] {
        const std::string stamp = currentStamp();
        if (changedItems_.empty()) {
            return;
        }
        std::vector<NvItem> items;
        for (const std::size_t position : changedItems_) {
            items.push_back(nvItems_[position]);
        }
        addStampedItem(items, stamp, kNoDateChanged);
        writeToPhone(items);
    });
}

void CCalvaneDoc::writeListedToPhone() {
    runBusy([this] {
        const std::string stamp = currentStamp();
        if (nvItems_.empty()) {
            return;
        }
        const std::size_t listed = positionOf(kLoadedDateItem);
        if (listed < nvItems_.size()) {
            stampListedItem(listed, stamp);
        } else if (auto item = stampedCatalogItem(stamp, kNoDateListed)) {
            nvItems_.push_back(std::move(*item));
        }
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
    if (position == nvItems_.size()) {
        return false;
    }
    NvItem item = nvItems_[position];
    item.setData(values);
    nvItems_[position] = item;
    pendingWrite_.push_back(std::move(item));
    writePendingToPhone();
    return true;
}

void CCalvaneDoc::writeListedToMoxFile() {
    const auto properties = userInterface_.askFileProperties();
    if (!properties) {
        return;
    }
    fileName_ = properties->fileName;
    if (fileName_.empty()) {
        return;
    }
    const MoxWriteForm form = chooseMoxWriteForm(*properties);
    runBusy([&] { runWaiting([&] { form.write(*catalog_, fileName_, nvItems_); }); });
}

void CCalvaneDoc::writeListedToText() {
    const auto path =
        userInterface_.askFileToSave({"Save", "Text File ( *.txt )|*.txt|All Files ( *.* )|*.*||", "txt"});
    if (!path) {
        return;
    }
    kernel::WholeFileResult result;
    if (isPipe(*path)) {
        result.openError = EINVAL; // without a reader it would keep the program waiting
    }
    const bool ran = result.openError != 0 || runGuarded([&] {
                         runWaiting([&] {
                             std::ostringstream text;
                             items::writeTextExport(text, nvItems_);
                             result = kernel::writeWholeFile(*path, text.view());
                         });
                     });
    if (!ran || result.succeeded()) {
        return;
    }
    const std::string message =
        result.openError != 0
            ? "Couldn't open text file for writing " + std::to_string(result.openError)
            : "Couldn't write the whole text file " + *path + ": " + std::to_string(result.writeError);
    userInterface_.showMessage(message, "Calvane", MessageIcon::kExclamation);
}
