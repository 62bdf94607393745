#include "Application/Application.h"

#include "Application/ServerIdentity.h"
#include "Core/Log/Log.h"
#include "Core/Losses/Losses.h"
#include "Core/Process/Process.h"
#include "Core/Process/Version.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "Core/RadioDevice/InfoRadioDevice.h"
#include "Core/Settings/Settings.h"
#include "Core/Settings/SettingsFile.h"
#include "RadioDevice/RtlUsb/RtlUsbFormat.h"
#include "Server/Server.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace
{

constexpr int kFailure = -1;

// Of an option, and of the setting that it makes.
const QString kRtlOffsetBinary = QStringLiteral("rtl-offset-binary");
const QString kNoRtlOffsetBinary = QStringLiteral("no-rtl-offset-binary");

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
    LOG_INFO() << "\t-h, --help this text";
    LOG_INFO() << "\t--rtl-offset-binary read RTL-SDR samples as the sticks deliver them, from now on";
    LOG_INFO() << "\t--no-rtl-offset-binary read them as two's complement again";
    LOG_INFO() << "\t--version, --list, --index, --port as -v, -l, -i, -p";
}

/// Given once, the option holds for good, until it is taken back.
void chooseRtlFormat(const QCommandLineParser& parser)
{
    const bool isGiven = parser.isSet(kRtlOffsetBinary);
    if (isGiven != parser.isSet(kNoRtlOffsetBinary)) {
        Settings::privateWrite(kRtlOffsetBinary, isGiven);
    }
    RtlUsbFormat::offsetBinary = Settings::privateRead(kRtlOffsetBinary, false).toBool();
}

void printRecommendations(const Devices& devices)
{
    if (Settings::privateRead(kRtlOffsetBinary, false).toBool()) {
        return;
    }
    for (int index = 0; index < devices.size(); ++index) {
        if (devices.at(index)->type() == DefRadioDevice::RtlUsb) {
            LOG_DEBUG()
                << index
                << "\trecommended: --rtl-offset-binary, given once, reads its samples as it sends them";
        }
    }
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

void printHindrances(const EnumeratorRadioDevice& enumerator)
{
    const auto enumerators = enumerator.enumerators();
    for (const QSharedPointer<AbstractEnumerator>& one : enumerators) {
        if (!one->hindrance().isEmpty()) {
            LOG_DEBUG() << one->hindrance();
        }
    }
}

Choice chooseByIndex(const Devices& devices, const QString& text)
{
    bool isNumber = false;
    const int index = text.toInt(&isNumber);
    if (!isNumber) {
        LOG_WARNING() << "Device index is no number:" << text << "- taken as 0";
    }
    if (index < 0 || index >= devices.size()) {
        LOG_WARNING() << "Index range out!";
        Process::exit(kFailure);
    }
    return Choice(*devices.at(index));
}

/// The value cut to 16 bits; 0, for one that the system chooses, if it is no number.
quint16 choosePort(const QString& text)
{
    bool isNumber = false;
    const uint value = text.toUInt(&isNumber);
    const auto port = static_cast<quint16>(value);
    if (!isNumber || value != port) {
        LOG_WARNING() << "Port is no number up to 65535:" << text << "- taken as" << port;
    }
    return port;
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
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    const QCommandLineOption version(QStringList{QStringLiteral("v"), QStringLiteral("version")});
    const QCommandLineOption list(QStringList{QStringLiteral("l"), QStringLiteral("list")});
    const QCommandLineOption index(QStringList{QStringLiteral("i"), QStringLiteral("index")}, indexName,
                                   indexName);
    const QCommandLineOption port(QStringList{QStringLiteral("p"), QStringLiteral("port")}, portName,
                                  portName);
    const QCommandLineOption regenerate(QStringLiteral("r"));
    const QCommandLineOption plain(QStringLiteral("c"));
    QCommandLineParser parser;
    const QCommandLineOption offsetBinary(kRtlOffsetBinary);
    const QCommandLineOption noOffsetBinary(kNoRtlOffsetBinary);
    parser.addOptions({help, version, list, index, port, regenerate, plain, offsetBinary, noOffsetBinary});
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
        printRecommendations(devices);
        printHindrances(*m_enumerator);
        if (devices.isEmpty()) {
            LOG_DEBUG() << "No supported devices found!";
        }
        Process::exit(0);
    }
    if (devices.isEmpty()) {
        printHindrances(*m_enumerator);
    }
    const Choice byIndex = parser.isSet(index) ? chooseByIndex(devices, parser.value(index)) : Choice();
    const quint16 localPort = parser.isSet(port) ? choosePort(parser.value(port)) : quint16(0);

    LOG_DEBUG() << "App version:" << Version::text();
    printDevices(devices);
    const Choice device = choose(devices, byIndex);
    LOG_DEBUG() << "Set device .. " << DefRadioDevice::toString(device.type) << device.identificator;

    if (!Settings::check_settings()) {
        LOG_CRITICAL() << "Check settings: false";
        LOG_CRITICAL() << "Settings file:" << SettingsFile::name() << "-" << SettingsFile::trouble();
        Process::exit(kFailure);
    }
    chooseRtlFormat(parser);
    const int160 id = ServerIdentity::load(device.identificator, parser.isSet(regenerate));
    const bool compress = !parser.isSet(plain);
    m_server = new Server(id, localPort, device.type, device.title, device.description, device.identificator,
                          compress, this);
    LOG_DEBUG() << "Press \"q\" to quit app.";
}

void Application::quit()
{
    if (m_server != nullptr) {
        m_server->drop();
    }
    Process::exit(0);
}

void Application::onConsoleLine(const QString& line)
{
    const QString command = line.trimmed().toLower();
    if (command == QLatin1String("q")) {
        quit();
    }
    if (command == QLatin1String("stat")) {
        printStatus();
    }
}

void Application::printStatus() const
{
    // Whoever asks is answered, however often.
    Log::unlimitedDebug() << "\tConnected:" << (m_server->isConnected() ? "true" : "false");
    Log::unlimitedDebug() << "\tCount connections:" << m_server->countConnections();
    Log::unlimitedDebug() << "\tSuccess hole punching:" << m_server->successHolePunching();
    Log::unlimitedDebug() << "\tFail hole punching:" << m_server->failHolePunching();
    const QStringList losses = Losses::process().totals();
    for (const QString& line : losses) {
        Log::unlimitedDebug() << line;
    }
}
