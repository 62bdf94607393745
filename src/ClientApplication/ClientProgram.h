#pragma once

#include <QStringList>

/// The console client: reads the command line, runs one subcommand in the event loop of the application
/// object that has to exist, and gives the exit code.
/// Thread: main.
namespace ClientProgram
{

/// `arguments`: the program's name first.
[[nodiscard]] int run(const QStringList& arguments);

} // namespace ClientProgram
