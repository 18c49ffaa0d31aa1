#include "workbench/record/HandOver.h"

#include "workbench/record/History.h"

namespace record {
namespace {

/// False where somebody has pruned it meanwhile.
bool handOverOne(Store& own, Store& shared, const std::string& uuid) {
    History history(own.database());
    const auto session = history.session(uuid);
    if (!session) {
        return false;
    }
    if (!shared.add(*session, history.items(uuid))) {
        const auto there = History(shared.database()).session(uuid);
        if (there && there->note != session->note) {
            shared.setNote(uuid, session->note);
        }
    }
    own.markHandedOver(uuid);
    return true;
}

/// Whether the failure is that of one session alone, so that the next one may do better.
bool isOfOneSession(const DatabaseError& error, const Store& own, const Store& shared) {
    const auto kind = error.kind();
    return (kind == DatabaseError::Kind::kOther || kind == DatabaseError::Kind::kDamaged) &&
           own.access() == Access::kWritable && shared.access() == Access::kWritable;
}

} // namespace

std::vector<std::string> pendingIn(Store& own, const OnlyThese& only) {
    std::vector<std::string> uuids = own.pending();
    std::erase_if(uuids, [&only](const std::string& uuid) { return only && !only->contains(uuid); });
    return uuids;
}

HandedOver handOver(Store& own, Store& shared, const std::function<bool()>& mayGoOn, const OnlyThese& only) {
    HandedOver done;
    for (const std::string& uuid : pendingIn(own, only)) {
        if (!mayGoOn()) {
            break;
        }
        try {
            done.taken += handOverOne(own, shared, uuid) ? 1U : 0U;
        } catch (const DatabaseError& error) {
            if (!isOfOneSession(error, own, shared)) {
                throw;
            }
            done.skipped.push_back(uuid + ": " + error.what());
        }
    }
    return done;
}

} // namespace record
