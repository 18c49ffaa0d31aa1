#pragma once

#include "app/dialogs/DialogControls.h"
#include "app/document/CCalvaneDoc.h"

#include <QWidget>

class CSearchDlg;
class ItemLinesModel;

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
/// document which item is selected. Owned by the window; the document outlives it.
class CNvItemList : public QWidget, public DocumentView {
    Q_OBJECT
public:
    explicit CNvItemList(CCalvaneDoc& document, QWidget* parent = nullptr);
    ~CNvItemList() override;

    void onUpdate() override;
    /// Asks what to look for and selects the item that is found.
    void search();

signals:
    /// A search has found an item and is about to select it.
    void aboutToSelect();

private:
    void selectLine(int row);
    void selectionChanged();

    CCalvaneDoc& document_;
    ItemLinesModel* lines_;
    NvItemListBox* listBox_;
    CSearchDlg* searchDialog_ = nullptr; ///< a child; kept, with the text last searched for
};
