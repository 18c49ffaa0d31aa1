#include "app/views/MatchColours.h"

namespace {

constexpr QRgb kAmber = 0xFFB000;
constexpr int kVeilPercent = 40;

} // namespace

QColor matchVeil() {
    QColor veil(kAmber);
    veil.setAlpha(255 * kVeilPercent / 100);
    return veil;
}

QColor matchGround(const QColor& ground) {
    const QColor amber(kAmber);
    const auto part = [](int below, int above) { return (below * (100 - kVeilPercent) + above * kVeilPercent) / 100; };
    return {part(ground.red(), amber.red()), part(ground.green(), amber.green()), part(ground.blue(), amber.blue())};
}
