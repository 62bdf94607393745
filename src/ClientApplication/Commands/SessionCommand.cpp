#include "ClientApplication/Commands/SessionCommand.h"

#include "ClientApplication/Commands/SessionText.h"
#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Terminal.h"
#include "ClientApplication/Console/Text.h"
#include "Receiving/DeviceText.h"

namespace
{

constexpr double kListenTime = 3.0; // s
constexpr int kRtl = 5;             // the type; a server corrects its frequency once more at each start
constexpr int kMostBands = 10;      // more than any receiver has, and still a line

} // namespace

SessionCommand::SessionCommand(const Patience& patience)
    : m_session(patience.session, nullptr)
{
    m_properties.setSingleShot(true);
    m_properties.setInterval(patience.properties);
    connect(&m_properties, &QTimer::timeout, this, &SessionCommand::onPropertiesMissing);
    connect(&m_resolver, &ServerResolver::found, this, &SessionCommand::onTarget);
    connect(&m_resolver, &ServerResolver::failed, this,
            [this](const ServerResolver::Failure& failure) { fail(SessionText::of(failure)); });
    connect(&m_session, &ClientSession::waiting, this, [] {
        Terminal::note(
            QStringLiteral("no answer yet: waiting up to 12 s for a server that may be opening its "
                           "receiver"));
    });
    connect(&m_session, &ClientSession::connected, this, [this] {
        if (!m_hasBegun) {
            m_properties.start();
        }
    });
    connect(&m_session, &ClientSession::refused, this, &SessionCommand::onRefused);
    connect(&m_session, &ClientSession::ended, this, &SessionCommand::onEnded);
    connect(&m_session, &ClientSession::deviceError, this,
            [this](const QString& text) { m_deviceError = text; });
    connect(&m_session.device(), &RemoteDevice::synchronized, this, &SessionCommand::onSynchronized);
    connect(&m_session.device(), &RemoteDevice::synchronizationFailed, this,
            &SessionCommand::onSynchronizationFailed);
}

void SessionCommand::describe(QCommandLineParser& parser) const
{
    parser.addPositionalArgument(
        QStringLiteral("SERVER"),
        QStringLiteral("The server's address, as \"list\" shows it; or ADDRESS@HOST:PORT, "
                       "with --identificator."));
    parser.addOptions({Options::identificator(), Options::listenTime()});
}

QString SessionCommand::read(const QCommandLineParser& parser)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty()) {
        return QStringLiteral("which server? \"orvenlink-client list\" shows those on the local network");
    }
    const ServerArgument::Result result = ServerArgument::parse(arguments.constFirst());
    if (!result.server) {
        return result.error;
    }
    m_server = *result.server;
    m_identificator = parser.value(Options::identificator());
    std::optional<double> seconds;
    QString error =
        Options::number(parser, Options::listenTime(), Text::toSeconds, QStringLiteral("5"), seconds);
    m_listenTime = static_cast<int>(1e3 * std::min(seconds.value_or(kListenTime), 3600.0));
    return error;
}

void SessionCommand::start()
{
    m_resolver.start(m_server, m_identificator, m_listenTime);
}

void SessionCommand::interrupt()
{
    done(ExitCode::Interrupted);
}

QString SessionCommand::title()
{
    const std::optional<int> type = device().type();
    return QStringLiteral("%1 at %2")
        .arg(DeviceText::typeName(type.value_or(-1)), session().target().address.toString());
}

QStringList SessionCommand::bands()
{
    QStringList texts;
    const QVector<RemoteDevice::FrequencyRange> ranges = device().supportedFrequencies();
    for (const RemoteDevice::FrequencyRange& range : ranges.mid(0, kMostBands)) {
        texts.append(QStringLiteral("%1 to %2").arg(Text::hertz(range.lowest), Text::hertz(range.highest)));
    }
    return texts;
}

QString SessionCommand::correctionAtStart()
{
    const int ppm = device().ppmCorrection().value_or(0);
    if (ppm == 0 || device().type() != kRtl) {
        return {};
    }
    return QStringLiteral(
               "ppmCorrection is %1: the frequency of this receiver moves by %2 at each start, unless it "
               "is set again; 0 keeps it where it is")
        .arg(ppm)
        .arg(Text::hertz(device().frequency().value_or(0.0) * ppm / 1e6));
}

void SessionCommand::done(ExitCode code)
{
    if (!m_isDone) {
        m_isDone = true;
        m_session.close();
        emit finished(code);
    }
}

void SessionCommand::fail(ExitCode code, const QString& line)
{
    if (!m_isDone) {
        Terminal::error(line);
        done(code);
    }
}

void SessionCommand::fail(const SessionText& text)
{
    fail(text.code, text.line);
}

void SessionCommand::onTarget(const ClientSession::Target& target)
{
    if (!m_isDone && !m_session.open(target)) {
        fail(ExitCode::Failed,
             QStringLiteral("no UDP port could be had on this machine: see what uses them up"));
    }
}

void SessionCommand::onRefused(ClientSession::Refusal refusal, const QString& text)
{
    if (m_hasBegun) {
        broken();
    }
    fail(SessionText::of(refusal, text));
}

void SessionCommand::onEnded(ClientSession::End end)
{
    m_properties.stop();
    if (m_isDone || m_session.state() == ClientSession::State::Reconnecting) {
        return;
    }
    if (m_hasBegun) {
        broken();
    }
    fail(SessionText::of(end, m_deviceError));
}

void SessionCommand::onSynchronized()
{
    if (!m_hasBegun && !m_isDone) {
        m_hasBegun = true;
        m_properties.stop();
        begin();
    }
}

void SessionCommand::onSynchronizationFailed()
{
    if (m_properties.isActive()) {
        Terminal::note(
            QStringLiteral("the server has not told all of its receiver yet: waiting for %1 s in all")
                .arg(m_properties.interval() / 1000));
    }
}

void SessionCommand::onPropertiesMissing()
{
    fail(ExitCode::SessionLost,
         QStringLiteral("the server doesn't tell what its receiver is: too much gets lost "
                        "on the way, try again later"));
}
