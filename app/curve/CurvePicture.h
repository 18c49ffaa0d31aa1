#pragma once

#include "app/curve/CurveChart.h"

#include <QByteArray>
#include <QSize>

enum class PictureFormat { kSvg, kPng };

/// The whole content of a picture of the curves, with the item's name over them and in the colours of paper. `size` is
/// in the units of an SVG file; a PNG has twice as many pixels each way. Empty where it can't be made.
QByteArray curvePicture(const CurveSet& set, const PlotView& view, QSize size, PictureFormat format);
