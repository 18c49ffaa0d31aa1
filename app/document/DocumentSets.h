#pragma once

#include "workbench/ItemSet.h"

#include <memory>
#include <string>

class CCalvaneDoc;

/// Copies of a document's items as sides of a comparison. User-interface thread.

/// The items of the list that have a value.
std::shared_ptr<const workbench::ItemSet> itemsOf(const CCalvaneDoc& document, std::string label);
/// The items of the list with their last known values, where they have such.
std::shared_ptr<const workbench::ItemSet> lastKnownItemsOf(const CCalvaneDoc& document, std::string label);
