#include "Core/Worker/Kernels/TableMixing.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Worker/Kernels/TableMixing.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Worker/Kernels/ComplexVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

// The table and the entry of the next sample.
struct Turns
{
    const double* direct;
    const double* crossed;
    std::size_t length;
    std::size_t next;

    HWY_INLINE void advance(std::size_t samples)
    {
        next += samples;
        next = next >= length ? next - length : next;
    }
};

#if ORVENLINK_VECTORS
HWY_INLINE Vector product(const double* samples, const Turns& turns, std::size_t ahead)
{
    const Doubles d;
    const Vector sample = hn::LoadU(d, samples + 2 * ahead);
    const Vector direct = hn::LoadU(d, turns.direct + 2 * (turns.next + ahead));
    const Vector crossed = hn::LoadU(d, turns.crossed + 2 * (turns.next + ahead));
    return hn::Add(hn::Mul(sample, direct), hn::Mul(hn::Reverse2(d, sample), crossed));
}
#endif

HWY_INLINE void turn(const double* sample, const Turns& turns, double* result)
{
    const double* direct = turns.direct + 2 * turns.next;
    const double* crossed = turns.crossed + 2 * turns.next;
    const double re = sample[0] * direct[0] + sample[1] * crossed[0];
    const double im = sample[0] * crossed[1] + sample[1] * direct[1];
    result[0] = re;
    result[1] = im;
}

void mix(double* samples, std::size_t count, const double* direct, const double* crossed, std::size_t length,
         std::size_t first)
{
    Turns turns{direct, crossed, length, first};
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    for (; n + kSamples <= count; n += kSamples) {
        hn::StoreU(product(samples + 2 * n, turns, 0), Doubles(), samples + 2 * n);
        turns.advance(kSamples);
    }
#endif
    for (; n < count; ++n) {
        turn(samples + 2 * n, turns, samples + 2 * n);
        turns.advance(1);
    }
}

void mixApart(const double* HWY_RESTRICT samples, std::size_t count, const double* HWY_RESTRICT direct,
              const double* HWY_RESTRICT crossed, std::size_t length, std::size_t first,
              double* HWY_RESTRICT even, double* HWY_RESTRICT odd)
{
    Turns turns{direct, crossed, length, first};
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    for (; n + 2 * kSamples <= count; n += 2 * kSamples) {
        storeApart(product(samples + 2 * n, turns, 0), product(samples + 2 * n, turns, kSamples), even + n,
                   odd + n);
        turns.advance(2 * kSamples);
    }
#endif
    for (; n < count; n += 2) {
        turn(samples + 2 * n, turns, even + n);
        turns.advance(1);
        turn(samples + 2 * n + 2, turns, odd + n);
        turns.advance(1);
    }
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(mix);
HWY_EXPORT(mixApart);

namespace
{

constexpr int kRepeated = 8; // entries: what the longest two vectors hold

} // namespace

MixerTable::MixerTable(int length)
    : m_length(length)
    , m_direct(static_cast<std::size_t>(length + kRepeated), DoubleComplex{1.0, 1.0})
    , m_crossed(static_cast<std::size_t>(length + kRepeated), DoubleComplex{-0.0, 0.0})
{
}

void MixerTable::set(int entry, DoubleComplex factor)
{
    for (auto at = static_cast<std::size_t>(entry); at < m_direct.size();
         at += static_cast<std::size_t>(m_length)) {
        m_direct[at] = {factor.re, factor.re};
        m_crossed[at] = {-factor.im, factor.im};
    }
}

void mix(DoubleComplex* samples, int count, const MixerTable& table, int first)
{
    HWY_DYNAMIC_DISPATCH(mix)
    (reinterpret_cast<double*>(samples), static_cast<std::size_t>(count),
     reinterpret_cast<const double*>(table.direct()), reinterpret_cast<const double*>(table.crossed()),
     static_cast<std::size_t>(table.length()), static_cast<std::size_t>(first));
}

void mixApart(const DoubleComplex* samples, int count, const MixerTable& table, int first,
              DoubleComplex* even, DoubleComplex* odd)
{
    HWY_DYNAMIC_DISPATCH(mixApart)
    (reinterpret_cast<const double*>(samples), static_cast<std::size_t>(count),
     reinterpret_cast<const double*>(table.direct()), reinterpret_cast<const double*>(table.crossed()),
     static_cast<std::size_t>(table.length()), static_cast<std::size_t>(first),
     reinterpret_cast<double*>(even), reinterpret_cast<double*>(odd));
}

} // namespace Kernels
#endif
