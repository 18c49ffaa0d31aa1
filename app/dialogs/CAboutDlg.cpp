#include "app/dialogs/CAboutDlg.h"

#include <QApplication>
#include <QIcon>
#include <QLabel>
#include <array>

namespace {

constexpr int kIconId = 128;
constexpr int kVersionId = 1020;

constexpr std::array<DialogControl, 3> kControls{{
    {kIconId, ControlKind::Icon, "", 11, 17, 21, 20},
    {kVersionId, ControlKind::StaticText, "Calvane Version 1.4.34", 45, 23, 119, 8},
    {kIdOk, ControlKind::DefaultButton, "OK", 174, 98, 50, 14},
}};
constexpr DialogTemplate kTemplate{100, "About Calvane", 231, 119, kControls};

} // namespace

CAboutDlg::CAboutDlg(QWidget* parent) : TemplateDialog(kTemplate, parent) {
    auto& picture = item<QLabel>(kIconId);
    picture.setPixmap(QApplication::windowIcon().pixmap(QSize(32, 32), devicePixelRatioF()));
}
