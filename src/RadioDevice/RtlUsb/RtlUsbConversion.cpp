#include "RadioDevice/RtlUsb/RtlUsbConversion.h"

#include "Core/Worker/Kernels/IntegerIq.h"

void convertRtlUsb(const unsigned char* bytes, int count, bool swapIQ, DoubleComplex* out)
{
    const auto* const values = reinterpret_cast<const std::int8_t*>(bytes);
    if (swapIQ) {
        Kernels::scalePairs(values, count, kRtlUsbScale, out);
    } else {
        Kernels::scaleSwappedPairs(values, count, kRtlUsbScale, out);
    }
}
