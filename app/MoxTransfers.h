#pragma once

#include "app/MoxWriteForm.h"
#include "engine/Calvane.h"

#include <string>
#include <vector>

/// The one place where the document reaches the catalog's calibration files. Failures are Calvane::Exceptions.

std::vector<NvItem> readMoxFile(Calvane& catalog, const std::string& fileName);
void writeMoxFile(Calvane& catalog, const std::string& fileName, const std::vector<NvItem>& nvItems,
                  const MoxWriteForm& form);
