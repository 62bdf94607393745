// Complex samples as the kernels compute with them: `PlainSamples`, one sample in plain numbers, and
// `VectorSamples`, a vector of them. Both have the same operations, so that a kernel is written once. All
// of it is compiled once for each instruction set.
#if defined(ORVENLINK_COMPLEX_VECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ORVENLINK_COMPLEX_VECTORS_INL_H
#undef ORVENLINK_COMPLEX_VECTORS_INL_H
#else
#define ORVENLINK_COMPLEX_VECTORS_INL_H
#endif

#include <cstddef>
#include <hwy/highway.h>

// Without vector instructions the plain loops are faster than vectors made up of them.
#undef ORVENLINK_VECTORS
#if HWY_TARGET == HWY_EMU128 || HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE
#define ORVENLINK_VECTORS 0
#else
#define ORVENLINK_VECTORS 1
#endif

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

struct PlainSamples
{
    static constexpr std::size_t kSamples = 1;

    double re;
    double im;

    static HWY_INLINE PlainSamples load(const double* samples) { return {samples[0], samples[1]}; }
    /// The one sample in all places.
    static HWY_INLINE PlainSamples filled(const double* sample) { return load(sample); }
    HWY_INLINE void store(double* samples) const
    {
        samples[0] = re;
        samples[1] = im;
    }
    HWY_INLINE void storeLast(double* sample) const { store(sample); }

    /// Part by part.
    HWY_INLINE PlainSamples operator+(PlainSamples other) const { return {re + other.re, im + other.im}; }
    HWY_INLINE PlainSamples operator*(PlainSamples other) const { return {re * other.re, im * other.im}; }
    HWY_INLINE PlainSamples operator*(double factor) const { return {re * factor, im * factor}; }
    /// Imaginary parts in the place of real ones.
    HWY_INLINE PlainSamples swapped() const { return {im, re}; }

    /// The first, third, ... of two successive vectors; the others; and the samples one place before those of
    /// `samples`, of which the first is the last of `previous`.
    static HWY_INLINE PlainSamples evens(PlainSamples first, PlainSamples /*second*/) { return first; }
    static HWY_INLINE PlainSamples odds(PlainSamples /*first*/, PlainSamples second) { return second; }
    static HWY_INLINE PlainSamples before(PlainSamples /*samples*/, PlainSamples previous)
    {
        return previous;
    }
};

#if ORVENLINK_VECTORS
struct VectorSamples
{
    // One sample or two: longer vectors lose in moving samples between their parts what they gain.
    using Tag = hn::CappedTag<double, 4>;
    static constexpr std::size_t kSamples = hn::MaxLanes(Tag()) / 2;

    hn::Vec<Tag> v;

    // Written out, or GCC makes them without the instruction set.
    HWY_INLINE VectorSamples() {} // NOLINT(modernize-use-equals-default)
    HWY_INLINE VectorSamples(hn::Vec<Tag> vector)
        : v(vector)
    {
    }

    static HWY_INLINE VectorSamples load(const double* samples) { return {hn::LoadU(Tag(), samples)}; }
    static HWY_INLINE VectorSamples filled(const double* sample) { return {hn::LoadDup128(Tag(), sample)}; }
    HWY_INLINE void store(double* samples) const { hn::StoreU(v, Tag(), samples); }

    HWY_INLINE VectorSamples operator+(VectorSamples other) const { return {hn::Add(v, other.v)}; }
    HWY_INLINE VectorSamples operator*(VectorSamples other) const { return {hn::Mul(v, other.v)}; }
    HWY_INLINE VectorSamples operator*(double factor) const { return {hn::Mul(v, hn::Set(Tag(), factor))}; }
    HWY_INLINE VectorSamples swapped() const { return {hn::Reverse2(Tag(), v)}; }

#if HWY_MAX_BYTES >= 32
    HWY_INLINE void storeLast(double* sample) const
    {
        const hn::Half<Tag> half;
        hn::StoreU(hn::UpperHalf(half, v), half, sample);
    }
    static HWY_INLINE VectorSamples evens(VectorSamples first, VectorSamples second)
    {
        return {hn::ConcatLowerLower(Tag(), second.v, first.v)};
    }
    static HWY_INLINE VectorSamples odds(VectorSamples first, VectorSamples second)
    {
        return {hn::ConcatUpperUpper(Tag(), second.v, first.v)};
    }
    static HWY_INLINE VectorSamples before(VectorSamples samples, VectorSamples previous)
    {
        return {hn::ConcatLowerUpper(Tag(), samples.v, previous.v)};
    }
#else
    HWY_INLINE void storeLast(double* sample) const
    {
        store(sample);
    }
    static HWY_INLINE VectorSamples evens(VectorSamples first, VectorSamples /*second*/)
    {
        return first;
    }
    static HWY_INLINE VectorSamples odds(VectorSamples /*first*/, VectorSamples second)
    {
        return second;
    }
    static HWY_INLINE VectorSamples before(VectorSamples /*samples*/, VectorSamples previous)
    {
        return previous;
    }
#endif
};
#endif

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
