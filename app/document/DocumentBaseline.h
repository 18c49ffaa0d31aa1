#pragma once

#include "workbench/Baseline.h"
#include "workbench/Comparison.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// An item as the user has edited it, to be edited likewise where it has been read anew.
struct KeptEdit {
    NvItem edited;
    std::optional<NvItem> known; ///< its last known value at that time

    /// Gives `item`, which has the same number, those sub-fields that the user has changed. False where it has another
    /// layout or holds them already.
    bool giveTo(NvItem& item) const;
    /// Leaves out what `before`, an earlier state of the item, has of the edit already; of an item that had no value
    /// then, all or nothing. False where nothing remains. An edit of another item remains as it is.
    bool leaveOut(const NvItem& before);
};

/// The last known values of one document's items, and which items differ from them. They stay when the list of items is
/// replaced: an item that returns is compared with what was known of it.
///
/// Owned by the document; user-interface thread. Who changes it has the document's views updated.
class DocumentBaseline {
public:
    /// The values, to be changed: those that a write has verified, for one.
    workbench::Baseline& values();
    const workbench::Baseline& values() const { return values_; }

    /// Whether the user has given an item of the document other values than the last known ones. The loaded date is
    /// never changed: nobody but the program can edit it.
    bool isChanged(const NvItem& item) const { return values_.differs(item) && !isStamped(item); }
    /// How many of the document's items do. Counted once for each change, as it is asked for whenever the program is
    /// idle.
    std::size_t changedCount(const std::vector<NvItem>& items) const;
    /// To be called when the document's items have other values, or are other items.
    void itemsChanged();
    /// A number that is another one after each change of the values known or of the items.
    std::uint64_t version() const { return version_; }

    /// The sub-fields of `item` on the left and their last known values on the right. Of an item that has never had a
    /// value those that have one now differ, and the texts on the right are empty.
    std::vector<workbench::SubFieldRow> compared(const NvItem& item) const;
    /// Those of `items` that differ.
    std::vector<KeptEdit> edits(const std::vector<NvItem>& items) const;

    /// What the phone has, or the file, is from now on the last known value of these items.
    void takeFromPhone(const std::vector<NvItem>& items, workbench::PhoneIdentity phone, std::string comPort);
    /// The same of what the record says that a phone had.
    void takeFromRecord(const std::vector<NvItem>& items, std::shared_ptr<const workbench::Source> source);
    void takeFromFile(const std::vector<NvItem>& items, workbench::FileSource file);

    /// Where the newest values come from; null at first.
    const std::shared_ptr<const workbench::Source>& lastSource() const { return lastSource_; }
    /// The newest phone and the newest file among the sources; null where there has been none.
    const workbench::PhoneSource* lastPhone() const;
    const workbench::FileSource* lastFile() const;

private:
    static bool isStamped(const NvItem& item);
    void take(const std::vector<NvItem>& items, std::shared_ptr<const workbench::Source> source);

    workbench::Baseline values_;
    std::shared_ptr<const workbench::Source> lastSource_;
    std::shared_ptr<const workbench::Source> lastPhone_;
    std::shared_ptr<const workbench::Source> lastFile_;
    mutable std::optional<std::size_t> changedCount_; ///< nothing after a change
    std::uint64_t version_ = 0;
};
