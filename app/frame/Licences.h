#pragma once

#include <QString>
#include <filesystem>
#include <optional>

class QWidget;

/// The copyright file of the programs as they are built. Its text comes with the build.
const char* licenceText();

/// The versions of the program's parts, and the decoder ring with the number of its items where that is known.
QString versionText(const std::filesystem::path& ring, std::optional<std::size_t> itemCount);

/// Shows both, to be read and copied. User-interface thread.
void showLicences(QWidget* owner, const std::filesystem::path& ring, std::optional<std::size_t> itemCount);
