#include "engine/TextExport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

TEST(TextExport, NameValuesAndAnEmptyLinePerItem) {
    std::vector<NvItem> nvItems{NvItem("NV_A,1,ReadWrite,<SIGNED_BYTE,a>#<WORD,b>#"), NvItem("NV_B,2,R,<BYTE,a>#")};
    nvItems[0].setData(" -1,300");
    std::ostringstream out;
    items::writeTextExport(out, nvItems);
    EXPECT_EQ(out.str(), "NV_A\r\n -1, 300, \r\n\r\n" // values as typed
                         "NV_B\r\n, \r\n\r\n");       // no data yet
}

} // namespace
