#pragma once

#include "app/dialogs/DialogTemplate.h"
#include "engine/NvItem.h"

#include <cstddef>
#include <utility>
#include <vector>

class DialogListBox;
class ItemLinesModel;
namespace workbench {
struct ItemList;
} // namespace workbench

/// Lets the user build a list of NV items out of those available. It works on copies; the caller takes the result after
/// "Save". Sorting leaves NvItem's process-wide comparison mode as the last sort set it. User-interface thread.
class CCustomListDlg : public TemplateDialog {
    Q_OBJECT

public:
    explicit CCustomListDlg(QWidget* parent = nullptr);

    /// Both are to be given before the dialog runs.
    void setAvailableItems(std::vector<NvItem> items) { available_.items = std::move(items); }
    void setCustomizedItems(std::vector<NvItem> items) { customized_.items = std::move(items); }

    /// The customized items in the order shown.
    const std::vector<NvItem>& customizedItems() const { return customized_.items; }

protected:
    void onInit() override;
    /// Watches the keys of all controls for the state of Shift and Ctrl.
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    /// One of the two lists.
    struct Side {
        DialogListBox* box;
        ItemLinesModel* lines;
        std::vector<NvItem> items;
        std::size_t anchor =
            0; ///< the line last clicked since the dialog opened, at which a selection with Shift begins
    };

    Side makeSide(int controlId);
    void connectControls();
    void lineChosen(Side& side, int line, Qt::KeyboardModifiers modifiers);
    void sortChosen(const QString& text);
    void trackKey(const QEvent& event);

    /// Copies the available items at `lines` to the customized ones, which are by number then.
    void addItems(const std::vector<std::size_t>& lines);
    void addSelected();
    void addAll();
    void removeSelected();
    void removeAll();
    /// The customized items become those of a file, by number, and are saved to one.
    void openList();
    void saveList();
    void takeList(const workbench::ItemList& list);
    /// Tells what of a list does not fit the items available.
    void showDoubts(const std::vector<std::string>& doubts);
    /// Shows the lines of a list anew, with no line selected, and fits how far they can be scrolled sideways.
    static void showLines(Side& side);

    Side available_;
    Side customized_;
    bool shiftDown_ = false;
    bool controlDown_ = false;
};
