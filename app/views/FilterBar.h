#pragma once

#include <QWidget>

class QLabel;
class QLineEdit;
class QToolButton;

/// The line over the item list in which the user says which items to show: words, and three switches, each of which
/// narrows the list further. Esc empties it; when it is empty, Esc leaves it. User-interface thread.
class FilterBar : public QWidget {
    Q_OBJECT
public:
    explicit FilterBar(QWidget* parent);

    QString text() const;
    bool wantsChanged() const;
    bool wantsWithoutValue() const;
    bool wantsReadOnly() const;
    /// Whether nothing is asked for.
    bool isEmpty() const;

    /// Empties the line and the switches.
    void clear();
    /// Puts the focus into the line, with its text selected.
    void focusLine();
    /// Shows how many items fit; red with the words "no item" where none does.
    void showCount(std::size_t fitting, std::size_t all);
    /// Nothing is counted.
    void showNoCount();

signals:
    /// What is asked for is another now.
    void edited();
    /// The user is done with it: the focus is to go to the list.
    void left();
    /// The user goes to what was found.
    void accepted();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QToolButton* addSwitch(const char* name, const QString& text, const QString& hint);
    void showNone(bool none);
    void escape();

    QLineEdit* line_;
    QLabel* count_;
    QToolButton* changed_;
    QToolButton* withoutValue_;
    QToolButton* readOnly_;
    bool none_ = false; ///< whether the line is red
};
