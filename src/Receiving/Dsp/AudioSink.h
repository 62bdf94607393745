#pragma once

#include "Receiving/Dsp/Demodulator.h"
#include "Receiving/Sinks/IqSink.h"
#include "Receiving/Sinks/OutputPipe.h"
#include "Receiving/Sinks/WavFile.h"

/// Demodulates samples and writes the audio, 16-bit, one channel: into a WAV file, or raw into a pipe.
/// Thread: as IqSink.
class AudioSink : public IqSink
{
public:
    AudioSink(Demodulator::Mode mode, double sampleRate, int audioRate);

    /// Either of the two has to be called first. The pipe outlives the sink.
    [[nodiscard]] bool open(const QString& path);
    void open(OutputPipe& pipe) { m_pipe = &pipe; }

    [[nodiscard]] Outcome write(const IqBlock& block) override;
    [[nodiscard]] Outcome flush() override;
    [[nodiscard]] Outcome finish() override;
    [[nodiscard]] qint64 size() const override { return m_pipe != nullptr ? m_pipe->size() : m_file.size(); }
    [[nodiscard]] QString errorString() const override
    {
        return m_pipe != nullptr ? m_pipe->errorString() : m_file.errorString();
    }

private:
    Demodulator m_demodulator;
    int m_audioRate; // Hz
    WavFile m_file;
    OutputPipe* m_pipe = nullptr;
    std::vector<float> m_audio;
    std::vector<qint16> m_pending;
};
