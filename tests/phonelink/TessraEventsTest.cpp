// How the events of a phone reach the listeners of a session, and how they stop.

#include "phonelink/TessraEvents.h"

#include "phonelink/TessraServer.h"
#include "platform/kernel/TickCount.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/Eventually.h"
#include "tests/support/HostedService.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

namespace {

using tessra::Call;
using tessra::FaultKind;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kPatienceMs = 10000;
constexpr const char* kInvalidPort = "COM7 is an invalid COM port.  Please choose a different COM port.";

/// Writes what it hears as "kind port third counter data", and then does `action`.
class Recorder : public TessraEventListener {
public:
    explicit Recorder(std::function<void()> action = [] {}) : action_(std::move(action)) {}

    void onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t second,
                 std::uint16_t third, std::uint32_t fourth) override {
        {
            const std::lock_guard guard(lock_);
            heard_.push_back(std::to_string(first) + " " + std::to_string(second) + " " + std::to_string(third) + " " +
                             std::to_string(fourth) + " " + std::string(data, data + dataLength));
        }
        action_();
    }
    Lines heard() const {
        const std::lock_guard guard(lock_);
        return heard_;
    }
    bool hears(std::size_t count) const {
        return eventually([&] { return heard().size() >= count; });
    }

private:
    const std::function<void()> action_;
    mutable std::mutex lock_;
    Lines heard_; ///< guarded by lock_
};

class SessionEvents : public testing::Test {
protected:
    SessionEvents() { session->connect("COM1"); }

    std::string add(TessraEventListener& listener) {
        return messageOf<TessraServer::Exception>([&] { session->addEventListener(&listener, nullptr); });
    }
    std::string connect(const char* comPort) {
        return messageOf<TessraServer::Exception>([&] { session->connect(comPort); });
    }
    /// Two events of the port: the phone leaves, and another appears.
    void replug(const char* comPort = "COM1") {
        service.setPresent(comPort, false);
        service.setPresent(comPort, true);
    }
    /// Begins a change to a port that there is not; when this returns, the change holds the session's lock.
    std::future<std::string> beginFailingChange() {
        tessra::FaultRule slow = faultAt(Call::kPortNumber, FaultKind::kNone);
        slow.delayMs = 400;
        service.faults().add(slow);
        auto change = std::async(std::launch::async, [this] { return connect("COM7"); });
        EXPECT_TRUE(eventually([this] { return service.faults().count(Call::kPortNumber) == 2; }));
        return change;
    }

    const ErrorLog log;
    HostedService service{phonesOn({"COM1", "COM2"})};
    std::unique_ptr<TessraServer> session = std::make_unique<TessraServer>("Test");

    /// Ends the session before the listeners that are declared above this.
    struct SessionEnd {
        std::unique_ptr<TessraServer>& session;
        ~SessionEnd() { session.reset(); }
    };
};

TEST_F(SessionEvents, QueuedEventsAllArriveInOrderWithTheirValues) {
    kernel::ManualResetEvent goOn;
    Recorder listener([&] { goOn.wait(kPatienceMs); });
    Recorder removed;
    const SessionEnd end{session};
    add(listener);
    add(removed);
    session->removeEventListener(&removed);
    replug();
    ASSERT_TRUE(listener.hears(1));
    session->offline(); // while the notifier is held up, these queue
    std::uint8_t version[TessraServer::kDiagVersionBytes];
    session->getDiagVerno(version);
    goOn.set();
    ASSERT_TRUE(listener.hears(5));
    EXPECT_EQ(listener.heard(), (Lines{"2 1 1 1 COM1", "1 1 1 2 COM1", "4 1 41 3 " + std::string("\x29\x04\0", 3),
                                       "3 1 4 4 COM1", "4 1 0 5 " + std::string(version, version + sizeof version)}));
    EXPECT_EQ(removed.heard(), Lines{});
}

TEST_F(SessionEvents, ThrowersDecideForThemselvesAlone) {
    Recorder thrower([] { throw std::runtime_error("out of order"); });
    Recorder odd([] { throw 1; });
    Recorder all;
    const SessionEnd end{session};
    add(thrower);
    add(odd);
    add(all);
    replug();
    ASSERT_TRUE(all.hears(2));
    const std::string prefix = "TessraEvents::notifyListeners - A listener threw an exception: ";
    EXPECT_EQ(log.text(), prefix + "out of order\n" + prefix + "not a standard exception\n" + prefix +
                              "out of order\n" + prefix + "not a standard exception\n");
}

TEST_F(SessionEvents, AListenerThatRemovesIsRefusedInsteadOfWaitingForItself) {
    std::string refusal;
    kernel::ManualResetEvent done;
    Recorder listener([&] {
        refusal = messageOf([&] { session->removeEventListener(&listener); });
        done.set();
    });
    const SessionEnd end{session};
    add(listener);
    service.setPresent("COM1", false);
    ASSERT_EQ(done.wait(kPatienceMs), kernel::WaitResult::kSignalled);
    EXPECT_EQ(refusal, "TessraEvents::removeEventListener - Neither a listener nor the COM worker can do this.");
}

TEST_F(SessionEvents, AFailingChangeOfThePortStopsThemAndWaitsForAListenerThatWaitsForTheSession) {
    std::atomic<bool> isFirst = true;
    std::atomic<bool> isCalled = false;
    kernel::ManualResetEvent changing;
    Recorder listener([&] {
        if (isFirst.exchange(false)) {
            isCalled = true;
            changing.wait(kPatienceMs);
            messageOf([&] { session->offline(); }); // waits for the session's lock, which the change holds
            kernel::sleepMs(50);                    // the change must wait for this too
            isCalled = false;
        }
    });
    Recorder late;
    const SessionEnd end{session};
    add(listener);
    replug();
    ASSERT_TRUE(listener.hears(1));
    auto change = beginFailingChange();
    changing.set();
    EXPECT_EQ(change.get(), kInvalidPort);
    EXPECT_FALSE(isCalled);
    EXPECT_EQ(service.faults("COM1").count(Call::kUnsubscribe), 1u);
    connect("COM1");
    replug(); // nobody is subscribed
    EXPECT_EQ(listener.heard().size(), 1u) << "delivered after the stop";
    add(late); // starts them again, for the listener from before too
    replug();
    ASSERT_TRUE(late.hears(2));
    EXPECT_EQ(late.heard(), (Lines{"2 1 1 5 COM1", "1 1 1 6 COM1"}));
    EXPECT_EQ(listener.heard().size(), 3u);
    EXPECT_EQ(log.text(), "");
}

TEST_F(SessionEvents, TheyFollowTheSessionToAnotherPort) {
    Recorder listener;
    const SessionEnd end{session};
    add(listener);
    // The service does not let go of the first port's subscription: what it still sends must lead nowhere.
    service.faults("COM1").add(serverCodeAt(Call::kUnsubscribe, 0x80042005));
    EXPECT_EQ(connect("COM2"), "");
    EXPECT_EQ(log.text(), "TessraServer::disconnectFromTessraEvents - Timeout waiting for response\n");
    EXPECT_EQ(service.faults("COM1").count(Call::kUnsubscribe), 1u);
    replug("COM1");
    replug("COM2");
    ASSERT_TRUE(listener.hears(2));
    EXPECT_EQ(listener.heard(), (Lines{"2 2 1 1 COM2", "1 2 1 2 COM2"}));
}

} // namespace
