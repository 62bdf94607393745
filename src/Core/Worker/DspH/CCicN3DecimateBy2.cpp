#include "Core/Worker/DspH/CCicN3DecimateBy2.h"

#include <cmath>

int CCicN3DecimateBy2::decimate(int count, DoubleComplex* in, DoubleComplex* out)
{
    if (count < 2) {
        return static_cast<int>(std::floor(count / 2.0));
    }
    Kernels::CicHistory* const history = &m_history;
    Kernels::cics(in, count / 2, {&history, 1}, out);
    return count / 2;
}
