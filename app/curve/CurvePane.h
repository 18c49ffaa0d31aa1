#pragma once

#include "app/curve/CurveData.h"
#include "app/curve/CurvePicture.h"
#include "app/document/CCalvaneDoc.h"
#include "app/views/EditHistory.h"

#include <QWidget>

class CurvePlot;
class QLabel;
class QStackedWidget;
class QPushButton;

/// What of other sets a curve is held against. `item` may be empty, and gives null for an item that the set lacks.
struct ComparedItems {
    std::function<const NvItem*(std::uint16_t number)> item;
    std::string name;
};

/// The curves of the selected item, below the editor: the plot with a line about the chosen point and its buttons, or a
/// line of text where the item has none. What is dragged there is an edit like any other.
///
/// Follows the document while it is shown. Owned by the window; document and history outlive it. User-interface thread.
class CurvePane : public QWidget, public DocumentView {
    Q_OBJECT
public:
    /// `storeTyped` stores what was typed elsewhere and not stored yet; false where that is not to be: nothing may be
    /// stored then.
    CurvePane(CCalvaneDoc& document, EditHistory& history, UserInterface& userInterface,
              std::function<bool()> storeTyped, QWidget* parent = nullptr);
    ~CurvePane() override;

    void onUpdate() override;
    /// To be called when what it is compared with has changed.
    void refresh();
    void setCompared(ComparedItems compared);

    CurvePlot& plot() const { return *plot_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void makeRow(QWidget* row);
    void store(std::size_t field, const QString& text);
    void savePicture(PictureFormat format);
    void showState();

    CCalvaneDoc& document_;
    EditHistory& history_;
    UserInterface& userInterface_;
    std::function<bool()> storeTyped_;
    ComparedItems compared_;
    CurvePlot* plot_;
    QStackedWidget* stack_;
    QLabel* note_;
    QLabel* readout_;
    QPushButton* whole_;
    QPushButton* save_;
};
