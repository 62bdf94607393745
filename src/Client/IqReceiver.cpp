#include "Client/IqReceiver.h"

#include "Core/Log/Log.h"

#include <QDateTime>
#include <utility>

namespace
{

constexpr int kMaximumValues = 32'768; // in a block; a plain datagram holds no more

} // namespace

IqReceiver::IqReceiver(QObject* parent, Clock clock)
    : QObject(parent)
    , m_clock(std::move(clock))
{
    m_elapsed.start();
    if (!m_clock) {
        m_clock = [this] { return m_elapsed.elapsed(); };
    }
}

void IqReceiver::receive(const QVector<qint16>& values)
{
    if (values.isEmpty() || values.size() % 2 != 0 || values.size() > kMaximumValues) {
        if (m_damaged++ == 0) {
            LOG_WARNING() << "The server sends damaged IQ";
        }
        return;
    }
    const int count = values.size() / 2;
    IqBlock block;
    block.missing = missingBefore(count);
    m_missing += block.missing;
    block.sampleRate = m_sampleRate;
    block.position = m_received + m_missing;
    block.time = QDateTime::currentMSecsSinceEpoch();
    block.samples.resize(count);
    // On the wire the real part is Q.
    const qint16* wire = values.constData();
    for (IqSample& sample : block.samples) {
        sample.q = *wire++;
        sample.i = *wire++;
    }
    m_received += count;
    emit blockReceived(block);
}

qint64 IqReceiver::missingBefore(int count)
{
    const qint64 now = m_clock();
    const double silence = static_cast<double>(now - std::exchange(m_lastBlock, now)) / 1000.0; // s
    const auto rateBefore = std::exchange(m_rateBefore, std::nullopt);
    if (!rateBefore) {
        return m_gaps.add(now, count);
    }
    m_gaps = IqGapEstimator();
    m_gaps.setSampleRate(m_sampleRate);
    return m_gaps.add(now, count) + static_cast<qint64>(silence * *rateBefore);
}

void IqReceiver::setSampleRate(double rate)
{
    m_sampleRate = rate;
    m_gaps.setSampleRate(rate);
}

void IqReceiver::interrupt()
{
    if (!m_rateBefore && m_received > 0) {
        m_rateBefore = m_sampleRate;
    }
}

void IqReceiver::reset()
{
    m_rateBefore.reset();
    setSampleRate(0.0);
    m_received = 0;
    m_missing = 0;
    m_damaged = 0;
}
