#include "workbench/record/HandOver.h"

#include "workbench/record/History.h"

namespace record {

std::size_t handOver(Store& own, Store& shared, const std::function<bool()>& mayGoOn) {
    History history(own.database());
    std::size_t taken = 0;
    for (const std::string& uuid : own.pending()) {
        if (!mayGoOn()) {
            break;
        }
        const auto session = history.session(uuid);
        if (!session) {
            continue; // somebody has pruned it meanwhile
        }
        if (!shared.add(*session, history.items(uuid)) && !session->note.empty()) {
            shared.setNote(uuid, session->note);
        }
        own.markHandedOver(uuid);
        ++taken;
    }
    return taken;
}

} // namespace record
