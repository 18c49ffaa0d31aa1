#include "app/frame/Licences.h"

#include "app/frame/CMainFrame.h"
#include "workbench/record/Database.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace {

#ifdef CALVANE_CURVES
constexpr const char* kQtParts = "Core, Gui, Widgets, Svg (LGPL 3), Charts (GPL 3)";
constexpr const char* kWhole = "This program as built is under the GPL 3, as Qt Charts is; its own source is under the "
                               "MIT licence. One that is built without curves is under the MIT licence.";
#else
constexpr const char* kQtParts = "Core, Gui, Widgets (LGPL 3)";
constexpr const char* kWhole = "This program, built without curves, and its own source are under the MIT licence.";
#endif

} // namespace

QString versionText(const std::string& ring) {
    return QString("%1\n%2\n\nQt %3, built with %4: %5\n%6\nCompiler: %7\n%8\n")
        .arg(CMainFrame::kTitle, kWhole, qVersion(), QT_VERSION_STR, kQtParts,
             QString::fromStdString(record::databaseVersions()), CALVANE_COMPILER, QString::fromStdString(ring));
}

void showLicences(QWidget* owner, const std::string& ring) {
    QDialog dialog(owner);
    dialog.setObjectName("licences");
    dialog.setWindowTitle("Licences and Versions");
    auto* text = new QPlainTextEdit;
    text->setObjectName("licences_text");
    text->setAccessibleName("Licences and versions");
    text->setReadOnly(true);
    text->setTabChangesFocus(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text->setPlainText(versionText(ring) + "\n" + QString::fromUtf8(licenceText()));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    buttons->button(QDialogButtonBox::Close)->setDefault(true);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(text);
    layout->addWidget(buttons);
    const int em = dialog.fontMetrics().height();
    dialog.resize(QSize(48 * em, 36 * em).boundedTo(owner->screen()->availableSize() * 0.9));
    dialog.exec();
}
