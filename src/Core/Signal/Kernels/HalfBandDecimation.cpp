#include "Core/Signal/Kernels/HalfBandDecimation.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Kernels/HalfBandDecimation.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Signal/Kernels/ComplexVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

// The order of a sum: `evens` terms of even positions, ascending, and the centre after `before` of them.
struct Terms
{
    const double* h;
    std::size_t evens;
    std::size_t before;
    std::size_t center; // position of the centre among all taps
};

// Outputs of `vectors` vectors, summed side by side so that a coefficient is fetched once for all.
template <class V, std::size_t vectors>
HWY_INLINE void sums(const double* HWY_RESTRICT even, const double* HWY_RESTRICT odd, const Terms& terms,
                     double* HWY_RESTRICT out)
{
    constexpr std::size_t kStep = 2 * V::kSamples; // doubles
    V sum[vectors];
    for (std::size_t v = 0; v < vectors; ++v) {
        sum[v] = V::load(even + kStep * v) * terms.h[0];
    }
    for (std::size_t k = 1; k < terms.before; ++k) {
        for (std::size_t v = 0; v < vectors; ++v) {
            sum[v] = sum[v] + V::load(even + 2 * k + kStep * v) * terms.h[2 * k];
        }
    }
    for (std::size_t v = 0; v < vectors; ++v) {
        sum[v] = sum[v] + V::load(odd + terms.center - 1 + kStep * v) * terms.h[terms.center];
    }
    for (std::size_t k = terms.before; k < terms.evens; ++k) {
        for (std::size_t v = 0; v < vectors; ++v) {
            sum[v] = sum[v] + V::load(even + 2 * k + kStep * v) * terms.h[2 * k];
        }
    }
    for (std::size_t v = 0; v < vectors; ++v) {
        sum[v].store(out + kStep * v);
    }
}

// As many outputs from `first` on as make whole vectors, so many at once; returns where they end.
template <class V, std::size_t vectors>
HWY_INLINE std::size_t run(const double* HWY_RESTRICT even, const double* HWY_RESTRICT odd,
                           const Terms& terms, std::size_t first, std::size_t end, double* HWY_RESTRICT out)
{
    for (; first + vectors * V::kSamples <= end; first += vectors * V::kSamples) {
        sums<V, vectors>(even + 2 * first, odd + 2 * first, terms, out + 2 * first);
    }
    return first;
}

HWY_INLINE void filter(const double* even, const double* odd, const Terms& terms, std::size_t outputs,
                       double* out)
{
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    n = run<VectorSamples, 4>(even, odd, terms, n, outputs, out);
    n = run<VectorSamples, 1>(even, odd, terms, n, outputs, out);
#endif
    run<PlainSamples, 1>(even, odd, terms, n, outputs, out);
}

void halfBand(const double* even, const double* odd, const double* h, std::size_t taps, std::size_t outputs,
              double* out)
{
    const std::size_t evens = (taps + 1) / 2;
    if (taps == 7) {
        filter(even, odd, {h, 4, 4, 3}, outputs, out);
    } else {
        filter(even, odd, {h, evens, evens, (taps - 1) / 2}, outputs, out);
    }
}

void halfBand11(const double* even, const double* odd, const double* h, std::size_t outputs, double* out)
{
    filter(even, odd, {h, 6, 3, 5}, outputs, out);
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(halfBand);
HWY_EXPORT(halfBand11);

void halfBand(const DoubleComplex* even, const DoubleComplex* odd, const double* h, int taps, int outputs,
              DoubleComplex* out)
{
    HWY_DYNAMIC_DISPATCH(halfBand)
    (reinterpret_cast<const double*>(even), reinterpret_cast<const double*>(odd), h,
     static_cast<std::size_t>(taps), static_cast<std::size_t>(outputs), reinterpret_cast<double*>(out));
}

void halfBand11(const DoubleComplex* even, const DoubleComplex* odd, const double* h, int outputs,
                DoubleComplex* out)
{
    HWY_DYNAMIC_DISPATCH(halfBand11)
    (reinterpret_cast<const double*>(even), reinterpret_cast<const double*>(odd), h,
     static_cast<std::size_t>(outputs), reinterpret_cast<double*>(out));
}

} // namespace Kernels
#endif
