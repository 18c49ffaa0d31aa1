#pragma once

#include "app/document/CCalvaneDoc.h"
#include "app/document/SafeHands.h"
#include "app/views/EditHistory.h"
#include "app/views/EditorRow.h"

#include <QScrollArea>
#include <functional>
#include <optional>
#include <span>
#include <vector>

class EditorHeader;
class EditorTable;
class QCheckBox;
class QPushButton;

/// The right pane of a document window: the sub-fields of the selected item, one row each, to be edited in decimal or
/// hexadecimal, under a header that names the item.
///
/// What was typed goes into the document when the pane is left (deactivate()) or with "Write NV"; a value that does not
/// fit then stops all of them with a message. In safe hands Enter stores too, all values that fit are stored, and one
/// that does not stays in its box, held, until it is mended or dropped; see settle().
///
/// Owned by the window, which calls activate() and deactivate(); the document outlives it. Row widgets are kept for the
/// next item, as making 128 of them anew at each selection would be felt.
class CNvParam : public QScrollArea, public DocumentView {
    Q_OBJECT
public:
    /// A command that waits until no value is held any more.
    struct WaitingCommand {
        QString name;
        std::function<void()> run;
    };

    /// `safeHands` may be null.
    CNvParam(CCalvaneDoc& document, EditHistory& history, const SafeHands* safeHands, QWidget* parent = nullptr);
    ~CNvParam() override;

    void onUpdate() override;
    void onListToBeReplaced() override;
    void activate();
    void deactivate();
    /// Puts the focus on the first row that can be edited.
    void focusEditing();

    /// In safe hands: stores what was typed. False where values are held: the focus is on the first of them then, and
    /// `waiting`, where one is given, runs once they are mended or dropped. Otherwise does nothing.
    bool settle(WaitingCommand waiting = {});
    /// Stores what was typed in the way of deactivate(), without leaving the pane.
    void store();
    /// Drops what was typed.
    void drop();
    /// In safe hands: drops what was typed in one row, and the waiting command runs if no value is held any more.
    void dropTyped(std::size_t index);
    /// What was typed stays in its boxes, but is not held any more, and no command waits for it.
    void forgetHeld();
    /// The row in which the user has edited last.
    std::optional<std::size_t> focusedRow() const;
    /// Values of items have changed: the marks of the rows may be others.
    void showMarks();
    /// Marks the rows whose sub-fields `fits` takes, now and when they change; an empty one marks none.
    void markRows(std::function<bool(const SubItem&)> fits);

    /// Whether the item may be written to the phone now; not while the catalog belongs to a read.
    void setWritingAllowed(bool allowed);
    int rowCount() const { return shownRows_; }

    /// The rows and the item that are shown; null for none.
    std::span<EditorRow> shownRows() { return {rows_.data(), static_cast<std::size_t>(shownRows_)}; }
    std::span<const EditorRow> shownRows() const { return {rows_.data(), static_cast<std::size_t>(shownRows_)}; }
    const NvItem* shownItem() const { return shown_ ? &*shown_ : nullptr; }
    /// Works on several values at once.
    EditorTable& table() { return *table_; }
    /// To be called before values are put into boxes as if they had been typed, to be stored by settle(). False where
    /// none may be now. In safe hands stores what was typed before, so that it is an edit of its own.
    bool beginChange();

signals:
    /// In safe hands "Write NV" leaves it to the window to write the selected item, whose edits are stored.
    void writeRequested();

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool event(QEvent* event) override;

private:
    void measureRows();
    void makeRow();
    void placeRow(std::size_t index);
    void buildRows(const NvItem& item);
    /// Shows values that have changed in the item that is shown already; keeps what was typed.
    void refreshRows(const NvItem& item);
    void fillRow(std::size_t index, bool isTime, const SubItem& subItem, SubItemType type);
    void showNothing();
    void showRows(std::size_t count);
    void keepFocusInPane();
    void setScrollExtent();
    void placeHeader();
    /// The pixel below the place where one more row would end.
    int rowsBottom() const;
    /// Whether `item` is the one whose rows are shown.
    bool isShown(const NvItem& item) const;

    void toggleHex(bool checked);
    /// Shows decimal; answers whether it was hexadecimal before.
    bool leaveHex();
    void returnToHex();
    /// To be called when the item holds what is shown: undoing must not lead back beyond it.
    void forgetHistory();
    bool isAnyRowModified() const;
    /// Checks the rows in order; shows a message for the first that does not fit.
    SubFieldEdit::Check checkRows();
    QString joinedRows() const;
    void storeEdits();
    void writeNv();
    void storeRows();
    void writeRows();

    /// Stores all typed values that fit and holds the others; false where there are such.
    bool storeTyped();
    void storeFitting(const NvItem& item);
    /// The texts of all sub-fields: typed ones that fit, and the item's own.
    std::vector<std::string> judgeRows(const std::vector<SubItem>& subItems);
    bool isAnyRowHeld() const;
    void takeTyped(std::size_t index);
    /// Asks before the typed values of an item that lacks others are dropped.
    bool mayDropAll();
    void judgeAgain(std::size_t index);
    void showNotice();
    void showMatches();
    /// Lets the waiting command run if no value is held any more.
    void resume();

    CCalvaneDoc& document_;
    EditHistory& history_;
    const SafeHands* safeHands_;
    EditorHeader* header_;
    EditorTable* table_;
    QWidget* form_;
    QPushButton* writeButton_ = nullptr;
    QCheckBox* hexBox_ = nullptr;
    std::vector<EditorRow> rows_; ///< made so far; the first shownRows_ are in use
    int shownRows_ = 0;
    int rowHeight_ = 20;
    QPalette editPalette_;
    std::optional<NvItem> shown_; ///< the item whose rows are shown, as it was then
    WaitingCommand waiting_;
    std::function<bool(const SubItem&)> fits_; ///< which rows are marked
};
