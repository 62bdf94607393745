#pragma once

#include "Core/Signal/Fft/Fft.h"

#include <hwy/aligned_allocator.h>

/// What the kernel needs to transform one length: the twiddle factors of each pass in the order of their
/// use, and the work array: 25 bytes a sample, 1.6 MB for the longest.
/// Thread: any, one at a time.
class FftTwiddles
{
public:
    static constexpr int kShortest = 512;
    static constexpr int kLongest = 65'536;

    /// `length` is a power of two between the two above. Allocates; no factor is filled in.
    explicit FftTwiddles(int length);

    /// Fills in the factors, without allocating.
    void build();

    [[nodiscard]] const Kernels::Fft::Plan& plan() const { return m_plan; }

private:
    using Array = hwy::AlignedFreeUniquePtr<double[]>;

    Array m_second;
    Array m_third;
    Array m_last;
    Array m_work;
    Kernels::Fft::Plan m_plan;
};
