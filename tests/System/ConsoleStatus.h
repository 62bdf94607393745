#pragma once

#include <QStringList>

class ServerProcess;

/// What a server tells when it is asked.
namespace ConsoleStatus
{

/// The lines that "stat" has printed so far, of all its runs.
[[nodiscard]] QStringList lines(const ServerProcess& server);
[[nodiscard]] bool waitFor(const ServerProcess& server, int runs);

/// Any answer over the network proves that the event loop turns.
[[nodiscard]] bool answers(const ServerProcess& server);

} // namespace ConsoleStatus
