#pragma once

#include "app/dialogs/DialogTemplate.h"
#include "app/document/UserInterface.h"

#include <optional>
#include <string>

/// The file name as typed, with ".mox" appended if it is not empty and does not hold these four characters in small
/// letters anywhere: "x.MOX" becomes "x.MOX.mox", "old.mox.bak" stays.
std::string withMoxExtension(std::string fileName);

/// Asks for the name of a calibration file to write and for the phone data that go into it. Checks and converts nothing
/// but the file name's extension. User-interface thread.
class CFilePropertiesDlg : public TemplateDialog {
    Q_OBJECT

public:
    explicit CFilePropertiesDlg(QWidget* parent = nullptr);

    /// What the buttons "From Phone" and "From File" fill in: nothing before one is pressed, and no field that no
    /// longer holds the placeholder. Without an offer its button is disabled.
    void setOffered(OfferedProperties offered);

    /// After OK, the texts of the fields; before, an empty file name and the placeholder for the others.
    const FileProperties& results() const { return results_; }

protected:
    void onInit() override;
    void onOk() override;

private:
    void browse();
    void prepareButton(int id, const std::optional<PropertyOffer>& offer);
    void fillIn(const FileProperties& properties);
    /// Whether the file that OK makes of the chosen name may be written: it is new, or the user agrees.
    bool mayWrite(const std::string& chosen);

    FileProperties results_;
    OfferedProperties offered_;
};
