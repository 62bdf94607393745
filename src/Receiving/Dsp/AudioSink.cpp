#include "Receiving/Dsp/AudioSink.h"

#include <QtEndian>
#include <cmath>

AudioSink::AudioSink(Demodulator::Mode mode, double sampleRate, int audioRate)
    : m_demodulator(mode, sampleRate, audioRate)
    , m_audioRate(audioRate)
{
}

bool AudioSink::open(const QString& path)
{
    return m_file.open(path, {m_audioRate, 1, WavFile::Form::Extended, {}});
}

IqSink::Outcome AudioSink::write(const IqBlock& block)
{
    m_audio.clear();
    m_demodulator.process(block.samples, m_audio);
    for (const float value : m_audio) {
        m_pending.push_back(static_cast<qint16>(std::lround(value * 32767.0F)));
    }
    // Who listens is not to wait.
    return m_pipe != nullptr ? flush() : Outcome::Going;
}

IqSink::Outcome AudioSink::flush()
{
    if (m_pending.empty()) {
        return Outcome::Going;
    }
    Outcome outcome = Outcome::Going;
    if (m_pipe != nullptr) {
        QByteArray bytes(static_cast<int>(m_pending.size() * sizeof(qint16)), Qt::Uninitialized);
        qToLittleEndian<qint16>(m_pending.data(), static_cast<qsizetype>(m_pending.size()), bytes.data());
        outcome = m_pipe->write(bytes);
    } else if (!m_file.write(m_pending.data(), static_cast<qint64>(m_pending.size()))) {
        outcome = Outcome::Failed;
    }
    m_pending.clear();
    return outcome;
}

IqSink::Outcome AudioSink::finish()
{
    const Outcome outcome = flush();
    return m_pipe == nullptr && !m_file.close() ? Outcome::Failed : outcome;
}
