#include "Receiving/Sinks/WavSink.h"

#include "Receiving/Sinks/AuxiChunk.h"

bool WavSink::open(const QString& path, const RecordingInfo& info)
{
    m_info = info;
    return m_file.open(path, {qRound(info.sampleRate), 2, WavFile::Form::Extended, auxi()});
}

QByteArray WavSink::auxi() const
{
    const auto length = static_cast<qint64>(1e3 * static_cast<double>(m_frames) / m_info.sampleRate); // ms
    return AuxiChunk::content(m_info.start, m_info.start.addMSecs(length), m_info.centre, m_info.sampleRate,
                              m_info.bandwidth);
}

IqSink::Outcome WavSink::write(const IqBlock& block)
{
    for (const IqSample& sample : block.samples) {
        m_pending.push_back(sample.i);
        m_pending.push_back(sample.q);
    }
    m_frames += block.samples.size();
    return Outcome::Going;
}

IqSink::Outcome WavSink::flush()
{
    if (m_pending.empty()) {
        return Outcome::Going;
    }
    m_file.setAuxi(auxi());
    const bool isWritten = m_file.write(m_pending.data(), static_cast<qint64>(m_pending.size()) / 2);
    m_pending.clear();
    return isWritten ? Outcome::Going : Outcome::Failed;
}

IqSink::Outcome WavSink::finish()
{
    const bool isFlushed = flush() == Outcome::Going;
    return m_file.close() && isFlushed ? Outcome::Going : Outcome::Failed;
}
