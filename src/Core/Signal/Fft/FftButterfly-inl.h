// The butterflies of the FFT, for its kernel: compiled once for each instruction set.
#if defined(ORVENLINK_FFT_BUTTERFLY_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ORVENLINK_FFT_BUTTERFLY_INL_H
#undef ORVENLINK_FFT_BUTTERFLY_INL_H
#else
#define ORVENLINK_FFT_BUTTERFLY_INL_H
#endif

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Kernels::Fft::HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

using Tag = hn::ScalableTag<double>;
using Vector = hn::Vec<Tag>;

// A complex sample a lane.
struct Lanes
{
    // Written out, or GCC makes them without the instruction set.
    HWY_INLINE Lanes() {} // NOLINT(modernize-use-equals-default)
    HWY_INLINE Lanes(Vector real, Vector imaginary)
        : re(real)
        , im(imaginary)
    {
    }

    Vector re;
    Vector im;
};

// A twiddle factor exp(i phi), as its tangent and cosine: a + z exp(i phi) is a + cos * (z + i tan * z). So
// the sum and the difference take six fused operations together (Linzer and Feig 1993).
struct Twiddle
{
    Vector tan;
    Vector cos;
};

HWY_INLINE Lanes tilted(const Lanes& z, Vector tan)
{
    return {hn::NegMulAdd(tan, z.im, z.re), hn::MulAdd(tan, z.re, z.im)};
}

// a + z exp(i phi) and a - z exp(i phi).
HWY_INLINE void butterfly(const Lanes& a, const Lanes& z, const Twiddle& twiddle, Lanes& sum,
                          Lanes& difference)
{
    const Lanes t = tilted(z, twiddle.tan);
    sum = {hn::MulAdd(twiddle.cos, t.re, a.re), hn::MulAdd(twiddle.cos, t.im, a.im)};
    difference = {hn::NegMulAdd(twiddle.cos, t.re, a.re), hn::NegMulAdd(twiddle.cos, t.im, a.im)};
}

// The same a quarter of a turn further.
HWY_INLINE void butterflyOnward(const Lanes& a, const Lanes& z, const Twiddle& twiddle, Lanes& sum,
                                Lanes& difference)
{
    const Lanes t = tilted(z, twiddle.tan);
    sum = {hn::NegMulAdd(twiddle.cos, t.im, a.re), hn::MulAdd(twiddle.cos, t.re, a.im)};
    difference = {hn::MulAdd(twiddle.cos, t.im, a.re), hn::NegMulAdd(twiddle.cos, t.re, a.im)};
}

// Factors known beforehand, those of angle 0 among them.
struct FixedTwiddle
{
    double tan;
    double cos;
    HWY_INLINE Twiddle spread() const { return {hn::Set(Tag(), tan), hn::Set(Tag(), cos)}; }
};

HWY_INLINE void butterfly(const Lanes& a, const Lanes& z, const FixedTwiddle& twiddle, Lanes& sum,
                          Lanes& difference)
{
    if (twiddle.tan != 0.0) {
        return butterfly(a, z, twiddle.spread(), sum, difference);
    }
    sum = {hn::Add(a.re, z.re), hn::Add(a.im, z.im)};
    difference = {hn::Sub(a.re, z.re), hn::Sub(a.im, z.im)};
}

HWY_INLINE void butterflyOnward(const Lanes& a, const Lanes& z, const FixedTwiddle& twiddle, Lanes& sum,
                                Lanes& difference)
{
    if (twiddle.tan != 0.0) {
        return butterflyOnward(a, z, twiddle.spread(), sum, difference);
    }
    sum = {hn::Sub(a.re, z.im), hn::Add(a.im, z.re)};
    difference = {hn::Add(a.re, z.im), hn::Sub(a.im, z.re)};
}

// The factors of a transform whose points aren't turned: see transform().
struct NoTwiddles
{
    HWY_INLINE FixedTwiddle operator[](int i) const
    {
        constexpr double kTan[8] = {
            0.0, 0.0, 0.0, 1.0, 0.0, 0.41421356237309504880, 1.0, 2.41421356237309504880};
        constexpr double kCos[8] = {1.0,
                                    1.0,
                                    1.0,
                                    0.70710678118654752440,
                                    1.0,
                                    0.92387953251128675613,
                                    0.70710678118654752440,
                                    0.38268343236508977173};
        return {kTan[i], kCos[i]};
    }
};

// Keeps what a transform gives.
struct Parked
{
    Lanes* values;
    HWY_INLINE void operator()(int k, const Lanes& z) const { values[k] = z; }
};

// The transforms of `radix` points, one in each lane: takes in[first], in[first + step], .., turns point j by
// j phi, which costs nothing, and calls out(k, X[k]) for each k. Radix 2 all through, decimation in time, but
// two levels together: four transforms of every fourth point are parked; then four values at a time go
// through the last two levels and out, for which there are registers enough. `twiddles` has those of the
// butterflies that make transforms of 2 m points, m a power of two: radix / 2 m * phi + 2 pi k / 2 m, at [m /
// 2 + k] for k < m / 2; with m = 1 radix / 2 * phi, at [0].
template <int radix, int first, int step, class In, class Twiddles, class Out>
HWY_INLINE void transform(const In& in, const Twiddles& twiddles, const Out& out)
{
    if constexpr (radix == 1) {
        out(0, in[first]);
    } else if constexpr (radix == 2) {
        Lanes sum, difference;
        butterfly(in[first], in[first + step], twiddles[0], sum, difference);
        out(0, sum);
        out(1, difference);
    } else {
        constexpr int fourth = radix / 4;
        Lanes parts[4][fourth];
        transform<fourth, first, 4 * step>(in, twiddles, Parked{parts[0]});
        transform<fourth, first + 2 * step, 4 * step>(in, twiddles, Parked{parts[1]});
        transform<fourth, first + step, 4 * step>(in, twiddles, Parked{parts[2]});
        transform<fourth, first + 3 * step, 4 * step>(in, twiddles, Parked{parts[3]});
        HWY_UNROLL(4)
        for (int k = 0; k < fourth; ++k) {
            Lanes even, evenAcross, odd, oddAcross;
            if (k < (fourth + 1) / 2) {
                const auto twiddle = twiddles[fourth / 2 + k];
                butterfly(parts[0][k], parts[1][k], twiddle, even, evenAcross);
                butterfly(parts[2][k], parts[3][k], twiddle, odd, oddAcross);
            } else {
                const auto twiddle = twiddles[k];
                butterflyOnward(parts[0][k], parts[1][k], twiddle, even, evenAcross);
                butterflyOnward(parts[2][k], parts[3][k], twiddle, odd, oddAcross);
            }
            const auto twiddle = twiddles[fourth + k];
            Lanes sum, difference;
            butterfly(even, odd, twiddle, sum, difference);
            out(k, sum);
            out(k + 2 * fourth, difference);
            butterflyOnward(evenAcross, oddAcross, twiddle, sum, difference);
            out(k + fourth, sum);
            out(k + 3 * fourth, difference);
        }
    }
}

} // namespace Kernels::Fft::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
