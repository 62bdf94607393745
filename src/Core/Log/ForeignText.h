#pragma once

#include <QString>

/// What a stranger wrote, fit for one line of a log or a terminal: each character that a terminal could obey,
/// or that nobody sees (control and format characters, line separators, halves of a surrogate pair), is
/// written as an escape: \n, \r, \t, \x1b, \u202e or \U000e0001. At most `maximumLength` characters of
/// result; an escape is not cut in two. Text that has been through it stays as it is, except that it may be
/// cut again.
/// Thread: any.
QString foreignText(const QString& text, int maximumLength = 200);
