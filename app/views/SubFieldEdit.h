#pragma once

#include <QLineEdit>

/// The box in which one sub-field of an item is shown and edited, in decimal or hexadecimal. User-interface thread.
///
/// What the user sees is what is stored. So text that is no number in the base in which it was typed is never turned
/// into one (its first digits alone would be another number), and undoing never brings back what was typed in another
/// base or has been stored since.
class SubFieldEdit : public QLineEdit {
    Q_OBJECT
public:
    enum class Check { kFits, kEmpty, kNotDecimal };

    explicit SubFieldEdit(QWidget* parent);

    /// Shows the value of an item, in decimal; `isDate`: as a date, which is no number in any base.
    void showValue(const QString& text, bool isDate);
    /// Shows the number in the other base. What was typed and is no number in the base left behind stays as it is.
    void showInBase(int base);
    /// Makes what is shown now the text that undoing leads back to at most. It stays an edit if it is one.
    void forgetHistory();
    /// Whether the text, in decimal, can be stored.
    Check check() const;

private:
    bool isRefused() const;
    void setTextKeepingMark(const QString& text);

    QString date_;    ///< the text of a date that the program put there; empty where it put none
    QString refused_; ///< was no number when the base changed; is none in any base until somebody types it anew
};
