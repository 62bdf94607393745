#include "Client/SpectrumReceiver.h"

#include "Network/Protocol/SpectrumPackets.h"

#include <QDateTime>
#include <algorithm>

namespace
{

constexpr float kDecibel = 1.0F / SpectrumPackets::kPointsPerDecibel; // of a point

} // namespace

void SpectrumReceiver::receive(const QVector<qint16>& values)
{
    if (const auto dataSize = SpectrumPackets::readHeader(values)) {
        finish();
        begin(*dataSize);
        return;
    }
    if (m_progress != Progress::Growing) {
        return;
    }
    const int expected = SpectrumPackets::packetSize(m_frameSize - m_points.size());
    if (values.isEmpty() || values.size() != expected) {
        m_progress = Progress::Spoilt;
        return;
    }
    m_points += values;
}

void SpectrumReceiver::begin(int dataSize)
{
    m_points.resize(0);
    m_frameSize = dataSize;
    m_time = QDateTime::currentMSecsSinceEpoch();
    m_frameRange = m_range;
    // A frame of another length answers what somebody asked before.
    m_progress = m_range.isValid() && m_range.dataSize == dataSize ? Progress::Growing : Progress::None;
}

void SpectrumReceiver::finish()
{
    const Progress progress = m_progress;
    m_progress = Progress::None;
    if (progress == Progress::None) {
        return;
    }
    if (progress == Progress::Spoilt || m_points.size() != m_frameSize) {
        ++m_droppedFrames;
        return;
    }
    ++m_receivedFrames;
    SpectrumFrame frame;
    frame.range = m_frameRange;
    frame.time = m_time;
    frame.decibels.resize(m_points.size());
    std::transform(m_points.constBegin(), m_points.constEnd(), frame.decibels.begin(),
                   [](qint16 point) { return static_cast<float>(point) * kDecibel; });
    emit frameReceived(frame);
}

void SpectrumReceiver::setRange(const SpectrumRange& range)
{
    m_range = range;
}

void SpectrumReceiver::reset()
{
    m_range = SpectrumRange();
    m_progress = Progress::None;
    m_receivedFrames = 0;
    m_droppedFrames = 0;
}
