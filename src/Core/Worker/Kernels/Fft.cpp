#include "Core/Worker/Kernels/Fft.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Core/Worker/Kernels/Fft.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Core/Worker/Kernels/FftRows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Kernels::Fft::HWY_NAMESPACE
{

// All lanes turn alike.
struct CommonTurns
{
    const double* values;
    HWY_INLINE Turn operator[](int i) const
    {
        const double* const tan = values + static_cast<Index>(i) * 2;
        return {hn::Set(Tag(), tan[0]), hn::Set(Tag(), tan[1])};
    }
};

struct LaneTurns
{
    const double* values;
    HWY_INLINE Turn operator[](int i) const
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
            transform<radix, 0, 1>(DataPoints{data + row * step, stride, lane}, NoTurns{},
                                   ToWork{work + row * radix * kRow, kRow, lane});
        }
    }
}

// For each of `count` successive rows, one transform over the rows `stride` apart, in place.
template <int radix>
void turnedPass(double* work, Index stride, const double* turns, Index count)
{
    for (Index row = 0; row < count; ++row) {
        for (Index lane = 0; lane < kSamples; lane += kWidth) {
            double* const at = work + row * kRow;
            transform<radix, 0, 1>(WorkPoints{at, stride, lane}, CommonTurns{turns + row * radix},
                                   ToWork{at, stride, lane});
        }
    }
}

// For each of `count` successive rows, one transform over its eight samples, to `data` in steps of `stride`.
void lastPass(const double* HWY_RESTRICT work, double* HWY_RESTRICT data, Index stride,
              const double* HWY_RESTRICT turns, Index count)
{
    for (Index row = 0; row < count; row += kSamples) {
        for (Index lane = 0; lane < kSamples; lane += kWidth) {
            transform<8, 0, 1>(ColumnPoints(work + row * kRow, lane),
                               LaneTurns{turns + row * kSamples + lane},
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
        const auto second = b == 8 ? &turnedPass<8> : &turnedPass<16>;
        second(work, a * kRow, plan.secondTurns, a);
    }
    if (c > 1) {
        const auto third = c == 8 ? &turnedPass<8> : &turnedPass<16>;
        third(plan.work, block, plan.thirdTurns, rows);
    }
    for (Index i = 0; i < c; ++i) {
        lastPass(plan.work + i * block, data + 2 * i * rows, 2 * c * rows,
                 plan.lastTurns + i * rows * kSamples, rows);
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
