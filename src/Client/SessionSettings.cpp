#include "Client/SessionSettings.h"

#include "Network/Socket/UserSocket.h"

#include <QPointer>
#include <cmath>

namespace
{

constexpr double kMaximumFrequency = 1e12; // Hz
constexpr double kBandwidthStep = 1.0;     // Hz, the least that a server tells apart
constexpr int kStepTimeout = 1000;         // ms

bool isFrequency(double hertz)
{
    return std::isfinite(hertz) && std::abs(hertz) <= kMaximumFrequency;
}

QJsonObject bandwidthArguments(double preferred, double aliasFree)
{
    return {{SessionCalls::kPreferredBandWidth, preferred}, {SessionCalls::kAliasFree, aliasFree}};
}

} // namespace

SessionSettings::SessionSettings(QObject* parent)
    : QObject(parent)
    , m_offsetSender(SessionCalls::kSetIF)
    , m_bandwidthSender(SessionCalls::kSetupDspH)
    , m_rangeSender(SessionCalls::kFftDataRange)
{
    connect(&m_rangeSender, &SettingSender::taken, this, [this] { emit spectrumRangeTaken(m_range); });
}

bool SessionSettings::setOffset(double hertz)
{
    if (!isFrequency(hertz)) {
        return false;
    }
    m_offsetSender.set({{SessionCalls::kIF, hertz}});
    return true;
}

bool SessionSettings::setBandwidth(double preferred, double aliasFree)
{
    if (!isFrequency(preferred) || !isFrequency(aliasFree) || preferred <= 0.0 || aliasFree <= 0.0) {
        return false;
    }
    m_bandwidth = {preferred, aliasFree};
    sendBandwidth();
    emit bandwidthChanged();
    return true;
}

void SessionSettings::sendBandwidth()
{
    m_bandwidthSender.set(bandwidthArguments(m_bandwidth.preferred, m_bandwidth.aliasFree));
}

// The step is down: a rate that is just the bandwidth is common, one of just twice as much is not.
void SessionSettings::repeatBandwidth()
{
    if (!m_socket) {
        return;
    }
    const QPointer<SessionSettings> self(this);
    const auto thenBack = [self, socket = m_socket.toWeakRef()] {
        if (self && self->m_socket && self->m_socket == socket) {
            self->sendBandwidth();
        }
    };
    const double preferred = m_bandwidth.preferred;
    const double other =
        preferred > 2 * kBandwidthStep ? preferred - kBandwidthStep : preferred + kBandwidthStep;
    m_socket->invoke(
        SessionCalls::kSetupDspH, bandwidthArguments(other, m_bandwidth.aliasFree),
        [thenBack](const QJsonObject&, const NodeInfo&) { thenBack(); }, thenBack, kStepTimeout);
}

bool SessionSettings::setSpectrumRange(const SpectrumRange& range)
{
    if (!range.isValid()) {
        return false;
    }
    m_range = range;
    m_rangeSender.set({{SessionCalls::kStartIndex, range.startIndex},
                       {SessionCalls::kStopIndex, range.stopIndex},
                       {SessionCalls::kDataSize, range.dataSize},
                       {SessionCalls::kFftSize, range.fftSize}});
    return true;
}

void SessionSettings::attach(const QSharedPointer<UserSocket>& socket)
{
    m_socket = socket;
    m_offsetSender.attach(socket);
    m_bandwidthSender.attach(socket);
    m_rangeSender.attach(socket);
}

void SessionSettings::detach()
{
    m_socket.clear();
    m_offsetSender.detach();
    m_bandwidthSender.detach();
    m_rangeSender.detach();
}
