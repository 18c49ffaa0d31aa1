#include "app/document/CCalvaneDoc.h"

#include "app/document/ConfigurationFile.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/Trace.h"
#include "platform/kernel/WholeFile.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr const char* kDecoderRingFileName = "NV Decoder.vrk";

} // namespace

CCalvaneDoc::CCalvaneDoc(UserInterface& userInterface, std::filesystem::path programDirectory,
                         std::unique_ptr<Calvane> catalog)
    : userInterface_(userInterface), programDirectory_(std::move(programDirectory)), catalog_(std::move(catalog)) {
    std::error_code error;
    std::filesystem::current_path(programDirectory_, error);
    if (error) {
        kernel::logError("CCalvaneDoc: can't change to " + programDirectory_.string() + ": " + error.message());
    }
    loadDecoderRing();
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

void CCalvaneDoc::loadDecoderRing() {
    runBusy([this] { catalog_->loadDecoderRingFile(kDecoderRingFileName); });
}

std::filesystem::path CCalvaneDoc::configurationFile() const {
    return programDirectory_ / kConfigurationFileName;
}

void CCalvaneDoc::readConfiguration() {
    try {
        comPort_ = readConfiguredComPort(configurationFile());
    } catch (const std::system_error& error) {
        comPort_ = kDefaultComPort;
        reportConfigurationFailure(error);
    }
}

void CCalvaneDoc::writeConfiguration() const {
    writeConfiguredComPort(configurationFile(), comPort_);
}

void CCalvaneDoc::reportConfigurationFailure(const std::system_error& error) {
    userInterface_.showMessage("Couldn't open CalvaneConfig.ini for writing " + std::to_string(error.code().value()),
                               "Calvane", MessageIcon::kExclamation);
}

bool CCalvaneDoc::openDocument(const std::filesystem::path& path) {
    try {
        comPort_ = readComPortOf(path);
        path_ = path;
        return true;
    } catch (const std::runtime_error& error) {
        userInterface_.showMessage(std::string("Couldn't open ") + error.what(), "Calvane", MessageIcon::kExclamation);
        return false;
    }
}

bool CCalvaneDoc::saveDocument() {
    try {
        if (!looksLikePortFile(path_)) {
            userInterface_.showMessage(path_.string() + " holds more than the name of a port, so it stays as it is.",
                                       "Calvane", MessageIcon::kExclamation);
            return false;
        }
        if (!isPortName(comPort_)) {
            userInterface_.showMessage("'" + comPort_ + "' can't be kept in a file: a port's name has at most 64 " +
                                           "characters, all printable ones of ASCII.",
                                       "Calvane", MessageIcon::kExclamation);
            return false;
        }
        const kernel::WholeFileResult result = kernel::writeWholeFile(path_, comPort_ + "\n");
        if (result.succeeded()) {
            return true;
        }
        throw std::system_error(result.openError != 0 ? result.openError : result.writeError, std::generic_category());
    } catch (const std::system_error& error) {
        userInterface_.showMessage("Couldn't write " + path_.string() + ": " + error.code().message(), "Calvane",
                                   MessageIcon::kExclamation);
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

const NvItem* CCalvaneDoc::selectedItem() const {
    if (selectedIndex_ < 0 || static_cast<std::size_t>(selectedIndex_) >= nvItems_.size()) {
        return nullptr;
    }
    return &nvItems_[static_cast<std::size_t>(selectedIndex_)];
}

std::size_t CCalvaneDoc::positionOf(std::string_view name) const {
    const auto found =
        std::find_if(nvItems_.begin(), nvItems_.end(), [&](const NvItem& item) { return item.getName() == name; });
    return static_cast<std::size_t>(found - nvItems_.begin());
}

bool CCalvaneDoc::runGuarded(const std::function<void()>& command) {
    try {
        command();
        return true;
    } catch (const std::exception& failure) {
        // The catalog's exceptions, and what passes through it from below: none may end the program.
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

void CCalvaneDoc::showFailure(const std::exception& failure, const char* caption) {
    userInterface_.showMessage(failure.what(), caption, MessageIcon::kError);
}

void CCalvaneDoc::replaceItems(std::vector<NvItem> items) {
    nvItems_ = std::move(items);
    changedItems_.clear();
    listChanged_ = true;
}

void CCalvaneDoc::readFromPhone(ProgressWindow& progress, std::function<void()> ended) {
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
        userInterface_.showMessage(*result.failure, kExceptionCaption, MessageIcon::kError);
    } else if (!result.cancelled) {
        replaceItems(std::move(result.items));
        updateAllViews();
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
    if (!path) {
        return;
    }
    fileName_ = *path;
    std::vector<NvItem> items;
    const auto readFile = [&] { items = catalog_->getNvItemFrompMoxFile(*path); };
    if (runBusy([&] { runWaiting(readFile); })) {
        replaceItems(std::move(items));
        updateAllViews();
    }
}

void CCalvaneDoc::readSupportedItems() {
    fileName_.clear();
    if (runBusy([this] { replaceItems(catalog_->getSupportedNvItems()); })) {
        postUpdateAllViews();
    }
}

void CCalvaneDoc::loadSupportedItems() {
    runBusy([this] { supportedItems_ = catalog_->getSupportedNvItems(); });
}

void CCalvaneDoc::resetPhone() {
    runBusy([this] { runWaiting([this] { catalog_->resetPhone(); }); });
}

void CCalvaneDoc::setPhoneOffline() {
    runGuarded([this] { runWaiting([this] { catalog_->getTessraServer()->offline(); }); });
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
        replaceItems(std::move(*customized));
        updateAllViews();
    }
    sortItems(sortAlphabetical_);
}

void CCalvaneDoc::sortItems(bool alphabetical) {
    if (nvItems_.empty()) {
        return;
    }
    NvItem::setCompareByName(alphabetical);
    // Positions are ordered rather than items, so that the changed ones can be followed to their new places.
    std::vector<std::size_t> order(nvItems_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [this](std::size_t left, std::size_t right) { return nvItems_[left] < nvItems_[right]; });
    std::vector<NvItem> sorted;
    sorted.reserve(order.size());
    std::set<std::size_t> changed;
    for (std::size_t position = 0; position < order.size(); ++position) {
        sorted.push_back(std::move(nvItems_[order[position]]));
        if (changedItems_.contains(order[position])) {
            changed.insert(changed.end(), position);
        }
    }
    nvItems_ = std::move(sorted);
    changedItems_ = std::move(changed);
    sortAlphabetical_ = alphabetical;
    listChanged_ = true;
    updateAllViews();
}

void CCalvaneDoc::storeItemData(std::size_t index, const std::string& values) {
    NvItem item = nvItems_.at(index); // a copy, as texts before one that doesn't fit are stored at once
    item.setData(values);
    nvItems_[index] = std::move(item);
    changedItems_.insert(index);
}
