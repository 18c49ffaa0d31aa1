#pragma once

#include "engine/SubItem.h"

#include <QLineEdit>
#include <string>

/// The box in which one sub-field of an item is shown and edited, in decimal or hexadecimal. User-interface thread.
///
/// The user sees what is stored. So text that is no number in the base in which it was typed is never converted (its
/// first digits alone would be another number), and undoing never restores text that was typed in another base or that
/// has been stored since. When the box has no typing left to undo, the key goes to the window's own undo.
class SubFieldEdit : public QLineEdit {
    Q_OBJECT
public:
    enum class Check { kFits, kEmpty, kNotDecimal };

    explicit SubFieldEdit(QWidget* parent);

    /// Shows the value of an item, in decimal; `isDate`: as a date, which is no number in any base.
    void showValue(const QString& text, bool isDate);
    /// Shows the number in `base`, 10 or 16. Typed text that is no number in the base before stays as it is.
    void showInBase(int base);
    int base() const { return base_; }
    /// As if the user had typed it in the base that is shown, but the box has nothing to undo: it is one of several
    /// that have changed at once.
    void putText(const QString& text);
    /// Makes the present text the oldest that undoing restores. The modified mark stays.
    void forgetHistory();
    /// Whether the text, in decimal, can be stored.
    Check check() const;

    /// Whether the text is still the date that was shown.
    bool showsDate() const { return !date_.isEmpty() && text() == date_; }
    /// Whether the text is a number in the base that is shown.
    bool isNumber() const;
    /// That number in decimal, as a value of `type`: the bits typed in hexadecimal are not taken for a sign where the
    /// type has none.
    std::string decimalText(SubItemType type) const;

signals:
    /// The user does not want what was typed.
    void dropped();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool isRefused() const;
    void setTextKeepingMark(const QString& text);

    QString date_;    ///< the date that the program shows; empty where it shows none
    QString refused_; ///< was no number when the base changed, and counts as none until it is typed again
    int base_ = 10;
};
