#include "Core/Signal/Fft/Fft.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Signal/Fft/Fft.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Signal/Fft/FftRows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::Fft::HWY_NAMESPACE
{

// The same for all lanes.
struct CommonTwiddles
{
    const double* values;
    HWY_INLINE Twiddle operator[](int i) const
    {
        const double* const tan = values + static_cast<Index>(i) * 2;
        return {hn::Set(Tag(), tan[0]), hn::Set(Tag(), tan[1])};
    }
};

struct LaneTwiddles
{
    const double* values;
    HWY_INLINE Twiddle operator[](int i) const
    {
        const double* const tan = values + static_cast<Index>(i) * kRow;
        return {hn::Load(Tag(), tan), hn::Load(Tag(), tan + kSamples)};
    }
};

// For each of `count` rows, one transform over the rows `stride` apart, to the `radix` rows that come next in
// the work array.
template <int radix>
void firstPass(const double* HWY_RESTRICT data, Index stride, double* HWY_RESTRICT work, Index count)
{
    const Index step = stride / count;
    for (Index row = 0; row < count; ++row) {
        for (Index lane = 0; lane < kSamples; lane += kWidth) {
            transform<radix, 0, 1>(DataPoints{data + row * step, stride, lane}, NoTwiddles{},
                                   ToWork{work + row * radix * kRow, kRow, lane});
        }
    }
}

// For each of `count` successive rows, one transform over the rows `stride` apart, in place.
template <int radix>
void twiddledPass(double* work, Index stride, const double* twiddles, Index count)
{
    for (Index row = 0; row < count; ++row) {
        for (Index lane = 0; lane < kSamples; lane += kWidth) {
            double* const at = work + row * kRow;
            transform<radix, 0, 1>(WorkPoints{at, stride, lane}, CommonTwiddles{twiddles + row * radix},
                                   ToWork{at, stride, lane});
        }
    }
}

// For each of `count` successive rows, one transform over its eight samples, to `data` in steps of `stride`.
void lastPass(const double* HWY_RESTRICT work, double* HWY_RESTRICT data, Index stride,
              const double* HWY_RESTRICT twiddles, Index count)
{
    for (Index row = 0; row < count; row += kSamples) {
        for (Index lane = 0; lane < kSamples; lane += kWidth) {
            transform<8, 0, 1>(ColumnPoints(work + row * kRow, lane),
                               LaneTwiddles{twiddles + row * kSamples + lane},
                               ToData{data + 2 * row, stride, lane});
        }
    }
}

void allPasses(const Plan& plan, double* HWY_RESTRICT data)
{
    const auto a = static_cast<Index>(plan.first);
    const auto b = static_cast<Index>(plan.second);
    const auto c = static_cast<Index>(plan.third);
    const Index rows = a * b;
    const Index block = (rows + 1) * kRow;
    for (Index i = 0; i < c; ++i) {
        double* const work = plan.work + i * block;
        const auto first = a == 8 ? &firstPass<8> : &firstPass<16>;
        first(data + i * kRow, b * c * kRow, work, b);
        const auto second = b == 8 ? &twiddledPass<8> : &twiddledPass<16>;
        second(work, a * kRow, plan.secondTwiddles, a);
    }
    if (c > 1) {
        const auto third = c == 8 ? &twiddledPass<8> : c == 16 ? &twiddledPass<16> : &twiddledPass<32>;
        third(plan.work, block, plan.thirdTwiddles, rows);
    }
    for (Index i = 0; i < c; ++i) {
        lastPass(plan.work + i * block, data + 2 * i * rows, 2 * c * rows,
                 plan.lastTwiddles + i * rows * kSamples, rows);
    }
}

void laneOrder(int* order)
{
    for (Index lane = 0; lane < kSamples; ++lane) {
        order[lane] = static_cast<int>(sampleOfLane(lane));
    }
}

} // namespace Kernels::Fft::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Kernels::Fft
{

HWY_EXPORT(allPasses);
HWY_EXPORT(laneOrder);

int workSize(const Plan& plan)
{
    return plan.third * (plan.first * plan.second + 1) * 16;
}

std::array<int, 8> laneOrder()
{
    std::array<int, 8> order{};
    HWY_DYNAMIC_DISPATCH(laneOrder)(order.data());
    return order;
}

void transform(const Plan& plan, DoubleComplex* data)
{
    HWY_DYNAMIC_DISPATCH(allPasses)(plan, reinterpret_cast<double*>(data));
}

} // namespace Kernels::Fft
#endif
