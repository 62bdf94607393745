// The products of successive samples with successive entries of a mixer's table, for the kernels: compiled
// once for each instruction set.
#if defined(ORVENLINK_PRODUCTS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ORVENLINK_PRODUCTS_INL_H
#undef ORVENLINK_PRODUCTS_INL_H
#else
#define ORVENLINK_PRODUCTS_INL_H
#endif

#include <cstddef>
#include <hwy/highway.h>

#include "Core/Signal/Kernels/ComplexVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

struct Products
{
    const double* samples;
    const double* direct;  // c, c of each entry of the table
    const double* crossed; // -s, s
    std::size_t length;    // entries
    std::size_t entry;     // of the next sample

    // x c - y s, y c + x s of each sample x, y. No more of them than the table repeats after its end may be
    // taken before the next `wrap`.
    template <class V>
    HWY_INLINE V take()
    {
        const V sample = V::load(samples);
        const V product =
            sample * V::load(direct + 2 * entry) + sample.swapped() * V::load(crossed + 2 * entry);
        samples += 2 * V::kSamples;
        entry += V::kSamples;
        return product;
    }
    HWY_INLINE void wrap()
    {
        if (HWY_UNLIKELY(entry >= length)) {
            entry -= length;
        }
    }
};

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
