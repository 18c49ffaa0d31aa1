#pragma once

#include "phonelink/TessraEventListener.h"
#include "platform/kernel/Event.h"
#include "platform/kernel/Mutex.h"
#include "platform/kernel/Thread.h"
#include "tessra/Interfaces.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

class TessraServer;

/// One event of the phone service: the six values of tessra::IEventSink::onEvent, with a copy of the data.
struct ServerEventRecord {
    std::vector<std::uint8_t> data;
    std::uint32_t first;
    std::uint32_t second;
    std::uint16_t third;
    std::uint32_t fourth;
};

/// Takes the events of the phone that a session is attached to and hands them to listeners, on a notifier thread of its
/// own, so that no listener holds up the COM worker. The notifier starts with the first listener and subscribes to the
/// phone's events for as long as it runs.
///
/// Owned by its session. As an event sink its reference counting is inert; a subscription that the service may hold on
/// to shares the ownership (see EventSubscription), and a late event is dropped without a look at the session.
///
/// Lock order: control lock, listener lock, the session's lock, the worker's call lock; the queue lock is taken last
/// and held for a few instructions. The worker takes the queue lock alone.
class TessraEvents : public tessra::IEventSink {
public:
    explicit TessraEvents(TessraServer& session);
    TessraEvents(const TessraEvents&) = delete;
    TessraEvents& operator=(const TessraEvents&) = delete;

    /// The sink. Called in one apartment only, the COM worker's. onEvent copies the event and queues it for the
    /// notifier, in the order of the calls; it runs the worker's messages while it waits for the queue.
    com::Status queryInterface(const com::InterfaceId& id, void** out) override;
    std::uint32_t addRef() override { return 0; }
    std::uint32_t release() override { return 0; }
    com::Status onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t second,
                        std::uint16_t third, std::uint32_t fourth) override;

    virtual ~TessraEvents();

    /// The operations on listeners may come from any thread but the worker and the notifier, that is, from no listener
    /// or filter: there they throw TessraServer::Exception and change nothing, as they would wait for themselves.

    /// Appends `listener`, not null, with its `filter`, null for every event; both stay the caller's. Starts the
    /// notifier if none runs: where the session can't subscribe, TessraServer::Exception says why and nothing is added.
    virtual void addEventListener(TessraEventListener* listener, TessraEventFilter* filter);

    /// Removes the first registration of `listener`; an unknown one is ignored. No call to it through that registration
    /// is under way on return; so a listener must not wait for the thread that removes one.
    virtual void removeEventListener(TessraEventListener* listener);

    /// Ends the subscription and the notifier, and drops the events that are not yet delivered; does nothing where no
    /// notifier runs. The listeners stay registered and hear again once an added one has started a new notifier. Never
    /// throws for a failure of the service, which is logged.
    ///
    /// On return no event is being delivered, nor will be. On the worker, the caller must hold the session's lock or
    /// act for who holds it; there only the second half holds, as a listener that is being called may itself wait for
    /// the worker. awaitEnd() is the first half then.
    virtual void stop();

    /// Waits until a notifier that was told to stop has ended, and for nothing else. Returns at once on the
    /// notifier's own thread. Must not be called by a holder of the session's lock.
    void awaitEnd();

private:
    struct Registration {
        TessraEventListener* listener;
        TessraEventFilter* filter;
    };

    void refuseOwnThreads(const char* member) const;
    /// Both for holders of the control lock.
    void startNotifier();
    void joinNotifier();
    void stopOnWorker();
    void requestQuit();
    void setAccepting(bool accepting);

    /// The notifier thread, and its steps.
    void notifyListeners();
    bool subscribe();
    void unsubscribe();
    std::optional<ServerEventRecord> takeRecord();
    void deliver(const ServerEventRecord& event);

    TessraServer& session_; ///< used by the notifier, and by the session's own calls, alone

    std::mutex controlLock_;                   ///< held by who starts the notifier or waits for its end
    std::unique_ptr<kernel::Thread> notifier_; ///< guarded by controlLock_
    std::string startFailure_;                 ///< written by the notifier before its end, read after it
    std::atomic<kernel::ThreadId> notifierId_; ///< written by the notifier
    kernel::AutoResetEvent started_;           ///< the notifier has subscribed
    kernel::AutoResetEvent quit_;              ///< the notifier shall end
    kernel::AutoResetEvent queued_;            ///< look at the queue, and at quit_
    kernel::ManualResetEvent noneEnding_;      ///< no notifier that was told to stop is still at work
    /// Events are delivered: subscribed, and not told to stop. Becomes true under the session's lock, so that a stop
    /// on the worker, which acts for a holder of that lock, finds a notifier before its subscription or after it.
    std::atomic<bool> running_ = false;
    std::atomic<bool> unsubscribed_ = false; ///< the worker has ended the subscription in the notifier's place

    std::mutex listenerLock_;             ///< held during deliveries
    std::vector<Registration> listeners_; ///< guarded by listenerLock_

    kernel::Mutex queueLock_;
    std::deque<ServerEventRecord> queue_; ///< guarded by queueLock_
    bool accepting_ = false;              ///< guarded by queueLock_
    /// Events on their way into the queue; touched on the worker alone. While one waits for the queue, a later one may
    /// arrive by a message and get there first: it takes along what stands before it.
    std::deque<ServerEventRecord> arriving_;
};
