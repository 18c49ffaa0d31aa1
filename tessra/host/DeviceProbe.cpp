#include "tessra/host/DeviceProbe.h"

namespace tessra {

DeviceProbe::DeviceProbe(const LineSetup& setup) : line_(setup.device.string(), setup) {
    line_.start([] {});
    line_.open();
}

ProbeResult DeviceProbe::run() {
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
