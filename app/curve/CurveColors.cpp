#include "app/curve/CurveColors.h"

#include <QPalette>
#include <cmath>

namespace {

constexpr std::array<QRgb, 4> kOnLight{0xff1f6fb4, 0xffc2500a, 0xff1d7d46, 0xff8a3fa0};
constexpr std::array<QRgb, 4> kOnDark{0xff6cb8f5, 0xfff59a4a, 0xff62d08c, 0xffd19ae6};

} // namespace

const std::array<QRgb, 4>& curveColors(const QPalette& palette) {
    return palette.color(QPalette::Base).lightness() < 128 ? kOnDark : kOnLight;
}

QColor between(const QPalette& palette, double text) {
    const QColor ink = palette.color(QPalette::Text);
    const QColor ground = palette.color(QPalette::Base);
    const auto part = [text](int a, int b) { return static_cast<int>(std::lround(a * text + b * (1 - text))); };
    return {part(ink.red(), ground.red()), part(ink.green(), ground.green()), part(ink.blue(), ground.blue())};
}

QPen penOf(const QColor& color, double width, Qt::PenStyle style) {
    QPen pen(color, width, style);
    pen.setCosmetic(true);
    return pen;
}
