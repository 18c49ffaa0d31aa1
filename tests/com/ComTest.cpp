#include "platform/com/Apartment.h"
#include "platform/com/ClassTable.h"
#include "platform/com/ComPtr.h"
#include "platform/com/Messages.h"

#include <gtest/gtest.h>

namespace {

class IProbe : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{1, 2};
    virtual com::Status fail(bool saysWhy) = 0;

protected:
    ~IProbe() = default;
};

class Probe final : public com::Implements<IProbe> {
    com::Status fail(bool saysWhy) override {
        return saysWhy ? com::failWith(com::kFail, "Probe", "It had to.") : com::kFail;
    }
};

/// Source and description of the error that `status` raises.
std::string origin(com::Status status) {
    try {
        com::throwIfFailed(status);
        return "no failure";
    } catch (const com::ComError& error) {
        return error.source() + ":" + error.description();
    }
}

} // namespace

TEST(ComErrorTest, SourceAndDescriptionAreThoseOfTheCallThatFailed) {
    const auto probe = com::makeObject<IProbe, Probe>();
    EXPECT_EQ(origin(probe->fail(true)), "Probe:It had to.");
    EXPECT_EQ(origin(com::kFail), ":") << "the texts of one failure served for two";
    probe->fail(true); // forgiven
    EXPECT_EQ(origin(probe->fail(false)), ":") << "a failure kept the texts of an earlier one";
    probe->fail(true);
    EXPECT_EQ(origin(com::kPointer), ":") << "a failure took the texts of another code";
    EXPECT_EQ(com::errorReport(com::ComError(com::kFail, "Probe")),
              "Error\n\a\tCode = 80004005\n\a\tCode meaning = Unspecified error\n\a\tSource = Probe"
              "\n\a\tDescription = None provided!");
}

TEST(MessagesTest, CodesWithoutATextHaveANumber) {
    EXPECT_EQ(com::standardMessage(com::makeStatus(0x80040200)), "Unknown error 0x80040200");
    EXPECT_EQ(com::standardMessage(com::makeStatus(0x80040201)), "IDispatch error #1");
    EXPECT_EQ(com::standardMessage(com::makeStatus(0x8004FFFF)), "IDispatch error #65023");
    EXPECT_EQ(com::standardMessage(com::makeStatus(0x80050000)), "Unknown error 0x80050000");
    EXPECT_EQ(com::standardMessage(com::makeStatus(0xC0FFEE00)), "Unknown error 0xC0FFEE00");
}

TEST(ApartmentTest, ObjectsAreMadeInsideAnApartmentAlone) {
    com::ComPtr<com::Unknown> made;
    EXPECT_EQ(com::createInstance({3, 4}, com::kAnyServer, made), com::kNotInitialized);
    EXPECT_EQ(com::enterApartment(), com::kOk);
    EXPECT_EQ(com::enterApartment(), com::kFalse);
    com::leaveApartment();
    EXPECT_EQ(com::createInstance({3, 4}, com::kAnyServer, made), com::kClassNotRegistered);
    const com::ClassRegistration failing({3, 4}, com::kLocalServer, [](auto&) { return com::kFail; });
    com::failWith(com::kFail, "Probe", "An earlier failure.");
    EXPECT_EQ(origin(com::createInstance({3, 4}, com::kAnyServer, made)), ":");
    const com::ApartmentId left = com::currentApartment();
    com::leaveApartment();
    EXPECT_EQ(com::callInApartment(left, [] {}), com::kDisconnected);
}
