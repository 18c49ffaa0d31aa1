#pragma once

#include "app/dialogs/CustomizedList.h"
#include "app/dialogs/DialogTemplate.h"
#include "engine/NvItem.h"

#include <vector>

class DialogListBox;
class ItemLinesModel;

/// Lets the user build a list of NV items out of those available. It works on copies; the caller takes the result after
/// "Save". Sorting leaves NvItem's process-wide comparison mode as the last sort set it. User-interface thread.
class CCustomListDlg : public TemplateDialog {
    Q_OBJECT

public:
    explicit CCustomListDlg(QWidget* parent = nullptr);

    /// Both are to be given before the dialog runs.
    void setAvailableItems(std::vector<NvItem> items) { available_ = std::move(items); }
    void setCustomizedItems(std::vector<NvItem> items) { customized_ = std::move(items); }

    /// The customized items in the order shown.
    const std::vector<NvItem>& customizedItems() const { return lists_.customized(); }

protected:
    void onInit() override;
    /// Sees what goes to the controls, for the state of Shift and Ctrl.
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    /// One list box with what belongs to it.
    struct Side {
        DialogListBox* box;
        ItemLinesModel* lines;
        LineSelector selector;
    };

    Side makeSide(int controlId);
    void connectButtons();
    void lineChosen(Side& side, int line, Qt::KeyboardModifiers modifiers);
    void sortChosen(const QString& text);
    void trackKey(const QEvent& event);

    void addSelected();
    void removeSelected();
    /// Show the lines of a list anew, with no line selected.
    void showAvailable();
    void showCustomized();
    void updateExtents();

    std::vector<NvItem> available_; ///< as given, until the dialog opens
    std::vector<NvItem> customized_;
    CustomizedList lists_;
    Side availableSide_;
    Side customizedSide_;
    bool shiftDown_ = false;
    bool controlDown_ = false;
};
