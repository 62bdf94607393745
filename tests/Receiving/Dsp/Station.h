#pragma once

#include "Receiving/Dsp/Demodulator.h"

#include <complex>
#include <functional>
#include <vector>

/// Stations that transmit, demodulated, and how what is heard is measured.
namespace Station
{

using Complex = std::complex<double>;
using Mode = Demodulator::Mode;

constexpr int kAudioRate = 48'000; ///< Hz, of all audio.

/// A voice: the harmonics of a pitch that glides, louder around three formants, in syllables with pauses. Its
/// real part is the sound; as a whole it holds positive frequencies alone.
[[nodiscard]] Complex voice(double time);
[[nodiscard]] Complex toneAt(double hertz, double time);
/// Samples of a station that transmits `audio`, the way its mode does, at `amplitude` of full scale and
/// `offset` hertz from the middle.
[[nodiscard]] QVector<IqSample> transmit(Mode mode, const std::function<Complex(double)>& audio, double rate,
                                         double seconds, double amplitude = 0.1, double offset = 0.0);
/// Cut up as a session brings them.
[[nodiscard]] std::vector<float> demodulate(Mode mode, const QVector<IqSample>& samples, double rate);
/// Amplitude of a tone in the audio from `from` to `to` seconds.
[[nodiscard]] double amplitudeOf(const std::vector<float>& audio, double hertz, double from, double to);
[[nodiscard]] double rootMeanSquare(const std::vector<float>& audio, double from, double to);

/// A row for each mode, as the column "mode".
void addModes();
/// Hz, that carries the mode well.
[[nodiscard]] double rateOf(Mode mode);

} // namespace Station
