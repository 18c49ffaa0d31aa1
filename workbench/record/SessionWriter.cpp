#include "workbench/record/SessionWriter.h"

#include "workbench/PhoneIdentity.h"
#include "workbench/record/LocalStore.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>

namespace record {
namespace {

/// Between two tries to put into the store what it did not take.
constexpr std::chrono::seconds kTryAgain{1};

std::pair<std::uintmax_t, std::uintmax_t> identityOf(const std::filesystem::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? std::pair<std::uintmax_t, std::uintmax_t>(status.st_dev, status.st_ino)
                                              : std::pair<std::uintmax_t, std::uintmax_t>();
}

std::size_t verifiedIn(Database& database, const std::string& uuid) {
    const auto rows = database.run("SELECT count(*) FROM session_item WHERE session = "
                                   "(SELECT id FROM session WHERE uuid = ?1) AND state = ?2",
                                   {uuid, static_cast<std::int64_t>(ItemState::kVerified)});
    return static_cast<std::size_t>(std::get<std::int64_t>(rows.at(0).at(0)));
}

} // namespace

std::string textOf(const InterruptedWrite& write) {
    const std::time_t time = std::chrono::system_clock::to_time_t(write.session.begun);
    std::tm local{};
    ::localtime_r(&time, &local);
    char when[32];
    const std::size_t length = std::strftime(when, sizeof when, "%Y-%m-%d %H:%M", &local);
    return "The write to " + workbench::shortName(write.session.phone) + " on " + write.session.port + " of " +
           std::string(when, length) + " is not known to have come to its end: " + std::to_string(write.verified) +
           " of " + std::to_string(write.session.items) + (write.session.items == 1 ? " item is" : " items are") +
           " recorded as verified.";
}

Positions positionsOf(const std::vector<SessionItem>& items) {
    Positions positions;
    for (std::size_t position = 0; position < items.size(); ++position) {
        positions.emplace(items[position].number, position);
    }
    return positions;
}

// Answers why `step` could not be done. A store that is damaged or gone is opened anew by the next one.
template <typename Step>
std::string SessionWriter::trying(Step step) {
    try {
        step();
        return {};
    } catch (const DatabaseError& error) {
        if (error.kind() == DatabaseError::Kind::kDamaged || error.kind() == DatabaseError::Kind::kUnreachable) {
            forgetStore();
            isSuspect_ = error.kind() == DatabaseError::Kind::kDamaged;
        }
        return error.what();
    }
}

void SessionWriter::forgetStore() {
    store_.reset();
    for (auto& [uuid, open] : open_) {
        open.isStored = false;
        for (std::size_t position = 0; position < open.items.size(); ++position) {
            if (open.items[position].state != ItemState::kNotTried) {
                open.unsaved.insert(position);
            }
        }
    }
}

// A file that was removed or exchanged would take everything, and nobody would ever see it.
bool SessionWriter::isReplaced() const {
    return store_ != nullptr && identityOf(settings_.file) != identity_;
}

Store& SessionWriter::store() {
    if (isReplaced()) {
        forgetStore();
    }
    if (store_ == nullptr) {
        const Check check = std::exchange(isSuspect_, false) ? Check::kWhole : Check::kQuick;
        store_ = settings_.isOwnFile ? openLocalStore(settings_.file, told_, check)
                                     : std::make_unique<Store>(openSqlite(settings_.file.string()));
        identity_ = identityOf(settings_.file);
    }
    if (store_->access() == Access::kReadOnly) {
        throw DatabaseError(DatabaseError::Kind::kOther, "'" + settings_.file.string() +
                                                             "' can only be read: a later program has made it, or its "
                                                             "owner lets nobody write.");
    }
    return *store_;
}

std::string SessionWriter::begin(Session session, std::vector<SessionItem> items) {
    const std::string uuid = session.uuid;
    const auto [place, isNew] = open_.emplace(uuid, Open{std::move(session), std::move(items)});
    return trying([&, &open = place->second] {
        open.lastTry = std::chrono::steady_clock::now();
        store().begin(open.session, open.items);
        open.isStored = true;
    });
}

// Puts all of a session under way into the store that it does not have yet.
void SessionWriter::save(Open& open) {
    open.lastTry = std::chrono::steady_clock::now();
    Store& into = store();
    if (!open.isStored) {
        into.begin(open.session, open.items);
        open.isStored = true;
    }
    while (!open.unsaved.empty()) {
        into.setItem(open.session.uuid, open.items[*open.unsaved.begin()]);
        open.unsaved.erase(open.unsaved.begin());
    }
}

void SessionWriter::item(const std::string& uuid, SessionItem item) {
    const auto found = open_.find(uuid);
    if (found == open_.end()) {
        return;
    }
    Open& open = found->second;
    const auto known = open.positions.find(item.number);
    if (known == open.positions.end()) {
        return;
    }
    open.items[known->second] = std::move(item);
    const bool wasBehind = !open.isStored || !open.unsaved.empty();
    open.unsaved.insert(known->second);
    if (!wasBehind || std::chrono::steady_clock::now() - open.lastTry > kTryAgain) {
        trying([&] { save(open); });
    }
}

std::string SessionWriter::end(const Session& session) {
    const auto found = open_.find(session.uuid);
    if (found == open_.end()) {
        return {};
    }
    std::string reason = trying([&] {
        save(found->second);
        store().end(session);
    });
    const auto refused = std::ranges::count_if(open_, [](const auto& entry) { return entry.second.ended.has_value(); });
    if (reason.empty() || static_cast<std::size_t>(refused) >= kMostRefused) {
        open_.erase(found);
    } else {
        found->second.ended = session;
    }
    return reason;
}

void SessionWriter::retryEnded() {
    for (auto& [uuid, open] : open_) {
        if (open.ended) {
            trying([this, &session = open] {
                save(session);
                store().end(*session.ended);
            });
        }
    }
}

std::string SessionWriter::add(const Session& session, const std::vector<SessionItem>& items) {
    const auto put = [&] { store().add(session, items); };
    const std::string reason = trying(put);
    return reason.empty() || store_ != nullptr ? reason : trying(put);
}

std::vector<InterruptedWrite> SessionWriter::takeInterrupted() {
    std::vector<InterruptedWrite> writes;
    std::error_code ignored;
    if (!std::filesystem::exists(settings_.file, ignored)) {
        return writes;
    }
    trying([&] {
        for (Session& session : store().takeInterrupted()) {
            const std::size_t verified = verifiedIn(store().database(), session.uuid);
            writes.push_back({std::move(session), verified});
        }
    });
    return writes;
}

} // namespace record
