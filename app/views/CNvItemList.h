#pragma once

#include "app/dialogs/DialogControls.h"
#include "app/document/CCalvaneDoc.h"
#include "app/document/SafeHands.h"

#include <QWidget>
#include <functional>
#include <optional>
#include <span>
#include <string>

class ChangedLinesModel;
class CSearchDlg;
class FilterBar;
class ListFilter;

/// A list with one selected line or none; a click always selects.
class NvItemListBox : public DialogListBox {
    Q_OBJECT
public:
    explicit NvItemListBox(QWidget* parent);

protected:
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index, const QEvent* event) const override;
    void keyPressEvent(QKeyEvent* event) override;
};

/// The left pane of a document window: the document's items, one line each, the search among them, and the filter over
/// them, which hides lines and leaves everything else as it is. Tells the document which item is selected: by its
/// position among the document's items, which is its row only while all are shown. In safe hands the selection follows
/// its item when the list is ordered or replaced, and an item is left only with what was typed into it stored;
/// otherwise the selected position stays, whatever item comes to stand there, and no line is selected.
///
/// Owned by the window; the document outlives it.
class CNvItemList : public QWidget, public DocumentView {
    Q_OBJECT
public:
    /// `safeHands` may be null.
    explicit CNvItemList(CCalvaneDoc& document, const SafeHands* safeHands = nullptr, QWidget* parent = nullptr);
    ~CNvItemList() override;

    /// What is asked, in safe hands, before another item is selected; false keeps the one that is.
    void setLeaveQuestion(std::function<bool()> mayLeave) { mayLeave_ = std::move(mayLeave); }
    /// Selects the first item with this number; none where the list lacks it.
    void selectItem(std::uint16_t number);
    /// Values of items have changed: their marks may be others.
    void showMarks();

    void onUpdate() override;
    /// Asks what to look for and selects the item that is found. The filter is emptied then.
    void search();
    /// Whether an item has been searched for that can be gone on from.
    bool hasSearched() const { return !sought_.empty(); }
    /// Selects the next item, or the one before, of all that the last search fits; behind the last comes the first.
    void findAgain(bool forward);

    const ListFilter& filter() const { return *filter_; }
    void clearFilter();
    /// Puts the focus into the filter bar, which is shown if it is not.
    void editFilter();
    /// A filter whose bar is hidden is emptied.
    void setFilterShown(bool shown);
    bool isFilterShown() const;

signals:
    /// A search has found an item and is about to select it.
    void aboutToSelect();
    /// What a search has come to, where it is not just what was asked for; empty where it is.
    void searchNotice(const QString& notice);
    /// The filter shows other items, or marks other texts.
    void filterChanged();

private:
    void connectFilter();
    /// Brings the lines up to what the filter shows; selection and scroll place stay.
    void showFiltered();
    /// Makes the item at a position the selected one, whether or not it has a line, as a click on its line does.
    void select(int position);
    void selectionChanged();
    /// The user wants the item at this position, or none for -1.
    void choose(int position);
    /// The position of the first listed item with this number; -1 where there is none.
    int positionOf(std::optional<std::uint16_t> number) const;
    /// Shows the item at a position as the selected one, or none for -1, without telling anybody.
    void showSelected(int position);
    void rememberSelected();
    /// The items that have been listed: one appended since then can't be found.
    std::span<const NvItem> listedItems() const;

    CCalvaneDoc& document_;
    const SafeHands* safeHands_;
    ChangedLinesModel* lines_;
    FilterBar* bar_; ///< before the list in the order of Tab
    NvItemListBox* listBox_;
    ListFilter* filter_;
    std::function<bool()> mayLeave_;
    std::optional<std::uint16_t> selectedNumber_; ///< of the document's selected item, when its list last changed
    int marked_ = -1;     ///< position of the item whose line is selected, or would be if the filter showed it
    int top_ = 0;         ///< position of the item in the first line, when there last was one
    bool telling_ = true; ///< whether a change of the selection is the user's
    CSearchDlg* searchDialog_ = nullptr; ///< a child; kept, with the text last searched for
    std::string sought_;                 ///< what the last search has found, of that which was asked for
};
