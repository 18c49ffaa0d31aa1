#pragma once

#include <QColor>
#include <QPen>
#include <array>

class QPalette;

/// What all charts of the program are drawn with, on light ground and on dark.

/// Told apart by those who see few colours.
const std::array<QRgb, 4>& curveColors(const QPalette& palette);
/// Of what is not permitted, or not usual.
inline constexpr QColor kOutside(0xe0, 0x30, 0x4a);
/// Between the colours of ground (0) and text (1).
QColor between(const QPalette& palette, double text);
/// As wide at every scale.
QPen penOf(const QColor& color, double width, Qt::PenStyle style = Qt::SolidLine);
