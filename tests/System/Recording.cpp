#include "System/Recording.h"

#include <QtEndian>
#include <cmath>

namespace
{

constexpr double kTwoPi = 6.283185307179586;

template <typename T>
void append(QByteArray& bytes, T value)
{
    const T little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char*>(&little), sizeof(little));
}

} // namespace

QByteArray wavHeader(quint32 dataSize, quint32 sampleRate, quint16 channels, quint16 bitsPerSample)
{
    const auto frame = static_cast<quint16>(channels * bitsPerSample / 8);
    QByteArray bytes("RIFF");
    append<quint32>(bytes, 36 + dataSize);
    bytes.append("WAVEfmt ");
    append<quint32>(bytes, 16);
    append<quint16>(bytes, 1);
    append<quint16>(bytes, channels);
    append<quint32>(bytes, sampleRate);
    append<quint32>(bytes, sampleRate * frame);
    append<quint16>(bytes, frame);
    append<quint16>(bytes, bitsPerSample);
    bytes.append("data");
    append<quint32>(bytes, dataSize);
    return bytes;
}

QByteArray recording(const std::vector<Tone>& tones, int seconds, int sampleRate)
{
    const int count = seconds * sampleRate;
    QByteArray bytes = wavHeader(static_cast<quint32>(count) * 4, static_cast<quint32>(sampleRate));
    for (int n = 0; n < count; ++n) {
        double inPhase = 0;
        double quadrature = 0;
        for (const Tone& tone : tones) {
            const double phase = kTwoPi * std::fmod(tone.frequency * n / sampleRate, 1.0);
            inPhase += tone.amplitude * std::cos(phase);
            quadrature += tone.amplitude * std::sin(phase);
        }
        append<qint16>(bytes, static_cast<qint16>(std::lround(quadrature)));
        append<qint16>(bytes, static_cast<qint16>(std::lround(inPhase)));
    }
    return bytes;
}
