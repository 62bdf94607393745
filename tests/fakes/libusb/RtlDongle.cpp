#include "RtlDongle.h"

#include <cmath>
#include <libusb.h>

// The index of a request: block in the high byte, and in the low one 0x10 for a write. Blocks 1 to 6 are USB,
// system, tuner, ROM, IR and I2C; the demodulator has the low byte for itself, and its page is there.
//   value of a demodulator's request: register, 0x20    of an I2C request: address of the chip
namespace
{

constexpr double kCrystal = 28'800'000.0; // Hz, of both chips
constexpr double kTwoTo22 = 4'194'304.0;
constexpr unsigned kI2cBlock = 6;
constexpr unsigned kTunerAddress = 0x34;
constexpr unsigned char kTunerId = 0x69;

} // namespace

int RtlDongle::control(const Request& request)
{
    const unsigned block = request.index >> 8U;
    if (block == kI2cBlock) {
        return tuner(request);
    }
    if (block == 0 && (request.value & 0xFFU) == 0x20U) {
        return demodulator(request);
    }
    return accept(request);
}

int RtlDongle::demodulator(const Request& request)
{
    auto& page = m_demodulator.at(request.index & 0x0FU);
    const unsigned first = request.value >> 8U;
    for (unsigned i = 0; i < request.length; ++i) {
        unsigned char& place = page.at((first + i) & 0xFFU);
        if (request.isRead()) {
            request.data[i] = place;
        } else {
            place = request.data[i];
        }
    }
    return request.length;
}

int RtlDongle::tuner(const Request& request)
{
    if (request.value != kTunerAddress) {
        return LIBUSB_ERROR_PIPE; // nobody acknowledges
    }
    if (!request.isRead()) {
        // The register's number, then what goes into it and those that follow.
        for (unsigned i = 1; i < request.length; ++i) {
            m_tuner.at((request.data[0] + i - 1) & 0x1FU) = request.data[i];
        }
        return request.length;
    }
    // It reads from register 0 always, the lowest bit first: its id, then status with the synthesizer locked,
    // the oscillator's fine tuning in the middle, and a calibration code that is in range.
    constexpr std::array<unsigned char, 5> kStatus{kTunerId, 0x00, 0x02, 0x00, 0x14};
    return answer(request, kStatus.data(), kStatus.size());
}

double RtlDongle::rate() const
{
    const auto& page = m_demodulator[1];
    const unsigned ratio = static_cast<unsigned>(page[0x9F]) << 24U |
                           static_cast<unsigned>(page[0xA0]) << 16U |
                           static_cast<unsigned>(page[0xA1]) << 8U | page[0xA2];
    return ratio == 0 ? 0.0 : kCrystal * kTwoTo22 / ratio;
}

double RtlDongle::tuned() const
{
    // The synthesizer: the crystal doubled, times an integer and a fraction of 16 bits, divided by a power
    // of 2.
    const unsigned divider = 2U << (m_tuner[0x10] >> 5U);
    const unsigned whole = 4U * (m_tuner[0x14] & 0x3FU) + (m_tuner[0x14] >> 6U) + 13U;
    const double fraction = (m_tuner[0x16] * 256.0 + m_tuner[0x15]) / 65'536.0;
    const double oscillator = 2.0 * kCrystal * (whole + fraction) / divider;
    // The oscillator is above what is heard by the intermediate frequency, whose negative the demodulator
    // has, in 22 bits.
    const auto& page = m_demodulator[1];
    const unsigned bits = (page[0x19] & 0x3FU) << 16U | static_cast<unsigned>(page[0x1A]) << 8U | page[0x1B];
    const double intermediate = bits == 0 ? 0.0 : (kTwoTo22 - bits) / kTwoTo22 * kCrystal;
    return oscillator - intermediate;
}

void RtlDongle::fill(unsigned char* data, std::size_t length)
{
    // Offset binary: the middle lies between 127 and 128.
    for (const std::complex<double>& sample : air(length / 2, rate(), tuned())) {
        *data++ = static_cast<unsigned char>(std::lround(127.5 + 127.0 * sample.real()));
        *data++ = static_cast<unsigned char>(std::lround(127.5 + 127.0 * sample.imag()));
    }
}
