#pragma once

#include "Core/Signal/AlignedSamples.h"
#include "Core/Signal/DoubleComplex.h"

namespace Kernels
{

/// The factors of a mixer, c + js for each entry of its table, as vectors take them.
/// Thread: any, one at a time.
class MixerTable
{
public:
    /// `length` entries of 1 + 0j, 16 or more.
    explicit MixerTable(int length);

    void set(int entry, DoubleComplex factor);

    [[nodiscard]] int length() const { return m_length; }
    [[nodiscard]] const DoubleComplex* direct() const { return m_direct.data() + kLead; }
    [[nodiscard]] const DoubleComplex* crossed() const { return m_crossed.data() + kLead; }

private:
    // Entry 1, where whole blocks begin, is at the start of a cache line.
    static constexpr int kLead = AlignedSamples::kLine - 1;

    int m_length;
    // Both repeat after the last entry, so that a vector may begin at any.
    AlignedSamples m_direct;  // c, c
    AlignedSamples m_crossed; // -s, s
};

} // namespace Kernels
