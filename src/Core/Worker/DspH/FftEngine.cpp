#include "Core/Worker/DspH/FftEngine.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Worker/DoubleComplex.h"
#include "Core/Worker/DspH/FftKernels.h"
#include "Core/Worker/DspH/FftTables.h"
#include "Core/Worker/DspH/FftTurns.h"
#include "Core/Worker/Kernels/Fft.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr int kMinLength = 512;
constexpr int kMaxLength = 32768;

int powerOfTwoWithin(int length)
{
    int power = 1;
    while (power <= length / 2) {
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
    const int usable = std::max(length, 1);
    m_length = powerOfTwoWithin(usable);
    m_ip = std::make_unique<int[]>(static_cast<std::size_t>(std::sqrt(usable) + 3.0));
    m_w = std::make_unique<double[]>(static_cast<std::size_t>(std::max(usable / 2 - 1, 0)));
    m_ip[0] = 0;
    m_turns = FftTurns::forLength(m_length);
}

void FftEngine::transform(DoubleComplex* data, int direction)
{
    if (m_length < 2) {
        return;
    }
    // In doubles, two to a sample, n is above 4 ip[0].
    if (m_length > 2 * m_ip[0]) {
        FftTables::build(m_length / 2, m_ip.get(), m_w.get());
        if (m_turns) {
            m_turns->build(m_w.get());
        }
    }
    // The backward transform is the forward one between two conjugations.
    if (direction < 0) {
        conjugate(data, m_length);
    }
    if (m_turns) {
        Kernels::Fft::transform(m_turns->plan(), data);
    } else {
        FftKernels::splitRadix(data, m_length, m_w.get());
        FftKernels::reverseBits(data, m_length, m_ip.get());
    }
    if (direction < 0) {
        conjugate(data, m_length);
    }
}
