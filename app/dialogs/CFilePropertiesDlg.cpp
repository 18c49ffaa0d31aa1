#include "app/dialogs/CFilePropertiesDlg.h"

#include "app/dialogs/FileDialog.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"

#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

namespace {

constexpr int kFileName = 1003;
constexpr int kPhoneModelId = 1004;
constexpr int kEsn = 1005;
constexpr int kNvMajorVersion = 1006;
constexpr int kNvMinorVersion = 1007;
constexpr int kSystemSoftwareVersion = 1008;
constexpr int kClientName = 1009;
constexpr int kBrowse = 1010;
constexpr int kFromPhone = 1040;
constexpr int kFromFile = 1041;

constexpr DialogControl kControls[] = {
    {kIdStatic, ControlKind::kStaticText, "File Name:", 7, 7, 188, 8},
    {kFileName, ControlKind::kEdit, "", 7, 20, 188, 14},
    {kIdStatic, ControlKind::kStaticText, "Phone Model ID:", 8, 36, 187, 8},
    {kPhoneModelId, ControlKind::kEdit, kOptionalPlaceholder, 7, 46, 188, 14},
    {kIdStatic, ControlKind::kStaticText, "ESN:", 8, 63, 187, 8},
    {kEsn, ControlKind::kEdit, kOptionalPlaceholder, 7, 72, 188, 14},
    {kIdStatic, ControlKind::kStaticText, "NV Major Version:", 8, 89, 187, 8},
    {kNvMajorVersion, ControlKind::kEdit, kOptionalPlaceholder, 7, 98, 188, 14},
    {kIdStatic, ControlKind::kStaticText, "NV Minor Version:", 7, 115, 188, 8},
    {kNvMinorVersion, ControlKind::kEdit, kOptionalPlaceholder, 7, 124, 188, 14},
    {kIdStatic, ControlKind::kStaticText, "System Software Version:", 7, 140, 188, 8},
    {kSystemSoftwareVersion, ControlKind::kEdit, kOptionalPlaceholder, 7, 150, 188, 14},
    {kIdStatic, ControlKind::kStaticText, "Client Name:", 7, 167, 188, 8},
    {kClientName, ControlKind::kEdit, kOptionalPlaceholder, 7, 176, 188, 14},
    {kBrowse, ControlKind::kPushButton, "Browse", 205, 20, 50, 14},
    {kFromPhone, ControlKind::kPushButton, "From &Phone", 205, 46, 56, 14},
    {kFromFile, ControlKind::kPushButton, "From &File", 205, 64, 56, 14},
    {kIdOk, ControlKind::kDefaultButton, "OK", 7, 197, 50, 14},
    {kIdCancel, ControlKind::kPushButton, "Cancel", 61, 197, 50, 14},
};
constexpr DialogTemplate kTemplate{131, "Save MOX File", 268, 218, kControls};

struct OptionalField {
    int id;
    std::string FileProperties::*result;
};
constexpr OptionalField kOptionalFields[] = {
    {kPhoneModelId, &FileProperties::phoneModelId},
    {kEsn, &FileProperties::esn},
    {kNvMajorVersion, &FileProperties::nvMajorVersion},
    {kNvMinorVersion, &FileProperties::nvMinorVersion},
    {kSystemSoftwareVersion, &FileProperties::softwareVersion},
    {kClientName, &FileProperties::clientName},
};

} // namespace

std::string withMoxExtension(std::string fileName) {
    constexpr const char* kExtension = ".mox";
    if (!fileName.empty() && fileName.find(kExtension) == std::string::npos) {
        fileName += kExtension;
    }
    return fileName;
}

CFilePropertiesDlg::CFilePropertiesDlg(QWidget* parent) : TemplateDialog(kTemplate, parent) {
    setHelpPart(*this, "mox");
    connect(&item<QPushButton>(kBrowse), &QPushButton::clicked, this, &CFilePropertiesDlg::browse);
    connect(&item<QPushButton>(kFromPhone), &QPushButton::clicked, this,
            [this] { fillIn(offered_.fromPhone->properties); });
    connect(&item<QPushButton>(kFromFile), &QPushButton::clicked, this,
            [this] { fillIn(offered_.fromFile->properties); });
    setOffered({});
}

void CFilePropertiesDlg::setOffered(OfferedProperties offered) {
    offered_ = std::move(offered);
    prepareButton(kFromPhone, offered_.fromPhone);
    prepareButton(kFromFile, offered_.fromFile);
}

void CFilePropertiesDlg::prepareButton(int id, const std::optional<PropertyOffer>& offer) {
    auto& button = item<QPushButton>(id);
    button.setEnabled(offer.has_value());
    button.setToolTip(plainToolTip(offer ? "Fills in what is known from " + shownText(offer->source)
                                         : QString("Nothing that was read in this window tells it")));
}

void CFilePropertiesDlg::fillIn(const FileProperties& properties) {
    for (const OptionalField& field : kOptionalFields) {
        auto& edit = item<QLineEdit>(field.id);
        const std::string& known = properties.*field.result;
        if (edit.text() != QLatin1String(kOptionalPlaceholder)) {
            continue;
        }
        edit.setText(QString::fromStdString(known));
        if (edit.text().toStdString() != known) {
            edit.setText(
                QLatin1String(kOptionalPlaceholder)); // a text that a box can't hold would be written otherwise
        }
    }
}

void CFilePropertiesDlg::onInit() {
    results_ = FileProperties();
    item<QLineEdit>(kFileName).clear();
    for (const OptionalField& field : kOptionalFields) {
        item<QLineEdit>(field.id).setText(QLatin1String(kOptionalPlaceholder));
    }
    TemplateDialog::onInit();
}

void CFilePropertiesDlg::browse() {
    FileQuestion question{"Select", "MOX File ( *.mox )|*.mox|All Files ( *.* )|*.*||", "MOX File ( *.mox )|*.mox||"};
    const QFileInfo named(item<QLineEdit>(kFileName).text());
    if (named.isAbsolute()) {
        question.folder = named.absolutePath().toStdString();
    }
    const auto path = askFileToSave(this, question);
    if (path && mayWrite(*path)) {
        item<QLineEdit>(kFileName).setText(QString::fromStdString(*path));
    }
}

bool CFilePropertiesDlg::mayWrite(const std::string& chosen) {
    const QString written = QString::fromStdString(withMoxExtension(chosen));
    // The file dialog has asked about the name as chosen; OK may add an extension to it.
    if (written == QString::fromStdString(chosen) || !QFileInfo::exists(written)) {
        return true;
    }
    QMessageBox box(QMessageBox::Warning, "Select",
                    shownText(written.toStdString()) + " already exists.\nDo you want to change it?",
                    QMessageBox::Yes | QMessageBox::No, this);
    box.setTextFormat(Qt::PlainText);
    box.setDefaultButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}

void CFilePropertiesDlg::onOk() {
    results_.fileName = withMoxExtension(item<QLineEdit>(kFileName).text().toStdString());
    for (const OptionalField& field : kOptionalFields) {
        results_.*field.result = item<QLineEdit>(field.id).text().toStdString();
    }
    accept();
}
