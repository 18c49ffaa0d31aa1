// The parts below the class: texts of codes, and bodies that let nothing escape.

#include "calfile/MoxFailures.h"
#include "platform/com/ComError.h"
#include "tests/calfile/MoxFixture.h"

#include <stdexcept>

namespace {

/// Records as a member of a calibration file does on the worker.
class WorkerProbe : public ComThreadUser {
public:
    std::string recorded(bool showsOwn, const std::function<void()>& work) {
        recordFailures(mox::failureTexts("Body", showsOwn), work);
        return errorPending_ ? errorMessage_ : "";
    }
};

TEST(MoxFailures, ACodeHasTheTablesTextUnchanged) {
    const struct {
        std::uint32_t code;
        const char* text;
    } cases[] = {
        {0x80030005, "Access Denied.\r\n"},
        {0x80030002, "%1 could not be found.\r\n"},
        {0x80080000, "The operation completed successfully.\r\n"}, // facility 8: the low 16 bits
        {0x80080005, "[Could not find an error description]"},
        {0x80030003 + 0x1000, "[Could not find an error description]"},
        {0x80000000, "[Could not find an error description]"}, // facility 0: looked up whole
    };
    for (const auto& row : cases) {
        EXPECT_EQ(mox::hresultText(com::makeStatus(row.code)), row.text) << std::hex << row.code;
    }
}

TEST(MoxFailures, ABodyRecordsWhateverIsThrown) {
    const std::string unhandled = "Body - An unhandled exception was thrown and caught in a ... catch statement";
    const struct {
        bool showsOwn;
        std::function<void()> work;
        std::string recorded;
    } cases[] = {
        {true, [] { throw MoxException("own"); }, "Body - own"},
        {false, [] { throw MoxException("own"); }, unhandled},
        {false, [] { throw com::ComError(com::kPointer); }, "Body - " + kNullReference},
        {true, [] { throw com::ComError(com::makeStatus(0x80040201), "Src", "Why"); },
         "Body - Error\n\a\tCode = 80040201\n\a\tCode meaning = IDispatch error #1\n\a\tSource = Src\n\a\tDescription "
         "= "
         "Why"},
        {true, [] { throw std::runtime_error("x"); }, unhandled},
        {true, [] { throw 7; }, unhandled},
        {true, [] {}, ""},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(WorkerProbe().recorded(row.showsOwn, row.work), row.recorded);
    }
}

} // namespace
