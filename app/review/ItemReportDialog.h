#pragma once

#include "app/document/PhoneDesk.h"

#include <QDialog>

/// Shows what a read or write came to, item by item. User-interface thread.
class ItemReportDialog : public QDialog {
    Q_OBJECT
public:
    ItemReportDialog(const PhoneReport& report, QWidget* parent);

    /// Adds a button that closes the window with `accepted`.
    void addCommand(const QString& text);
};
