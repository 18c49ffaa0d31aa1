#include "app/dialogs/CCustomListDlg.h"

#include "app/dialogs/DialogControls.h"
#include "app/dialogs/FileDialog.h"
#include "app/dialogs/ItemLinesModel.h"
#include "app/dialogs/MessageBox.h"
#include "workbench/ItemListFile.h"

#include <QItemSelection>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>
#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace {

constexpr int kAvailableList = 1012;
constexpr int kCustomizedList = 1013;
constexpr int kAddAll = 1014;
constexpr int kAdd = 1015;
constexpr int kRemove = 1016;
constexpr int kRemoveAll = 1017;
constexpr int kSortBox = 1018;
constexpr int kOpenList = 1110;
constexpr int kSaveList = 1111;

constexpr const char* kIdEntry = "ID Num...";
constexpr const char* kNameEntry = "Alpha...";

// The lists share the width that a small screen takes away, and give up height; what stands around them moves along.
constexpr ControlAnchor kLeftHalf{0, 0, 50, 100};
constexpr ControlAnchor kMiddle{50, 0, 50, 0};
constexpr ControlAnchor kRightHalf{50, 0, 100, 100};
constexpr ControlAnchor kCorner{100, 100, 100, 100};

constexpr DialogControl kControls[] = {
    {kIdStatic, ControlKind::kStaticText, "Available NV Items List", 7, 7, 73, 8},
    {kAvailableList, ControlKind::kListBox, "", 7, 18, 189, 258, kMultipleSelection, kLeftHalf},
    {kIdStatic, ControlKind::kStaticText, "Customized NV Item List", 283, 7, 77, 8, 0, kMiddle},
    {kCustomizedList, ControlKind::kListBox, "", 284, 18, 189, 258, kMultipleSelection, kRightHalf},
    {kIdStatic, ControlKind::kStaticText, "Sort By:", 214, 14, 26, 8, 0, kMiddle},
    {kSortBox, ControlKind::kDropDownList, "ID Num...\nAlpha...", 213, 25, 50, 92, 0, kMiddle},
    {kAddAll, ControlKind::kPushButton, ">>", 213, 65, 50, 14, 0, kMiddle},
    {kAdd, ControlKind::kPushButton, ">", 213, 82, 50, 14, 0, kMiddle},
    {kRemove, ControlKind::kPushButton, "<", 213, 114, 50, 14, 0, kMiddle},
    {kRemoveAll, ControlKind::kPushButton, "<<", 213, 130, 50, 14, 0, kMiddle},
    {kIdOk, ControlKind::kDefaultButton, "Save", 365, 293, 50, 14, 0, kCorner},
    {kIdCancel, ControlKind::kPushButton, "Cancel", 423, 293, 50, 14, 0, kCorner},
    {kOpenList, ControlKind::kPushButton, "&Open List...", 213, 293, 58, 14, 0, kCorner},
    {kSaveList, ControlKind::kPushButton, "Sa&ve List...", 277, 293, 58, 14, 0, kCorner},
};
constexpr DialogTemplate kTemplate{133, "Create Your Own NV Item List", 480, 314, kControls};

enum class Order { kById, kByName };

/// Sorts as NvItem compares from now on. Items with equal keys keep their order.
void sortBy(Order order, std::vector<NvItem>& items) {
    NvItem::setCompareByName(order == Order::kByName);
    std::stable_sort(items.begin(), items.end());
}

/// The same; of items with equal keys the first stays.
void sortAndMerge(Order order, std::vector<NvItem>& items) {
    sortBy(order, items);
    items.erase(std::unique(items.begin(), items.end()), items.end());
}

FileQuestion listQuestion(const char* title) {
    return {.title = title, .filters = "Item lists|*.txt|All files|*.*||", .extension = "txt"};
}

/// The selected lines, ascending.
std::vector<std::size_t> selectedLines(const DialogListBox& box) {
    std::vector<std::size_t> lines;
    for (const QItemSelectionRange& range : box.selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            lines.push_back(static_cast<std::size_t>(row));
        }
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

} // namespace

CCustomListDlg::CCustomListDlg(QWidget* parent)
    : TemplateDialog(kTemplate, parent), available_(makeSide(kAvailableList)), customized_(makeSide(kCustomizedList)) {
    for (QWidget* widget : findChildren<QWidget*>()) {
        widget->installEventFilter(this);
    }
    connectControls();
}

CCustomListDlg::Side CCustomListDlg::makeSide(int controlId) {
    auto& box = item<DialogListBox>(controlId);
    auto* lines = new ItemLinesModel(&box);
    box.setModel(lines);
    return {&box, lines, {}};
}

void CCustomListDlg::connectControls() {
    for (Side* side : {&available_, &customized_}) {
        connect(side->box, &DialogListBox::lineChosen, this,
                [this, side](int line, Qt::KeyboardModifiers modifiers) { lineChosen(*side, line, modifiers); });
    }
    connect(&item<DialogComboBox>(kSortBox), &QComboBox::textActivated, this, &CCustomListDlg::sortChosen);
    const struct {
        int id;
        const char* name;
        void (CCustomListDlg::*run)();
    } kButtons[] = {
        {kAddAll, "Add all", &CCustomListDlg::addAll},        {kAdd, "Add", &CCustomListDlg::addSelected},
        {kRemove, "Remove", &CCustomListDlg::removeSelected}, {kRemoveAll, "Remove all", &CCustomListDlg::removeAll},
        {kOpenList, "Open list", &CCustomListDlg::openList},  {kSaveList, "Save list", &CCustomListDlg::saveList}};
    for (const auto& row : kButtons) {
        auto& button = item<QPushButton>(row.id);
        button.setAccessibleName(QLatin1String(row.name));
        connect(&button, &QPushButton::clicked, this, row.run);
    }
}

void CCustomListDlg::onInit() {
    sortBy(Order::kById, customized_.items);
    item<DialogComboBox>(kSortBox).setCurrentIndex(-1);
    showLines(available_);
    showLines(customized_);
    shiftDown_ = false;
    controlDown_ = false;
    available_.anchor = 0;
    customized_.anchor = 0;
    TemplateDialog::onInit();
}

bool CCustomListDlg::eventFilter(QObject* watched, QEvent* event) {
    trackKey(*event);
    return TemplateDialog::eventFilter(watched, event);
}

bool CCustomListDlg::event(QEvent* event) {
    trackKey(*event);
    return TemplateDialog::event(event);
}

void CCustomListDlg::changeEvent(QEvent* event) {
    TemplateDialog::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        available_.box->fitHorizontalExtent();
        customized_.box->fitHorizontalExtent();
    }
}

void CCustomListDlg::trackKey(const QEvent& event) {
    if (event.type() == QEvent::WindowDeactivate) {
        // Another window gets the release of a key that is down now.
        shiftDown_ = false;
        controlDown_ = false;
    } else if (event.type() == QEvent::KeyPress || event.type() == QEvent::KeyRelease) {
        const bool down = event.type() == QEvent::KeyPress;
        const int key = static_cast<const QKeyEvent&>(event).key();
        if (key == Qt::Key_Shift) {
            shiftDown_ = down;
        } else if (key == Qt::Key_Control) {
            controlDown_ = down;
        }
    }
}

void CCustomListDlg::lineChosen(Side& side, int line, Qt::KeyboardModifiers modifiers) {
    // A key that was down before the dialog opened shows in the modifiers alone.
    const bool shift = shiftDown_ || modifiers.testFlag(Qt::ShiftModifier);
    const bool control = controlDown_ || modifiers.testFlag(Qt::ControlModifier);
    const auto chosen = static_cast<std::size_t>(line);
    // The list may have become shorter since the anchor was set.
    const auto other = static_cast<int>(shift ? std::min(side.anchor, side.items.size() - 1) : chosen);
    side.anchor = chosen;
    const QItemSelection range(side.lines->index(std::min(line, other)), side.lines->index(std::max(line, other)));
    side.box->selectionModel()->select(range, shift || control ? QItemSelectionModel::Select
                                                               : QItemSelectionModel::ClearAndSelect);
}

void CCustomListDlg::sortChosen(const QString& text) {
    if (text != QLatin1String(kIdEntry) && text != QLatin1String(kNameEntry)) {
        return;
    }
    for (Side* side : {&customized_, &available_}) {
        sortAndMerge(text == QLatin1String(kNameEntry) ? Order::kByName : Order::kById, side->items);
        showLines(*side);
    }
}

void CCustomListDlg::addItems(const std::vector<std::size_t>& lines) {
    for (const std::size_t line : lines) {
        customized_.items.push_back(available_.items[line]);
    }
    sortAndMerge(Order::kById, customized_.items);
    showLines(customized_);
}

void CCustomListDlg::addSelected() {
    const std::vector<std::size_t> lines = selectedLines(*available_.box);
    if (!lines.empty()) {
        available_.box->clearSelection();
        addItems(lines);
    }
}

void CCustomListDlg::addAll() {
    std::vector<std::size_t> lines(available_.items.size());
    std::iota(lines.begin(), lines.end(), std::size_t{0});
    addItems(lines);
}

void CCustomListDlg::removeSelected() {
    const std::vector<std::size_t> lines = selectedLines(*customized_.box);
    if (lines.empty()) {
        return;
    }
    std::vector<NvItem> kept;
    for (std::size_t line = 0; line < customized_.items.size(); ++line) {
        if (!std::binary_search(lines.begin(), lines.end(), line)) {
            kept.push_back(std::move(customized_.items[line]));
        }
    }
    customized_.items = std::move(kept);
    showLines(customized_);
}

void CCustomListDlg::removeAll() {
    customized_.items.clear();
    showLines(customized_);
}

void CCustomListDlg::openList() {
    const auto path = askFileToOpen(this, listQuestion("Open List"));
    if (!path) {
        return;
    }
    try {
        takeList(workbench::loadItemList(*path));
    } catch (const std::runtime_error& failure) {
        showMessageBox(this, QString::fromStdString(failure.what()), "Open List", MessageIcon::kExclamation);
    }
}

void CCustomListDlg::takeList(const workbench::ItemList& list) {
    std::vector<NvItem> ring = available_.items;
    sortBy(Order::kById, ring);
    sortBy(Order::kById, customized_.items);
    std::vector<NvItem> listed;
    for (const std::uint16_t number : list.numbers()) {
        // An item that was in the list already keeps its values.
        for (const auto* items : {&customized_.items, &ring}) {
            const auto found = std::ranges::lower_bound(*items, number, {}, &NvItem::getId);
            if (found != items->end() && found->getId() == number) {
                listed.push_back(*found);
                break;
            }
        }
    }
    customized_.items = std::move(listed);
    showLines(customized_);
    if (const auto doubts = workbench::doubtsOf(list, ring); !doubts.empty()) {
        showDoubts(doubts);
    }
}

void CCustomListDlg::showDoubts(const std::vector<std::string>& doubts) {
    std::string text = doubts.size() == 1 ? std::string("1 line does not fit the decoder ring.")
                                          : std::to_string(doubts.size()) + " lines do not fit the decoder ring.";
    text += " The other items are listed, and those with other names too.\n";
    for (const std::string& doubt : doubts) {
        text += '\n' + doubt;
    }
    showMessageBox(this, QString::fromStdString(text), "Open List", MessageIcon::kExclamation);
}

void CCustomListDlg::saveList() {
    const auto path = askFileToSave(this, listQuestion("Save List"));
    if (!path) {
        return;
    }
    try {
        workbench::writeItemList(*path, customized_.items);
        rememberFolderOf(*path);
    } catch (const std::runtime_error& failure) {
        showMessageBox(this, QString::fromStdString(failure.what()), "Save List", MessageIcon::kExclamation);
    }
}

void CCustomListDlg::showLines(Side& side) {
    side.lines->setItems(&side.items);
    side.box->fitHorizontalExtent();
}
