// Vectors of complex samples, for the kernels: what stands here is compiled once for each instruction set.
#if defined(ORVENLINK_COMPLEX_VECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ORVENLINK_COMPLEX_VECTORS_INL_H
#undef ORVENLINK_COMPLEX_VECTORS_INL_H
#else
#define ORVENLINK_COMPLEX_VECTORS_INL_H
#endif

#include <cstddef>
#include <cstdint>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

using Doubles = hn::CappedTag<double, 8>;
using Vector = hn::Vec<Doubles>;

// Samples in a vector. Without vector instructions the plain loops are faster than vectors made up of them.
#undef ORVENLINK_VECTORS
#if HWY_TARGET == HWY_EMU128 || HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE
#define ORVENLINK_VECTORS 0
#else
#define ORVENLINK_VECTORS 1
constexpr std::size_t kSamples = hn::MaxLanes(Doubles()) / 2;

// Writes the samples of two successive vectors, the first, third, ... to `even`, the others to `odd`: one
// vector to each.
HWY_INLINE void storeApart(Vector first, Vector second, double* HWY_RESTRICT even, double* HWY_RESTRICT odd)
{
    const Doubles d;
#if HWY_MAX_BYTES >= 64
    const hn::Half<Doubles> half;
    alignas(64) static constexpr std::int64_t kOrder[8] = {0, 1, 4, 5, 2, 3, 6, 7};
    const auto order = hn::SetTableIndices(d, kOrder);
    first = hn::TableLookupLanes(first, order);
    second = hn::TableLookupLanes(second, order);
    hn::StoreU(hn::LowerHalf(half, first), half, even);
    hn::StoreU(hn::UpperHalf(half, first), half, odd);
    hn::StoreU(hn::LowerHalf(half, second), half, even + 4);
    hn::StoreU(hn::UpperHalf(half, second), half, odd + 4);
#elif HWY_MAX_BYTES >= 32
    hn::StoreU(hn::ConcatLowerLower(d, second, first), d, even);
    hn::StoreU(hn::ConcatUpperUpper(d, second, first), d, odd);
#else
    hn::StoreU(first, d, even);
    hn::StoreU(second, d, odd);
#endif
}
#endif

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
