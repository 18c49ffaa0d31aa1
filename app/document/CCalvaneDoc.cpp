#include "app/document/CCalvaneDoc.h"

#include "app/document/ConfigurationFile.h"
#include "app/document/MoxWriteForm.h"
#include "engine/TextExport.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/Trace.h"
#include "platform/kernel/WholeFile.h"
#include "workbench/LoadedDate.h"
#include "workbench/MessageText.h"
#include "workbench/PortReason.h"
#include "workbench/ProgramFiles.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <sstream>

namespace {

constexpr const char* kNoDateChanged = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file";
constexpr const char* kNoDateListed = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file!!";

bool isPipe(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_fifo(path, ignored);
}

} // namespace

CCalvaneDoc::CCalvaneDoc(UserInterface& userInterface, std::filesystem::path programDirectory,
                         std::unique_ptr<Calvane> catalog)
    : userInterface_(userInterface), programDirectory_(std::move(programDirectory)), catalog_(std::move(catalog)) {
    std::error_code error;
    std::filesystem::current_path(programDirectory_, error);
    if (error) {
        kernel::logError("CCalvaneDoc: can't change to " + programDirectory_.string() + ": " + error.message());
    }
    ring_.path = workbench::ringFile(programDirectory_);
    // The user's own by its bare name, under which it stands in messages.
    const bool isOwn = ring_.path == programDirectory_ / workbench::kRingFileName;
    const std::string ring = isOwn ? workbench::kRingFileName : ring_.path.string();
    runBusy([&] { catalog_->loadDecoderRingFile(ring); });
    ring_ = workbench::ringInfo(ring_.path, *catalog_);
    loadUnits();
    readConfiguration();
}

CCalvaneDoc::~CCalvaneDoc() {
    phoneRead_.reset();
    readCursor_.reset();
    try {
        writeConfiguration();
    } catch (const std::system_error& error) {
        reportConfigurationFailure(error);
    }
}

void CCalvaneDoc::loadUnits() {
    try {
        units_ = workbench::Units::load(workbench::Units::pathBeside(ring_.path));
    } catch (const Calvane::Exception& failure) {
        showWarning(failure.what());
    }
}

void CCalvaneDoc::readConfiguration() {
    try {
        comPort_ = readConfiguredComPort(programDirectory_ / kConfigurationFileName);
    } catch (const std::system_error& error) {
        comPort_ = kDefaultComPort;
        reportConfigurationFailure(error);
    }
}

void CCalvaneDoc::writeConfiguration() const {
    writeConfiguredComPort(programDirectory_ / kConfigurationFileName, comPort_);
}

void CCalvaneDoc::reportConfigurationFailure(const std::system_error& error) {
    showWarning("Couldn't open CalvaneConfig.ini for writing " + std::to_string(error.code().value()));
}

bool CCalvaneDoc::openDocument(const std::filesystem::path& path) {
    try {
        comPort_ = readComPortOf(path);
        path_ = path;
        return true;
    } catch (const std::runtime_error& error) {
        showWarning(std::string("Couldn't open ") + error.what());
        return false;
    }
}

bool CCalvaneDoc::saveDocument() {
    try {
        replaceComPortOf(path_, comPort_);
        return true;
    } catch (const std::runtime_error& error) {
        showWarning(error.what());
        return false;
    }
}

void CCalvaneDoc::addView(DocumentView* view) {
    views_.push_back(view);
}

void CCalvaneDoc::removeView(DocumentView* view) {
    std::erase(views_, view);
}

void CCalvaneDoc::updateAllViews() {
    for (DocumentView* view : views_) {
        view->onUpdate();
    }
}

void CCalvaneDoc::postUpdateAllViews() {
    userInterface_.post([this, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) {
            updateAllViews();
        }
    });
}

bool CCalvaneDoc::runGuarded(const std::function<void()>& command) {
    try {
        command();
        return true;
    } catch (const std::exception& failure) {
        // The catalog's exceptions, and those that pass through it: none may end the program.
        showFailure(failure);
        return false;
    }
}

bool CCalvaneDoc::runBusy(const std::function<void()>& command) {
    return runGuarded([&] {
        const BusyCursor cursor(userInterface_);
        command();
    });
}

void CCalvaneDoc::runWaiting(const std::function<void()>& work) {
    waiting_ = true;
    try {
        userInterface_.runWaiting(work);
    } catch (...) {
        waiting_ = false;
        throw;
    }
    waiting_ = false;
}

void CCalvaneDoc::runOnPhone(const std::function<void()>& work) {
    runWaiting([&] {
        try {
            work();
        } catch (...) {
            failureReason_ = workbench::portReason(*catalog_->getTessraServer(), comPort_);
            throw;
        }
    });
}

void CCalvaneDoc::showFailure(const std::exception& failure, const char* caption) {
    const std::string reason = std::exchange(failureReason_, {});
    userInterface_.showMessage(workbench::shownMessage(kernel::messageOf(failure), fileName_, reason), caption,
                               MessageIcon::kError);
}

void CCalvaneDoc::showWarning(const std::string& text) {
    userInterface_.showMessage(text, "Calvane", MessageIcon::kExclamation);
}

void CCalvaneDoc::readFromPhone(ProgressWindow& progress, const std::function<void()>& ended) {
    fileName_.clear();
    const auto bring = [this, alive = std::weak_ptr(alive_), ended](PhoneReadResult result) {
        // What is posted is copied on its way; the items need not be.
        auto shared = std::make_shared<PhoneReadResult>(std::move(result));
        userInterface_.post([this, alive, ended, shared] {
            if (!alive.expired()) {
                finishRead(*shared, ended);
            }
        });
    };
    try {
        readCursor_ = std::make_unique<BusyCursor>(userInterface_);
        phoneRead_ = std::make_unique<PhoneRead>(*catalog_, comPort_, progress, bring);
    } catch (const std::exception& failure) {
        readCursor_.reset();
        showFailure(failure);
        ended();
    }
}

void CCalvaneDoc::finishRead(PhoneReadResult& result, const std::function<void()>& ended) {
    phoneRead_.reset();
    readCursor_.reset();
    if (result.failure) {
        userInterface_.showMessage(workbench::shownMessage(*result.failure, {}, result.reason), kExceptionCaption,
                                   MessageIcon::kError);
    } else if (!result.cancelled) {
        takeItemsFromPhone(std::move(result.items), {}, comPort_);
    }
    ended();
}

void CCalvaneDoc::cancelRead() {
    if (phoneRead_) {
        phoneRead_->cancel();
    }
}

void CCalvaneDoc::readFromMoxFile() {
    const auto path = userInterface_.askFileToOpen({"", "MOX File ( *.mox ) |*.mox|All Files ( *.* )|*.*||", "mox"});
    if (path) {
        readMoxFile(*path);
    }
}

bool CCalvaneDoc::readMoxFile(const std::string& path) {
    fileName_ = path;
    std::vector<NvItem> items;
    workbench::FileSource source{path, {}, {}};
    const auto readFile = [&] {
        items = catalog_->getNvItemFrompMoxFile(path);
        source.phoneModelId = catalog_->phoneModelId();
        source.properties = catalog_->phonePropertiesOf(path);
    };
    if (!runBusy([&] { runWaiting(readFile); })) {
        return false;
    }
    const auto edits = editsToKeep();
    baseline_.takeFromFile(items, std::move(source));
    listSource_ = baseline_.lastSource();
    replaceItems(std::move(items), edits);
    updateAllViews();
    userInterface_.calibrationFileUsed(path);
    return true;
}

void CCalvaneDoc::readSupportedItems() {
    fileName_.clear();
    if (runBusy([this] { replaceItems(catalog_->getSupportedNvItems(), editsToKeep()); })) {
        listSource_ = nullptr;
        postUpdateAllViews();
    }
}

void CCalvaneDoc::loadSupportedItems() {
    runBusy([this] { supportedItems_ = catalog_->getSupportedNvItems(); });
}

void CCalvaneDoc::resetPhone() {
    runBusy([this] { runOnPhone([this] { catalog_->resetPhone(); }); });
}

bool CCalvaneDoc::connectPhone() {
    return runBusy([this] { runOnPhone([this] { catalog_->getTessraServer()->connect(comPort_); }); });
}

void CCalvaneDoc::setPhoneOffline() {
    runGuarded([this] { runOnPhone([this] { catalog_->getTessraServer()->offline(); }); });
}

void CCalvaneDoc::chooseComPort() {
    runGuarded([this] {
        std::vector<std::string> ports;
        runWaiting([&] { ports = catalog_->getTessraServer()->getActiveComPorts(); });
        const auto chosen = userInterface_.askComPort(ports);
        if (chosen) {
            comPort_ = *chosen;
        }
    });
}

void CCalvaneDoc::customizeList() {
    loadSupportedItems();
    auto customized = userInterface_.askCustomizedList(supportedItems_, nvItems_);
    if (customized) {
        takeCustomizedList(std::move(*customized));
        updateAllViews();
    }
    sortItems(sortAlphabetical_);
}

void CCalvaneDoc::addStampedItem(std::vector<NvItem>& items, const char* failureCaption) {
    const std::string stamp = std::to_string(workbench::loadedDateStamp(std::time(nullptr)));
    const std::size_t listed = positionOf(workbench::kLoadedDateItem);
    if (listed < nvItems_.size()) {
        setItemData(listed, stamp);
        if (&items != &nvItems_) {
            items.push_back(nvItems_[listed]);
        }
        return;
    }
    std::optional<NvItem> item;
    try {
        item = catalog_->getSupportedNvItem(std::string(workbench::kLoadedDateItem));
    } catch (const Calvane::Exception& failure) {
        // The write goes on afterwards; while the user reads, nothing is busy.
        userInterface_.endBusyCursor();
        showFailure(failure, failureCaption);
        userInterface_.beginBusyCursor();
        return;
    }
    item->setData(stamp);
    items.push_back(std::move(*item));
    baseline_.itemsChanged();
}

void CCalvaneDoc::writeToPhone(const std::vector<NvItem>& items) {
    runOnPhone([&] { catalog_->writeToPhone(comPort_, items, false, nullptr); });
}

void CCalvaneDoc::writeChangedToPhone() {
    if (changedItems_.empty()) {
        return;
    }
    runBusy([this] {
        std::vector<NvItem> items;
        for (const std::size_t position : changedItems_) {
            items.push_back(nvItems_[position]);
        }
        addStampedItem(items, kNoDateChanged);
        writeToPhone(items);
    });
}

void CCalvaneDoc::writeListedToPhone() {
    if (nvItems_.empty()) {
        return;
    }
    runBusy([this] {
        addStampedItem(nvItems_, kNoDateListed);
        writeToPhone(nvItems_);
    });
}

void CCalvaneDoc::writePendingToPhone() {
    runBusy([this] {
        addStampedItem(pendingWrite_, kNoDateListed);
        writeToPhone(pendingWrite_);
    });
    // Also after a failure: otherwise an item that the phone refuses stands before every later one.
    pendingWrite_.clear();
}

bool CCalvaneDoc::writeItem(const std::string& name, const std::string& values) {
    const std::size_t position = positionOf(name);
    if (position == nvItems_.size()) {
        return false;
    }
    setItemData(position, values);
    pendingWrite_.push_back(nvItems_[position]);
    writePendingToPhone();
    return true;
}

void CCalvaneDoc::writeListedToMoxFile() {
    const auto properties = userInterface_.askFileProperties(offeredProperties(baseline_));
    if (!properties) {
        return;
    }
    fileName_ = properties->fileName;
    if (fileName_.empty()) {
        return;
    }
    const MoxWriteForm form = chooseMoxWriteForm(*properties);
    if (runBusy([&] { runWaiting([&] { form.write(*catalog_, fileName_, nvItems_); }); })) {
        userInterface_.fileWritten(fileName_);
        userInterface_.calibrationFileUsed(fileName_);
    }
}

void CCalvaneDoc::writeListedToText() {
    const auto path =
        userInterface_.askFileToSave({"Save", "Text File ( *.txt )|*.txt|All Files ( *.* )|*.*||", "txt"});
    if (!path) {
        return;
    }
    kernel::WholeFileResult result;
    const auto writeFile = [&] {
        if (isPipe(*path)) {
            result.openError = EINVAL; // without a reader it would keep the program waiting
            return;
        }
        std::ostringstream text;
        items::writeTextExport(text, nvItems_);
        result = kernel::writeWholeFile(*path, text.view());
    };
    if (!runGuarded([&] { runWaiting(writeFile); })) {
        return;
    }
    if (result.openError != 0) {
        showWarning("Couldn't open text file for writing " + std::to_string(result.openError));
    } else if (result.writeError != 0) {
        showWarning("Couldn't write the whole text file " + *path + ": " + std::to_string(result.writeError));
    } else {
        userInterface_.fileWritten(*path);
    }
}
