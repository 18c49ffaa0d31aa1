#pragma once

#include "workbench/record/SessionItems.h"

#include <QDialog>
#include <string>

class QCheckBox;
class QLabel;
class QPushButton;
class QTreeWidget;

/// What it takes to put the values of a session back.
struct Restoration {
    record::Session session;
    record::Which which = record::Which::kAfter;
    record::SessionSet withDate; ///< the loaded date of that time is among the values, where it is known
    record::SessionSet withoutDate;
};

/// Names what can't be put back before a restore is reviewed, and asks whether the loaded date is to be that of then.
/// User-interface thread.
class RestoreDialog : public QDialog {
    Q_OBJECT
public:
    /// `restoration` outlives the dialog; `port` is that of the phone.
    RestoreDialog(const Restoration& restoration, const std::string& port, QWidget* parent);

    /// Whether the values with the date are meant.
    bool withDate() const;

private:
    void showSet();

    const Restoration& restoration_;
    QLabel* counts_;
    QTreeWidget* left_;
    QCheckBox* date_;
    QPushButton* review_;
};
