#include "ClientApplication/Commands/SampleCommand.h"

#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Terminal.h"
#include "ClientApplication/Console/Text.h"
#include "Platform/Output.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

namespace
{

constexpr qint64 kQueueCapacity = 4'000'000; // samples: 16 MB, a second or more of any receiver
constexpr int kProgressInterval = 250;       // ms
constexpr int kBar = 20;                     // characters

QString bar(double share)
{
    const int filled = qBound(0, static_cast<int>(share * kBar), kBar);
    return QLatin1Char('[') + QString(filled, QLatin1Char('#')) + QString(kBar - filled, QLatin1Char('.')) +
           QLatin1Char(']');
}

} // namespace

SampleCommand::SampleCommand(const Patience& patience)
    : TunedCommand(patience)
    , m_queue(kQueueCapacity)
    , m_pipe(Output::kStandard)
{
    connect(&m_progress, &QTimer::timeout, this, &SampleCommand::showProgress);
}

void SampleCommand::describe(QCommandLineParser& parser) const
{
    TunedCommand::describe(parser);
    parser.addOptions(
        {Options::seconds(QStringLiteral("Stop after so much, as 90, 15m or 1h; without it, Ctrl-C stops.")),
         Options::json()});
}

QString SampleCommand::read(const QCommandLineParser& parser)
{
    std::optional<double> seconds;
    QString error =
        Options::number(parser, Options::seconds({}), Text::toSeconds, QStringLiteral("15m"), seconds);
    if (!error.isEmpty()) {
        return error;
    }
    m_seconds = seconds.value_or(0.0);
    m_isJson = parser.isSet(Options::json());
    return TunedCommand::read(parser);
}

void SampleCommand::beginTuned(double sampleRate)
{
    std::unique_ptr<IqSink> sink = makeSink(sampleRate);
    if (!sink) {
        return;
    }
    m_pump = std::make_unique<IqPump>(m_queue, std::move(sink), sampleRate, m_seconds);
    connect(m_pump.get(), &IqPump::ended, this, &SampleCommand::onEnded);
    connect(&session().iq(), &IqReceiver::blockReceived, &m_queue, &IqQueue::push, Qt::DirectConnection);
    connect(&session().iq(), &IqReceiver::blockReceived, this, [this](const IqBlock& block) {
        if (m_pump->takes(block)) {
            stallWatch().arrived();
        }
    });
    stallWatch().start();
    m_pump->start();
    if (Output::isTerminal(Output::kError)) {
        m_progress.start(kProgressInterval);
    }
}

void SampleCommand::interrupt()
{
    if (m_pump) {
        m_isInterrupted = true;
        m_pipe.stop();
        m_pump->stop();
    } else {
        SessionCommand::interrupt();
    }
}

void SampleCommand::broken()
{
    if (m_pump) {
        disconnect(m_pump.get(), &IqPump::ended, this, &SampleCommand::onEnded);
        m_pipe.stop();
        m_pump->stop();
        m_pump->wait();
        summarize();
    }
}

void SampleCommand::onEnded(IqSink::Outcome outcome, const QString& error)
{
    m_progress.stop();
    m_pump->wait();
    const bool isOut = path().isEmpty();
    summarize();
    switch (outcome) {
    case IqSink::Outcome::Failed:
        fail(ExitCode::Failed, QStringLiteral("can't write %1: %2; what was written before is whole")
                                   .arg(isOut ? QStringLiteral("to standard output") : path(), error));
        break;
    case IqSink::Outcome::Full:
        fail(ExitCode::Failed,
             QStringLiteral("%1 is full, it can't grow beyond 4 GB in this form: begin another "
                            "one")
                 .arg(path()));
        break;
    case IqSink::Outcome::Going:
    case IqSink::Outcome::ReaderGone:
        done(m_isInterrupted && m_seconds > 0.0 ? ExitCode::Interrupted : Terminal::outputCode());
        break;
    }
}

// Those before a block are counted with it; those of a silence that lasts, by its time.
qint64 SampleCommand::missing()
{
    return m_pump->missing() + std::llround(stallWatch().silence() / 1e3 * m_pump->sampleRate());
}

QString SampleCommand::losses()
{
    const qint64 count = missing();
    return count == 0 ? QStringLiteral("no losses")
                      : QStringLiteral("%1 samples (%2 s) missing")
                            .arg(count)
                            .arg(static_cast<double>(count) / m_pump->sampleRate(), 0, 'f', 2);
}

void SampleCommand::showProgress()
{
    const double seconds = static_cast<double>(m_pump->samples()) / m_pump->sampleRate();
    const QString time = m_seconds > 0.0 ? QStringLiteral("%1 %2 of %3")
                                               .arg(bar(seconds / m_seconds), Text::duration(seconds),
                                                    Text::duration(m_seconds))
                                         : Text::duration(seconds);
    if (session().state() != ClientSession::State::Connected) {
        Terminal::progress(QStringLiteral("%1  the session has broken off, coming back ...").arg(time));
        return;
    }
    Terminal::progress(QStringLiteral("%1  %2  %3/s  %4")
                           .arg(time, Text::bytes(static_cast<double>(m_pump->bytes())),
                                Text::bytes(session().receiveSpeed() * 1024.0), losses()));
}

void SampleCommand::summarize()
{
    m_progress.stop();
    Terminal::progress({});
    const double seconds = static_cast<double>(m_pump->samples()) / m_pump->sampleRate();
    const bool isOut = path().isEmpty();
    if (m_isJson) {
        const QJsonObject object{
            {QStringLiteral("file"), path()},
            {QStringLiteral("bytes"), m_pump->bytes()},
            {QStringLiteral("samples"), m_pump->samples()},
            {QStringLiteral("seconds"), seconds},
            {QStringLiteral("sample_rate_hz"), m_pump->sampleRate()},
            {QStringLiteral("centre_hz"), centre()},
            {QStringLiteral("missing_samples"), missing()},
            {QStringLiteral("damaged_datagrams"), session().iq().damagedDatagrams()},
        };
        const QString line = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
        // Samples on standard output leave standard error for what is said of them.
        isOut ? Terminal::note(line) : static_cast<void>(Terminal::print(line));
        return;
    }
    const QString line =
        QStringLiteral("%1 s at %2, %3, %4, %5")
            .arg(seconds, 0, 'f', 2)
            .arg(Text::hertz(centre()), QStringLiteral("%1 samples/s").arg(m_pump->sampleRate()),
                 Text::bytes(static_cast<double>(m_pump->bytes())), losses());
    if (isOut) {
        Terminal::note(line);
    } else {
        Terminal::print(QStringLiteral("%1: %2").arg(path(), line));
    }
}
