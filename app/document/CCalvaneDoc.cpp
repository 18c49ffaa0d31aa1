#include "app/document/CCalvaneDoc.h"

#include "app/document/ConfigurationFile.h"
#include "app/document/LoadedDate.h"
#include "app/document/MoxWriteForm.h"
#include "engine/TextExport.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/Trace.h"
#include "platform/kernel/WholeFile.h"
#include "workbench/MessageText.h"
#include "workbench/PortReason.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iterator>
#include <map>
#include <sstream>

namespace {

constexpr const char* kDecoderRingFileName = "NV Decoder.vrk";
constexpr const char* kNoDateChanged = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file";
constexpr const char* kNoDateListed = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file!!";

bool isPipe(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_fifo(path, ignored);
}

using PositionsByNumber = std::map<std::uint16_t, std::size_t>;

/// Of two items with one number the first counts.
PositionsByNumber positionsByNumber(const std::vector<NvItem>& items) {
    PositionsByNumber positions;
    for (std::size_t position = 0; position < items.size(); ++position) {
        positions.emplace(items[position].getId(), position);
    }
    return positions;
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
    runBusy([this] { catalog_->loadDecoderRingFile(kDecoderRingFileName); });
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

std::size_t CCalvaneDoc::positionOf(std::uint16_t number) const {
    const auto found =
        std::find_if(nvItems_.begin(), nvItems_.end(), [&](const NvItem& item) { return item.getId() == number; });
    return static_cast<std::size_t>(found - nvItems_.begin());
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

void CCalvaneDoc::tellListToBeReplaced() {
    for (DocumentView* view : views_) {
        view->onListToBeReplaced();
    }
}

std::vector<KeptEdit> CCalvaneDoc::editsToKeep() {
    tellListToBeReplaced();
    auto edits = keepsEdits_ ? baseline_.edits(nvItems_) : std::vector<KeptEdit>();
    for (const KeptEdit& dropped : droppedEdits_) {
        std::erase_if(edits, [&](KeptEdit& edit) { return !edit.leaveOut(dropped.edited); });
    }
    return edits;
}

void CCalvaneDoc::setKeepsEdits(bool keeps) {
    keepsEdits_ = keeps;
    droppedEdits_.clear();
}

void CCalvaneDoc::keepLaterEdits() {
    keepsEdits_ = true;
    droppedEdits_ = baseline_.edits(nvItems_);
}

void CCalvaneDoc::replaceItems(std::vector<NvItem> items, const std::vector<KeptEdit>& edits) {
    nvItems_ = std::move(items);
    changedItems_.clear();
    listChanged_ = true;
    baseline_.itemsChanged();
    const auto positions = edits.empty() ? PositionsByNumber() : positionsByNumber(nvItems_);
    const std::size_t replacing = nvItems_.size();
    for (const KeptEdit& edit : edits) {
        const auto found = positions.find(edit.edited.getId());
        if (found == positions.end()) {
            changedItems_.insert(nvItems_.size());
            nvItems_.push_back(edit.edited);
        } else if (edit.giveTo(nvItems_[found->second])) {
            changedItems_.insert(found->second);
        }
    }
    if (nvItems_.size() > replacing) {
        sortItems(sortAlphabetical_);
    }
}

void CCalvaneDoc::takeItemsFromPhone(std::vector<NvItem> items, workbench::PhoneIdentity phone,
                                     const std::string& comPort) {
    fileName_.clear();
    const auto edits = editsToKeep();
    baseline_.takeFromPhone(items, std::move(phone), comPort);
    replaceItems(std::move(items), edits);
    updateAllViews();
}

void CCalvaneDoc::addItemsFromPhone(const std::vector<NvItem>& items, workbench::PhoneIdentity phone,
                                    const std::string& comPort) {
    tellListToBeReplaced();
    baseline_.takeFromPhone(items, std::move(phone), comPort);
    const auto listed = positionsByNumber(nvItems_);
    std::ranges::copy_if(items, std::back_inserter(nvItems_),
                         [&](const NvItem& item) { return !listed.contains(item.getId()); });
    sortItems(sortAlphabetical_);
}

void CCalvaneDoc::replaceItem(std::size_t position, NvItem item) {
    nvItems_.at(position) = std::move(item);
    baseline_.itemsChanged();
}

void CCalvaneDoc::appendItem(NvItem item) {
    nvItems_.push_back(std::move(item));
    baseline_.itemsChanged();
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
    if (!path) {
        return;
    }
    fileName_ = *path;
    std::vector<NvItem> items;
    std::optional<PhoneProperties> properties;
    const auto readFile = [&] {
        items = catalog_->getNvItemFrompMoxFile(*path);
        properties = catalog_->phonePropertiesOf(*path);
    };
    if (runBusy([&] { runWaiting(readFile); })) {
        const auto edits = editsToKeep();
        baseline_.takeFromFile(items, *path, std::move(properties));
        replaceItems(std::move(items), edits);
        updateAllViews();
    }
}

void CCalvaneDoc::readSupportedItems() {
    fileName_.clear();
    if (runBusy([this] { replaceItems(catalog_->getSupportedNvItems(), editsToKeep()); })) {
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

void CCalvaneDoc::takeCustomizedList(std::vector<NvItem> items) {
    std::set<std::size_t> changed;
    const auto positions = positionsByNumber(items);
    for (const std::size_t position : changedItems_) {
        const NvItem& edited = nvItems_[position];
        const auto found = positions.find(edited.getId());
        // An item that was taken out and in again has the catalog's values, so it is no longer an edited one.
        if (found != positions.end() && std::ranges::equal(items[found->second].rawData(), edited.rawData())) {
            changed.insert(found->second);
        }
    }
    replaceItems(std::move(items), {});
    changedItems_ = std::move(changed);
}

void CCalvaneDoc::sortItems(bool alphabetical) {
    if (nvItems_.empty()) {
        return;
    }
    NvItem::setCompareByName(alphabetical);
    // What is compared is fetched once from each item, and ordered with its position, so that the changed items can be
    // followed to their new places.
    struct Key {
        std::string name;
        std::uint16_t number;
        std::size_t position;
    };
    std::vector<Key> order;
    order.reserve(nvItems_.size());
    for (const NvItem& item : nvItems_) {
        order.push_back({alphabetical ? item.getName() : std::string(), item.getId(), order.size()});
    }
    std::ranges::stable_sort(order, [alphabetical](const Key& left, const Key& right) {
        return alphabetical ? left.name < right.name : left.number < right.number;
    });
    std::vector<NvItem> sorted;
    sorted.reserve(order.size());
    std::set<std::size_t> changed;
    for (const Key& key : order) {
        if (changedItems_.contains(key.position)) {
            changed.insert(changed.end(), sorted.size());
        }
        sorted.push_back(std::move(nvItems_[key.position]));
    }
    nvItems_ = std::move(sorted);
    changedItems_ = std::move(changed);
    sortAlphabetical_ = alphabetical;
    listChanged_ = true;
    updateAllViews();
}

void CCalvaneDoc::setItemData(std::size_t position, const std::string& values) {
    NvItem item = nvItems_.at(position); // a copy, as texts before one that doesn't fit are stored at once
    item.setData(values);
    nvItems_[position] = std::move(item);
    baseline_.itemsChanged();
}

void CCalvaneDoc::storeItemData(std::size_t index, const std::string& values) {
    setItemData(index, values);
    changedItems_.insert(index);
}

bool CCalvaneDoc::putItem(const NvItem& value) {
    const std::size_t position = positionOf(value.getId());
    if (position == nvItems_.size()) {
        return false;
    }
    nvItems_[position] = value;
    changedItems_.insert(position);
    baseline_.itemsChanged();
    return true;
}

void CCalvaneDoc::addStampedItem(std::vector<NvItem>& items, const char* failureCaption) {
    const std::string stamp = std::to_string(loadedDateStamp(std::time(nullptr)));
    const std::size_t listed = positionOf(kLoadedDateItem);
    if (listed < nvItems_.size()) {
        setItemData(listed, stamp);
        if (&items != &nvItems_) {
            items.push_back(nvItems_[listed]);
        }
        return;
    }
    std::optional<NvItem> item;
    try {
        item = catalog_->getSupportedNvItem(std::string(kLoadedDateItem));
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
    const auto properties = userInterface_.askFileProperties();
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
