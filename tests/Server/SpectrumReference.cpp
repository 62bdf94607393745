#include "SpectrumReference.h"

#include <cmath>

namespace
{

constexpr long double kPi = 3.14159265358979323846264L;

} // namespace

SpectrumReference::SpectrumReference(const QVector<DoubleComplex>& samples)
    : m_windowed(samples)
{
    const int size = samples.size();
    for (int i = 0; i < size; ++i) {
        const double place = static_cast<double>(i - 1) / (size - 1);
        const double blackman = 0.42 - 0.5 * std::cos(2 * M_PI * place) + 0.08 * std::cos(4 * M_PI * place);
        const double factor = static_cast<float>(blackman) * (i % 2 == 0 ? 1.0 : -1.0);
        m_windowed[i] = {samples[i].re * factor, samples[i].im * factor};
    }
}

long double SpectrumReference::power(int bin) const
{
    const int size = m_windowed.size();
    long double re = 0.0L;
    long double im = 0.0L;
    for (int j = 0; j < size; ++j) {
        const auto turns = static_cast<long double>(static_cast<qint64>(j) * bin % size) / size;
        const long double cosine = std::cos(2 * kPi * turns);
        const long double sine = std::sin(2 * kPi * turns);
        re += m_windowed[j].re * cosine - m_windowed[j].im * sine;
        im += m_windowed[j].re * sine + m_windowed[j].im * cosine;
    }
    const long double factor = size < 4096 ? 2.0L / 3.0L : 1.0L;
    return (re * re + im * im) * 20.0L / (4096.0L * size * factor);
}

qint16 SpectrumReference::point(float power)
{
    int exponent = 0;
    const float m = std::frexp(power, &exponent);
    float logarithm = 1.2314959F;
    logarithm = logarithm * m - 4.118525F;
    logarithm = logarithm * m + 6.0219703F;
    logarithm = logarithm * m - 3.1339645F;
    logarithm += static_cast<float>(exponent);
    logarithm *= 0.30103F;
    return static_cast<qint16>(std::trunc(-40.0 * logarithm));
}

QVector<qint16> SpectrumReference::frame(int startIndex, int stopIndex, int dataSize) const
{
    QVector<qint16> points;
    const double step = (static_cast<double>(stopIndex) - startIndex) / dataSize;
    for (int n = 0; n < dataSize; ++n) {
        const double bin = std::trunc(startIndex + n * step);
        const bool exists = bin >= 0 && bin < m_windowed.size();
        points.append(exists ? point(static_cast<float>(power(static_cast<int>(bin)) + 1e-22L))
                             : qint16{800});
    }
    return points;
}
