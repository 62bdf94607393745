#include "Core/Worker/DspH/CCicN3DecimateBy2.h"

int CCicN3DecimateBy2::decimate(int count, DoubleComplex* in, DoubleComplex* out)
{
    const int outputs = count / 2;
    for (int i = 0; i < outputs; ++i, in += 2) {
        const DoubleComplex even = in[0];
        const DoubleComplex odd = in[1];
        out[i].re = ((m_previousOdd.re + even.re) * 3.0 + m_previousEven.re + odd.re) * 0.125;
        out[i].im = ((m_previousOdd.im + even.im) * 3.0 + m_previousEven.im + odd.im) * 0.125;
        m_previousOdd = odd;
        m_previousEven = even;
    }
    return outputs;
}
