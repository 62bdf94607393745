#include "Core/Worker/Kernels/HalfBandDecimation.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Worker/Kernels/HalfBandDecimation.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Worker/Kernels/ComplexVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

// The terms of the sum: `ascending` is the first even one, of a + 2k; the centre comes behind `before` of
// them.
struct Terms
{
    const double* h;
    std::size_t evens;
    std::size_t before;
    std::size_t center; // position of the centre among all
};

HWY_INLINE double output(const double* even, const double* odd, const Terms& terms)
{
    double sum = terms.h[0] * even[0];
    for (std::size_t k = 1; k < terms.before; ++k) {
        sum += terms.h[2 * k] * even[2 * k];
    }
    sum += terms.h[terms.center] * odd[terms.center - 1];
    for (std::size_t k = terms.before; k < terms.evens; ++k) {
        sum += terms.h[2 * k] * even[2 * k];
    }
    return sum;
}

#if ORVENLINK_VECTORS
// Vectors of outputs that are summed side by side, so that a coefficient is fetched once for all.
template <std::size_t vectors>
HWY_INLINE void outputs(const double* HWY_RESTRICT even, const double* HWY_RESTRICT odd, const Terms& terms,
                        double* HWY_RESTRICT out)
{
    const Doubles d;
    constexpr std::size_t kLanes = 2 * kSamples;
    Vector sums[vectors];
    const auto add = [&](std::size_t tap, const double* samples) HWY_ATTR {
        const Vector h = hn::Set(d, terms.h[tap]);
        for (std::size_t v = 0; v < vectors; ++v) {
            sums[v] = hn::Add(sums[v], hn::Mul(h, hn::LoadU(d, samples + kLanes * v)));
        }
    };
    const Vector first = hn::Set(d, terms.h[0]);
    for (std::size_t v = 0; v < vectors; ++v) {
        sums[v] = hn::Mul(first, hn::LoadU(d, even + kLanes * v));
    }
    for (std::size_t k = 1; k < terms.before; ++k) {
        add(2 * k, even + 2 * k);
    }
    add(terms.center, odd + terms.center - 1);
    for (std::size_t k = terms.before; k < terms.evens; ++k) {
        add(2 * k, even + 2 * k);
    }
    for (std::size_t v = 0; v < vectors; ++v) {
        hn::StoreU(sums[v], d, out + kLanes * v);
    }
}
#endif

HWY_INLINE void filter(const double* HWY_RESTRICT even, const double* HWY_RESTRICT odd, const Terms& terms,
                       std::size_t values, double* HWY_RESTRICT out)
{
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    for (; n + 8 * kSamples <= values; n += 8 * kSamples) {
        outputs<4>(even + n, odd + n, terms, out + n);
    }
    for (; n + 2 * kSamples <= values; n += 2 * kSamples) {
        outputs<1>(even + n, odd + n, terms, out + n);
    }
#endif
    for (; n < values; ++n) {
        out[n] = output(even + n, odd + n, terms);
    }
}

void halfBand(const double* even, const double* odd, const double* h, std::size_t taps, std::size_t values,
              double* out)
{
    const std::size_t evens = (taps + 1) / 2;
    if (taps == 7) {
        filter(even, odd, {h, 4, 4, 3}, values, out);
    } else {
        filter(even, odd, {h, evens, evens, (taps - 1) / 2}, values, out);
    }
}

void halfBand11(const double* even, const double* odd, const double* h, std::size_t values, double* out)
{
    filter(even, odd, {h, 6, 3, 5}, values, out);
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
     static_cast<std::size_t>(taps), 2 * static_cast<std::size_t>(outputs), reinterpret_cast<double*>(out));
}

void halfBand11(const DoubleComplex* even, const DoubleComplex* odd, const double* h, int outputs,
                DoubleComplex* out)
{
    HWY_DYNAMIC_DISPATCH(halfBand11)
    (reinterpret_cast<const double*>(even), reinterpret_cast<const double*>(odd), h,
     2 * static_cast<std::size_t>(outputs), reinterpret_cast<double*>(out));
}

} // namespace Kernels
#endif
