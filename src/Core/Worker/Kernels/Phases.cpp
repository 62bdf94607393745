#include "Core/Worker/Kernels/Phases.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Worker/Kernels/Phases.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Worker/Kernels/ComplexVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

void takeApart(const double* HWY_RESTRICT samples, std::size_t count, double* HWY_RESTRICT even,
               double* HWY_RESTRICT odd)
{
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    const Doubles d;
    for (; n + 2 * kSamples <= count; n += 2 * kSamples) {
        storeApart(hn::LoadU(d, samples + 2 * n), hn::LoadU(d, samples + 2 * (n + kSamples)), even + n,
                   odd + n);
    }
#endif
    for (; n < count; ++n) {
        double* phase = (n % 2 == 0 ? even : odd) + 2 * (n / 2);
        phase[0] = samples[2 * n];
        phase[1] = samples[2 * n + 1];
    }
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(takeApart);

void takeApart(const DoubleComplex* samples, int count, DoubleComplex* even, DoubleComplex* odd)
{
    HWY_DYNAMIC_DISPATCH(takeApart)
    (reinterpret_cast<const double*>(samples), static_cast<std::size_t>(count),
     reinterpret_cast<double*>(even), reinterpret_cast<double*>(odd));
}

} // namespace Kernels
#endif
