#include "Core/Signal/Kernels/IntegerIq.h"

#include <cstddef>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Kernels/IntegerIq.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Without vector instructions the plain loops are faster than vectors made up of them.
#define INTEGER_IQ_VECTORS (HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR && !HWY_HAVE_SCALABLE)

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{
// The number that means zero: the middle of the range of an unsigned type.
template <class Number>
constexpr std::int32_t kZero = std::is_unsigned_v<Number> ? 1 << (8 * sizeof(Number) - 1) : 0;

#if INTEGER_IQ_VECTORS
namespace hn = hwy::HWY_NAMESPACE;

using Wide = hn::CappedTag<double, 8>;
template <class Numbers>
hn::Vec<Wide> toDoubles(Numbers numbers)
{
    const hn::Rebind<std::int32_t, Wide> whole;
    auto values = hn::PromoteTo(whole, numbers);
    if constexpr (kZero<hn::TFromV<Numbers>> != 0) {
        values = hn::Sub(values, hn::Set(whole, kZero<hn::TFromV<Numbers>>));
    }
    return hn::PromoteTo(Wide(), values);
}
#endif

template <class Number, bool swap>
void scale(const Number* HWY_RESTRICT samples, std::size_t values, double factor, double* HWY_RESTRICT block)
{
    std::size_t n = 0;
#if INTEGER_IQ_VECTORS
    const Wide wide;
    const hn::Rebind<Number, Wide> narrow;
    const std::size_t lanes = hn::Lanes(wide);
    const auto factors = hn::Set(wide, factor);
    for (; n + lanes <= values; n += lanes) {
        auto pairs = hn::Mul(toDoubles(hn::LoadU(narrow, samples + n)), factors);
        if constexpr (swap) {
            pairs = hn::Reverse2(wide, pairs);
        }
        hn::StoreU(pairs, wide, block + n);
    }
#endif
    for (; n < values; n += 2) {
        block[n] = (samples[n + (swap ? 1 : 0)] - kZero<Number>)*factor;
        block[n + 1] = (samples[n + (swap ? 0 : 1)] - kZero<Number>)*factor;
    }
}

void scaleBytes(const std::int8_t* samples, std::size_t values, double factor, double* block)
{
    scale<std::int8_t, false>(samples, values, factor, block);
}

void scaleSwappedBytes(const std::int8_t* samples, std::size_t values, double factor, double* block)
{
    scale<std::int8_t, true>(samples, values, factor, block);
}

void scaleOffsetBytes(const std::uint8_t* samples, std::size_t values, double factor, double* block)
{
    scale<std::uint8_t, false>(samples, values, factor, block);
}

void scaleSwappedOffsetBytes(const std::uint8_t* samples, std::size_t values, double factor, double* block)
{
    scale<std::uint8_t, true>(samples, values, factor, block);
}

void scaleShorts(const std::int16_t* samples, std::size_t values, double factor, double* block)
{
    scale<std::int16_t, false>(samples, values, factor, block);
}

void scaleParts(const std::int16_t* HWY_RESTRICT re, const std::int16_t* HWY_RESTRICT im, std::size_t count,
                double factor, double* HWY_RESTRICT block)
{
    std::size_t n = 0;
#if INTEGER_IQ_VECTORS
    const Wide wide;
    const hn::Rebind<std::int16_t, Wide> narrow;
    const std::size_t lanes = hn::Lanes(wide);
    const auto factors = hn::Set(wide, factor);
    for (; n + lanes <= count; n += lanes) {
        const auto res = hn::LoadU(narrow, re + n);
        const auto ims = hn::LoadU(narrow, im + n);
        const auto lower = toDoubles(hn::InterleaveLower(narrow, res, ims));
        const auto upper = toDoubles(hn::InterleaveUpper(narrow, res, ims));
        hn::StoreU(hn::Mul(lower, factors), wide, block + 2 * n);
        hn::StoreU(hn::Mul(upper, factors), wide, block + 2 * n + lanes);
    }
#endif
    for (; n < count; ++n) {
        block[2 * n] = re[n] * factor;
        block[2 * n + 1] = im[n] * factor;
    }
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(scaleBytes);
HWY_EXPORT(scaleSwappedBytes);
HWY_EXPORT(scaleOffsetBytes);
HWY_EXPORT(scaleSwappedOffsetBytes);
HWY_EXPORT(scaleShorts);
HWY_EXPORT(scaleParts);

void scalePairs(const std::int8_t* samples, int count, double scale, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(scaleBytes)
    (samples, 2 * static_cast<std::size_t>(count), scale, reinterpret_cast<double*>(block));
}

void scalePairs(const std::uint8_t* samples, int count, double scale, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(scaleOffsetBytes)
    (samples, 2 * static_cast<std::size_t>(count), scale, reinterpret_cast<double*>(block));
}

void scalePairs(const std::int16_t* samples, int count, double scale, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(scaleShorts)
    (samples, 2 * static_cast<std::size_t>(count), scale, reinterpret_cast<double*>(block));
}

void scaleSwappedPairs(const std::int8_t* samples, int count, double scale, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(scaleSwappedBytes)
    (samples, 2 * static_cast<std::size_t>(count), scale, reinterpret_cast<double*>(block));
}

void scaleSwappedPairs(const std::uint8_t* samples, int count, double scale, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(scaleSwappedOffsetBytes)
    (samples, 2 * static_cast<std::size_t>(count), scale, reinterpret_cast<double*>(block));
}

void scaleParts(const std::int16_t* re, const std::int16_t* im, int count, double scale, DoubleComplex* block)
{
    HWY_DYNAMIC_DISPATCH(scaleParts)
    (re, im, static_cast<std::size_t>(count), scale, reinterpret_cast<double*>(block));
}

} // namespace Kernels
#endif
