#pragma once

#include "Receiving/Sinks/IqSink.h"
#include "Receiving/Sinks/WavFile.h"

#include <complex>
#include <memory>
#include <vector>

/// Records samples into a WAV file that a server's player plays just as it was heard: a header of 44 bytes,
/// 48,000 samples a second whatever the stream's rate, Q in the left channel and I in the right, at the
/// player's scale.
/// Thread: as IqSink.
class PlayerSink : public IqSink
{
public:
    static constexpr int kSampleRate = 48'000; ///< Hz, the player's only one.
    /// Counts of the stream for one of the recording: full scale of the player is 4096, and each of the two
    /// mixers after it has an amplitude of the root of 0.95.
    static constexpr double kCountsPerCount = 8 * 0.95;

    PlayerSink();
    ~PlayerSink() override;

    /// `sampleRate` of the stream: Hz, at most kHighestRate.
    [[nodiscard]] bool open(const QString& path, double sampleRate);

    [[nodiscard]] Outcome write(const IqBlock& block) override;
    [[nodiscard]] Outcome flush() override;
    [[nodiscard]] Outcome finish() override;
    [[nodiscard]] qint64 size() const override { return m_file.size(); }
    [[nodiscard]] QString errorString() const override { return m_file.errorString(); }

private:
    class Resampler;

    WavFile m_file;
    std::unique_ptr<Resampler> m_resampler; // none at the player's own rate
    std::vector<std::complex<float>> m_input;
    std::vector<std::complex<float>> m_output;
    std::vector<qint16> m_pending;
};
