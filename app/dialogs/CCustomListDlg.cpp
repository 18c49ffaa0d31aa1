#include "app/dialogs/CCustomListDlg.h"

#include "app/dialogs/DialogControls.h"
#include "app/dialogs/ItemLinesModel.h"

#include <QItemSelection>
#include <QKeyEvent>
#include <QPushButton>
#include <algorithm>

namespace {

constexpr int kAvailableList = 1012;
constexpr int kCustomizedList = 1013;
constexpr int kAddAll = 1014;
constexpr int kAdd = 1015;
constexpr int kRemove = 1016;
constexpr int kRemoveAll = 1017;
constexpr int kSortBox = 1018;

constexpr const char* kById = "ID Num...";
constexpr const char* kByName = "Alpha...";

// The lists share the width that a small screen takes away, and give up height; what stands around them moves along.
constexpr ControlAnchor kLeftHalf{0, 0, 50, 100};
constexpr ControlAnchor kMiddle{50, 0, 50, 0};
constexpr ControlAnchor kRightHalf{50, 0, 100, 100};
constexpr ControlAnchor kCorner{100, 100, 100, 100};

constexpr DialogControl kControls[] = {
    {kIdStatic, ControlKind::StaticText, "Available NV Items List", 7, 7, 73, 8},
    {kAvailableList, ControlKind::ListBox, "", 7, 18, 189, 258, kMultipleSelection, kLeftHalf},
    {kIdStatic, ControlKind::StaticText, "Customized NV Item List", 283, 7, 77, 8, 0, kMiddle},
    {kCustomizedList, ControlKind::ListBox, "", 284, 18, 189, 258, kMultipleSelection, kRightHalf},
    {kIdStatic, ControlKind::StaticText, "Sort By:", 214, 14, 26, 8, 0, kMiddle},
    {kSortBox, ControlKind::DropDownList, "ID Num...\nAlpha...", 213, 25, 50, 92, 0, kMiddle},
    {kAddAll, ControlKind::PushButton, ">>", 213, 65, 50, 14, 0, kMiddle},
    {kAdd, ControlKind::PushButton, ">", 213, 82, 50, 14, 0, kMiddle},
    {kRemove, ControlKind::PushButton, "<", 213, 114, 50, 14, 0, kMiddle},
    {kRemoveAll, ControlKind::PushButton, "<<", 213, 130, 50, 14, 0, kMiddle},
    {kIdOk, ControlKind::DefaultButton, "Save", 365, 293, 50, 14, 0, kCorner},
    {kIdCancel, ControlKind::PushButton, "Cancel", 423, 293, 50, 14, 0, kCorner},
};
constexpr DialogTemplate kTemplate{133, "Create Your Own NV Item List", 480, 314, kControls};

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
    : TemplateDialog(kTemplate, parent), availableSide_(makeSide(kAvailableList)),
      customizedSide_(makeSide(kCustomizedList)) {
    const struct {
        int id;
        const char* name;
    } kNames[] = {{kAddAll, "Add all"}, {kAdd, "Add"}, {kRemove, "Remove"}, {kRemoveAll, "Remove all"}};
    for (const auto& row : kNames) {
        item<QPushButton>(row.id).setAccessibleName(QLatin1String(row.name));
    }
    for (QWidget* widget : findChildren<QWidget*>()) {
        widget->installEventFilter(this);
    }
    connect(availableSide_.box, &DialogListBox::lineChosen, this,
            [this](int line, Qt::KeyboardModifiers modifiers) { lineChosen(availableSide_, line, modifiers); });
    connect(customizedSide_.box, &DialogListBox::lineChosen, this,
            [this](int line, Qt::KeyboardModifiers modifiers) { lineChosen(customizedSide_, line, modifiers); });
    connect(&item<DialogComboBox>(kSortBox), &QComboBox::textActivated, this, &CCustomListDlg::sortChosen);
    connectButtons();
}

CCustomListDlg::Side CCustomListDlg::makeSide(int controlId) {
    auto& box = item<DialogListBox>(controlId);
    auto* lines = new ItemLinesModel(&box);
    box.setModel(lines);
    return {&box, lines, LineSelector()};
}

void CCustomListDlg::connectButtons() {
    connect(&item<QPushButton>(kAdd), &QPushButton::clicked, this, &CCustomListDlg::addSelected);
    connect(&item<QPushButton>(kRemove), &QPushButton::clicked, this, &CCustomListDlg::removeSelected);
    connect(&item<QPushButton>(kAddAll), &QPushButton::clicked, this, [this] {
        lists_.addAll();
        showCustomized();
        updateExtents();
    });
    connect(&item<QPushButton>(kRemoveAll), &QPushButton::clicked, this, [this] {
        lists_.removeAll();
        showCustomized();
        updateExtents();
    });
}

void CCustomListDlg::onInit() {
    lists_ = CustomizedList(std::move(available_), std::move(customized_));
    available_.clear();
    customized_.clear();
    item<DialogComboBox>(kSortBox).setCurrentIndex(-1);
    showAvailable();
    showCustomized();
    shiftDown_ = false;
    controlDown_ = false;
    availableSide_.selector = LineSelector();
    customizedSide_.selector = LineSelector();
    updateExtents();
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
        updateExtents();
    }
}

void CCustomListDlg::trackKey(const QEvent& event) {
    if (event.type() == QEvent::WindowDeactivate) {
        // The release of a key that is down now goes to another window.
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
    const auto count = static_cast<std::size_t>(side.lines->rowCount());
    const SelectionChange change = side.selector.choose(static_cast<std::size_t>(line), count, shift, control);
    const QItemSelection range(side.lines->index(static_cast<int>(change.first)),
                               side.lines->index(static_cast<int>(change.last)));
    side.box->selectionModel()->select(range, change.deselectOthers ? QItemSelectionModel::ClearAndSelect
                                                                    : QItemSelectionModel::Select);
}

void CCustomListDlg::sortChosen(const QString& text) {
    if (text == QLatin1String(kById)) {
        lists_.sort(CustomizedList::Order::ById);
    } else if (text == QLatin1String(kByName)) {
        lists_.sort(CustomizedList::Order::ByName);
    } else {
        return;
    }
    showCustomized();
    showAvailable();
    updateExtents();
}

void CCustomListDlg::addSelected() {
    const std::vector<std::size_t> lines = selectedLines(*availableSide_.box);
    if (!lines.empty()) {
        lists_.add(lines);
        availableSide_.box->clearSelection();
        showCustomized();
    }
    updateExtents();
}

void CCustomListDlg::removeSelected() {
    const std::vector<std::size_t> lines = selectedLines(*customizedSide_.box);
    if (!lines.empty()) {
        lists_.remove(lines);
        showCustomized();
    }
    updateExtents();
}

void CCustomListDlg::showAvailable() {
    availableSide_.lines->setItems(&lists_.available());
}

void CCustomListDlg::showCustomized() {
    customizedSide_.lines->setItems(&lists_.customized());
}

void CCustomListDlg::updateExtents() {
    availableSide_.box->fitHorizontalExtent();
    customizedSide_.box->fitHorizontalExtent();
}
