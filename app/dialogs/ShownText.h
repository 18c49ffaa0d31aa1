#pragma once

#include <QString>
#include <string_view>

class QLabel;

/// A text from a ring, a file, an argument or a phone as windows draw it, see workbench/MessageText.h: on one line, of
/// which the middle is left out where it is longer than a window shows.
QString shownText(std::string_view text);
/// Likewise of many lines.
QString shownLines(std::string_view text);

/// The tooltip of a text that is no markup, whatever it looks like: a tooltip has no plain format.
QString plainToolTip(const QString& text);

/// A label, with this object name, of what phones, files and stores say: no markup, in as many lines as it takes, and
/// to be copied from.
QLabel* plainLabel(const char* name);
