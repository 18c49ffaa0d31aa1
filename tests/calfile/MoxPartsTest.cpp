// The parts below the class: texts of codes, and bodies that let nothing escape.

#include "calfile/MoxFailures.h"
#include "platform/com/ComError.h"
#include "tests/calfile/MoxFixture.h"

namespace {

/// Records as a member of a calibration file does on the worker.
class WorkerProbe : public ComThreadUser {
public:
    std::string recorded(bool showsOwn, const std::function<void()>& work) {
        recordFailures(mox::failureTexts("Body", showsOwn), work);
        return errorPending_ ? errorMessage_ : "";
    }
};

TEST(MoxLayout, APropertyStreamThatIsCutShortSaysNothing) {
    const auto bytes = mox::propertyBytes({1, 2, 3, 4, "s/w", "me"});
    EXPECT_EQ(mox::propertyBytes(mox::propertiesOf(bytes).value()), bytes);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        const std::vector<std::uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(mox::propertiesOf(cut)) << size;
    }
}

TEST(MoxFailures, ACodeHasTheTablesText) {
    EXPECT_EQ(mox::hresultText(storage::kAccessDenied), "Access Denied.\r\n");
    EXPECT_EQ(mox::hresultText(com::makeStatus(0x80080000)), "The operation completed successfully.\r\n");
    EXPECT_EQ(mox::hresultText(com::makeStatus(0x80031003)), "[Could not find an error description]");
}

TEST(MoxFailures, ABodyRecordsWhateverIsThrown) {
    const std::string unhandled = "Body - An unhandled exception was thrown and caught in a ... catch statement";
    EXPECT_EQ(WorkerProbe().recorded(true, [] { throw MoxException("own"); }), "Body - own");
    EXPECT_EQ(WorkerProbe().recorded(false, [] { throw MoxException("own"); }), unhandled);
    EXPECT_EQ(WorkerProbe().recorded(false, [] { throw com::ComError(com::kPointer); }), "Body - " + kNullReference);
    EXPECT_EQ(WorkerProbe().recorded(true, [] { throw 7; }), unhandled);
}

} // namespace
