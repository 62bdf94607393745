#include "RadioDevice/RtlUsb/RtlUsbConversion.h"

#include "Core/Signal/Kernels/IntegerIq.h"

namespace
{

template <class Byte>
void convert(const Byte* values, int count, bool swapIQ, DoubleComplex* out)
{
    if (swapIQ) {
        Kernels::scalePairs(values, count, kRtlUsbScale, out);
    } else {
        Kernels::scaleSwappedPairs(values, count, kRtlUsbScale, out);
    }
}

} // namespace

void convertRtlUsb(const unsigned char* bytes, int count, bool swapIQ, DoubleComplex* out)
{
    convert(reinterpret_cast<const std::int8_t*>(bytes), count, swapIQ, out);
}

void convertRtlUsbOffset(const unsigned char* bytes, int count, bool swapIQ, DoubleComplex* out)
{
    convert(bytes, count, swapIQ, out);
}
