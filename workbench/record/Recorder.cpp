#include "workbench/record/Recorder.h"

#include "workbench/PhoneIdentity.h"

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <future>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

namespace record {
namespace {

constexpr const char* kTooFarBehind = "The store is too slow: too much waits for it already.";

/// From so many on it may be for their number that the items do not come into the store in time.
constexpr std::size_t kMany = 5000;

/// "Not recorded: the read of Sample 0000000001 on COM1: ..." What counts stands first, where the line is cut.
std::string lossText(const Session& session, const std::string& reason) {
    return (session.kind == SessionKind::kRead ? "Not recorded: the read of "
                                               : "Not recorded as a whole: the write to ") +
           workbench::shortName(session.phone) + " on " + session.port + ": " + reason;
}

} // namespace

/// The two threads of a recorder, and what they share with its callers.
struct Recorder::Impl {
    using Work = std::function<void(SessionWriter&)>;
    struct Task {
        Work work;
        std::size_t items = 0;
    };

    explicit Impl(HistorySettings given) : settings(std::move(given)) {}

    bool push(std::size_t items, Work work);
    void record();
    void takeInterrupted(SessionWriter& writer);
    void carryOut(const Task& task, SessionWriter& writer);
    void keepHouse();
    void hasEnded(const std::string& uuid);
    void lose(const std::string& text);
    void tellNews();

    mutable std::mutex mutex; ///< guards all up to the threads
    std::condition_variable changed;
    HistorySettings settings;
    std::deque<Task> tasks;
    std::size_t waitingItems = 0;
    bool isRecording = false; ///< a task has been taken out, and is worked on
    bool isEnding = false;
    bool recorderEnded = false;
    bool keeperEnded = false;
    bool isForKeeper = false;         ///< it has not looked since something ended
    std::set<std::string> recorded;   ///< all sessions of this run
    std::set<std::string> underWay;   ///< the writes that have begun and not ended
    std::set<std::string> holed;      ///< those of which something was dropped
    std::set<std::string> unrecorded; ///< those whose begin has said already that they are not recorded
    std::vector<std::string> losses;
    std::vector<InterruptedWrite> interrupted;
    std::optional<Waiting> waiting;
    std::thread recorder;
    std::thread keeper;

    std::mutex newsMutex; ///< held while news is called
    std::function<void()> news;
};

bool Recorder::Impl::push(std::size_t items, Work work) {
    const std::scoped_lock lock(mutex);
    if (items > 0 && waitingItems + items > kMostWaiting) {
        return false;
    }
    waitingItems += items;
    tasks.push_back({std::move(work), items});
    changed.notify_all();
    return true;
}

void Recorder::Impl::lose(const std::string& text) {
    {
        const std::scoped_lock lock(mutex);
        losses.push_back(text);
    }
    tellNews();
}

void Recorder::Impl::tellNews() {
    const std::scoped_lock lock(newsMutex);
    if (news) {
        news();
    }
}

void Recorder::Impl::hasEnded(const std::string& uuid) {
    const std::scoped_lock lock(mutex);
    underWay.erase(uuid);
    isForKeeper = true;
}

// The thread of the store. What was given before the end is still worked off.
void Recorder::Impl::record() {
    std::unique_lock lock(mutex);
    SessionWriter writer(settings);
    while (!isEnding || !tasks.empty()) {
        if (tasks.empty()) {
            changed.wait(lock);
            continue;
        }
        std::optional<Task> task(std::move(tasks.front()));
        tasks.pop_front();
        isRecording = true;
        lock.unlock();
        const std::size_t items = task->items;
        carryOut(*task, writer);
        task.reset(); // with the values that it holds
        lock.lock();
        waitingItems -= items;
        isRecording = false;
        changed.notify_all();
    }
    lock.unlock();
    carryOut({[](SessionWriter& last) { last.retryEnded(); }}, writer);
    lock.lock();
    recorderEnded = true;
    changed.notify_all();
}

void Recorder::Impl::takeInterrupted(SessionWriter& writer) {
    auto found = writer.takeInterrupted();
    if (!found.empty()) {
        {
            const std::scoped_lock lock(mutex);
            interrupted = std::move(found);
        }
        tellNews();
    }
}

void Recorder::Impl::carryOut(const Task& task, SessionWriter& writer) {
    try {
        task.work(writer);
    } catch (const std::exception& failure) {
        lose(std::string("Something is not in the record: ") + failure.what());
    }
    if (const std::string told = writer.takeTold(); !told.empty()) {
        lose(told);
    }
}

// The thread of what may take its time. At the end it looks once more.
void Recorder::Impl::keepHouse() {
    Housekeeper housekeeper;
    std::unique_lock lock(mutex);
    for (bool isLast = false; !isLast;) {
        const auto mayWork = [this] {
            return recorderEnded || (!isEnding && isForKeeper && tasks.empty() && !isRecording && underWay.empty());
        };
        if (!changed.wait_until(lock, housekeeper.nextTry(), mayWork) && !underWay.empty()) {
            housekeeper.postpone();
            continue;
        }
        isLast = recorderEnded;
        isForKeeper = false;
        const HistorySettings now = settings;
        const OnlyThese only = now.isOfOneRun ? OnlyThese(recorded) : std::nullopt;
        lock.unlock();
        const auto mayGoOn = [this] {
            const std::scoped_lock guard(mutex);
            return underWay.empty() && tasks.empty();
        };
        const Waiting found = housekeeper.work(now, mayGoOn, only);
        lock.lock();
        waiting = found;
    }
    keeperEnded = true;
    changed.notify_all();
}

Recorder::Recorder(HistorySettings settings) : impl_(std::make_shared<Impl>(std::move(settings))) {
    const std::scoped_lock lock(impl_->mutex); // the threads find themselves complete
    if (impl_->settings.isOn) {
        impl_->tasks.push_back({[impl = impl_.get()](SessionWriter& writer) { impl->takeInterrupted(writer); }});
    }
    impl_->recorder = std::thread([impl = impl_] { impl->record(); });
    impl_->keeper = std::thread([impl = impl_] { impl->keepHouse(); });
}

Recorder::~Recorder() {
    setNews({});
    std::unique_lock lock(impl_->mutex);
    const bool hasWaited = impl_->isEnding;
    lock.unlock();
    close(hasWaited ? std::chrono::seconds{} : kLongestEnd);
    lock.lock();
    for (const auto& [thread, hasEnded] :
         {std::pair(&impl_->recorder, impl_->recorderEnded), std::pair(&impl_->keeper, impl_->keeperEnded)}) {
        if (hasEnded) {
            lock.unlock();
            thread->join();
            lock.lock();
        } else {
            thread->detach(); // a store or a server that does not answer keeps nobody
        }
    }
}

bool Recorder::close(std::chrono::milliseconds longest) {
    std::unique_lock lock(impl_->mutex);
    impl_->isEnding = true;
    impl_->changed.notify_all();
    return impl_->changed.wait_for(lock, longest, [this] { return impl_->recorderEnded && impl_->keeperEnded; });
}

bool Recorder::isOn() const {
    const std::scoped_lock lock(impl_->mutex);
    return impl_->settings.isOn;
}

void Recorder::setSettings(const HistorySettings& settings) {
    const std::scoped_lock lock(impl_->mutex);
    const std::filesystem::path file = impl_->settings.file;
    impl_->settings = settings;
    impl_->settings.file = file;
    impl_->isForKeeper = true;
    impl_->changed.notify_all();
}

HistorySettings Recorder::settings() const {
    const std::scoped_lock lock(impl_->mutex);
    return impl_->settings;
}

std::string Recorder::begin(const Session& session, std::vector<SessionItem> items) {
    std::string reason = tryBegin(session, std::move(items));
    if (!reason.empty()) {
        const std::scoped_lock lock(impl_->mutex);
        impl_->unrecorded.insert(session.uuid);
    }
    return reason;
}

std::string Recorder::tryBegin(const Session& session, std::vector<SessionItem> items) {
    std::string file;
    {
        const std::scoped_lock lock(impl_->mutex);
        if (!impl_->settings.isOn) {
            return {};
        }
        impl_->recorded.insert(session.uuid);
        impl_->underWay.insert(session.uuid);
        file = impl_->settings.file.string();
    }
    const auto reason = std::make_shared<std::promise<std::string>>();
    std::future<std::string> answer = reason->get_future();
    const std::size_t count = items.size();
    if (!impl_->push(count, [session, items = std::move(items), reason](SessionWriter& writer) {
            reason->set_value(writer.begin(session, items));
        })) {
        impl_->hasEnded(session.uuid);
        return kTooFarBehind;
    }
    if (answer.wait_for(kLongestBegin) != std::future_status::ready) {
        return "'" + file + "' has not taken it within half a second" +
               (count < kMany ? "." : ": " + std::to_string(count) + " items may be too many for that.");
    }
    try {
        return answer.get();
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

void Recorder::item(const std::string& uuid, SessionItem item) {
    {
        const std::scoped_lock lock(impl_->mutex);
        if (!impl_->underWay.contains(uuid)) {
            return;
        }
    }
    if (!impl_->push(
            1, [uuid, item = std::move(item)](SessionWriter& writer) mutable { writer.item(uuid, std::move(item)); })) {
        const std::scoped_lock lock(impl_->mutex);
        impl_->holed.insert(uuid);
    }
}

void Recorder::end(Session session, bool wasSent) {
    bool isTold = !wasSent;
    {
        const std::scoped_lock lock(impl_->mutex);
        if (!impl_->underWay.contains(session.uuid)) {
            return;
        }
        isTold = impl_->unrecorded.erase(session.uuid) > 0 || isTold;
        if (impl_->holed.erase(session.uuid) > 0) {
            session.failure += session.failure.empty() ? "" : "\n";
            session.failure += "What became of some items is not recorded: the store was too slow.";
        }
    }
    impl_->push(0, [impl = impl_.get(), session = std::move(session), isTold](SessionWriter& writer) {
        const std::string reason = writer.end(session);
        impl->hasEnded(session.uuid);
        if (!reason.empty() && !isTold) {
            impl->lose(lossText(session, reason));
        }
    });
}

void Recorder::add(Session session, std::vector<SessionItem> items) {
    {
        const std::scoped_lock lock(impl_->mutex);
        if (!impl_->settings.isOn) {
            return;
        }
        impl_->recorded.insert(session.uuid);
    }
    const auto kept = std::make_shared<const Session>(std::move(session));
    const std::size_t count = items.size();
    if (!impl_->push(count, [impl = impl_.get(), kept, items = std::move(items)](SessionWriter& writer) {
            const std::string reason = writer.add(*kept, items);
            impl->hasEnded(kept->uuid);
            if (!reason.empty()) {
                impl->lose(lossText(*kept, reason));
            }
        })) {
        impl_->lose(lossText(*kept, kTooFarBehind));
    }
}

std::vector<std::string> Recorder::takeLosses() {
    const std::scoped_lock lock(impl_->mutex);
    return std::exchange(impl_->losses, {});
}

bool Recorder::flush(std::chrono::milliseconds longest) {
    std::unique_lock lock(impl_->mutex);
    return impl_->changed.wait_for(lock, longest, [this] { return impl_->tasks.empty() && !impl_->isRecording; });
}

std::vector<InterruptedWrite> Recorder::takeInterrupted() {
    const std::scoped_lock lock(impl_->mutex);
    return std::exchange(impl_->interrupted, {});
}

void Recorder::setNews(std::function<void()> news) {
    const std::scoped_lock lock(impl_->newsMutex);
    impl_->news = std::move(news);
}

std::optional<Waiting> Recorder::waiting() const {
    const std::scoped_lock lock(impl_->mutex);
    return impl_->waiting;
}

} // namespace record
