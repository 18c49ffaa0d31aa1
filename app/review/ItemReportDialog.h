#pragma once

#include <QDialog>
#include <QString>
#include <cstdint>
#include <vector>

/// One line of a report.
struct ItemReportLine {
    std::uint16_t number;
    QString name;
    QString text; ///< what there is to say of the item
};

/// A list of items and what there is to say of each. User-interface thread.
class ItemReportDialog : public QDialog {
    Q_OBJECT
public:
    ItemReportDialog(const QString& caption, const QString& summary, const std::vector<ItemReportLine>& lines,
                     QWidget* parent);

    /// Adds a button that closes the window with `accepted`.
    void addCommand(const QString& text);
};
