#include "Core/Signal/Kernels/Deinterleave.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Kernels/Deinterleave.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Signal/Kernels/ComplexVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

// As many as make whole pairs of vectors; returns how many.
template <class V>
HWY_INLINE std::size_t deinterleaveVectors(const double* HWY_RESTRICT samples, std::size_t count,
                                           double* HWY_RESTRICT even, double* HWY_RESTRICT odd)
{
    std::size_t n = 0;
    for (; n + 2 * V::kSamples <= count; n += 2 * V::kSamples) {
        const V first = V::load(samples + 2 * n);
        const V second = V::load(samples + 2 * (n + V::kSamples));
        V::evens(first, second).store(even + n);
        V::odds(first, second).store(odd + n);
    }
    return n;
}

void deinterleave(const double* samples, std::size_t count, double* even, double* odd)
{
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    n = deinterleaveVectors<VectorSamples>(samples, count, even, odd);
#endif
    n += deinterleaveVectors<PlainSamples>(samples + 2 * n, count - n, even + n, odd + n);
    if (n < count) {
        PlainSamples::load(samples + 2 * n).store(even + n);
    }
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(deinterleave);

void deinterleave(const DoubleComplex* samples, int count, DoubleComplex* even, DoubleComplex* odd)
{
    HWY_DYNAMIC_DISPATCH(deinterleave)
    (reinterpret_cast<const double*>(samples), static_cast<std::size_t>(count),
     reinterpret_cast<double*>(even), reinterpret_cast<double*>(odd));
}

} // namespace Kernels
#endif
