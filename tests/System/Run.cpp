#include "System/Run.h"

#include "System/ServerHome.h"
#include "System/ServerProcess.h"

#include <algorithm>

Run::Run(const ServerHome& home, const QStringList& arguments)
{
    ServerProcess server(home);
    server.start(arguments);
    exitCode = server.waitForExitCode();
    lines = withoutTheMachines(server.lines());
}

QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QStringList withoutTheMachines(QStringList lines)
{
    const auto isTheMachines = [](const QString& line) {
        return line.startsWith(QStringLiteral("Receive buffer")) ||
               line == QStringLiteral("The rsp library isn't installed");
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isTheMachines), lines.end());
    return lines;
}

QStringList warnings(const ServerProcess& server)
{
    QStringList result;
    const QStringList all = server.lines().filter(QStringLiteral("[ W ][ Application/Application ]"));
    for (const QString& line : all) {
        result.append(line.section(QStringLiteral("=>\t "), 1));
    }
    return result;
}
