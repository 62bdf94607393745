#pragma once

#include <QString>

/// What a stranger wrote, fit to be shown on one line: cut to `maximumLength` characters, with a blank for
/// each character that is no letter, mark or sign (a terminal would obey some of them).
QString foreignText(const QString& text, int maximumLength = 200);
