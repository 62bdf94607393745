#pragma once

#include <QLatin1String>
#include <QVector>
#include <memory>

class Command;

/// The subcommands, in the order in which the help lists them.
/// Thread: main.
struct CommandEntry
{
    QLatin1String name;
    QLatin1String summary; ///< One line.
    QLatin1String details; ///< More, for its own help; with examples.
    std::unique_ptr<Command> (*make)();
};

[[nodiscard]] const QVector<CommandEntry>& commandTable();
