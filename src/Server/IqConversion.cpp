#include "Server/IqConversion.h"

#include "Core/Signal/DoubleComplex.h"
#include "Network/Protocol/IqBlocks.h"

namespace
{

constexpr double kInt64Limit = 9223372036854775808.0; // 2^63

std::int16_t toInt16(double value)
{
    const double scaled = value * IqBlocks::kFullScale;
    if (!(scaled > -kInt64Limit && scaled < kInt64Limit)) {
        return 0;
    }
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<std::int64_t>(scaled)));
}

} // namespace

void convertIq(const DoubleComplex* samples, int count, std::int16_t* values)
{
    for (int i = 0; i < count; ++i) {
        *values++ = toInt16(samples[i].re);
        *values++ = toInt16(samples[i].im);
    }
}
