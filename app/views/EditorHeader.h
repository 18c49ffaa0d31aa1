#pragma once

#include <QWidget>

class QLabel;
class NvItem;

/// The line above the editor's fields: which item is shown, and what the editor has to say of it. User-interface
/// thread.
class EditorHeader : public QWidget {
    Q_OBJECT
public:
    explicit EditorHeader(QWidget* parent);

    /// Null: no item is shown. `differing`: how many of its sub-fields have other values than the last known ones;
    /// `isKnown`: whether it has ever had any.
    void showItem(const NvItem* item, std::size_t differing, bool isKnown);
    /// Stands behind it until it is empty again.
    void showNotice(const QString& notice);

private:
    QLabel* name_;
    QLabel* state_;
    QLabel* notice_;
};
