#pragma once

#include "Core/Worker/Kernels/Fft.h"

#include <hwy/aligned_allocator.h>
#include <memory>

/// What the vectors need to transform one length: the turns of each pass in the order of their use, and the
/// work array: 25 bytes a sample, 0.8 MB for the longest.
class FftTurns
{
public:
    /// Null for a length other than 512, 1024 .. 32,768. Allocates; no turn is filled in.
    [[nodiscard]] static std::unique_ptr<FftTurns> forLength(int length);

    /// `w` as FftTables builds it for the length.
    void build(const double* w);

    [[nodiscard]] const Kernels::Fft::Plan& plan() const { return m_plan; }

private:
    using Array = hwy::AlignedFreeUniquePtr<double[]>;

    explicit FftTurns(const Kernels::Fft::Plan& radices);

    Array m_second;
    Array m_third;
    Array m_last;
    Array m_work;
    Kernels::Fft::Plan m_plan;
};
