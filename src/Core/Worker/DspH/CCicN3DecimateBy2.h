#pragma once

#include "Core/Signal/Kernels/CicDecimation.h"
#include "Core/Worker/DspH/Dec2.h"

/// Third-order CIC decimator by 2 (Hogenauer 1981), which is the FIR (1, 3, 3, 1) / 8. Cheap, and good
/// where the band of interest is a small part of the rate.
/// Thread: that of its `DspH`.
class CCicN3DecimateBy2 : public Dec2
{
public:
    /// Gives `count` / 2 outputs; the last sample of an odd `count` is dropped and leaves no trace.
    /// Of a `count` below 2 nothing is read, and half of it, rounded down, is the result.
    int decimate(int count, DoubleComplex* in, DoubleComplex* out) override;

    /// For a kernel that runs the stage on its own.
    [[nodiscard]] Kernels::CicHistory* history() { return &m_history; }

private:
    Kernels::CicHistory m_history;
};
