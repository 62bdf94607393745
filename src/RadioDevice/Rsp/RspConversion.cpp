#include "RadioDevice/Rsp/RspConversion.h"

#include "Core/Signal/Kernels/IntegerIq.h"

namespace
{

constexpr double kScale = 9.765625e-06; // 1 / 102,400

} // namespace

void convertRsp(const short* xi, const short* xq, int count, DoubleComplex* block)
{
    Kernels::scaleParts(xq, xi, count, kScale, block);
}
