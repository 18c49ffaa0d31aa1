#include "app/views/EditorTable.h"

#include "app/dialogs/MessageBox.h"
#include "app/views/AddOrMultiplyDialog.h"
#include "app/views/CNvParam.h"
#include "engine/CalvaneException.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <algorithm>
#include <utility>

using workbench::TableCell;

EditorTable::EditorTable(CNvParam& editor) : QObject(&editor), editor_(editor) {
    editor.installEventFilter(this);
}

void EditorTable::addRow(EditorRow& row) {
    row.edit().installEventFilter(this);
    row.label().installEventFilter(this);
    connect(&row.edit(), &QLineEdit::textEdited, this, &EditorTable::clearSelection);
}

void EditorTable::itemShown() {
    clearSelection();
    left_.reset();
    const NvItem* item = editor_.shownItem();
    runs_ = item == nullptr ? std::vector<workbench::FieldRun>() : workbench::fieldRuns(*item);
}

QString EditorTable::notice() const {
    const auto span = selection();
    if (!span) {
        return {};
    }
    return span->count == 1 ? QString("1 value selected") : QString("%1 values selected").arg(span->count);
}

// Selecting.

std::optional<std::size_t> EditorTable::rowOf(const QObject* watched) const {
    const auto rows = editor_.shownRows();
    const auto found = std::ranges::find_if(
        rows, [watched](const EditorRow& row) { return &row.edit() == watched || &row.label() == watched; });
    return found == rows.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - rows.begin()));
}

std::size_t EditorTable::rowAt(int y) const {
    const auto rows = editor_.shownRows();
    const auto endsBelow = [y](const EditorRow& row) { return y <= row.edit().geometry().bottom(); };
    const auto found = std::ranges::find_if(rows, endsBelow);
    return static_cast<std::size_t>((found == rows.end() ? found - 1 : found) - rows.begin());
}

void EditorTable::select(std::size_t anchor, std::size_t current) {
    anchor_ = anchor;
    current_ = current;
    showSelection();
}

void EditorTable::clearSelection() {
    if (anchor_) {
        anchor_.reset();
        showSelection();
    }
}

void EditorTable::showSelection() {
    const auto span = selection();
    auto rows = editor_.shownRows();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i].showSelected(span && i >= span->first && i < span->first + span->count);
    }
    emit selectionChanged();
}

void EditorTable::focus(std::size_t row) {
    const EditorRow& chosen = editor_.shownRows()[row];
    QWidget& widget = chosen.edit().isEnabled() ? static_cast<QWidget&>(chosen.edit()) : editor_;
    widget.setFocus(Qt::OtherFocusReason);
    editor_.ensureWidgetVisible(&chosen.edit());
}

bool EditorTable::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        return mousePressed(watched, *static_cast<QMouseEvent*>(event));
    case QEvent::MouseMove:
        return mouseMoved(watched, *static_cast<QMouseEvent*>(event));
    case QEvent::KeyPress:
        return keyPressed(*static_cast<QKeyEvent*>(event));
    case QEvent::FocusIn: {
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        if (watched != &editor_ && (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason)) {
            clearSelection();
        }
        return false;
    }
    case QEvent::FocusOut:
        if (static_cast<QFocusEvent*>(event)->reason() == Qt::MouseFocusReason) {
            left_ = rowOf(watched);
        }
        return false;
    case QEvent::ContextMenu:
        if (rowOf(watched)) {
            showMenu(watched, *static_cast<QContextMenuEvent*>(event));
            return true;
        }
        return false;
    default:
        return false;
    }
}

bool EditorTable::mousePressed(QObject* watched, const QMouseEvent& event) {
    const auto row = rowOf(watched);
    if (!row || event.button() != Qt::LeftButton) {
        return false;
    }
    const bool isLabel = qobject_cast<QLabel*>(watched) != nullptr;
    // A click on a box has given it the focus already.
    const auto from = anchor_ ? anchor_ : isLabel ? editor_.focusedRow() : std::exchange(left_, std::nullopt);
    if ((event.modifiers() & Qt::ShiftModifier) && from) {
        select(*from, *row);
    } else if (isLabel) {
        select(*row, *row);
    } else {
        clearSelection();
        return false;
    }
    focus(*row);
    return true;
}

bool EditorTable::mouseMoved(QObject* watched, const QMouseEvent& event) {
    auto* label = qobject_cast<QLabel*>(watched);
    if (label == nullptr || !anchor_ || !rowOf(watched) || !(event.buttons() & Qt::LeftButton)) {
        return false;
    }
    const std::size_t row = rowAt(label->mapToParent(event.pos()).y());
    if (row != current_) {
        select(*anchor_, row);
        focus(row);
    }
    return true;
}

bool EditorTable::keyPressed(const QKeyEvent& event) {
    const auto* box = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    if (event.matches(QKeySequence::Copy) && (box == nullptr || !box->hasSelectedText())) {
        run(Operation::kCopyValues);
        return true;
    }
    if (event.matches(QKeySequence::Paste) && box != nullptr) {
        return pasteSeveral();
    }
    if (event.key() == Qt::Key_Escape && anchor_) {
        clearSelection();
        return true;
    }
    const bool isArrow = event.key() == Qt::Key_Up || event.key() == Qt::Key_Down;
    const auto from = anchor_ ? std::optional(current_) : editor_.focusedRow();
    const std::size_t last = editor_.shownRows().size() - 1;
    if (!isArrow || !(event.modifiers() & Qt::ShiftModifier) || !from) {
        return false;
    }
    const bool isUp = event.key() == Qt::Key_Up;
    const std::size_t to = isUp ? *from - std::min<std::size_t>(*from, 1) : std::min(*from + 1, last);
    select(anchor_.value_or(*from), to);
    focus(to);
    return true;
}

void EditorTable::showMenu(QObject* watched, const QContextMenuEvent& event) {
    const std::size_t row = *rowOf(watched);
    auto* box = qobject_cast<QLineEdit*>(watched);
    if (const auto span = selection(); !span || row < span->first || row >= span->first + span->count) {
        box == nullptr ? select(row, row) : clearSelection();
    }
    QMenu* menu = box == nullptr ? new QMenu(&editor_) : box->createStandardContextMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (QAction* action : menu->actions()) {
        if (action->shortcut() == QKeySequence(QKeySequence::Paste) || action->text().startsWith("&Paste")) {
            disconnect(action, nullptr, box, nullptr); // it would put a column into one box
            connect(action, &QAction::triggered, box, [this, box] {
                box->setFocus(Qt::OtherFocusReason);
                if (!pasteSeveral()) {
                    box->paste();
                }
            });
        }
    }
    menu->addSeparator();
    emit menuWanted(menu);
    menu->popup(event.globalPos());
}

// What an operation works on.

std::optional<EditorTable::Span> EditorTable::selection() const {
    const std::size_t rows = editor_.shownRows().size();
    if (!anchor_ || *anchor_ >= rows || current_ >= rows) {
        return std::nullopt;
    }
    const auto [first, last] = std::minmax(*anchor_, current_);
    return Span{first, last - first + 1};
}

EditorTable::Span EditorTable::runOf(std::size_t row) const {
    const auto has = [row](const workbench::FieldRun& run) { return run.first <= row && row < run.first + run.count; };
    const auto found = std::ranges::find_if(runs_, has);
    return found == runs_.end() ? Span{row, 1} : Span{found->first, found->count};
}

std::optional<EditorTable::Span> EditorTable::target(Operation operation) const {
    const auto selected = selection();
    const auto focused = editor_.focusedRow();
    const std::size_t rows = editor_.shownRows().size();
    if (!selected && !focused) {
        const bool copies = operation == Operation::kCopyValues || operation == Operation::kCopyWithDescriptions;
        return copies && rows > 0 ? std::optional(Span{0, rows}) : std::nullopt;
    }
    const std::size_t first = selected ? selected->first : *focused;
    const Span run = runOf(first);
    if (operation == Operation::kPaste) {
        return Span{first, run.first + run.count - first};
    }
    if (selected) {
        return selected;
    }
    // What stands above the box from which a value is filled down stays.
    return operation == Operation::kFillDown ? Span{first, run.first + run.count - first} : run;
}

int EditorTable::base() const {
    const auto rows = editor_.shownRows();
    return rows.empty() ? 10 : rows.front().edit().base();
}

std::vector<TableCell> EditorTable::cells(Span span) const {
    const NvItem* item = editor_.shownItem();
    const auto types = item->getSubItemTypes();
    const auto subItems = item->getSubItems();
    std::vector<TableCell> cells;
    for (std::size_t i = span.first; i < span.first + span.count; ++i) {
        const SubFieldEdit& edit = editor_.shownRows()[i].edit();
        cells.push_back({types[i], subItems[i].description, edit.isNumber() ? edit.decimalText(types[i]) : ""});
    }
    return cells;
}

// The operations.

bool EditorTable::canRun(Operation operation) const {
    const NvItem* item = editor_.shownItem();
    if (item == nullptr || !target(operation)) {
        return false;
    }
    const bool copies = operation == Operation::kCopyValues || operation == Operation::kCopyWithDescriptions;
    return copies || editor_.shownRows()[target(operation)->first].edit().isEnabled();
}

void EditorTable::run(Operation operation) {
    if (!canRun(operation)) {
        return;
    }
    const Span span = *target(operation);
    switch (operation) {
    case Operation::kCopyValues:
    case Operation::kCopyWithDescriptions:
        copy(span, operation == Operation::kCopyWithDescriptions);
        break;
    case Operation::kPaste:
        paste(span);
        break;
    case Operation::kFillDown:
        changeOrTell(span, workbench::filledDown, "Fill Down");
        break;
    case Operation::kAddOrMultiply:
        askAndCalculate(span);
        break;
    case Operation::kInterpolate:
        changeOrTell(span, workbench::interpolated, "Interpolate");
        break;
    }
}

void EditorTable::copy(Span span, bool withDescriptions) const {
    const auto subItems = editor_.shownItem()->getSubItems();
    std::vector<workbench::TableLine> lines;
    for (std::size_t i = span.first; i < span.first + span.count; ++i) {
        lines.push_back({subItems[i].description, editor_.shownRows()[i].edit().text().toStdString()});
    }
    QApplication::clipboard()->setText(QString::fromStdString(workbench::copiedText(lines, withDescriptions, base())));
}

void EditorTable::paste(Span span) {
    const auto texts = workbench::pastedTexts(QApplication::clipboard()->text().toStdString());
    changeOrTell(
        span,
        [&texts](std::span<const TableCell> cells, int base) { return workbench::pastedValues(cells, texts, base); },
        "Paste Values");
}

bool EditorTable::pasteSeveral() {
    const auto span = target(Operation::kPaste);
    if (!span || runOf(span->first).count == 1 || !canRun(Operation::kPaste) ||
        workbench::pastedTexts(QApplication::clipboard()->text().toStdString()).size() < 2) {
        return false;
    }
    paste(*span);
    return true;
}

void EditorTable::askAndCalculate(Span span) {
    const NvItem shown = *editor_.shownItem();
    AddOrMultiplyDialog dialog(
        span.count,
        [this, span, shown](workbench::Arithmetic arithmetic, const std::string& number) {
            // A read may have ended while the user was asked.
            const NvItem* item = editor_.shownItem();
            if (item == nullptr || item->getId() != shown.getId() || !item->hasLayoutOf(shown)) {
                return QString("The item is not shown any more. Nothing was changed.");
            }
            return change(span, [&](std::span<const TableCell> cells, int base) {
                return workbench::calculated(cells, arithmetic, number, base);
            });
        },
        &editor_);
    dialog.exec();
}

void EditorTable::changeOrTell(Span span, const NewValues& newValues, const QString& caption) {
    const QString fault = change(span, newValues);
    if (!fault.isEmpty()) {
        showMessageBox(&editor_, fault, caption, MessageIcon::kExclamation);
    }
}

QString EditorTable::change(Span span, const NewValues& newValues) {
    if (!editor_.beginChange()) {
        return {};
    }
    std::vector<std::string> values;
    try {
        values = newValues(cells(span), base());
    } catch (const CalvaneException& fault) {
        return QString::fromStdString(fault.what());
    }
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < values.size(); ++i) {
        SubFieldEdit& edit = editor_.shownRows()[span.first + i].edit();
        const QString text = QString::fromStdString(values[i]);
        if (edit.text() != text) {
            edit.putText(text);
        }
    }
    // At once, so that undo takes it back as a whole; without the review boxes are stored when the pane is left.
    if (editor_.settle()) {
        editor_.store();
    }
    return {};
}
