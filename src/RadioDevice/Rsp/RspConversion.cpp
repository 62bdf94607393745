#include "RadioDevice/Rsp/RspConversion.h"

namespace
{

constexpr double kScale = 9.765625e-06; // 1 / 102,400

} // namespace

void convertRsp(const short* xi, const short* xq, int count, DoubleComplex* block)
{
    for (int i = 0; i < count; ++i) {
        block[i].re = xq[i] * kScale;
        block[i].im = xi[i] * kScale;
    }
}
