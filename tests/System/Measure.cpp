#include "System/Measure.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr long double kTwoPi = 6.283185307179586476925286766559L;

} // namespace

double Measure::amplitude(const std::vector<std::complex<double>>& samples, double frequency,
                          double sampleRate)
{
    std::complex<long double> sum = 0;
    long double weights = 0;
    const auto count = static_cast<long double>(samples.size());
    for (size_t n = 0; n < samples.size(); ++n) {
        const auto place = static_cast<long double>(n);
        const long double weight = 0.5L - 0.5L * std::cos(kTwoPi * (place + 0.5L) / count);
        const long double phase =
            -kTwoPi * static_cast<long double>(frequency) * place / static_cast<long double>(sampleRate);
        const std::complex<long double> sample(samples[n].imag(), samples[n].real());
        sum += weight * sample * std::polar(1.0L, phase);
        weights += weight;
    }
    return static_cast<double>(std::abs(sum) / weights);
}

int Measure::strongest(const QVector<qint16>& points)
{
    return static_cast<int>(std::min_element(points.begin(), points.end()) - points.begin());
}

double Measure::point(double amplitude, double frequency, double sampleRate, int fftSize, int bin)
{
    const int middle = fftSize / 2;
    const long double offset = static_cast<long double>(frequency / sampleRate) -
                               static_cast<long double>(bin - middle) / static_cast<long double>(fftSize);
    std::complex<long double> sum = 0;
    for (int n = 0; n < fftSize; ++n) {
        const long double turn =
            kTwoPi * static_cast<long double>(n - 1) / static_cast<long double>(fftSize - 1);
        const long double window = 0.42L - 0.5L * std::cos(turn) + 0.08L * std::cos(2 * turn);
        sum += window * std::polar(1.0L, kTwoPi * offset * static_cast<long double>(n));
    }
    const long double power =
        std::norm(sum) * static_cast<long double>(amplitude) * static_cast<long double>(amplitude);
    const long double scale =
        20.0L / (4096.0L * static_cast<long double>(fftSize) * (fftSize >= 4096 ? 1.0L : 2.0L / 3.0L));
    return static_cast<double>(-40.0L * std::log10(power * scale + 1e-22L));
}
