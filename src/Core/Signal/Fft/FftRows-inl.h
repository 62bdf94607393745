// How the FFT's kernel reads and writes samples: compiled once for each instruction set.
//
// A row is eight samples in 128 bytes. The data has them interleaved, re im re im ..; the work array has
// eight real parts, then eight imaginary ones, each vector of it in the order that one interleaving leaves:
// with vectors of 8 samples 0 4 1 5 2 6 3 7, of 4 samples 0 2 1 3, 4 6 5 7.
#if defined(ORVENLINK_FFT_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ORVENLINK_FFT_ROWS_INL_H
#undef ORVENLINK_FFT_ROWS_INL_H
#else
#define ORVENLINK_FFT_ROWS_INL_H
#endif

#include "Core/Signal/Fft/FftButterfly-inl.h"

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace Kernels::Fft::HWY_NAMESPACE
{

using Index = std::size_t;

constexpr Index kWidth = HWY_MAX_BYTES / sizeof(double);
constexpr Index kSamples = 8;        // of a row
constexpr Index kRow = 2 * kSamples; // doubles of a row
static_assert(kSamples % kWidth == 0);

constexpr Index sampleOfLane(Index lane)
{
    return kWidth == 1 ? lane : lane / kWidth * kWidth + lane % 2 * (kWidth / 2) + lane % kWidth / 2;
}

// The vector of the lanes from `lane` on, out of a row of the data.
HWY_INLINE Lanes loadSamples(const double* row, Index lane)
{
    const double* const from = row + 2 * lane;
#if HWY_MAX_BYTES == 8
    return {hn::LoadU(Tag(), from), hn::LoadU(Tag(), from + 1)};
#else
    const Vector low = hn::LoadU(Tag(), from);
    const Vector high = hn::LoadU(Tag(), from + kWidth);
    return {hn::InterleaveLower(Tag(), low, high), hn::InterleaveUpper(Tag(), low, high)};
#endif
}

HWY_INLINE void storeSamples(const Lanes& z, double* row, Index lane)
{
    double* const to = row + 2 * lane;
#if HWY_MAX_BYTES == 8
    hn::StoreU(z.re, Tag(), to);
    hn::StoreU(z.im, Tag(), to + 1);
#else
    hn::StoreU(hn::InterleaveLower(Tag(), z.re, z.im), Tag(), to);
    hn::StoreU(hn::InterleaveUpper(Tag(), z.re, z.im), Tag(), to + kWidth);
#endif
}

// The same of a row of the work array.
HWY_INLINE Lanes load(const double* row, Index lane)
{
    return {hn::Load(Tag(), row + lane), hn::Load(Tag(), row + kSamples + lane)};
}

HWY_INLINE void store(const Lanes& z, double* row, Index lane)
{
    hn::Store(z.re, Tag(), row + lane);
    hn::Store(z.im, Tag(), row + kSamples + lane);
}

// The points of a transform, and what becomes of its outputs: number j or k is so many times `stride`
// doubles further on.
struct DataPoints
{
    const double* row;
    Index stride;
    Index lane;
    HWY_INLINE Lanes operator[](int j) const
    {
        return loadSamples(row + static_cast<Index>(j) * stride, lane);
    }
};

struct WorkPoints
{
    const double* row;
    Index stride;
    Index lane;
    HWY_INLINE Lanes operator[](int j) const { return load(row + static_cast<Index>(j) * stride, lane); }
};

struct ToWork
{
    double* row;
    Index stride;
    Index lane;
    HWY_INLINE void operator()(int k, const Lanes& z) const
    {
        store(z, row + static_cast<Index>(k) * stride, lane);
    }
};

struct ToData
{
    double* row;
    Index stride;
    Index lane;
    HWY_INLINE void operator()(int k, const Lanes& z) const
    {
        storeSamples(z, row + static_cast<Index>(k) * stride, lane);
    }
};

#if HWY_MAX_BYTES >= 32
// The lower half of what `low` points to below, that of `high` above.
HWY_INLINE Vector loadHalves(const double* low, const double* high)
{
    const hn::Half<Tag> half;
    return hn::Combine(Tag(), hn::Load(half, high), hn::Load(half, low));
}
#endif

// Of eight successive rows of the work array the samples across: columns[j] gets sample j of each row, rows
// in the order of the lanes from `lane` on. `rows` points to the real parts or to the imaginary ones.
HWY_INLINE void loadColumns(const double* rows, [[maybe_unused]] Index lane, Vector* HWY_RESTRICT columns)
{
#if HWY_MAX_BYTES == 64
    // Lanes are told apart by three bits, rows too; each step makes one of a row's bits one of the lanes'.
    for (Index upper = 0; upper < 8; upper += 4) {
        const double* const at = rows + upper;
        const Vector a = loadHalves(at, at + 2 * kRow);
        const Vector b = loadHalves(at + kRow, at + 3 * kRow);
        const Vector c = loadHalves(at + 4 * kRow, at + 6 * kRow);
        const Vector d = loadHalves(at + 5 * kRow, at + 7 * kRow);
        const Vector evenA = hn::InterleaveLower(Tag(), a, c);
        const Vector oddA = hn::InterleaveUpper(Tag(), a, c);
        const Vector evenB = hn::InterleaveLower(Tag(), b, d);
        const Vector oddB = hn::InterleaveUpper(Tag(), b, d);
        columns[sampleOfLane(upper)] = hn::OddEvenBlocks(hn::SwapAdjacentBlocks(evenB), evenA);
        columns[sampleOfLane(upper + 1)] = hn::OddEvenBlocks(hn::SwapAdjacentBlocks(oddB), oddA);
        columns[sampleOfLane(upper + 2)] = hn::OddEvenBlocks(evenB, hn::SwapAdjacentBlocks(evenA));
        columns[sampleOfLane(upper + 3)] = hn::OddEvenBlocks(oddB, hn::SwapAdjacentBlocks(oddA));
    }
#elif HWY_MAX_BYTES == 32
    for (Index pair = 0; pair < kSamples; pair += 2) {
        const double* const at = rows + lane * kRow + pair;
        const Vector a = loadHalves(at, at + kRow);
        const Vector b = loadHalves(at + 2 * kRow, at + 3 * kRow);
        columns[sampleOfLane(pair)] = hn::InterleaveLower(Tag(), a, b);
        columns[sampleOfLane(pair + 1)] = hn::InterleaveUpper(Tag(), a, b);
    }
#elif HWY_MAX_BYTES == 16
    for (Index pair = 0; pair < kSamples; pair += 2) {
        const double* const at = rows + lane * kRow + pair;
        const Vector a = hn::Load(Tag(), at);
        const Vector b = hn::Load(Tag(), at + kRow);
        columns[pair] = hn::InterleaveLower(Tag(), a, b);
        columns[pair + 1] = hn::InterleaveUpper(Tag(), a, b);
    }
#else
    for (Index sample = 0; sample < kSamples; ++sample) {
        columns[sample] = hn::Load(Tag(), rows + lane * kRow + sample);
    }
#endif
}

// Eight successive rows of the work array, from `rows` on, transposed: the points are the places in a row,
// the lanes the rows, in the order of the samples.
struct ColumnPoints
{
    Vector re[kSamples];
    Vector im[kSamples];
    HWY_INLINE ColumnPoints(const double* rows, Index lane)
    {
        loadColumns(rows, lane, re);
        loadColumns(rows + kSamples, lane, im);
    }

    HWY_INLINE Lanes operator[](int j) const { return {re[j], im[j]}; }
};

} // namespace Kernels::Fft::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
