#include "Core/Signal/Kernels/SpectrumLevels.h"

#include <cstddef>
#include <cstring>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Kernels/SpectrumLevels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Without vector instructions the plain loops are faster than vectors made up of them.
#define SPECTRUM_VECTORS (HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR && !HWY_HAVE_SCALABLE)

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{
constexpr double kFloor = 1e-22; // power; -220 dB, the level of silence
constexpr float kLog10Of2 = 0.30103F;
constexpr double kPointsPerBel = 10.0 * Kernels::kPointsPerDecibel;

// log2 of a mantissa from 0.5 up to 1, as a cubic.
constexpr float kCubic = 1.2314959F;
constexpr float kSquare = -4.118525F;
constexpr float kLinear = 6.0219703F;
constexpr float kConstant = -3.1339645F;

// The layout of a float.
constexpr int kMantissaBits = 23;
constexpr std::int32_t kMantissa = 0x007F'FFFF;
constexpr std::int32_t kExponentOfHalf = 126;
constexpr std::int32_t kInfinite = 0x7F80'0000; // and what is no number
constexpr std::int32_t kHalf = kExponentOfHalf << kMantissaBits;
constexpr float kWholeNumbers = 0x1.8p23F; // on top of which the lowest bits are those of a whole number

#if SPECTRUM_VECTORS
namespace hn = hwy::HWY_NAMESPACE;

using Wide = hn::CappedTag<double, 8>;
using Single = hn::Repartition<float, Wide>;
using HalfSingle = hn::Half<Single>;
using Whole = hn::Repartition<std::int32_t, Wide>;

// As many powers as a vector has doubles, from two vectors of bins. Their order is that of `PowerOrder`.
template <class V>
HWY_INLINE auto powers(V first, V second, V scale)
{
    const Wide wide;
    first = hn::Mul(first, first);
    second = hn::Mul(second, second);
    const auto power =
        hn::Add(hn::InterleaveLower(wide, first, second), hn::InterleaveUpper(wide, first, second));
    return hn::DemoteTo(HalfSingle(), hn::Add(hn::Mul(power, scale), hn::Set(wide, kFloor)));
}

// Where `powers`, twice, has put each bin.
#if HWY_MAX_BYTES >= 64
alignas(64) constexpr std::int32_t kPowerOrder[] = {0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15};
#elif HWY_MAX_BYTES >= 32
alignas(64) constexpr std::int32_t kPowerOrder[] = {0, 2, 1, 3, 4, 6, 5, 7};
#endif

template <class V>
HWY_INLINE V inOrder(V x)
{
#if HWY_MAX_BYTES >= 32
    return hn::TableLookupLanes(x, hn::SetTableIndices(Single(), kPowerOrder));
#else
    return x;
#endif
}

// x is above 0, and no denormal.
template <class V>
HWY_INLINE V commonLogarithm(V x)
{
    const Single single;
    const Whole whole;
    const auto bits = hn::BitCast(whole, x);
    const auto exponent = hn::Sub(hn::ShiftRight<kMantissaBits>(bits), hn::Set(whole, kExponentOfHalf));
    const auto mantissa =
        hn::BitCast(single, hn::OrAnd(hn::Set(whole, kHalf), bits, hn::Set(whole, kMantissa)));
    auto sum = hn::Add(hn::Mul(hn::Set(single, kCubic), mantissa), hn::Set(single, kSquare));
    sum = hn::Add(hn::Mul(sum, mantissa), hn::Set(single, kLinear));
    sum = hn::Add(hn::Mul(sum, mantissa), hn::Set(single, kConstant));
    sum = hn::Add(sum, hn::ConvertTo(single, exponent));
    return hn::Mul(sum, hn::Set(single, kLog10Of2));
}

// The product as a double has no rounding.
template <class V>
HWY_INLINE V exactPoints(V bels)
{
    const Wide wide;
    const HalfSingle half;
    const auto factor = hn::Set(wide, kPointsPerBel);
    const auto lower = hn::Mul(hn::PromoteTo(wide, hn::LowerHalf(half, bels)), factor);
    const auto upper = hn::Mul(hn::PromoteTo(wide, hn::UpperHalf(half, bels)), factor);
    return hn::Combine(Single(), hn::DemoteTo(half, hn::Trunc(upper)), hn::DemoteTo(half, hn::Trunc(lower)));
}

template <class V>
HWY_INLINE auto toPoints(V x)
{
    const Single single;
    const Whole whole;
    const auto bels = commonLogarithm(x);
    // As a float the product is rounded, which does not matter unless it has become a whole number.
    const auto product = hn::Mul(bels, hn::Set(single, static_cast<float>(kPointsPerBel)));
    auto points = hn::Trunc(product);
    const auto isFinite = hn::Le(x, hn::Set(single, std::numeric_limits<float>::max()));
    if (HWY_UNLIKELY(!hn::AllTrue(single, hn::And(isFinite, hn::Ne(points, product))))) {
        points = hn::IfThenElse(isFinite, exactPoints(bels), hn::Set(single, kNoLevel));
    }
    const auto bits = hn::BitCast(whole, hn::Add(points, hn::Set(single, kWholeNumbers)));
    return hn::DemoteTo(hn::Rebind<std::int16_t, Whole>(),
                        hn::Sub(bits, hn::BitCast(whole, hn::Set(single, kWholeNumbers))));
}

// The points of two bins for each double of a vector.
HWY_INLINE void levelsAt(const double* HWY_RESTRICT bins, hn::Vec<Wide> scale,
                         std::int16_t* HWY_RESTRICT points)
{
    const Wide wide;
    const std::size_t lanes = hn::Lanes(wide);
    const auto lower = powers(hn::LoadU(wide, bins), hn::LoadU(wide, bins + lanes), scale);
    const auto upper = powers(hn::LoadU(wide, bins + 2 * lanes), hn::LoadU(wide, bins + 3 * lanes), scale);
    const auto x = inOrder(hn::Combine(Single(), upper, lower));
    hn::StoreU(toPoints(x), hn::Rebind<std::int16_t, Whole>(), points);
}
#endif

// Without a branch, so that compilers make vectors of a loop of it.
HWY_INLINE std::int16_t level(const double* bin, double scale)
{
    const auto x = static_cast<float>((bin[0] * bin[0] + bin[1] * bin[1]) * scale + kFloor);
    std::int32_t bits = 0;
    std::memcpy(&bits, &x, sizeof bits);
    const std::int32_t isFinite = (bits & kInfinite) != kInfinite ? -1 : 0;
    const std::int32_t exponent = (bits >> kMantissaBits) - kExponentOfHalf;
    bits = (bits & kMantissa) | kHalf;
    float m = 0.0F;
    std::memcpy(&m, &bits, sizeof m);
    const float log2 = ((kCubic * m + kSquare) * m + kLinear) * m + kConstant + static_cast<float>(exponent);
    const auto point = static_cast<std::int32_t>(static_cast<double>(log2 * kLog10Of2) * kPointsPerBel);
    return static_cast<std::int16_t>((point & isFinite) | (kNoLevel & ~isFinite));
}

void levels(const double* HWY_RESTRICT bins, std::size_t count, double scale,
            std::int16_t* HWY_RESTRICT points)
{
    std::size_t n = 0;
#if SPECTRUM_VECTORS
    const std::size_t step = 2 * hn::Lanes(Wide()); // bins
    const auto scales = hn::Set(Wide(), scale);
    for (; n + step <= count; n += step) {
        levelsAt(bins + 2 * n, scales, points + n);
    }
    if (n < count && step <= count) {
        // Some of the last ones come twice, which is quicker than the rest one by one.
        levelsAt(bins + 2 * (count - step), scales, points + count - step);
        n = count;
    }
#endif
    for (; n < count; ++n) {
        points[n] = level(bins + 2 * n, scale);
    }
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(levels);

void levels(const DoubleComplex* bins, int count, double scale, std::int16_t* points)
{
    HWY_DYNAMIC_DISPATCH(levels)
    (reinterpret_cast<const double*>(bins), static_cast<std::size_t>(count), scale, points);
}

} // namespace Kernels
#endif
