// How what was typed into the editor gets into the document: with messages, and in safe hands.

#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShownText.h"
#include "app/views/CNvParam.h"
#include "app/views/EditorHeader.h"
#include "app/views/EditorTable.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <algorithm>
#include <utility>

bool CNvParam::leaveHex() {
    if (!hexBox_->isChecked()) {
        return false;
    }
    hexBox_->setChecked(false);
    toggleHex(false);
    return true;
}

void CNvParam::returnToHex() {
    hexBox_->setChecked(true);
    toggleHex(true);
}

void CNvParam::forgetHistory() {
    for (const EditorRow& row : shownRows()) {
        row.edit().forgetHistory();
    }
}

bool CNvParam::isAnyRowModified() const {
    return std::ranges::any_of(shownRows(), [](const EditorRow& row) { return row.edit().isModified(); });
}

SubFieldEdit::Check CNvParam::checkRows() {
    for (const EditorRow& row : shownRows()) {
        const SubFieldEdit::Check check = row.edit().check();
        if (check == SubFieldEdit::Check::kFits) {
            continue;
        }
        const char* wrong =
            check == SubFieldEdit::Check::kEmpty ? " is empty. Fail to store data" : " is not a decimal number";
        showMessageBox(this, row.label().text() + wrong, "", MessageIcon::kNone);
        return check;
    }
    return SubFieldEdit::Check::kFits;
}

QString CNvParam::joinedRows() const {
    QStringList texts;
    for (const EditorRow& row : shownRows()) {
        texts << row.edit().text();
    }
    return texts.join(',');
}

void CNvParam::store() {
    if (isOn(safeHands_)) {
        storeTyped();
    } else {
        storeEdits();
    }
}

void CNvParam::storeEdits() {
    const bool wasHex = leaveHex();
    if (isAnyRowModified()) {
        const auto check = checkRows();
        if (check == SubFieldEdit::Check::kNotDecimal) {
            return;
        }
        if (check == SubFieldEdit::Check::kFits) {
            storeRows();
        }
    }
    if (wasHex) {
        returnToHex();
    }
}

void CNvParam::storeRows() {
    if (document_.selectedItem() == nullptr) {
        return;
    }
    try {
        history_.storeItemData(static_cast<std::size_t>(document_.selectedIndex()), joinedRows().toStdString());
        forgetHistory();
    } catch (const Calvane::Exception&) {
        showMessageBox(this, "Can't store parameters.", "Exception Thrown", MessageIcon::kError);
    }
}

void CNvParam::writeNv() {
    if (document_.isWaiting()) {
        return;
    }
    if (isOn(safeHands_)) {
        if (settle({"Write NV", [this] { writeNv(); }}) && shown_) {
            emit writeRequested();
        }
        return;
    }
    const bool wasHex = leaveHex();
    if (shownRows_ > 0 && document_.selectedItem() != nullptr) {
        const auto check = checkRows();
        if (check == SubFieldEdit::Check::kNotDecimal) {
            return;
        }
        if (check == SubFieldEdit::Check::kFits) {
            writeRows();
        }
    }
    if (wasHex) {
        returnToHex();
    }
}

void CNvParam::writeRows() {
    const NvItem* selected = document_.selectedItem();
    if (selected == nullptr) {
        return;
    }
    const std::string name = selected->getName();
    try {
        if (history_.writeItem(name, joinedRows().toStdString())) {
            forgetHistory();
        } else {
            showMessageBox(this, "Error: unable to find NV item '" + shownText(name) + "' in the document object.",
                           "You should never get here!!", MessageIcon::kError);
        }
    } catch (const Calvane::Exception& failure) {
        showMessageBox(this, failure.what(), "Exception Thrown!!!", MessageIcon::kError);
    }
}

bool CNvParam::beginChange() {
    const NvItem* item = document_.selectedItem();
    if (item == nullptr || !isShown(*item) || document_.isWaiting()) {
        return false;
    }
    if (isOn(safeHands_)) {
        storeTyped();
    }
    return true;
}

bool CNvParam::isAnyRowHeld() const {
    return std::ranges::any_of(shownRows(), &EditorRow::isHeld);
}

bool CNvParam::settle(WaitingCommand waiting) {
    if (!isOn(safeHands_)) {
        return true;
    }
    if (waiting.run) {
        waiting_ = {}; // the newest command counts
    }
    if (storeTyped()) {
        return true;
    }
    if (waiting.run) {
        waiting_ = std::move(waiting);
    }
    const auto rows = shownRows();
    const auto held = std::ranges::find_if(rows, &EditorRow::isHeld);
    ensureWidgetVisible(&held->edit());
    held->edit().setFocus(Qt::OtherFocusReason);
    showNotice();
    return false;
}

void CNvParam::resume() {
    showNotice();
    if (!isAnyRowHeld() && waiting_.run) {
        QMetaObject::invokeMethod(this, std::exchange(waiting_, {}).run, Qt::QueuedConnection);
    }
}

void CNvParam::showNotice() {
    const auto rows = shownRows();
    const auto held = std::ranges::find_if(rows, &EditorRow::isHeld);
    if (held == rows.end()) {
        header_->showNotice(table_->notice());
        return;
    }
    const QString waits = waiting_.run ? " " + waiting_.name + " waits." : QString();
    const char* const drops = held->isTyped() ? ". Esc drops it." : ". Esc drops what was typed beside it.";
    header_->showNotice(held->hint() + drops + waits);
}

std::vector<std::string> CNvParam::judgeRows(const std::vector<SubItem>& subItems) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < subItems.size(); ++i) {
        EditorRow& row = rows_[i];
        texts.push_back(subItems[i].value);
        if (!row.isTyped()) {
            row.release();
            continue;
        }
        const workbench::TypedValue judged = row.judge();
        if (judged.verdict == workbench::TypedValue::Verdict::kFits) {
            texts.back() = row.storedText();
            row.release();
        } else {
            row.hold(judged);
        }
    }
    return texts;
}

bool CNvParam::storeTyped() {
    const NvItem* item = document_.selectedItem();
    if (item == nullptr || !isShown(*item) || document_.isWaiting()) {
        return true;
    }
    if (std::ranges::any_of(shownRows(), &EditorRow::isTyped)) {
        storeFitting(*item);
    } else {
        std::ranges::for_each(shownRows(), &EditorRow::release);
    }
    setScrollExtent();
    resume();
    return !isAnyRowHeld();
}

void CNvParam::storeFitting(const NvItem& item) {
    const std::vector<std::string> texts = judgeRows(item.getSubItems());
    std::vector<std::size_t> fitting;
    bool complete = true;
    std::string values;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        values += (i == 0 ? "" : ",") + texts[i];
        if (texts[i].empty()) { // of an item without values: zeros that nobody typed would pass for some
            rows_[i].hold(rows_[i].judge());
            complete = false;
        } else if (rows_[i].isTyped() && !rows_[i].isHeld()) {
            fitting.push_back(i);
        }
    }
    if (!complete || fitting.empty()) {
        return;
    }
    for (const std::size_t row : fitting) {
        rows_[row].edit().setModified(false); // before others hear of it, and show the values anew
    }
    history_.storeItemData(static_cast<std::size_t>(document_.selectedIndex()), values);
    refreshRows(*document_.selectedItem());
    showMarks();
}

void CNvParam::takeTyped(std::size_t index) {
    if (!isOn(safeHands_)) {
        return;
    }
    rows_[index].agree();
    settle();
}

bool CNvParam::mayDropAll() {
    const auto typed = std::ranges::count_if(shownRows(), &EditorRow::isTyped);
    QMessageBox box(QMessageBox::Question, "Item Without Values",
                    typed == 1 ? QString("1 value was typed, and others are missing.")
                               : QString("%1 values were typed, and others are missing.").arg(typed),
                    QMessageBox::Discard | QMessageBox::Cancel, this);
    box.setInformativeText("An item that has never had a value is stored once all its values are there.");
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Discard;
}

void CNvParam::dropTyped(std::size_t index) {
    if (!isOn(safeHands_)) {
        return;
    }
    // A row that is held without having been typed is one that is missing beside the typed ones.
    const bool all = rows_[index].isHeld() && !rows_[index].isTyped();
    if (all && !mayDropAll()) {
        return;
    }
    const NvItem* item = document_.selectedItem(); // a read may have ended while the user was asked
    if (item == nullptr || !isShown(*item)) {
        return;
    }
    for (std::size_t i = 0; i < shownRows().size(); ++i) {
        if (i == index || all) {
            rows_[i].edit().setModified(false);
            rows_[i].release();
        }
    }
    if (std::ranges::none_of(shownRows(), &EditorRow::isTyped)) {
        std::ranges::for_each(shownRows(), &EditorRow::release);
    }
    refreshRows(*item);
    showMarks();
    resume();
}

void CNvParam::drop() {
    for (EditorRow& row : shownRows()) {
        row.edit().setModified(false);
        row.release();
    }
    if (const NvItem* item = document_.selectedItem(); item != nullptr && isShown(*item)) {
        refreshRows(*item);
    }
    showMarks();
}

void CNvParam::forgetHeld() {
    waiting_ = {};
    std::ranges::for_each(shownRows(), &EditorRow::release);
    setScrollExtent();
    showNotice();
}

void CNvParam::judgeAgain(std::size_t index) {
    EditorRow& row = rows_[index];
    if (!row.isHeld()) {
        return;
    }
    const workbench::TypedValue judged = row.judge();
    using Verdict = workbench::TypedValue::Verdict;
    const bool wrong = row.isTyped() ? judged.verdict != Verdict::kFits : judged.verdict == Verdict::kEmpty;
    wrong ? row.hold(judged) : row.release();
    setScrollExtent();
    showNotice();
}

std::optional<std::size_t> CNvParam::focusedRow() const {
    const auto rows = shownRows();
    const auto focused =
        std::ranges::find_if(rows, [this](const EditorRow& row) { return &row.edit() == form_->focusWidget(); });
    return focused == rows.end() ? std::nullopt : std::optional(static_cast<std::size_t>(focused - rows.begin()));
}
