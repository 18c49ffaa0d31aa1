#pragma once

#include <QColor>

/// The colour over the parts of a line that a filter has found: it lets the text below through, on light and on dark.
QColor matchVeil();

/// A background of that kind for texts that stand on `ground`.
QColor matchGround(const QColor& ground);
