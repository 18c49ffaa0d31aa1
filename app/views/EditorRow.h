#pragma once

#include "app/views/SubFieldEdit.h"
#include "workbench/Comparison.h"
#include "workbench/TypedValues.h"
#include "workbench/Units.h"

#include <QPalette>
#include <string>

class QLabel;
class UnitLabel;

/// One row of the editor: the box of a sub-field, its label, and what is to be known of its value. A value that differs
/// from the last known one is shown bold, with "*" before its box and the known value as tooltip. A value that can't be
/// stored is held: "!" stands before its box, and behind the label what the sub-field may hold.
///
/// The widgets belong to the editor's form. User-interface thread.
class EditorRow {
public:
    /// `index`: the row's position, from 0.
    EditorRow(QWidget* form, int index);

    SubFieldEdit& edit() const { return *edit_; }
    QLabel& label() const { return *label_; }

    void place(int top, int height);
    void setVisible(bool visible);
    void setEditPalette(const QPalette& palette);
    /// The pixel behind the row's last text, at most `limit`.
    int right(int limit) const;

    /// Shows the value of a sub-field of `type`; `shown` is its value or, as a date, another text.
    void show(const SubItem& subItem, SubItemType type, const std::string& shown);
    /// Shows how the sub-field's value stands to its last known one; `source` says where that was found.
    void showChange(const workbench::SubFieldRow& row, const QString& source);

    /// Shows the value in this unit, too; null for none. To be called after show().
    void showUnit(const workbench::FieldUnit* unit);
    /// Shows whether the sub-field is one that was looked for.
    void showMatch(bool matches);

    /// Whether something was typed that is not stored.
    bool isTyped() const;
    /// What the typed text would do. One that the user has agreed to fits.
    workbench::TypedValue judge() const;
    /// The text to be stored in decimal, after judge() has said that it fits.
    std::string storedText() const;

    void hold(const workbench::TypedValue& typed);
    void release();
    bool isHeld() const { return held_; }
    /// What the row's hint says while it is held.
    QString hint() const;
    /// The user agrees to the value that would be stored, if a held row has said one. It counts until something else is
    /// typed.
    void agree();

private:
    void showMarks();
    void showPalette();

    SubFieldEdit* edit_;
    QLabel* label_;
    QLabel* mark_;
    QLabel* hint_ = nullptr;    ///< made for the first value that is held
    UnitLabel* unit_ = nullptr; ///< made for the first value that has a unit
    QPalette palette_;
    QString changeText_; ///< the tooltip of a changed value
    SubItemType type_{};
    std::string agreed_; ///< the typed text that the user has agreed to
    bool changed_ = false;
    bool held_ = false;
    bool matches_ = false;
    bool paletteOfHeld_ = false; ///< whether the box has the colours of a held value
};
