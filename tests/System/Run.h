#pragma once

#include <QStringList>

class ServerHome;
class ServerProcess;

/// A run of the server that ends by itself.
struct Run
{
    static constexpr int kFailure = 255; ///< -1 as a process's exit code.

    Run(const ServerHome& home, const QStringList& arguments);

    int exitCode = 0;
    QStringList lines; ///< Without those that depend on the machine.
};

QStringList words(const char* text);

/// Without the lines that depend on the machine: what its system grants and which libraries it has.
QStringList withoutTheMachines(QStringList lines);

/// What the server has warned of so far, without the tags.
QStringList warnings(const ServerProcess& server);
