#pragma once

#include "ClientApplication/Console/ExitCode.h"

#include <QByteArray>
#include <QString>

/// Lines and bytes to standard output and standard error.
/// Thread: main.
namespace Terminal
{

/// One line to standard output. False if nobody reads any more, or if it can't be written, of which the first
/// time is told as an error.
bool print(const QString& line);
/// Bytes to standard output as they are.
bool write(const QByteArray& bytes);
/// Done, or Failed if standard output has not taken all of it; a reader who has gone is no failure.
[[nodiscard]] ExitCode outputCode();
/// One line to standard error, after the program's name; takes the place of a progress line.
void error(const QString& line);
/// A line to standard error as it is.
void note(const QString& line);
/// A line at a terminal's standard error that the next one takes the place of; an empty one wipes it.
void progress(const QString& line);

} // namespace Terminal
