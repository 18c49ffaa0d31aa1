#pragma once

#include "app/dialogs/DialogTemplate.h"

#include <string>

/// What the texts of an optional field say as long as nobody has touched it.
inline constexpr const char* kOptionalText = "<Optional>";

/// The file name as typed, with ".mox" appended if it is not empty and does not hold these four characters in small
/// letters anywhere: "x.MOX" becomes "x.MOX.mox", "old.mox.bak" stays.
std::string withMoxExtension(std::string fileName);

/// Asks for the name of a calibration file to write and for the phone data that go into it. Checks and converts nothing
/// but the file name's extension. User-interface thread.
class CFilePropertiesDlg : public TemplateDialog {
    Q_OBJECT

public:
    explicit CFilePropertiesDlg(QWidget* parent = nullptr);

    /// After OK, the texts of the fields; before, an empty file name and kOptionalText for the others. A field that
    /// holds exactly kOptionalText was not given; an empty one was.
    struct Results {
        std::string fileName;
        std::string phoneModelId = kOptionalText;
        std::string esn = kOptionalText;
        std::string nvMajorVersion = kOptionalText;
        std::string nvMinorVersion = kOptionalText;
        std::string systemSoftwareVersion = kOptionalText;
        std::string clientName = kOptionalText;
    };
    const Results& results() const { return results_; }

protected:
    void onInit() override;
    void onOk() override;

private:
    void browse();

    Results results_;
};
