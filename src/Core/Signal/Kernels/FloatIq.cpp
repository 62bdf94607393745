#include "Core/Signal/Kernels/FloatIq.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Kernels/FloatIq.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

template <bool swap>
void widenPairs(const float* HWY_RESTRICT samples, std::size_t values, double* HWY_RESTRICT block)
{
    const hn::ScalableTag<double> wide;
    const hn::Rebind<float, decltype(wide)> narrow;
    const std::size_t lanes = hn::Lanes(wide);
    std::size_t n = 0;
    if constexpr (HWY_MAX_BYTES >= 16) {
        for (; n + lanes <= values; n += lanes) {
            auto pairs = hn::PromoteTo(wide, hn::LoadU(narrow, samples + n));
            if constexpr (swap) {
                pairs = hn::Reverse2(wide, pairs);
            }
            hn::StoreU(pairs, wide, block + n);
        }
    }
    for (; n < values; n += 2) {
        block[n] = static_cast<double>(samples[n + (swap ? 1 : 0)]);
        block[n + 1] = static_cast<double>(samples[n + (swap ? 0 : 1)]);
    }
}

void widen(const float* samples, std::size_t values, double* block)
{
    widenPairs<false>(samples, values, block);
}

void widenSwapped(const float* samples, std::size_t values, double* block)
{
    widenPairs<true>(samples, values, block);
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(widen);
HWY_EXPORT(widenSwapped);

void widen(const float* samples, int count, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(widen)
    (samples, 2 * static_cast<std::size_t>(count), reinterpret_cast<double*>(block));
}

void widenSwapped(const float* samples, int count, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(widenSwapped)
    (samples, 2 * static_cast<std::size_t>(count), reinterpret_cast<double*>(block));
}

} // namespace Kernels
#endif
