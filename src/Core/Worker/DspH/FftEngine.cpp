#include "Core/Worker/DspH/FftEngine.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Signal/Fft/FftTwiddles.h"

#include <algorithm>
#include <cstddef>

namespace
{

constexpr int kMinLength = 512;
constexpr int kMaxLength = 32768;

int powerOfTwoWithin(int length)
{
    int power = 1;
    while (power <= std::min(length, FftTwiddles::kLongest) / 2) {
        power *= 2;
    }
    return power;
}

void conjugate(DoubleComplex* data, int count)
{
    std::for_each(data, data + count, [](DoubleComplex& sample) { sample.im = -sample.im; });
}

} // namespace

FftEngine::FftEngine(int length)
{
    SetupParameters(length);
}

FftEngine::~FftEngine() = default;

void FftEngine::SetupParameters(int length)
{
    if (length < kMinLength || length > kMaxLength) {
        LOG_LIMITED(LOG_DEBUG()) << QStringLiteral("SetupParameters FFT Error length: %1").arg(length);
    }
    m_length = powerOfTwoWithin(length);
    if (m_length < 2) {
        return;
    }
    m_twiddles = std::make_unique<FftTwiddles>(std::max(m_length, FftTwiddles::kShortest));
    if (m_length < FftTwiddles::kShortest) {
        m_spread = AlignedSamples(FftTwiddles::kShortest);
    }
}

void FftEngine::transform(DoubleComplex* data, int direction)
{
    if (!m_twiddles) {
        return;
    }
    if (!m_hasTwiddles) {
        m_twiddles->build();
        m_hasTwiddles = true;
    }
    // The backward transform is the forward one between two conjugations.
    if (direction < 0) {
        conjugate(data, m_length);
    }
    transformForward(data);
    if (direction < 0) {
        conjugate(data, m_length);
    }
}

void FftEngine::transformForward(DoubleComplex* data)
{
    if (m_length < FftTwiddles::kShortest) {
        transformSpread(data);
    } else {
        Kernels::Fft::transform(m_twiddles->plan(), data);
    }
}

// With zeros between the samples, the longer transform is the shorter one repeated.
void FftEngine::transformSpread(DoubleComplex* data)
{
    DoubleComplex* const spread = m_spread.data();
    std::fill_n(spread, FftTwiddles::kShortest, DoubleComplex{0.0, 0.0});
    const std::ptrdiff_t step = FftTwiddles::kShortest / m_length;
    for (std::ptrdiff_t i = 0; i < m_length; ++i) {
        spread[i * step] = data[i];
    }
    Kernels::Fft::transform(m_twiddles->plan(), spread);
    std::copy_n(spread, m_length, data);
}
