#pragma once

#include "app/dialogs/DialogTemplate.h"

#include <string>

/// Asks for the number or name of an item to look for. One object serves many runs: each starts with the text of the
/// last run that was not cancelled. User-interface thread.
class CSearchDlg : public TemplateDialog {
    Q_OBJECT

public:
    explicit CSearchDlg(QWidget* parent = nullptr);

    /// The text of the last run that ended with "Search", as typed; empty before the first.
    const std::string& searchText() const { return searchText_; }

protected:
    void onInit() override;
    void onOk() override;

private:
    std::string searchText_;
};
