#include "FakeReceiver.h"

#include "AirspyHfReceiver.h"
#include "AirspyReceiver.h"
#include "FakeScript.h"
#include "RtlDongle.h"

#include <algorithm>
#include <cmath>
#include <cstring>

const std::array<FakeModel, 3> kFakeModels{{
    {"rtl", 0x0BDA, 0x2838, {"Realtek", "RTL2838UHIDIR", "0000000%d"}, &RtlDongle::make},
    {"airspy",
     0x1D50,
     0x60A1,
     {"airspy.com", "AIRSPY", "AIRSPY SN:644064DC2B16C1A%d"},
     &AirspyReceiver::make},
    {"airspyhf",
     0x03EB,
     0x800C,
     {"airspy.com", "AIRSPY HF+", "AIRSPYHF SN:3B52AB5DADA1293%d"},
     &AirspyHfReceiver::make},
}};

const std::vector<std::complex<double>>& FakeReceiver::air(std::size_t count, double rate, double tuned)
{
    const double level = FakeScript::real("tone.level", 0.5);
    const double offset = FakeScript::real("station", tuned + FakeScript::real("tone.hz", 0.0)) - tuned;
    // Out of the filter's band there is nothing to hear.
    const double heard = 2.0 * std::abs(offset) < rate ? level : 0.0;
    const std::complex<double> step = std::polar(1.0, 2.0 * M_PI * offset / rate);
    m_air.resize(count);
    for (std::complex<double>& sample : m_air) {
        sample = heard * m_phase;
        m_phase *= step;
    }
    m_phase /= std::abs(m_phase);
    return m_air;
}

int FakeReceiver::answer(const Request& request, const void* bytes, std::size_t size)
{
    const std::size_t count = std::min<std::size_t>(size, request.length);
    std::memcpy(request.data, bytes, count);
    return static_cast<int>(count);
}

int FakeReceiver::answerRates(const Request& request, const std::array<std::uint32_t, 2>& rates)
{
    const auto count = static_cast<std::uint32_t>(rates.size());
    return request.index == 0 ? answer(request, &count, sizeof count)
                              : answer(request, rates.data(), sizeof rates);
}

int FakeReceiver::accept(const Request& request)
{
    if (request.isRead()) {
        std::fill_n(request.data, request.length, static_cast<unsigned char>(0));
    }
    return request.length;
}
