#include "app/dialogs/FileDialog.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QSettings>
#include <QStringList>

namespace {

constexpr std::size_t kExtensionChars = 3;
/// Where the last file was: the next one mostly stands beside it.
constexpr const char* kFolderSetting = "files/folder";

/// The filters as a QFileDialog takes them: "text (pattern)", the text being all that the user sees.
QStringList nameFilters(const QString& filters) {
    const QStringList parts = filters.split(QLatin1Char('|'));
    QStringList result;
    for (qsizetype i = 0; i + 1 < parts.size() && !parts[i].isEmpty(); i += 2) {
        // Here, unlike where "*.*" comes from, a name may well have no dot.
        const QString pattern = parts[i + 1] == QLatin1String("*.*") ? QStringLiteral("*") : parts[i + 1];
        result.append(QStringLiteral("%1 (%2)").arg(parts[i], pattern));
    }
    return result;
}

std::optional<std::string> run(QFileDialog& dialog, const FileQuestion& question) {
    if (!question.title.empty()) {
        dialog.setWindowTitle(QString::fromStdString(question.title));
    }
    // A desktop's own dialog may ask about the name as typed and then answer it with the extension: another file.
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setOption(QFileDialog::HideNameFilterDetails);
    const QString folder = QSettings().value(kFolderSetting).toString();
    if (!folder.isEmpty() && QDir(folder).exists()) {
        dialog.setDirectory(folder);
    }
    dialog.setNameFilters(nameFilters(QString::fromStdString(question.filters)));
    dialog.setDefaultSuffix(QString::fromStdString(question.extension.substr(0, kExtensionChars)));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return std::nullopt;
    }
    const QString path = dialog.selectedFiles().constFirst();
    QSettings().setValue(kFolderSetting, QFileInfo(path).absolutePath());
    return path.toStdString();
}

} // namespace

std::optional<std::string> askFileToOpen(QWidget* parent, const FileQuestion& question) {
    QFileDialog dialog(parent);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFile);
    return run(dialog, question);
}

std::optional<std::string> askFileToSave(QWidget* parent, const FileQuestion& question) {
    QFileDialog dialog(parent);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    return run(dialog, question);
}
