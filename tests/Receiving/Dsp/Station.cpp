#include "Receiving/Dsp/Station.h"

#include <QtTest>
#include <algorithm>
#include <cmath>

namespace
{

constexpr double kTwoPi = 6.283185307179586;

} // namespace

Station::Complex Station::voice(double time)
{
    const double phase = kTwoPi * (130 * time + 6 / (kTwoPi * 0.7) * std::sin(kTwoPi * 0.7 * time));
    const double syllable =
        std::max(0.0, std::sin(kTwoPi * 2.1 * time) + 0.3 * std::sin(kTwoPi * 3.7 * time));
    Complex sum;
    for (int harmonic = 3; harmonic * 130 < 2'600; ++harmonic) {
        const double hertz = harmonic * 130;
        double loudness = 0.0;
        for (const double formant : {500.0, 1'500.0, 2'400.0}) {
            loudness += std::exp(-std::pow((hertz - formant) / 250, 2)) * 500 / formant;
        }
        sum += std::polar(loudness, harmonic * phase);
    }
    return 0.25 * syllable * sum;
}

Station::Complex Station::toneAt(double hertz, double time)
{
    return std::polar(1.0, kTwoPi * hertz * time);
}

QVector<IqSample> Station::transmit(Mode mode, const std::function<Complex(double)>& audio, double rate,
                                    double seconds, double amplitude, double offset)
{
    QVector<IqSample> samples;
    double phase = 0.0;
    for (int n = 0; n < static_cast<int>(rate * seconds); ++n) {
        const double time = n / rate;
        const Complex sound = audio(time);
        Complex value;
        switch (mode) {
        case Mode::Am:
            value = 1.0 + 0.8 * sound.real();
            break;
        case Mode::Nfm:
            phase += kTwoPi * 2'500 * sound.real() / rate;
            value = std::polar(1.0, phase);
            break;
        case Mode::Wfm:
            phase += kTwoPi * 75'000 * sound.real() / rate;
            value = std::polar(1.0, phase);
            break;
        case Mode::Usb:
            value = sound;
            break;
        case Mode::Lsb:
            value = std::conj(sound);
            break;
        case Mode::Cw:
            value = std::abs(sound);
            break;
        }
        value *= 32'768 * amplitude * toneAt(offset, time);
        const auto toCount = [](double part) {
            return static_cast<qint16>(std::lround(std::clamp(part, -32'768.0, 32'767.0)));
        };
        samples.append({toCount(value.real()), toCount(value.imag())});
    }
    return samples;
}

std::vector<float> Station::demodulate(Mode mode, const QVector<IqSample>& samples, double rate)
{
    Demodulator demodulator(mode, rate, kAudioRate);
    std::vector<float> audio;
    for (int n = 0; n < samples.size(); n += 128) {
        demodulator.process(samples.mid(n, 128), audio);
    }
    return audio;
}

double Station::amplitudeOf(const std::vector<float>& audio, double hertz, double from, double to)
{
    Complex sum;
    const auto begin = static_cast<std::size_t>(from * kAudioRate);
    const auto end = std::min(audio.size(), static_cast<std::size_t>(to * kAudioRate));
    for (std::size_t n = begin; n < end; ++n) {
        sum += static_cast<double>(audio[n]) * toneAt(-hertz, static_cast<double>(n) / kAudioRate);
    }
    return 2 * std::abs(sum) / static_cast<double>(end - begin);
}

double Station::rootMeanSquare(const std::vector<float>& audio, double from, double to)
{
    double power = 0.0;
    const auto begin = static_cast<std::size_t>(from * kAudioRate);
    const auto end = std::min(audio.size(), static_cast<std::size_t>(to * kAudioRate));
    for (std::size_t n = begin; n < end; ++n) {
        power += static_cast<double>(audio[n]) * static_cast<double>(audio[n]);
    }
    return std::sqrt(power / static_cast<double>(end - begin));
}

void Station::addModes()
{
    QTest::addColumn<int>("mode");
    for (const QString& name : Demodulator::modeNames()) {
        QTest::newRow(qPrintable(name)) << static_cast<int>(*Demodulator::modeOf(name));
    }
}

double Station::rateOf(Mode mode)
{
    return mode == Mode::Wfm ? 300'000 : 24'000;
}
