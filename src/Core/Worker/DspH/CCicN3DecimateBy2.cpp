#include "Core/Worker/DspH/CCicN3DecimateBy2.h"

int CCicN3DecimateBy2::decimate(int count, DoubleComplex* in, DoubleComplex* out)
{
    Kernels::CicHistory* const history = &m_history;
    Kernels::cics(in, count / 2, {&history, 1}, out);
    return count / 2;
}
