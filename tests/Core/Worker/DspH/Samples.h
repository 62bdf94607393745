#pragma once

#include "Core/Signal/DoubleComplex.h"

#include <QtTest>
#include <cmath>
#include <cstdint>
#include <vector>

/// Signals for the tests of the sample path, and direct forms to hold its classes against.
namespace Samples
{

using Vector = std::vector<DoubleComplex>;
constexpr long double kTwoPi = 6.283185307179586476925286766559L;

/// exp(2 pi j frequency n), n from `first` on; `frequency` in cycles a sample.
inline Vector tone(double frequency, int count, int first = 0)
{
    Vector samples(static_cast<std::size_t>(count));
    for (int n = 0; n < count; ++n) {
        const double phase =
            static_cast<double>(kTwoPi * std::fmod(static_cast<long double>(frequency) * (first + n), 1.0L));
        samples[static_cast<std::size_t>(n)] = {std::cos(phase), std::sin(phase)};
    }
    return samples;
}

/// White noise between -1 and 1, the same at every run.
inline Vector noise(int count, std::uint32_t seed = 1)
{
    Vector samples(static_cast<std::size_t>(count));
    const auto next = [&seed] {
        seed = seed * 1'664'525U + 1'013'904'223U;
        return static_cast<double>(seed) / 2'147'483'648.0 - 1.0;
    };
    for (DoubleComplex& sample : samples) {
        sample.re = next();
        sample.im = next();
    }
    return samples;
}

/// Sample `n`, zero outside.
inline DoubleComplex at(const Vector& samples, int n)
{
    const bool inside = n >= 0 && n < static_cast<int>(samples.size());
    return inside ? samples[static_cast<std::size_t>(n)] : DoubleComplex{};
}

/// Every second output of the convolution of `x` with `h`, as a sum of long doubles: output i ends at sample
/// 2i + `lead`.
inline Vector convolve(const std::vector<double>& h, const Vector& x, int outputs, int lead)
{
    Vector result(static_cast<std::size_t>(outputs));
    const int taps = static_cast<int>(h.size());
    for (int i = 0; i < outputs; ++i) {
        long double re = 0.0L;
        long double im = 0.0L;
        for (int k = 0; k < taps; ++k) {
            const DoubleComplex sample = at(x, 2 * i + lead - k);
            re += static_cast<long double>(h[static_cast<std::size_t>(k)]) * sample.re;
            im += static_cast<long double>(h[static_cast<std::size_t>(k)]) * sample.im;
        }
        result[static_cast<std::size_t>(i)] = {static_cast<double>(re), static_cast<double>(im)};
    }
    return result;
}

/// The first three indices where the two differ by more than `tolerance`; empty if they agree.
inline QByteArray difference(const Vector& actual, const Vector& expected, double tolerance = 0.0)
{
    if (actual.size() != expected.size()) {
        return "length " + QByteArray::number(static_cast<int>(actual.size())) + ", expected " +
               QByteArray::number(static_cast<int>(expected.size()));
    }
    QByteArray text;
    int found = 0;
    for (std::size_t i = 0; i < actual.size() && found < 3; ++i) {
        const DoubleComplex& a = actual[i];
        const DoubleComplex& e = expected[i];
        // Written so that a NaN differs from everything.
        if (!(std::abs(a.re - e.re) <= tolerance && std::abs(a.im - e.im) <= tolerance)) {
            text += " [" + QByteArray::number(static_cast<int>(i)) + "] " +
                    QByteArray::number(a.re, 'g', 17) + ", " + QByteArray::number(a.im, 'g', 17) +
                    " expected " + QByteArray::number(e.re, 'g', 17) + ", " +
                    QByteArray::number(e.im, 'g', 17);
            ++found;
        }
    }
    return text;
}

inline Vector slice(const Vector& samples, int first, int count)
{
    return Vector(samples.begin() + first, samples.begin() + first + count);
}

} // namespace Samples

#define COMPARE_SAMPLES(actual, expected, tolerance)                                                         \
    do {                                                                                                     \
        const QByteArray differing = Samples::difference(actual, expected, tolerance);                       \
        QVERIFY2(differing.isEmpty(), differing.constData());                                                \
    } while (false)
