#include "ClientApplication/ClientProgram.h"
#include "ClientApplication/Console/ClientLog.h"
#include "Platform/Output.h"

#include <QGuiApplication>
#include <algorithm>
#include <cstring>
#include <memory>

namespace
{

// Pictures hold text, and fonts need the application object of the GUI library; nothing else does.
std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv)
{
    const bool isPicture = std::any_of(
        argv, argv + argc, [](const char* argument) { return std::strncmp(argument, "--png", 5) == 0; });
    if (isPicture) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return std::make_unique<QGuiApplication>(argc, argv);
    }
    return std::make_unique<QCoreApplication>(argc, argv);
}

} // namespace

int main(int argc, char* argv[])
{
    Output::ignoreBrokenPipes();
    ClientLog::install();
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenlink"));
    QCoreApplication::setApplicationName(QStringLiteral("orvenlink-client"));
    const std::unique_ptr<QCoreApplication> application = makeApplication(argc, argv);
    return ClientProgram::run(QCoreApplication::arguments());
}
