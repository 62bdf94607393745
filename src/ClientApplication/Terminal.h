#pragma once

#include "ClientApplication/Commands/ExitCode.h"

#include <QByteArray>
#include <QSize>
#include <QString>

/// What stands at the other end of standard output and standard error. Knows the platform.
namespace Terminal
{

enum class Colours
{
    None,
    Palette, ///< The 256 of most terminals.
    True,    ///< 24 bits.
};

/// `descriptor` is 1 or 2.
[[nodiscard]] bool isTerminal(int descriptor);
/// Columns and rows of the terminal at `descriptor`; 80 by 24 if they can't be known.
[[nodiscard]] QSize size(int descriptor);
/// By what the environment says: NO_COLOR, TERM, COLORTERM.
[[nodiscard]] Colours colours();
/// True if characters beyond ASCII can be shown.
[[nodiscard]] bool isUnicode();

/// One line to standard output. False if nobody reads any more, or if it can't be written, of which the first
/// time is told as an error.
bool print(const QString& line);
/// Bytes to standard output as they are.
bool write(const QByteArray& bytes);
/// Done, or Failed if standard output has not taken all of it; a reader who has gone is no failure.
[[nodiscard]] ExitCode outputCode();
/// One line to standard error, with the program's name in front of it; takes the place of a progress line.
void error(const QString& line);
/// A line to standard error as it is.
void note(const QString& line);
/// A line at a terminal's standard error that the next one takes the place of; an empty one wipes it.
void progress(const QString& line);

} // namespace Terminal
