#pragma once

#include <QComboBox>
#include <QLineEdit>
#include <QListView>

/// Removes line ends from what the user pastes into `edit`: a spreadsheet's cell ends with one, and a box of one line
/// does not show it. Those between other characters become blanks. User-interface thread.
void keepToOneLine(QLineEdit& edit);

/// A list box of a dialog or form: one line per row of its model, tabs expanded, scrolled sideways as far as
/// setHorizontalExtent() says. Models may have a hundred thousand rows: no widget or item is kept per line.
///
/// With multiple selection (setMultipleSelection) it selects nothing by itself but all lines on Ctrl+A: it reports the
/// line that the user clicked or toggled with the space bar, and its owner applies its own rules to the selection.
/// Otherwise it selects as any list does. User-interface thread.
class DialogListBox : public QListView {
    Q_OBJECT

public:
    /// How many pixels a line's text begins behind its left edge.
    static constexpr int kTextIndent = 3;

    explicit DialogListBox(QWidget* parent = nullptr);

    void setMultipleSelection(bool multiple);

    /// The width in pixels that lines take, as far as the horizontal scroll bar reaches. 0, as at the start: the width
    /// of the list.
    void setHorizontalExtent(int pixels);
    int horizontalExtent() const { return horizontalExtent_; }

    /// Sets the extent from the widest line: its text and one average character, and five more of these.
    void fitHorizontalExtent();

signals:
    /// Multiple selection: the user clicked row `line`, or pressed the space bar on it; it is the current one now.
    void lineChosen(int line, Qt::KeyboardModifiers modifiers);

protected:
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index, const QEvent* event) const override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    int horizontalExtent_ = 0;
};

/// A combo box that says when its list is about to open, so that its owner can fill it. It never completes or stores
/// what the user types. User-interface thread.
class DialogComboBox : public QComboBox {
    Q_OBJECT

public:
    explicit DialogComboBox(bool editable, QWidget* parent = nullptr);

    void showPopup() override;

signals:
    void droppingDown();

protected:
    void wheelEvent(QWheelEvent* event) override;
};
