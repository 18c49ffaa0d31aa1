#pragma once

#include <QString>
#include <string>

class QWidget;

/// The copyright file of the programs as they are built. Its text comes with the build.
const char* licenceText();

/// The versions of the program's parts, and the line that says which decoder ring is in use.
QString versionText(const std::string& ring);

/// Shows both, to be read and copied. User-interface thread.
void showLicences(QWidget* owner, const std::string& ring);
