#include "app/dialogs/FileDialog.h"

#include "platform/kernel/Thread.h"

#include <unistd.h>

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLineEdit>
#include <QScreen>
#include <QSettings>
#include <QStringList>
#include <QTreeView>
#include <atomic>
#include <filesystem>
#include <memory>

namespace {

constexpr std::size_t kExtensionChars = 3;
/// Where the last file was: the next one mostly stands beside it.
constexpr const char* kFolderSetting = "files/folder";

/// The filters as a QFileDialog takes them: "text (pattern)", the text being all that the user sees.
QStringList filtersOf(const QString& filters) {
    const QStringList parts = filters.split(QLatin1Char('|'));
    QStringList result;
    for (qsizetype i = 0; i + 1 < parts.size() && !parts[i].isEmpty(); i += 2) {
        // Here, unlike where "*.*" comes from, a name may well have no dot.
        const QString pattern = parts[i + 1] == QLatin1String("*.*") ? QStringLiteral("*") : parts[i + 1];
        result.append(QStringLiteral("%1 (%2)").arg(parts[i], pattern));
    }
    return result;
}

/// What `holds` says of the path within a second; false where it takes longer. A server that has gone keeps whoever
/// asks for its folders waiting for good: here a thread, which is left to itself then.
bool tellsSoon(const std::string& path, bool (*holds)(const std::filesystem::path& path)) {
    constexpr std::uint32_t kLimitMs = 1000;
    const auto told = std::make_shared<std::atomic<bool>>(false);
    auto look =
        std::make_unique<kernel::Thread>([told, holds, path = std::filesystem::path(path)] { *told = holds(path); });
    if (look->ended().wait(kLimitMs) != kernel::WaitResult::kSignalled) {
        [[maybe_unused]] const kernel::Thread* leftToItself = look.release();
    }
    return *told;
}

bool canBeListed(const std::filesystem::path& folder) {
    std::error_code error;
    const std::filesystem::directory_iterator begin(folder, error);
    return !error && ::access(folder.c_str(), X_OK) == 0;
}

/// Where a dialog begins.
QString firstFolder(const FileQuestion& question) {
    const QString last = QSettings().value(kFolderSetting).toString();
    const QString wanted = question.folder.empty() ? last : QString::fromStdString(question.folder);
    return !wanted.isEmpty() && tellsSoon(wanted.toStdString(), canBeListed) ? wanted : QDir::currentPath();
}

/// A dialog whose names have all the room that the other columns leave, and which finds a file of which the user has
/// typed the name without its extension, in small letters or in capitals.
class RoomyFileDialog : public QFileDialog {
public:
    RoomyFileDialog(QWidget* parent, const FileQuestion& question, FileMode mode)
        : QFileDialog(parent, QString(), firstFolder(question)),
          extension_(QString::fromStdString(question.extension.substr(0, kExtensionChars))) {
        setFileMode(mode);
        if (!question.title.empty()) {
            setWindowTitle(QString::fromStdString(question.title));
        }
        // A desktop's own dialog may ask about the name as typed and then answer it with the extension: another file.
        setOption(DontUseNativeDialog);
        setOption(HideNameFilterDetails);
        setNameFilters(filtersOf(QString::fromStdString(question.filters)));
        if (mode == AnyFile) {
            setDefaultSuffix(extension_);
        }
        if (auto* files = findChild<QTreeView*>("treeView")) {
            files->header()->setStretchLastSection(false);
            files->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
            files->header()->setSectionResizeMode(0, QHeaderView::Stretch);
        }
        const int em = fontMetrics().height();
        resize(QSize(56 * em, 30 * em).boundedTo(screen()->availableSize() * 0.9));
    }

protected:
    void accept() override {
        auto* name = findChild<QLineEdit*>("fileNameEdit");
        if (name != nullptr && fileMode() == ExistingFile) {
            name->setText(existingName(name->text()));
        }
        QFileDialog::accept();
    }

private:
    QString existingName(const QString& typed) const {
        const auto exists = [this](const QString& name) { return QFileInfo::exists(directory().filePath(name)); };
        if (typed.isEmpty() || extension_.isEmpty() || exists(typed) || !QFileInfo(typed).suffix().isEmpty()) {
            return typed;
        }
        const QString small = typed + '.' + extension_.toLower();
        const QString capital = typed + '.' + extension_.toUpper();
        return !exists(small) && exists(capital) ? capital : small;
    }

    const QString extension_;
};

std::optional<std::string> run(RoomyFileDialog& dialog) {
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return std::nullopt;
    }
    return dialog.selectedFiles().constFirst().toStdString();
}

} // namespace

std::optional<std::string> askFileToOpen(QWidget* parent, const FileQuestion& question) {
    RoomyFileDialog dialog(parent, question, QFileDialog::ExistingFile);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    auto path = run(dialog);
    if (path) {
        rememberFolderOf(*path);
    }
    return path;
}

std::optional<std::string> askFileToSave(QWidget* parent, const FileQuestion& question) {
    RoomyFileDialog dialog(parent, question, QFileDialog::AnyFile);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    return run(dialog);
}

void rememberFolderOf(const std::string& path) {
    QSettings().setValue(kFolderSetting, QFileInfo(QString::fromStdString(path)).absolutePath());
}

bool isGone(const std::string& path) {
    return tellsSoon(path, [](const std::filesystem::path& file) {
        std::error_code error;
        return std::filesystem::status(file, error).type() == std::filesystem::file_type::not_found;
    });
}
