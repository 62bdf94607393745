#include "Application/Application.h"

#include "Application/ServerIdentity.h"
#include "Core/Log/Log.h"
#include "Core/Process/Process.h"
#include "Core/Process/Version.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "Core/RadioDevice/InfoRadioDevice.h"
#include "Core/Settings/Settings.h"
#include "Server/Server.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace
{

constexpr int kFailure = -1;

/// What serves a client: the parts of a device's record that the server needs.
struct Choice
{
    DefRadioDevice::Type type = DefRadioDevice::Unknown;
    QString title;
    QString description;
    QString identificator;

    Choice() = default;
    explicit Choice(const InfoRadioDevice& info)
        : type(static_cast<DefRadioDevice::Type>(info.type()))
        , title(info.title)
        , description(info.description)
        , identificator(info.identificator)
    {
    }
};

using Devices = QList<QSharedPointer<InfoRadioDevice>>;

void printUsage()
{
    LOG_INFO() << "Usage:\t-v app version";
    LOG_INFO() << "\t-l list devices";
    LOG_INFO() << "\t[-i device index (default: 0)]";
    LOG_INFO() << "\t[-p listen port (default: random)]";
    LOG_INFO() << "\t[-r regenerate server address (default: 0)]";
    LOG_INFO() << "\t[-c disable compress iq data]";
}

void printDevices(const Devices& devices)
{
    LOG_DEBUG() << "Refresh enumerator radio device ...";
    for (int index = 0; index < devices.size(); ++index) {
        const Choice device(*devices.at(index));
        LOG_DEBUG() << index << "\tfound .." << DefRadioDevice::toString(device.type) << device.title
                    << device.description << device.identificator;
    }
}

Choice chooseByIndex(const Devices& devices, const QString& text)
{
    // Text that is no number counts as 0.
    const int index = text.toInt();
    if (index < 0 || index >= devices.size()) {
        LOG_WARNING() << "Index range out!";
        Process::exit(kFailure);
    }
    return Choice(*devices.at(index));
}

/// Whether a device has been chosen is judged by its identificator: one without counts as not chosen.
Choice choose(const Devices& devices, const Choice& byIndex)
{
    if (devices.isEmpty()) {
        LOG_DEBUG() << "No supported devices found!";
        Process::exit(kFailure);
    }
    if (!byIndex.identificator.isEmpty()) {
        return byIndex;
    }
    if (devices.size() > 1) {
        LOG_DEBUG() << "More than one device detected! Specify the device index through the \"i\" key.";
        Process::exit(kFailure);
    }
    return Choice(*devices.constFirst());
}

} // namespace

Application& Application::instance()
{
    static auto* const application = new Application;
    return *application;
}

Application::Application()
{
    connect(&m_console, &QConsoleListener::newLine, this, &Application::onConsoleLine, Qt::DirectConnection);
}

Application::~Application()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
}

void Application::parseArgs()
{
    const QString indexName = QStringLiteral("Device enumerator index");
    const QString portName = QStringLiteral("Server port");
    const QCommandLineOption help(QStringLiteral("h"));
    const QCommandLineOption version(QStringLiteral("v"));
    const QCommandLineOption list(QStringList{QStringLiteral("l"), QStringLiteral("list")});
    const QCommandLineOption index(QStringList{QStringLiteral("i"), QStringLiteral("index")}, indexName,
                                   indexName);
    const QCommandLineOption port(QStringList{QStringLiteral("p"), QStringLiteral("port")}, portName,
                                  portName);
    const QCommandLineOption regenerate(QStringLiteral("r"));
    const QCommandLineOption plain(QStringLiteral("c"));
    QCommandLineParser parser;
    parser.addOptions({help, version, list, index, port, regenerate, plain});
    parser.process(*QCoreApplication::instance());

    if (parser.isSet(help)) {
        printUsage();
        Process::exit(0);
    }
    if (parser.isSet(version)) {
        LOG_INFO() << "App version:" << Version::text();
        Process::exit(0);
    }

    m_enumerator = QSharedPointer<EnumeratorRadioDevice>::create(nullptr);
    m_enumerator->refresh({});
    const Devices devices = m_enumerator->devices();
    if (parser.isSet(list)) {
        printDevices(devices);
        if (devices.isEmpty()) {
            LOG_DEBUG() << "No supported devices found!";
        }
        Process::exit(0);
    }
    const Choice byIndex = parser.isSet(index) ? chooseByIndex(devices, parser.value(index)) : Choice();
    const auto localPort = static_cast<quint16>(parser.isSet(port) ? parser.value(port).toUInt() : 0U);

    LOG_DEBUG() << "App version:" << Version::text();
    printDevices(devices);
    const Choice device = choose(devices, byIndex);
    LOG_DEBUG() << "Set device .. " << DefRadioDevice::toString(device.type) << device.identificator;

    if (!Settings::check_settings()) {
        LOG_CRITICAL() << "Check settings: false";
        Process::exit(kFailure);
    }
    const int160 id = ServerIdentity::load(device.identificator, parser.isSet(regenerate));
    const bool compress = !parser.isSet(plain);
    m_server = new Server(id, localPort, device.type, device.title, device.description, device.identificator,
                          compress, this);
    LOG_DEBUG() << "Press \"q\" to quit app.";
}

void Application::onConsoleLine(const QString& line)
{
    const QString command = line.trimmed().toLower();
    if (command == QLatin1String("q")) {
        if (m_server != nullptr) {
            m_server->drop();
        }
        Process::exit(0);
    }
    if (command == QLatin1String("stat")) {
        printStatus();
    }
}

void Application::printStatus() const
{
    LOG_DEBUG() << "\tConnected:" << (m_server->isConnected() ? "true" : "false");
    LOG_DEBUG() << "\tCount connections:" << m_server->countConnections();
    LOG_DEBUG() << "\tSuccess hole punching:" << m_server->successHolePunching();
    LOG_DEBUG() << "\tFail hole punching:" << m_server->failHolePunching();
}
