#pragma once

#include "Core/Signal/DoubleComplex.h"
#include "Core/Signal/Kernels/MixerTable.h"

namespace Kernels
{

/// The last samples of the block before, at an even and at an odd position.
struct CicHistory
{
    DoubleComplex even{};
    DoubleComplex odd{};
};

/// Stages that run at once, one's outputs being the next one's samples, which are never stored: 1 or
/// `kMaxStages` of them, each with its history.
struct CicStages
{
    static constexpr int kMaxStages = 2;

    CicHistory* const* histories;
    int count;
};

/// The third-order CIC filter by 2: output i of a stage is ((x[2i - 1] + x[2i]) * 3 + x[2i - 2] + x[2i + 1])
/// / 8 of its samples x, added in this order. The vectors lie across the outputs.
/// Thread: any.
/// Shapes: `samples` as many as make `outputs` of the last stage. `out` may be the same array or begin before
/// it.
void cics(const DoubleComplex* samples, int outputs, CicStages stages, DoubleComplex* out);

/// As `mix` from entry `first` of the table and then `cics`, but the products are never stored.
void mixAndCics(const DoubleComplex* samples, int outputs, const MixerTable& table, int first,
                CicStages stages, DoubleComplex* out);

} // namespace Kernels
