#pragma once

#include <QLineEdit>

/// The box in which one sub-field of an item is shown and edited, in decimal or hexadecimal. User-interface thread.
///
/// The user sees what is stored. So text that is no number in the base in which it was typed is never converted (its
/// first digits alone would be another number), and undoing never restores text that was typed in another base or that
/// has been stored since.
class SubFieldEdit : public QLineEdit {
    Q_OBJECT
public:
    enum class Check { kFits, kEmpty, kNotDecimal };

    explicit SubFieldEdit(QWidget* parent);

    /// Shows the value of an item, in decimal; `isDate`: as a date, which is no number in any base.
    void showValue(const QString& text, bool isDate);
    /// Shows the number in `base`, 10 or 16. Typed text that is no number in the base before stays as it is.
    void showInBase(int base);
    /// Makes the present text the oldest that undoing restores. The modified mark stays.
    void forgetHistory();
    /// Whether the text, in decimal, can be stored.
    Check check() const;

private:
    bool isRefused() const;
    void setTextKeepingMark(const QString& text);

    QString date_;    ///< the date that the program shows; empty where it shows none
    QString refused_; ///< was no number when the base changed, and counts as none until it is typed again
};
