#include "ClientApplication/Commands/TunedCommand.h"

#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Terminal.h"
#include "ClientApplication/Console/Text.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace
{

constexpr int kEchoPatience = 5000; // ms
// What the server still has of the time before a setting has come by then: its own rings hold some 50 ms.
constexpr int kSettling = 300; // ms
constexpr int kMostLooks = 15;
constexpr int kFilePlayer = 0; // its type

} // namespace

TunedCommand::TunedCommand(const Patience& patience)
    : SessionCommand(patience)
    , m_stallWatch(patience.stalled, patience.lost)
{
    connect(&session(), &ClientSession::stateChanged, this, [this](ClientSession::State state) {
        m_stallWatch.setExpecting(state == ClientSession::State::Connected);
    });
    connect(&m_stallWatch, &StallWatch::stalled, this, &TunedCommand::stalled);
    connect(&m_stallWatch, &StallWatch::lost, this, &TunedCommand::onLost);
    m_patience.setSingleShot(true);
    m_settling.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, [this] {
        fail(ExitCode::NotTaken, QStringLiteral("the receiver doesn't say that it has tuned: try again"));
    });
    connect(&m_settling, &QTimer::timeout, this, &TunedCommand::onSettled);
}

void TunedCommand::describe(QCommandLineParser& parser) const
{
    SessionCommand::describe(parser);
    parser.addOptions({Options::frequency(), Options::offset(), Options::reconnect()});
}

QString TunedCommand::read(const QCommandLineParser& parser)
{
    m_isReconnecting = parser.isSet(Options::reconnect());
    for (const QString& error :
         {Options::number(parser, Options::frequency(), Text::toHertz, QStringLiteral("14250k"), m_frequency),
          Options::number(parser, Options::offset(), Text::toHertz, QStringLiteral("-12k"), m_offset)}) {
        if (!error.isEmpty()) {
            return error;
        }
    }
    return SessionCommand::read(parser);
}

void TunedCommand::start()
{
    session().setReconnecting(m_isReconnecting);
    const std::optional<Bandwidth> wanted = bandwidth();
    const bool isUsable = (!m_offset || session().setOffset(*m_offset)) &&
                          (!wanted || session().setBandwidth(wanted->preferred, wanted->aliasFree));
    if (!isUsable) {
        fail(ExitCode::Usage,
             QStringLiteral("no receiver has such an offset or bandwidth: give smaller ones"));
        return;
    }
    SessionCommand::start();
}

double TunedCommand::centre()
{
    // What corrections leave below the millihertz says nothing.
    return std::round(1e3 * (m_frequency.value_or(device().frequency().value_or(0.0)) + offset())) / 1e3;
}

void TunedCommand::begin()
{
    const double rate = device().sampleRate().value_or(0.0);
    if (m_offset && rate > 0.0 && std::abs(*m_offset) > rate / 2) {
        fail(ExitCode::Usage,
             QStringLiteral("the receiver's band ends %1 from its middle: give a smaller offset, "
                            "or another --frequency")
                 .arg(Text::hertz(rate / 2)));
        return;
    }
    if (const QString effect = correctionAtStart(); !effect.isEmpty()) {
        Terminal::note(effect);
        m_frequencyBefore = device().frequency();
    }
    connect(&device(), &RemoteDevice::synchronized, this, &TunedCommand::tuneAgain);
    tune();
}

// The player is at the middle of its recording at first, whatever it says. With a correction its frequency
// would move a step each time that it is written.
bool TunedCommand::isPlayer()
{
    return device().type() == kFilePlayer && device().ppmCorrection() == 0;
}

// In a session that has come back.
void TunedCommand::tuneAgain()
{
    if (m_frequencyBefore && !m_frequency) {
        device().setFrequency(*m_frequencyBefore);
    }
    const std::optional<double> wanted = m_frequency ? m_frequency : device().frequency();
    if (isPlayer() && wanted) {
        device().setFrequency(*wanted);
    }
}

void TunedCommand::tune()
{
    const std::optional<double> wanted = m_frequency || !isPlayer() ? m_frequency : device().frequency();
    if (!wanted) {
        settle();
        return;
    }
    const QVector<RemoteDevice::FrequencyRange> ranges = device().supportedFrequencies();
    const bool isWithin = std::any_of(ranges.begin(), ranges.end(), [&](const auto& range) {
        return *wanted >= range.lowest && *wanted <= range.highest;
    });
    if (m_frequency && !ranges.isEmpty() && !isWithin) {
        fail(ExitCode::NotTaken, QStringLiteral("the receiver doesn't tune to %1, but from %2: give another "
                                                "--frequency")
                                     .arg(Text::hertz(*wanted), bands().join(QStringLiteral(" and from "))));
        return;
    }
    m_isTuning = true;
    connect(&device(), &RemoteDevice::frequencyChanged, this, &TunedCommand::onFrequency);
    m_patience.start(kEchoPatience);
    device().setFrequency(*wanted);
}

void TunedCommand::onFrequency(double hertz)
{
    if (!std::exchange(m_isTuning, false)) {
        return;
    }
    m_patience.stop();
    // The echo is corrected by the error of the receiver's clock.
    const double tolerance = 1.0 + std::abs(hertz) * 1.01e-6 * std::abs(device().ppmCorrection().value_or(0));
    if (m_frequency && std::abs(hertz - *m_frequency) > tolerance) {
        fail(ExitCode::NotTaken,
             QStringLiteral("the receiver has not tuned to %1 and stays at %2: give another "
                            "--frequency")
                 .arg(Text::hertz(*m_frequency), Text::hertz(hertz)));
        return;
    }
    settle();
}

void TunedCommand::settle()
{
    m_settling.start(kSettling + static_cast<int>(qBound(0LL, session().roundTrip(), 2000LL)));
}

bool TunedCommand::isRateSettled()
{
    const std::optional<double> rate = session().outSampleRate();
    const std::optional<Bandwidth> wanted = bandwidth();
    return rate && (!wanted || *rate < 2 * wanted->preferred);
}

void TunedCommand::onSettled()
{
    if (isRateSettled() || (session().outSampleRate() && m_looks >= kMostLooks)) {
        beginTuned(*session().outSampleRate());
    } else if (m_looks < kMostLooks) {
        ++m_looks;
        settle();
    } else {
        fail(ExitCode::SessionLost,
             QStringLiteral("the server doesn't tell the rate of its samples: try again"));
    }
}

void TunedCommand::stalled()
{
    Terminal::note(QStringLiteral("nothing has come for %1 s: waiting").arg(m_stallWatch.silence() / 1000));
}

void TunedCommand::onLost()
{
    if (m_isReconnecting) {
        return;
    }
    broken();
    fail(ExitCode::SessionLost,
         QStringLiteral(
             "nothing has come for %1 s, though the session goes on: see whether a firewall lets the "
             "server's datagrams pass, or wait on with --reconnect")
             .arg(m_stallWatch.silence() / 1000));
}
