#include "AirspyHfReceiver.h"

#include <cmath>
#include <libairspyhf/airspyhf_commands.h>

namespace
{

constexpr std::array<std::uint32_t, 2> kRates{768'000, 384'000};
constexpr std::array<std::uint8_t, 2> kZeroIf{0, 0}; // and no gain of a filter, a byte a rate
constexpr char kVersion[] = "R3.0.7-CD";
constexpr std::array<std::uint32_t, 5> kSerialAndBoard{0x3B52AB5D, 0xADA12930, 0, 0, 1};

} // namespace

int AirspyHfReceiver::control(const Request& request)
{
    switch (request.number) {
    case AIRSPYHF_GET_VERSION_STRING:
        return answer(request, kVersion, sizeof kVersion);
    case AIRSPYHF_GET_SERIALNO_BOARDID:
        return answer(request, kSerialAndBoard.data(), sizeof kSerialAndBoard);
    case AIRSPYHF_GET_SAMPLERATES:
        return answerRates(request, kRates);
    case AIRSPYHF_GET_SAMPLERATE_ARCHITECTURES:
    case AIRSPYHF_GET_FILTER_GAIN:
        // The library asks for four times what it has room for.
        return answer(request, kZeroIf.data(), kZeroIf.size());
    case AIRSPYHF_SET_SAMPLERATE:
        m_rate = kRates.at(request.index);
        break;
    case AIRSPYHF_SET_FREQ: {
        // Kilohertz, the highest byte first.
        unsigned kilohertz = 0;
        for (unsigned i = 0; i < request.length; ++i) {
            kilohertz = kilohertz << 8U | request.data[i];
        }
        m_tuned = 1000.0 * kilohertz;
        break;
    }
    default:
        break;
    }
    return accept(request);
}

void AirspyHfReceiver::fill(unsigned char* data, std::size_t length)
{
    const auto put = [&data](double value) {
        const auto bits = static_cast<std::uint16_t>(static_cast<std::int16_t>(std::lround(32767.0 * value)));
        *data++ = static_cast<unsigned char>(bits & 0xFFU);
        *data++ = static_cast<unsigned char>(bits >> 8U);
    };
    for (const std::complex<double>& sample : air(length / 4, m_rate, m_tuned)) {
        put(sample.imag());
        put(sample.real());
    }
}
