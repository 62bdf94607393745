#pragma once

#include <QVector>
#include <complex>
#include <vector>

/// Looks for stations in what a client has received, by sums written out, in long double.
namespace Measure
{

/// The amplitude of a carrier in samples as they come on the wire (real = Q, imaginary = I), in their
/// units, seen through a Hann window. `frequency` in hertz from the centre.
double amplitude(const std::vector<std::complex<double>>& samples, double frequency, double sampleRate);

/// Index of the strongest point of a spectrum frame: the smallest value.
int strongest(const QVector<qint16>& points);

/// The value of the point that shows bin `bin` of an `fftSize`-point spectrum (`fftSize` / 2 is 0 Hz), for
/// one carrier of `amplitude` in units of the samples inside the server.
double point(double amplitude, double frequency, double sampleRate, int fftSize, int bin);

} // namespace Measure
