#include "Core/Signal/Kernels/CicDecimation.h"

#include <array>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Kernels/CicDecimation.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Signal/Kernels/Products-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

// Successive samples of an array.
struct Loads
{
    const double* samples;

    template <class V>
    HWY_INLINE V take()
    {
        const V sample = V::load(samples);
        samples += 2 * V::kSamples;
        return sample;
    }
    HWY_INLINE void wrap() {}
};

// A stage and those before it. A history holds the last even sample, then the last odd one.
template <class V, int stages>
class Cics
{
public:
    HWY_INLINE explicit Cics(double* const* histories)
        : m_before(histories)
        , m_even(V::filled(histories[stages - 1]))
        , m_odd(V::filled(histories[stages - 1] + 2))
    {
    }

    template <class Source>
    HWY_INLINE V next(Source& source)
    {
        const V first = m_before.next(source);
        const V second = m_before.next(source);
        const V even = V::evens(first, second);
        const V odd = V::odds(first, second);
        const V inner = V::before(odd, m_odd) + even;
        const V sum = inner * 3.0 + V::before(even, m_even) + odd;
        m_even = even;
        m_odd = odd;
        return sum * 0.125;
    }

    HWY_INLINE void keep(double* const* histories) const
    {
        m_before.keep(histories);
        m_even.storeLast(histories[stages - 1]);
        m_odd.storeLast(histories[stages - 1] + 2);
    }

private:
    Cics<V, stages - 1> m_before;
    V m_even;
    V m_odd;
};

template <class V>
class Cics<V, 0>
{
public:
    HWY_INLINE explicit Cics(double* const* /*histories*/) {}
    template <class Source>
    HWY_INLINE V next(Source& source)
    {
        return source.template take<V>();
    }
    HWY_INLINE void keep(double* const* /*histories*/) const {}
};

// As many outputs as make whole vectors; returns how many.
template <class V, int stages, class Source>
HWY_INLINE std::size_t runVectors(Source& source, std::size_t outputs, double* const* histories, double* out)
{
    Cics<V, stages> cics(histories);
    std::size_t n = 0;
    for (; n + V::kSamples <= outputs; n += V::kSamples) {
        cics.next(source).store(out + 2 * n);
        source.wrap();
    }
    cics.keep(histories);
    return n;
}

template <int stages, class Source>
HWY_INLINE void run(Source& source, std::size_t outputs, double* const* histories, double* out)
{
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    n = outputs < VectorSamples::kSamples
            ? 0
            : runVectors<VectorSamples, stages>(source, outputs, histories, out);
#endif
    if (n < outputs) {
        runVectors<PlainSamples, stages>(source, outputs - n, histories, out + 2 * n);
    }
}

template <class Source>
HWY_INLINE void runStages(Source source, std::size_t outputs, double* const* histories, int stages,
                          double* out)
{
    if (stages == 1) {
        run<1>(source, outputs, histories, out);
    } else {
        run<2>(source, outputs, histories, out);
    }
}

void cics(const double* samples, std::size_t outputs, double* const* histories, int stages, double* out)
{
    runStages(Loads{samples}, outputs, histories, stages, out);
}

void mixAndCics(const double* samples, std::size_t outputs, const double* direct, const double* crossed,
                std::size_t length, std::size_t first, double* const* histories, int stages, double* out)
{
    runStages(Products{samples, direct, crossed, length, first}, outputs, histories, stages, out);
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(cics);
HWY_EXPORT(mixAndCics);

namespace
{

std::array<double*, CicStages::kMaxStages> values(CicStages stages)
{
    std::array<double*, CicStages::kMaxStages> histories{};
    for (int s = 0; s < stages.count; ++s) {
        histories[static_cast<std::size_t>(s)] = reinterpret_cast<double*>(stages.histories[s]);
    }
    return histories;
}

} // namespace

void cics(const DoubleComplex* samples, int outputs, CicStages stages, DoubleComplex* out)
{
    HWY_DYNAMIC_DISPATCH(cics)
    (reinterpret_cast<const double*>(samples), static_cast<std::size_t>(outputs), values(stages).data(),
     stages.count, reinterpret_cast<double*>(out));
}

void mixAndCics(const DoubleComplex* samples, int outputs, const MixerTable& table, int first,
                CicStages stages, DoubleComplex* out)
{
    HWY_DYNAMIC_DISPATCH(mixAndCics)
    (reinterpret_cast<const double*>(samples), static_cast<std::size_t>(outputs),
     reinterpret_cast<const double*>(table.direct()), reinterpret_cast<const double*>(table.crossed()),
     static_cast<std::size_t>(table.length()), static_cast<std::size_t>(first), values(stages).data(),
     stages.count, reinterpret_cast<double*>(out));
}

} // namespace Kernels
#endif
