#include "tessra/host/DeviceProbe.h"

namespace tessra {

ProbeResult DeviceProbe::run() {
    line_.start([] {});
    line_.open();
    line_.awaitFirstView();
    const PhoneView view = line_.look();
    ProbeResult result;
    if (view.state == PhoneState::kPresent) {
        result.phone =
            versionTextsOf(line_.knownVersion().value_or(std::vector<std::uint8_t>())).value_or(VersionTexts());
    } else {
        result.problem = view.problem;
    }
    line_.release();
    return result;
}

} // namespace tessra
