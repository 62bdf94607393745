#include "Core/Worker/DspH/CCicN3DecimateBy2.h"

#include "Core/Worker/Kernels/CicDecimation.h"
#include "Core/Worker/Kernels/Phases.h"

#include <algorithm>

namespace
{

constexpr int kChunk = 512; // samples that are taken apart at once, to stay in the nearest cache
constexpr int kLine = 4;    // samples

// Room for half a chunk behind the sample before it.
struct alignas(64) Phase
{
    double values[2 * (kLine + kChunk / 2)];

    DoubleComplex* samples() { return reinterpret_cast<DoubleComplex*>(values) + kLine; }
};

} // namespace

int CCicN3DecimateBy2::decimate(int count, DoubleComplex* in, DoubleComplex* out)
{
    Phase even; // NOLINT(cppcoreguidelines-pro-type-member-init): written before it is read
    Phase odd;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    const int outputs = count / 2;
    for (int done = 0; done < outputs;) {
        const int next = std::min(outputs - done, kChunk / 2);
        Kernels::takeApart(in + 2 * done, 2 * next, even.samples(), odd.samples());
        decimateApart(even.samples(), odd.samples(), next, out + done);
        done += next;
    }
    return outputs;
}

void CCicN3DecimateBy2::decimateApart(DoubleComplex* even, DoubleComplex* odd, int outputs,
                                      DoubleComplex* out)
{
    even[-1] = m_previousEven;
    odd[-1] = m_previousOdd;
    Kernels::cic(even, odd, outputs, out);
    m_previousEven = even[outputs - 1];
    m_previousOdd = odd[outputs - 1];
}

void CCicN3DecimateBy2::decimateApart(DoubleComplex* even, DoubleComplex* odd, int outputs,
                                      DoubleComplex* outEven, DoubleComplex* outOdd)
{
    even[-1] = m_previousEven;
    odd[-1] = m_previousOdd;
    Kernels::cicApart(even, odd, outputs, outEven, outOdd);
    m_previousEven = even[outputs - 1];
    m_previousOdd = odd[outputs - 1];
}
