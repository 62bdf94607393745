#include "Application/Application.h"
#include "Application/ConsoleNotifier.h"
#include "Core/Process/Version.h"

#include <QCoreApplication>
#include <QLoggingCategory>

int main(int argc, char* argv[])
{
    ConsoleNotifier::prepare();
    // The address block is logged at debug level: a rule that hides such records would hide the address.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=true\ndefault.info=true"));

    // These decide where the settings lie, so they stand before the application object.
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenlink"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("orvenlink.invalid"));
    QCoreApplication::setApplicationName(QStringLiteral("Orvenlink"));
    QCoreApplication::setApplicationVersion(Version::text());

    const QCoreApplication application(argc, argv);
    Application::instance().parseArgs();
    return QCoreApplication::exec();
}
