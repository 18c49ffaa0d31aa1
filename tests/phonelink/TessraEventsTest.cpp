// How the events of a phone reach the listeners of a session, and how they stop.

#include "phonelink/TessraEvents.h"

#include "platform/kernel/Trace.h"
#include "tests/phonelink/SessionFixture.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

using tessra::Call;
using tessra::EventKind;
using tessra::FaultKind;

/// Yields until `condition` holds; false after ten seconds.
bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

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

    std::vector<std::string> heard() const {
        const std::lock_guard guard(lock_);
        return heard_;
    }
    bool hears(std::size_t count) const {
        return eventually([&] { return heard().size() >= count; });
    }

private:
    const std::function<void()> action_;
    mutable std::mutex lock_;
    std::vector<std::string> heard_; // guarded by lock_
};

class Filter : public TessraEventFilter {
public:
    explicit Filter(std::function<bool(EventKind)> rule) : rule_(std::move(rule)) {}
    bool accepts(std::uint32_t, const std::uint8_t*, std::uint32_t first, std::uint32_t, std::uint16_t,
                 std::uint32_t) override {
        return rule_(static_cast<EventKind>(first));
    }

private:
    const std::function<bool(EventKind)> rule_;
};

/// Keeps the lines of the error log of a scope.
class ErrorLog {
public:
    ErrorLog() {
        kernel::setErrorLog([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~ErrorLog() { kernel::setErrorLog({}); }
    std::vector<std::string> lines; // read when nobody writes any more
};

/// Lets threads wait for one another.
class Gate {
public:
    void open() { isOpen_ = true; }
    void pass() {
        EXPECT_TRUE(eventually([this] { return isOpen_.load(); }));
    }

private:
    std::atomic<bool> isOpen_ = false;
};

class SessionEvents : public testing::Test {
protected:
    SessionEvents() { session->connect("COM1"); }

    /// Two events of the port: the phone leaves, and another appears.
    void replug(const char* comPort = "COM1") {
        service->port(comPort).setPresent(false);
        service->port(comPort).setPresent(true);
    }
    std::uint64_t calls(Call call) { return service->port("COM1").faults().count(call); }
    /// Makes the next change to another port take so long that others can act meanwhile.
    void slowDownPortChange() {
        tessra::FaultRule rule = faultAt(Call::kPortNumber, FaultKind::kNone);
        rule.delayMs = 400;
        service->faults().add(rule);
    }
    /// Waits for a change of the port, under way on another thread, to hold the session's lock.
    void awaitPortChange() {
        EXPECT_TRUE(eventually([this] { return service->faults().count(Call::kPortNumber) == 2; }));
    }

    /// Ends the session before the listeners that are declared above this.
    struct SessionEnd {
        std::unique_ptr<TessraServer>& session;
        ~SessionEnd() { session.reset(); }
    };

    ErrorLog log; // goes last
    std::unique_ptr<tessra::Service> service = std::make_unique<tessra::Service>(phonesOn({"COM1", "COM2"}));
    std::unique_ptr<TessraServer> session = std::make_unique<TessraServer>("Test");
};

constexpr const char* kInvalidPort = "COM7 is an invalid COM port.  Please choose a different COM port.";

TEST_F(SessionEvents, ListenersNeedAConnectedSession) {
    TessraServer fresh("Test");
    Recorder listener;
    EXPECT_EQ(failureOf([&] { fresh.addEventListener(&listener, nullptr); }),
              "TessraServer::addEventListener - TessraServer::connect must be called before calling this member "
              "function.");
    EXPECT_EQ(failureOf([&] { fresh.removeEventListener(&listener); }),
              "TessraServer::removeEventListener - TessraServer::connect must be called before calling this member "
              "function.");
}

TEST_F(SessionEvents, QueuedEventsAllArriveInOrderWithTheirValues) {
    Gate gate;
    Recorder listener([&] { gate.pass(); });
    const SessionEnd end{session};
    session->addEventListener(&listener, nullptr);
    replug();
    ASSERT_TRUE(listener.hears(1));
    // The notifier is held up: these queue, without holding up the worker.
    session->offline();
    const std::uint8_t version = 0;
    std::uint8_t answer[256];
    std::uint32_t length = sizeof answer;
    session->sendSync(1, &version, length, answer, 1000);
    gate.open();
    ASSERT_TRUE(listener.hears(5));
    const std::string offline("\x29\x04\0", 3);
    EXPECT_EQ(listener.heard(),
              (std::vector<std::string>{"2 1 1 1 COM1", "1 1 1 2 COM1", "4 1 41 3 " + offline, "3 1 4 4 COM1",
                                        "4 1 0 5 " + std::string(answer, answer + length)}));
}

TEST_F(SessionEvents, FiltersAndThrowersDecideForTheirOwnListenerAlone) {
    Recorder thrower([] { throw std::runtime_error("out of order"); });
    Recorder strangeThrower([] { throw 1; });
    Recorder refused, departures, unlucky, all;
    Filter none([](EventKind) { return false; });
    Filter onlyLeft([](EventKind kind) { return kind == EventKind::kPhoneLeft; });
    Filter throwing([](EventKind) -> bool { throw std::runtime_error("no opinion"); });
    const SessionEnd end{session};
    session->addEventListener(&thrower, nullptr);
    session->addEventListener(&strangeThrower, &onlyLeft);
    session->addEventListener(&refused, &none);
    session->addEventListener(&departures, &onlyLeft);
    session->addEventListener(&unlucky, &throwing);
    session->addEventListener(&all, nullptr);
    replug();
    ASSERT_TRUE(all.hears(2));
    session.reset();
    EXPECT_EQ(thrower.heard().size(), 2u);
    EXPECT_EQ(refused.heard().size(), 0u);
    EXPECT_EQ(departures.heard(), std::vector<std::string>{"2 1 1 1 COM1"});
    EXPECT_EQ(unlucky.heard().size(), 0u);
    const std::string prefix = "TessraEvents::notifyListeners - A listener threw an exception: ";
    EXPECT_EQ(log.lines,
              (std::vector<std::string>{prefix + "out of order", prefix + "not a standard exception",
                                        prefix + "no opinion", prefix + "out of order", prefix + "no opinion"}));
}

TEST_F(SessionEvents, RemovingTakesTheFirstRegistrationOfThatListenerAlone) {
    Recorder twice, last, stranger;
    const SessionEnd end{session};
    session->addEventListener(&twice, nullptr);
    session->addEventListener(&twice, nullptr);
    session->addEventListener(&last, nullptr);
    session->removeEventListener(&stranger);
    session->removeEventListener(&twice);
    replug();
    ASSERT_TRUE(last.hears(2));
    EXPECT_EQ(twice.heard().size(), 2u);
    session->removeEventListener(&twice);
    replug();
    ASSERT_TRUE(last.hears(4));
    EXPECT_EQ(twice.heard().size(), 2u);
    EXPECT_EQ(calls(Call::kSubscribe), 1u);
    EXPECT_EQ(calls(Call::kUnsubscribe), 0u);
}

TEST_F(SessionEvents, AFailedSubscriptionIsThrownAndTheNextRegistrationTriesAgain) {
    const struct {
        const char* name;
        tessra::FaultRule fault;
        const char* message;
    } cases[] = {
        {"known code", serverCodeAt(Call::kSubscribe, 0x80042005),
         "TessraServer::connectToTessraEvents - Timeout waiting for response"},
        {"other code", serverCodeAt(Call::kSubscribe, 0x80070005),
         "TessraServer::connectToTessraEvents - Error\n\a\tCode = 80070005\n\a\tCode meaning = Access is denied."
         "\n\a\tSource = Tessra\n\a\tDescription = "},
        {"exception", faultAt(Call::kSubscribe, FaultKind::kThrowException),
         "TessraServer::connectToTessraEvents - Unable to connect to Tessra Server Events"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Recorder refused, listener;
        service->port("COM1").faults().add(row.fault);
        EXPECT_EQ(failureOf([&] { session->addEventListener(&refused, nullptr); }).rfind(row.message, 0), 0u);
        EXPECT_EQ(failureOf([&] { session->offline(); }), "") << "the failure must not be left for another call";
        service->port("COM1").faults().clear();
        session->addEventListener(&listener, nullptr);
        replug();
        ASSERT_TRUE(listener.hears(2));
        EXPECT_EQ(refused.heard().size(), 0u);
        session = std::make_unique<TessraServer>("Test");
        session->connect("COM1");
    }
}

TEST_F(SessionEvents, AFailedChangeOfThePortStopsThemAndAnAddedListenerStartsThemAgain) {
    Recorder early, late;
    const SessionEnd end{session};
    session->addEventListener(&early, nullptr);
    EXPECT_EQ(failureOf([&] { session->connect("COM7"); }), kInvalidPort);
    EXPECT_EQ(calls(Call::kUnsubscribe), 1u);
    session->connect("COM1");
    replug(); // nobody is subscribed: counters 1 and 2 are never heard
    session->addEventListener(&late, nullptr);
    EXPECT_EQ(calls(Call::kSubscribe), 2u);
    replug();
    ASSERT_TRUE(late.hears(2));
    EXPECT_EQ(early.heard(), (std::vector<std::string>{"2 1 1 3 COM1", "1 1 1 4 COM1"}));
    EXPECT_EQ(late.heard(), early.heard());
    session.reset();
    EXPECT_EQ(calls(Call::kUnsubscribe), 2u);
    EXPECT_EQ(log.lines, std::vector<std::string>{});
}

TEST_F(SessionEvents, AStopOnTheWorkerWaitsForAListenerThatWaitsForTheSession) {
    std::atomic<bool> isCalled = false;
    Recorder listener([&] {
        isCalled = true;
        awaitPortChange();
        failureOf([&] { session->offline(); }); // waits for the session's lock, which the change holds
        isCalled = false;
    });
    const SessionEnd end{session};
    session->addEventListener(&listener, nullptr);
    replug();
    ASSERT_TRUE(listener.hears(1));
    slowDownPortChange();
    EXPECT_EQ(failureOf([&] { session->connect("COM7"); }), kInvalidPort);
    EXPECT_FALSE(isCalled);
    EXPECT_EQ(listener.heard().size(), 1u) << "delivered after the stop";
}

TEST_F(SessionEvents, AListenerMayMakeTheStopItself) {
    Gate done;
    Recorder listener([&] {
        EXPECT_EQ(failureOf([&] { session->connect("COM7"); }), kInvalidPort);
        done.open();
    });
    const SessionEnd end{session};
    session->addEventListener(&listener, nullptr);
    replug();
    done.pass();
    EXPECT_EQ(failureOf([&] { session->connect("COM1"); }), "");
    EXPECT_EQ(listener.heard().size(), 1u);
}

TEST_F(SessionEvents, AFilterMayMakeTheStop) {
    Gate done;
    Recorder first, second;
    Filter stopping([&](EventKind) {
        EXPECT_EQ(failureOf([&] { session->connect("COM7"); }), kInvalidPort);
        done.open();
        return true;
    });
    const SessionEnd end{session};
    session->addEventListener(&first, &stopping);
    session->addEventListener(&second, nullptr);
    replug();
    done.pass();
    EXPECT_EQ(failureOf([&] { session->connect("COM1"); }), "");
    session.reset(); // and with it the notifier
    EXPECT_EQ(first.heard().size() + second.heard().size(), 0u) << "delivered after the stop";
}

TEST_F(SessionEvents, AListenerThatRegistersOrRemovesIsRefusedInsteadOfWaitingForItself) {
    Recorder* self = nullptr;
    std::string removal, registration;
    Gate done;
    bool isFirst = true; // the session may be about to go when the second event comes
    Recorder listener([&] {
        if (!std::exchange(isFirst, false)) {
            return;
        }
        removal = failureOf([&] { session->removeEventListener(self); });
        registration = failureOf([&] { session->addEventListener(self, nullptr); });
        done.open();
    });
    self = &listener;
    const SessionEnd end{session};
    session->addEventListener(&listener, nullptr);
    replug();
    done.pass();
    session.reset();
    EXPECT_EQ(removal, "TessraEvents::removeEventListener - Neither a listener nor the COM worker can do this.");
    EXPECT_EQ(registration, "TessraEvents::addEventListener - Neither a listener nor the COM worker can do this.");
}

TEST_F(SessionEvents, AChangeOfThePortDoesNotWaitForAnothersRegistration) {
    slowDownPortChange();
    tessra::FaultRule slow = faultAt(Call::kSubscribe, FaultKind::kNone);
    slow.delayMs = 2000;
    service->port("COM2").faults().add(slow);
    auto change = std::async(std::launch::async, [&] { return failureOf([&] { session->connect("COM2"); }); });
    awaitPortChange();
    Recorder listener;
    const SessionEnd end{session};
    auto registration = std::async(std::launch::async, [&] { session->addEventListener(&listener, nullptr); });
    EXPECT_EQ(change.get(), "");
    EXPECT_EQ(registration.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    registration.get();
}

TEST_F(SessionEvents, TheEndOfTheSessionDoesNotWaitForAServiceThatHangs) {
    tessra::FaultRule hang = faultAt(Call::kUnsubscribe, FaultKind::kNone);
    hang.delayMs = 100000;
    Recorder listener;
    session->addEventListener(&listener, nullptr);
    service->port("COM1").faults().add(hang);
    const auto start = std::chrono::steady_clock::now();
    session.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(40));
    service.reset(); // lets the worker finish with what is left of the session
    TessraServer next("Test");
    EXPECT_EQ(failureOf([&] { next.connect("COM1"); }),
              "TessraServer::initialize - Unable to attach to the Tessra server.");
    EXPECT_EQ(listener.heard().size(), 0u);
}

TEST_F(SessionEvents, ARegistrationThatWaitsForAFailingChangeIsRefused) {
    slowDownPortChange();
    auto change = std::async(std::launch::async, [&] { return failureOf([&] { session->connect("COM7"); }); });
    awaitPortChange();
    Recorder listener;
    const SessionEnd end{session};
    EXPECT_EQ(failureOf([&] { session->addEventListener(&listener, nullptr); }),
              "TessraEvents::notifyListeners - TessraServer::connect must be called before calling this member "
              "function.");
    EXPECT_EQ(change.get(), kInvalidPort);
    EXPECT_EQ(calls(Call::kSubscribe), 0u);
}

TEST_F(SessionEvents, TheyFollowTheSessionToAnotherPort) {
    Recorder listener;
    const SessionEnd end{session};
    session->addEventListener(&listener, nullptr);
    session->connect("COM2");
    EXPECT_EQ(calls(Call::kUnsubscribe), 1u);
    replug("COM1");
    replug("COM2");
    ASSERT_TRUE(listener.hears(2));
    EXPECT_EQ(listener.heard(), (std::vector<std::string>{"2 2 1 1 COM2", "1 2 1 2 COM2"}));
    // A port whose events can't be had is a failed change.
    service->port("COM1").faults().add(serverCodeAt(Call::kSubscribe, 0x80070005));
    EXPECT_EQ(failureOf([&] { session->connect("COM1"); }), "TessraServer::changeComPortImpl - Access is denied.");
    EXPECT_EQ(service->port("COM2").faults().count(Call::kUnsubscribe), 1u);
}

TEST_F(SessionEvents, ARefusedUnsubscriptionIsLoggedAndNothingIsHeardAllTheSame) {
    const std::string prefix = "TessraServer::disconnectFromTessraEvents - ";
    const struct {
        const char* name;
        tessra::FaultRule fault;
        std::string line;
        bool byFailedChange;
    } cases[] = {
        {"code at the end", serverCodeAt(Call::kUnsubscribe, 0x80042005), prefix + "Timeout waiting for response",
         false},
        {"code at a failed change", serverCodeAt(Call::kUnsubscribe, 0x80042005),
         prefix + "Timeout waiting for response", true},
        {"exception", faultAt(Call::kUnsubscribe, FaultKind::kThrowException),
         prefix + "Unable to disconnect from the Tessra Server Events", false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        log.lines.clear();
        session = std::make_unique<TessraServer>("Test");
        session->connect("COM1");
        auto listener = std::make_unique<Recorder>();
        session->addEventListener(listener.get(), nullptr);
        service->port("COM1").faults().add(row.fault);
        if (row.byFailedChange) {
            EXPECT_EQ(failureOf([&] { session->connect("COM7"); }), kInvalidPort);
        } else {
            session.reset();
        }
        EXPECT_EQ(log.lines, std::vector<std::string>{row.line});
        service->port("COM1").faults().clear();
        replug();
        EXPECT_EQ(listener->heard().size(), 0u);
        listener.reset();
    }
}

TEST_F(SessionEvents, TheServiceMayGoFirst) {
    Recorder listener;
    session->addEventListener(&listener, nullptr);
    replug();
    service.reset(); // what it still holds of the session then must lead nowhere
    session.reset();
    EXPECT_LE(listener.heard().size(), 2u);
}

TEST_F(SessionEvents, TheEndOfTheSessionWaitsForTheListener) {
    std::atomic<bool> isCalled = false;
    Gate gate;
    auto listener = std::make_unique<Recorder>([&] {
        isCalled = true;
        gate.pass();
        isCalled = false;
    });
    session->addEventListener(listener.get(), nullptr);
    replug();
    ASSERT_TRUE(listener->hears(1));
    auto end = std::async(std::launch::async, [&] { session.reset(); });
    EXPECT_EQ(end.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    gate.open();
    end.get();
    EXPECT_FALSE(isCalled);
    EXPECT_LE(listener->heard().size(), 2u);
    listener.reset();
    replug();
}

TEST_F(SessionEvents, EventsListenersAndStopsAllAtOnce) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(800);
    const auto isTime = [&] { return std::chrono::steady_clock::now() < deadline; };
    // The threads keep step, so that none of them works alone.
    std::atomic<std::uint32_t> changes = 0;
    std::atomic<std::uint32_t> rounds = 0;
    const auto awaitChanges = [&](std::uint32_t count) {
        for (const std::uint32_t start = changes; changes - start < count && isTime();) {
            std::this_thread::yield();
        }
    };
    auto source = std::async(std::launch::async, [&] {
        while (isTime()) {
            if (changes < rounds * 4 + 4) {
                service->port("COM1").setMode(++changes % 2 == 0 ? tessra::PhoneMode::kOffline
                                                                 : tessra::PhoneMode::kDownload);
            }
        }
    });
    auto ports = std::async(std::launch::async, [&] {
        while (isTime()) {
            const std::uint32_t kind = rounds % 16;
            failureOf([&] { session->connect(kind == 0 ? "COM7" : kind == 8 ? "COM2" : "COM1"); });
            ++rounds;
            while (changes < rounds * 4 && isTime()) {
                std::this_thread::yield();
            }
        }
    });
    std::atomic<std::uint64_t> heard = 0;
    auto listeners = std::async(std::launch::async, [&] {
        while (isTime()) {
            Recorder listener([&] { ++heard; });
            bool isAdded = failureOf([&] { session->addEventListener(&listener, nullptr); }).empty();
            awaitChanges(5);
            // A session that has lost its port takes no removal; the other thread connects it again.
            while (isAdded) {
                isAdded = !failureOf([&] { session->removeEventListener(&listener); }).empty();
            }
            const auto lines = listener.heard();
            for (std::size_t i = 1; i < lines.size(); ++i) {
                // The same port's events count up, and no event comes twice.
                const auto counter = [](const std::string& line) { return std::stoul(line.substr(6)); };
                ASSERT_LT(counter(lines[i - 1]), counter(lines[i]));
            }
        }
    });
    source.get();
    ports.get();
    // Whatever happened, the session connects again, and a listener added now hears.
    failureOf([&] { session->connect("COM1"); });
    EXPECT_EQ(failureOf([&] { session->connect("COM1"); }), "");
    listeners.get();
    Recorder listener;
    const SessionEnd end{session};
    session->addEventListener(&listener, nullptr);
    replug();
    EXPECT_TRUE(listener.hears(2));
    EXPECT_GT(heard, 0u);
    EXPECT_GT(calls(Call::kSubscribe), 2u);
}

} // namespace
