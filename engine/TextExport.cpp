#include "engine/TextExport.h"

#include <ostream>

namespace items {

void writeTextExport(std::ostream& out, std::span<const NvItem> nvItems) {
    for (const NvItem& nvItem : nvItems) {
        out << nvItem.getName() << "\r\n";
        for (const SubItem& subItem : nvItem.getSubItems()) {
            out << subItem.value << ", ";
        }
        out << "\r\n\r\n";
    }
}

} // namespace items
