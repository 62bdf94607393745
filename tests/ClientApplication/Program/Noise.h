#pragma once

#include <QByteArray>
#include <complex>
#include <vector>

/// A recording of noise, which is nowhere like itself: where a piece of it belongs is beyond doubt.
namespace Noise
{

constexpr int kFrames = 48'000; ///< One second.

using Samples = std::vector<std::complex<int>>; ///< I + jQ, counts.

[[nodiscard]] Samples samples();
/// As a server's player reads it: Q left, I right.
[[nodiscard]] QByteArray toRecording(const Samples& samples);

[[nodiscard]] Samples toSamples(const std::vector<qint16>& values, bool isQuadratureFirst = false);
[[nodiscard]] Samples toSamples(const QByteArray& bytes);

/// The greatest difference of a part between what was received and `wanted`, which goes round, where they fit
/// best. Huge if there is nothing to compare.
[[nodiscard]] double difference(const Samples& received, const std::vector<std::complex<double>>& wanted);
[[nodiscard]] std::vector<std::complex<double>> scaled(const Samples& file, double factor);
/// What the server makes of the file at its full rate: each count becomes 7.6.
[[nodiscard]] std::vector<std::complex<double>> atFullRate(const Samples& file);

} // namespace Noise
