#include "Application/Application.h"
#include "Core/Process/Version.h"
#include "Platform/ConsoleInput.h"
#include "Platform/Interrupt.h"
#include "Platform/Output.h"

#include <QCoreApplication>

namespace
{

/// The address block is logged at debug level: a rule that hides such records would hide the address. Rules
/// of the environment count most, and among them the last one; the others stay.
void showAddressBlock()
{
    const QByteArray rules = qgetenv("QT_LOGGING_RULES");
    qputenv("QT_LOGGING_RULES", rules + ";[Rules];default.debug=true;default.info=true");
}

} // namespace

int main(int argc, char* argv[])
{
    ConsoleInput::prepare();
    Output::ignoreBrokenPipes(); // of those who read the log
    showAddressBlock();

    // These decide where the settings are, so they come before the application object.
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenlink"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("orvenlink.invalid"));
    QCoreApplication::setApplicationName(QStringLiteral("Orvenlink"));
    QCoreApplication::setApplicationVersion(Version::text());

    const QCoreApplication application(argc, argv);
    const Interrupt interrupt(Interrupt::Program::Service);
    QObject::connect(&interrupt, &Interrupt::interrupted, &Application::instance(), &Application::quit);
    Application::instance().parseArgs();
    return QCoreApplication::exec();
}
