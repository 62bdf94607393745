#include "System/ConsoleStatus.h"

#include "System/ServerProcess.h"
#include "support/Wait.h"
#include "support/WireClient.h"

QStringList ConsoleStatus::lines(const ServerProcess& server)
{
    QStringList result;
    const QStringList all = server.lines();
    for (const QString& line : all) {
        if (line.startsWith(QLatin1Char('\t')) && !line.contains(QStringLiteral("found .."))) {
            result.append(line);
        }
    }
    return result;
}

bool ConsoleStatus::waitFor(const ServerProcess& server, int runs)
{
    return waitUntil([&server, runs] { return lines(server).size() >= 4 * runs; });
}

bool ConsoleStatus::answers(const ServerProcess& server)
{
    WireClient stranger(server);
    return stranger.askInVain({}).has_value();
}
