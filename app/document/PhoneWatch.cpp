#include "app/document/PhoneWatch.h"

#include "phonelink/TessraServer.h"
#include "tessra/Interfaces.h"

void PhoneWatch::watch(TessraServer& session) {
    session.removeEventListener(this);
    session.addEventListener(this, nullptr);
}

void PhoneWatch::onEvent(std::uint32_t, const std::uint8_t*, std::uint32_t first, std::uint32_t, std::uint16_t,
                         std::uint32_t) {
    const auto kind = static_cast<tessra::EventKind>(first);
    if (kind != tessra::EventKind::kPhoneAppeared && kind != tessra::EventKind::kPhoneLeft) {
        return;
    }
    userInterface_.post([heard = heard_, present = kind == tessra::EventKind::kPhoneAppeared] {
        if (*heard) {
            (*heard)(present);
        }
    });
}
