#include "Core/Signal/Kernels/TableMixing.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Kernels/TableMixing.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Signal/Kernels/Products-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

// As many as make whole vectors; returns how many.
template <class V>
HWY_INLINE std::size_t mixVectors(std::size_t count, Products& products, double* out)
{
    std::size_t n = 0;
    for (; n + V::kSamples <= count; n += V::kSamples) {
        products.take<V>().store(out + 2 * n);
        products.wrap();
    }
    return n;
}

void mix(double* samples, std::size_t count, const double* direct, const double* crossed, std::size_t length,
         std::size_t first)
{
    Products products{samples, direct, crossed, length, first};
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    n = mixVectors<VectorSamples>(count, products, samples);
#endif
    mixVectors<PlainSamples>(count - n, products, samples + 2 * n);
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(mix);

void mix(DoubleComplex* samples, int count, const MixerTable& table, int first)
{
    HWY_DYNAMIC_DISPATCH(mix)
    (reinterpret_cast<double*>(samples), static_cast<std::size_t>(count),
     reinterpret_cast<const double*>(table.direct()), reinterpret_cast<const double*>(table.crossed()),
     static_cast<std::size_t>(table.length()), static_cast<std::size_t>(first));
}

} // namespace Kernels
#endif
