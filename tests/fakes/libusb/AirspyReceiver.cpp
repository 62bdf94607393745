#include "AirspyReceiver.h"

#include <cmath>
#include <cstring>
#include <libairspy/airspy_commands.h>
#include <string>

namespace
{

constexpr std::array<std::uint32_t, 2> kRates{2'500'000, 10'000'000};
constexpr char kVersion[] = "AirSpy NOS v1.0.0-rc10-0-g946184a 2016-09-19";

} // namespace

int AirspyReceiver::control(const Request& request)
{
    switch (request.number) {
    case AIRSPY_VERSION_STRING_READ:
        return answer(request, kVersion, sizeof kVersion);
    case AIRSPY_GET_SAMPLERATES:
        return answerRates(request, kRates);
    case AIRSPY_SET_SAMPLERATE:
        m_rate = kRates.at(request.index);
        break;
    case AIRSPY_SET_FREQ: {
        std::uint32_t hertz = 0;
        std::memcpy(&hertz, request.data, sizeof hertz);
        m_tuned = hertz;
        break;
    }
    default:
        break;
    }
    return accept(request);
}

void AirspyReceiver::fill(unsigned char* data, std::size_t length)
{
    // Two real samples for each one of the air, which moves by half a step between them. A quarter of the
    // rate up is a quarter turn a sample.
    constexpr std::array<std::complex<double>, 4> kQuarterTurns{{{1, 0}, {0, 1}, {-1, 0}, {0, -1}}};
    for (const std::complex<double>& sample : air(length / 2, 2.0 * m_rate, m_tuned)) {
        const double real = (std::conj(sample) * kQuarterTurns[m_position++ % 4]).real();
        const auto value = static_cast<unsigned>(std::lround(2048.0 + 2047.0 * real));
        *data++ = static_cast<unsigned char>(value & 0xFFU);
        *data++ = static_cast<unsigned char>(value >> 8U);
    }
}
