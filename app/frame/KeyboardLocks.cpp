#include "app/frame/KeyboardLocks.h"

#include <QGuiApplication>
#include <filesystem>
#include <fstream>
#include <string>

#ifdef CALVANE_X11
#include <X11/XKBlib.h>
#endif

namespace {

/// Whether a lamp whose name ends in `lamp` is on at one of this machine's keyboards.
bool isLampOn(const std::string& lamp) {
    std::error_code error;
    // A keyboard may be unplugged on the way.
    for (std::filesystem::directory_iterator lamps("/sys/class/leds", error), end; !error && lamps != end;
         lamps.increment(error)) {
        if (!lamps->path().filename().string().ends_with(lamp)) {
            continue;
        }
        int brightness = 0;
        if (std::ifstream(lamps->path() / "brightness") >> brightness && brightness > 0) {
            return true;
        }
    }
    return false;
}

} // namespace

KeyboardLocks keyboardLocks() {
#ifdef CALVANE_X11
    if (const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>(); x11 && x11->display()) {
        unsigned indicators = 0;
        if (XkbGetIndicatorState(x11->display(), XkbUseCoreKbd, &indicators) == Success) {
            return {(indicators & 1U) != 0, (indicators & 2U) != 0, (indicators & 4U) != 0};
        }
    }
#endif
    return {isLampOn("::capslock"), isLampOn("::numlock"), isLampOn("::scrolllock")};
}
