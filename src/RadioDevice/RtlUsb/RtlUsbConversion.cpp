#include "RadioDevice/RtlUsb/RtlUsbConversion.h"

namespace
{

double toValue(unsigned char byte)
{
    return static_cast<signed char>(byte) * kRtlUsbScale;
}

} // namespace

void convertRtlUsb(const unsigned char* bytes, int count, bool swapIQ, DoubleComplex* out)
{
    const int re = swapIQ ? 0 : 1;
    const int im = 1 - re;
    for (int i = 0; i < count; ++i, bytes += 2) {
        out[i] = {toValue(bytes[re]), toValue(bytes[im])};
    }
}
