#include "Core/Signal/Kernels/AlternatingWindow.h"

#include <cstddef>
#include <cstdint>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Kernels/AlternatingWindow.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Without vector instructions the plain loops are faster than vectors made up of them.
#define WINDOW_VECTORS (HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR && !HWY_HAVE_SCALABLE)

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{
#if WINDOW_VECTORS
namespace hn = hwy::HWY_NAMESPACE;

using Wide = hn::CappedTag<double, 8>;

// Two of each of the factors that vector `half` of a block's samples takes.
template <std::size_t half>
auto twoOfEach()
{
    HWY_ALIGN std::int64_t lanes[HWY_LANES(double)];
    for (std::size_t n = 0; n < hn::Lanes(Wide()); ++n) {
        lanes[n] = static_cast<std::int64_t>((half * hn::Lanes(Wide()) + n) / 2);
    }
    return hn::SetTableIndices(Wide(), lanes);
}
#endif

void alternateAndWindow(const float* HWY_RESTRICT window, std::size_t count, double* HWY_RESTRICT block)
{
    std::size_t k = 0;
#if WINDOW_VECTORS
    const Wide wide;
    const std::size_t lanes = hn::Lanes(wide);
    const auto signs = hn::OddEven(hn::Set(wide, -0.0), hn::Zero(wide));
    const auto first = twoOfEach<0>();
    const auto second = twoOfEach<1>();
    for (; k + lanes <= count; k += lanes) {
        const auto factors =
            hn::Xor(hn::PromoteTo(wide, hn::LoadU(hn::Rebind<float, Wide>(), window + k)), signs);
        double* const samples = block + 2 * k;
        hn::StoreU(hn::Mul(hn::LoadU(wide, samples), hn::TableLookupLanes(factors, first)), wide, samples);
        hn::StoreU(hn::Mul(hn::LoadU(wide, samples + lanes), hn::TableLookupLanes(factors, second)), wide,
                   samples + lanes);
    }
#endif
    for (; k < count; ++k) {
        const double factor = k % 2 == 0 ? window[k] : -window[k];
        block[2 * k] *= factor;
        block[2 * k + 1] *= factor;
    }
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(alternateAndWindow);

void alternateAndWindow(const float* window, int count, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(alternateAndWindow)
    (window, static_cast<std::size_t>(count), reinterpret_cast<double*>(block));
}

} // namespace Kernels
#endif
