#include "Core/Worker/Kernels/CicDecimation.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Worker/Kernels/CicDecimation.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Worker/Kernels/ComplexVectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::HWY_NAMESPACE
{

#if ORVENLINK_VECTORS
HWY_INLINE Vector outputs(const double* even, const double* odd)
{
    const Doubles d;
    const Vector inner = hn::Add(hn::LoadU(d, odd - 2), hn::LoadU(d, even));
    const Vector sum = hn::Add(hn::Mul(inner, hn::Set(d, 3.0)), hn::LoadU(d, even - 2));
    return hn::Mul(hn::Add(sum, hn::LoadU(d, odd)), hn::Set(d, 0.125));
}
#endif

HWY_INLINE double output(const double* even, const double* odd)
{
    return ((odd[-2] + even[0]) * 3.0 + even[-2] + odd[0]) * 0.125;
}

void cic(const double* HWY_RESTRICT even, const double* HWY_RESTRICT odd, std::size_t values,
         double* HWY_RESTRICT out)
{
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    for (; n + 2 * kSamples <= values; n += 2 * kSamples) {
        hn::StoreU(outputs(even + n, odd + n), Doubles(), out + n);
    }
#endif
    for (; n < values; ++n) {
        out[n] = output(even + n, odd + n);
    }
}

void cicApart(const double* HWY_RESTRICT even, const double* HWY_RESTRICT odd, std::size_t values,
              double* HWY_RESTRICT outEven, double* HWY_RESTRICT outOdd)
{
    std::size_t n = 0;
#if ORVENLINK_VECTORS
    constexpr std::size_t kStep = 2 * kSamples;
    for (; n + 2 * kStep <= values; n += 2 * kStep) {
        storeApart(outputs(even + n, odd + n), outputs(even + n + kStep, odd + n + kStep), outEven + n / 2,
                   outOdd + n / 2);
    }
#endif
    for (; n < values; n += 4) {
        outEven[n / 2] = output(even + n, odd + n);
        outEven[n / 2 + 1] = output(even + n + 1, odd + n + 1);
        outOdd[n / 2] = output(even + n + 2, odd + n + 2);
        outOdd[n / 2 + 1] = output(even + n + 3, odd + n + 3);
    }
}

} // namespace Kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels
{

HWY_EXPORT(cic);
HWY_EXPORT(cicApart);

void cic(const DoubleComplex* even, const DoubleComplex* odd, int outputs, DoubleComplex* out)
{
    HWY_DYNAMIC_DISPATCH(cic)
    (reinterpret_cast<const double*>(even), reinterpret_cast<const double*>(odd),
     2 * static_cast<std::size_t>(outputs), reinterpret_cast<double*>(out));
}

void cicApart(const DoubleComplex* even, const DoubleComplex* odd, int outputs, DoubleComplex* outEven,
              DoubleComplex* outOdd)
{
    HWY_DYNAMIC_DISPATCH(cicApart)
    (reinterpret_cast<const double*>(even), reinterpret_cast<const double*>(odd),
     2 * static_cast<std::size_t>(outputs), reinterpret_cast<double*>(outEven),
     reinterpret_cast<double*>(outOdd));
}

} // namespace Kernels
#endif
