#pragma once

#include "app/document/DocumentBaseline.h"
#include "app/document/PhoneRead.h"
#include "app/document/UserInterface.h"
#include "engine/Calvane.h"
#include "workbench/RingInfo.h"
#include "workbench/Units.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

/// Told when what a document's views show may have changed.
class DocumentView {
public:
    virtual ~DocumentView() = default;
    virtual void onUpdate() = 0;
    /// The list is about to be replaced by what was read. What is still to be stored in it must be stored now.
    virtual void onListToBeReplaced() {}
};

/// The one kind of document: the items that the user works on, the catalog from which they come, and every command that
/// reads, writes, orders or exchanges them. It holds no widget; windows, dialogs and messages are reached through its
/// UserInterface.
///
/// Owned by its window; user-interface thread. A read from the phone runs on a thread of its own and posts its result.
/// While it runs, that thread alone uses the catalog: only the sort commands, storeItemData(), the queries and
/// setPhoneOffline() may be called.
///
/// A command that fails shows the failure in a message box and leaves what it has not yet replaced.
class CCalvaneDoc {
public:
    /// Makes the program's directory the current one, loads the decoder ring "NV Decoder.vrk" with the units beside it
    /// (workbench/ProgramFiles.h says which) and reads the configuration; failures are shown, and the document is made
    /// nevertheless. `userInterface` outlives it.
    CCalvaneDoc(UserInterface& userInterface, std::filesystem::path programDirectory,
                std::unique_ptr<Calvane> catalog = std::make_unique<Calvane>());
    /// Writes the configuration. A read that still runs is cancelled and waited for.
    ~CCalvaneDoc();
    CCalvaneDoc(const CCalvaneDoc&) = delete;
    CCalvaneDoc& operator=(const CCalvaneDoc&) = delete;

    static constexpr const char* kTitle = "RF NV ITEMS ONLY";

    /// Takes the port name from the first line of a file that the user has opened. False, after a message, if the file
    /// can't be read or does not start with the name of a port.
    bool openDocument(const std::filesystem::path& path);
    /// Makes the port name the content of the file that was opened. False, after a message, if that fails, if the
    /// name is none that openDocument() would take, or if the file holds more than a port name: whoever opened a
    /// calibration file that way must not lose it.
    bool saveDocument();
    /// Keeps the port name in the configuration file, as the destructor does. Throws std::system_error.
    void writeConfiguration() const;
    /// The file that openDocument() read; empty if none.
    const std::filesystem::path& path() const { return path_; }

    /// Views are told in the order in which they were added.
    void addView(DocumentView* view);
    void removeView(DocumentView* view);
    void updateAllViews();

    /// Starts to read from the phone. `ended` is called on the user-interface thread after the result was stored or the
    /// failure shown; not at all if the document is destroyed first. Only one read at a time.
    void readFromPhone(ProgressWindow& progress, const std::function<void()>& ended);
    bool isReading() const { return phoneRead_ != nullptr; }
    /// Ends a running read before its next item; its end comes as always.
    void cancelRead();
    /// Whether a command waits for a phone or a disk. What the document holds is that command's until it is done: no
    /// other one may begin, and nothing may be stored.
    bool isWaiting() const { return waiting_; }

    void readFromMoxFile();
    /// Reads this calibration file, as readFromMoxFile() does the one that the user chooses. False, after a message,
    /// where that fails.
    bool readMoxFile(const std::string& path);
    /// Lists every item of the catalog without asking the phone.
    void readSupportedItems();
    void loadSupportedItems();
    void writeChangedToPhone();
    void writeListedToPhone();
    void writePendingToPhone();
    void writeListedToMoxFile();
    void writeListedToText();
    void resetPhone();
    void setPhoneOffline();
    void chooseComPort();
    void customizeList();
    void sortItems(bool alphabetical);

    /// `values` of the following two: one decimal text per sub-field, separated by commas. Both throw
    /// Calvane::Exception for texts that don't fit; the item keeps its data then.
    ///
    /// Stores the values in the item at `index` (which must exist) and counts the item as changed.
    void storeItemData(std::size_t index, const std::string& values);
    /// Stores the values in the first item named `name` and writes that item to the phone. False if there is none.
    bool writeItem(const std::string& name, const std::string& values);

    /// Replaces the list by what another reader than readFromPhone() has read, and updates the views.
    void takeItemsFromPhone(std::vector<NvItem> items, workbench::PhoneIdentity phone, const std::string& comPort);
    /// The same with the values that a phone had once, as the record says; `source` tells of which phone and when.
    void takeItemsFromRecord(std::vector<NvItem> items, const std::shared_ptr<const workbench::Source>& source);
    /// Adds what such a reader has read to the list, in the list's order. Items that are in it already stay as they
    /// are.
    void addItemsFromPhone(const std::vector<NvItem>& items, workbench::PhoneIdentity phone,
                           const std::string& comPort);
    /// Whether sub-fields that differ from their last known value keep their own when what is read replaces the list.
    /// False at first.
    void setKeepsEdits(bool keeps);
    /// Until setKeepsEdits() is called again, the present edits go, and those that are made from now on stay.
    void keepLaterEdits();
    /// Gives the first item with the number of `value` all its values, and counts it as changed. False if there is
    /// none.
    bool putItem(const NvItem& value);
    /// The same for the item at `position`, which must exist.
    void putItem(std::size_t position, const NvItem& value) {
        nvItems_.at(position) = value;
        changedItems_.insert(position);
        baseline_.itemsChanged();
    }

    /// Replaces the item at `position`, which must exist, or appends one. Neither counts it as changed, nor updates the
    /// views.
    void replaceItem(std::size_t position, NvItem item);
    void appendItem(NvItem item);

    /// Connects the session to the document's port, and nothing else. False, after a message, where that fails.
    bool connectPhone();
    /// For work beside the commands; who may use it when stands above.
    Calvane& catalog() { return *catalog_; }

    /// What the values of the items mean, and which are permitted.
    const workbench::Units& units() const { return units_; }
    /// The last known values of the items. A write outside the document sets them there.
    DocumentBaseline& baseline() { return baseline_; }
    const DocumentBaseline& baseline() const { return baseline_; }
    /// How many items of the list differ from their last known value.
    std::size_t changedCount() const { return baseline_.changedCount(nvItems_); }

    const std::vector<NvItem>& nvItems() const { return nvItems_; }
    const std::vector<NvItem>& pendingWrite() const { return pendingWrite_; }
    /// Positions in nvItems() of the items that the editor has stored, ascending. They follow their items when the list
    /// is ordered anew, customized or extended, and are forgotten when it is replaced without keeping edits.
    const std::set<std::size_t>& changedItems() const { return changedItems_; }
    /// Position in nvItems() of the item that the editor shows; -1 for none. It stays when the list is replaced, so it
    /// may lie outside: see selectedItem().
    int selectedIndex() const { return selectedIndex_; }
    void setSelectedIndex(int index) { selectedIndex_ = index; }
    /// The item at selectedIndex(); null where there is none.
    const NvItem* selectedItem() const;
    bool sortAlphabetical() const { return sortAlphabetical_; }
    /// Whether the list was replaced or ordered anew since clearListChanged().
    bool listChanged() const { return listChanged_; }
    void clearListChanged() { listChanged_ = false; }
    const std::string& comPort() const { return comPort_; }
    const std::string& activeEditor() const { return activeEditor_; }
    void setActiveEditor(std::string activeEditor) { activeEditor_ = std::move(activeEditor); }
    /// The calibration file last read or written.
    const std::string& fileName() const { return fileName_; }
    /// The read from which the list comes; null for one of the catalog's items, and at first.
    const std::shared_ptr<const workbench::Source>& listSource() const { return listSource_; }
    /// The decoder ring as it was when the document was made.
    const workbench::RingInfo& ring() const { return ring_; }

private:
    void loadUnits();
    void readConfiguration();
    void reportConfigurationFailure(const std::system_error& error);

    /// Runs `command`; shows what it throws, and answers whether it went through.
    bool runGuarded(const std::function<void()>& command);
    /// The same with the busy cursor, which ends before a failure is shown.
    bool runBusy(const std::function<void()>& command);
    /// Runs `work` while the windows paint; isWaiting() meanwhile. Throws what it throws.
    void runWaiting(const std::function<void()>& work);
    /// The same for work that talks to the phone. A failure's reason is kept for showFailure().
    void runOnPhone(const std::function<void()>& work);
    void showFailure(const std::exception& failure, const char* caption = kExceptionCaption);
    void showWarning(const std::string& text);
    void finishRead(PhoneReadResult& result, const std::function<void()>& ended);
    void tellListToBeReplaced();
    /// The edits that stay when the list is replaced. Asked for before the baseline changes.
    std::vector<KeptEdit> editsToKeep();
    /// Edited items that `items` lack stay in the list, which is then ordered.
    void replaceItems(std::vector<NvItem> items, const std::vector<KeptEdit>& edits);
    /// Replaces the list by one that was built out of it and the catalog.
    void takeCustomizedList(std::vector<NvItem> items);
    /// Updates the views some time later, if the document still exists then.
    void postUpdateAllViews();

    /// The position in nvItems_ of the first item of that name or number; the list's size where there is none.
    std::size_t positionOf(std::string_view name) const;
    std::size_t positionOf(std::uint16_t number) const;
    /// Gives an item of the list these values, or leaves it as it was: then throws Calvane::Exception.
    void setItemData(std::size_t position, const std::string& values);
    /// Stamps the list's loaded-date item and adds it to `items`, which may be the list itself. Where the list has
    /// none, adds the catalog's with the stamp; where that has none either, shows a message.
    void addStampedItem(std::vector<NvItem>& items, const char* failureCaption);
    void writeToPhone(const std::vector<NvItem>& items);

    UserInterface& userInterface_;
    const std::filesystem::path programDirectory_;
    const std::unique_ptr<Calvane> catalog_;
    std::vector<NvItem> nvItems_;
    std::vector<NvItem> supportedItems_;
    std::vector<NvItem> pendingWrite_;
    std::set<std::size_t> changedItems_;
    DocumentBaseline baseline_;
    workbench::Units units_;
    bool keepsEdits_ = false;
    std::vector<KeptEdit> droppedEdits_; ///< those that go although edits are kept
    int selectedIndex_ = -1;
    std::shared_ptr<const workbench::Source> listSource_;
    workbench::RingInfo ring_;
    bool sortAlphabetical_ = false;
    bool listChanged_ = false;
    bool waiting_ = false;
    std::string comPort_;
    std::string activeEditor_ = "null";
    std::string fileName_;
    std::string failureReason_; ///< from the failure of runOnPhone() until it is shown
    std::filesystem::path path_;
    std::vector<DocumentView*> views_;
    /// Posted work checks by this whether the document still exists.
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
    std::unique_ptr<BusyCursor> readCursor_;
    std::unique_ptr<PhoneRead> phoneRead_; ///< last: the thread uses the catalog
};
