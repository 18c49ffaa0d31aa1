#pragma once

#include "app/document/CCalvaneDoc.h"

#include <QObject>
#include <QUndoStack>

/// What the user has changed in the items of one document, in order, to be undone and redone: stored edits and
/// reversions. It holds for each item its values before and after.
///
/// What is undone is an edit, not a moment: only the sub-fields that it changed get their old values, and only where
/// they still hold what the edit gave them. An edit whose item has meanwhile been read with other values is passed
/// over.
///
/// Owned by the document's window. User-interface thread.
class EditHistory : public QObject {
    Q_OBJECT
public:
    explicit EditHistory(CCalvaneDoc& document, QObject* parent = nullptr);
    ~EditHistory() override;

    /// As the document's functions of these names.
    void storeItemData(std::size_t index, const std::string& values);
    bool writeItem(const std::string& name, const std::string& values);

    /// A value that putItems() did not take, and why.
    struct NotTaken {
        std::uint16_t number;
        std::string name;
        std::string reason;
    };
    /// Gives the items of the list the values of those in `values` with the same numbers, as one edit named `text`. The
    /// bytes behind the sub-fields stay. Not taken are those that the user could not type: of items that the list
    /// lacks, have another layout, may not be written, or are the loaded date. Of two with one number the first counts.
    std::vector<NotTaken> putItems(const std::vector<NvItem>& values, const QString& text);

    bool canUndo() const { return stack_.canUndo(); }
    bool canRedo() const { return stack_.canRedo(); }
    QString undoText() const { return stack_.undoText(); }
    QString redoText() const { return stack_.redoText(); }
    void undo();
    void redo();

    /// Give the sub-field at this position, the item, or each item of the list its last known values back. Those of an
    /// item that never had any are what it held before its first edit; its sub-fields then stay as they are.
    void revertField(const NvItem& item, std::size_t field);
    void revertItem(const NvItem& item);
    void revertAll();

signals:
    /// Values have changed, or what can be undone.
    void changed();
    /// Values of this item have been undone, redone or reverted.
    void restored(std::uint16_t number);

private:
    class Command;
    friend class Command;

    /// One item as it was and as it is then.
    struct Change {
        NvItem before;
        NvItem after;
    };

    /// Keeps a change that is done already.
    void keep(NvItem before, const NvItem& after);
    void run(std::vector<Change> changes, const QString& text);
    /// The position of the first item of the list with each number; -1 for none.
    std::vector<std::int32_t> positions() const;
    /// Goes from one side of a change to the other one; false where the item, which is at `position` of the list or
    /// not there, is not at the first.
    bool exchange(std::int32_t position, const NvItem& from, const NvItem& to);
    std::optional<NvItem> unedited(const NvItem& item) const;
    void finish();

    CCalvaneDoc& document_;
    QUndoStack stack_;
    std::optional<std::uint16_t> restored_; ///< the first item that the running command has changed
};
