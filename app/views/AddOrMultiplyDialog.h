#pragma once

#include "app/dialogs/DialogTemplate.h"
#include "workbench/TableEdit.h"

#include <functional>
#include <string>

/// Asks by which number the values of a table are to be added to or multiplied. It stays open until they are, or the
/// user cancels. User-interface thread.
class AddOrMultiplyDialog : public TemplateDialog {
    Q_OBJECT
public:
    /// Changes the values, or answers why none has changed.
    using Calculate = std::function<QString(workbench::Arithmetic arithmetic, const std::string& number)>;

    AddOrMultiplyDialog(std::size_t count, Calculate calculate, QWidget* parent);

protected:
    void onInit() override;
    void onOk() override;

private:
    const std::size_t count_;
    const Calculate calculate_;
};
