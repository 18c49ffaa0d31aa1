#pragma once

#include "app/dialogs/DialogControls.h"
#include "app/document/CCalvaneDoc.h"
#include "app/document/SafeHands.h"

#include <QWidget>
#include <functional>
#include <optional>

class ChangedLinesModel;
class CSearchDlg;

/// A list with one selected line or none; a click always selects.
class NvItemListBox : public DialogListBox {
    Q_OBJECT
public:
    explicit NvItemListBox(QWidget* parent);

protected:
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index, const QEvent* event) const override;
    void keyPressEvent(QKeyEvent* event) override;
};

/// The left pane of a document window: the document's items, one line each, and the search among them. Tells the
/// document which item is selected. In safe hands the selection follows its item when the list is ordered or replaced,
/// and an item is left only with what was typed into it stored; otherwise the selected position stays, whatever item
/// comes to stand there, and no line is selected.
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
    /// Asks what to look for and selects the item that is found.
    void search();

signals:
    /// A search has found an item and is about to select it.
    void aboutToSelect();

private:
    void selectLine(int row);
    void selectionChanged();
    /// The row of the first line whose item has this number; -1 where there is none.
    int rowOf(std::optional<std::uint16_t> number) const;
    /// Selects a line, or none for -1, without telling anybody.
    void showSelected(int row);
    void rememberSelected();

    CCalvaneDoc& document_;
    const SafeHands* safeHands_;
    ChangedLinesModel* lines_;
    NvItemListBox* listBox_;
    std::function<bool()> mayLeave_;
    std::optional<std::uint16_t> selectedNumber_; ///< of the document's selected item, when its list last changed
    bool telling_ = true;                         ///< whether a change of the selection is the user's
    CSearchDlg* searchDialog_ = nullptr;          ///< a child; kept, with the text last searched for
};
