#pragma once

#include <string>
#include <vector>

class CCalvaneDoc;

/// One line of what is known of a document. The text is one line without control characters.
struct DocumentProperty {
    std::string label;
    std::string text;

    bool operator==(const DocumentProperty&) const = default;
};

/// Where the document's items come from (the phone, or the calibration file with its record of the phone), its port,
/// its decoder ring, and how many items it lists and has changed.
std::vector<DocumentProperty> documentProperties(const CCalvaneDoc& document);
