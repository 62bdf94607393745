#include "Client/OutputRate.h"

#include "Client/SessionSettings.h"

#include <cmath>

namespace
{

constexpr double kMaximumRate = 1e9; // Hz, far above any receiver's
constexpr int kTries = 4;

} // namespace

OutputRate::OutputRate(SessionSettings& settings, int patience, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
{
    m_patience.setSingleShot(true);
    m_patience.setInterval(patience);
    connect(&m_patience, &QTimer::timeout, this, &OutputRate::onMissing);
    connect(&settings, &SessionSettings::bandwidthChanged, this, &OutputRate::expect);
}

void OutputRate::attach()
{
    m_isInSession = true;
    m_isTold = false;
    expect();
}

void OutputRate::detach()
{
    m_isInSession = false;
    m_patience.stop();
}

void OutputRate::clear()
{
    m_rate.reset();
    m_receiverRate = 0.0;
}

bool OutputRate::tell(double hertz)
{
    if (!std::isfinite(hertz) || hertz <= 0.0 || hertz > kMaximumRate) {
        return false;
    }
    m_rate = hertz;
    m_isTold = true;
    if (isCertain()) {
        m_patience.stop();
    } else if (m_isInSession && !m_patience.isActive()) {
        m_patience.start();
    }
    return true;
}

void OutputRate::setReceiverRate(double hertz)
{
    if (hertz != m_receiverRate) {
        m_receiverRate = hertz;
        expect();
    }
}

void OutputRate::expect()
{
    m_triesLeft = kTries;
    if (m_isInSession && !isCertain()) {
        m_patience.start();
    }
}

// Halved as long as it is not below twice the bandwidth; the server tells whole hertz.
bool OutputRate::isCertain() const
{
    if (!m_isTold || !(m_receiverRate > 0.0 && m_receiverRate <= kMaximumRate)) {
        return m_isTold;
    }
    double expected = m_receiverRate;
    while (expected >= 2.0 * m_settings.preferredBandwidth() && expected >= 1.0) {
        expected /= 2.0;
    }
    return std::abs(*m_rate - expected) <= 1.0;
}

void OutputRate::onMissing()
{
    if (m_triesLeft-- > 0) {
        m_settings.repeatBandwidth();
        m_patience.start();
    }
}
