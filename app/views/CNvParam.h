#pragma once

#include "app/document/CCalvaneDoc.h"
#include "app/views/SubFieldEdit.h"

#include <QScrollArea>
#include <span>
#include <vector>

class QCheckBox;
class QLabel;
class QPushButton;

/// The right pane of a document window: the sub-fields of the selected item, one row each, to be edited in decimal or
/// hexadecimal. What was typed goes into the document when the pane is left (deactivate()) or with "Write NV".
///
/// Owned by the window, which calls activate() and deactivate(); the document outlives it. Row widgets are kept for the
/// next item, as making 128 of them anew at each selection would be felt.
class CNvParam : public QScrollArea, public DocumentView {
    Q_OBJECT
public:
    explicit CNvParam(CCalvaneDoc& document, QWidget* parent = nullptr);
    ~CNvParam() override;

    void onUpdate() override;
    void activate();
    void deactivate();
    /// Puts the focus on the first row that can be edited.
    void focusEditing();

    /// Whether the item may be written to the phone now; not while the catalog belongs to a read.
    void setWritingAllowed(bool allowed);
    int rowCount() const { return shownRows_; }

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool event(QEvent* event) override;

private:
    struct Row {
        SubFieldEdit* edit;
        QLabel* label;
    };

    std::span<Row> shownRows() { return {rows_.data(), static_cast<std::size_t>(shownRows_)}; }
    std::span<const Row> shownRows() const { return {rows_.data(), static_cast<std::size_t>(shownRows_)}; }

    void measureRows();
    Row makeRow();
    void placeRow(std::size_t index);
    void buildRows(const NvItem& item);
    void showNothing();
    void showRows(std::size_t count);
    void keepFocusInPane();
    void setScrollExtent();
    /// The pixel below the place where one more row would end.
    int rowsBottom() const;

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

    CCalvaneDoc& document_;
    QWidget* form_;
    QPushButton* writeButton_ = nullptr;
    QCheckBox* hexBox_ = nullptr;
    std::vector<Row> rows_; ///< made so far; the first shownRows_ are in use
    int shownRows_ = 0;
    int rowHeight_ = 20;
    QPalette editPalette_;
};
