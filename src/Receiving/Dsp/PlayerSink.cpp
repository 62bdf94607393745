#include "Receiving/Dsp/PlayerSink.h"

#include <algorithm>
#include <cmath>
#include <liquid/liquid.h> // after <complex>, whose numbers it then uses

namespace
{

constexpr float kAttenuation = 60.0F; // dB

qint16 toCount(float value)
{
    const double count = std::round(static_cast<double>(value) / PlayerSink::kCountsPerCount);
    return static_cast<qint16>(std::clamp(count, -32768.0, 32767.0));
}

} // namespace

class PlayerSink::Resampler
{
public:
    explicit Resampler(double ratio)
        : m_ratio(ratio)
        , m_handle(msresamp_crcf_create(static_cast<float>(ratio), kAttenuation))
    {
    }
    ~Resampler() { msresamp_crcf_destroy(m_handle); }

    void process(std::vector<std::complex<float>>& input, std::vector<std::complex<float>>& output)
    {
        output.resize(static_cast<std::size_t>(2.0 * m_ratio * static_cast<double>(input.size())) + 64);
        unsigned made = 0;
        msresamp_crcf_execute(m_handle, input.data(), static_cast<unsigned>(input.size()), output.data(),
                              &made);
        output.resize(made);
    }

private:
    Q_DISABLE_COPY_MOVE(Resampler)
    double m_ratio;
    msresamp_crcf m_handle;
};

PlayerSink::PlayerSink() = default;
PlayerSink::~PlayerSink() = default;

bool PlayerSink::open(const QString& path, double sampleRate)
{
    if (std::abs(sampleRate - kSampleRate) > 0.5) {
        m_resampler = std::make_unique<Resampler>(kSampleRate / sampleRate);
    }
    return m_file.open(path, {kSampleRate, 2, WavFile::Form::Plain, {}});
}

IqSink::Outcome PlayerSink::write(const IqBlock& block)
{
    m_input.clear();
    for (const IqSample& sample : block.samples) {
        m_input.emplace_back(sample.i, sample.q);
    }
    if (m_resampler) {
        m_resampler->process(m_input, m_output);
    } else {
        m_output.swap(m_input);
    }
    for (const std::complex<float>& sample : m_output) {
        m_pending.push_back(toCount(sample.imag()));
        m_pending.push_back(toCount(sample.real()));
    }
    return m_file.isFull(static_cast<qint64>(m_pending.size()) / 2) ? Outcome::Full : Outcome::Going;
}

IqSink::Outcome PlayerSink::flush()
{
    if (m_pending.empty()) {
        return Outcome::Going;
    }
    const bool isWritten = m_file.write(m_pending.data(), static_cast<qint64>(m_pending.size()) / 2);
    m_pending.clear();
    return isWritten ? Outcome::Going : Outcome::Failed;
}

IqSink::Outcome PlayerSink::finish()
{
    const bool isFlushed = flush() == Outcome::Going;
    return m_file.close() && isFlushed ? Outcome::Going : Outcome::Failed;
}
