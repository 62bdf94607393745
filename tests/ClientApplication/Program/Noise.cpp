#include "ClientApplication/Program/Noise.h"

#include "Receiving/Dsp/PlayerSink.h"
#include "System/Recording.h"

#include <QtEndian>
#include <algorithm>
#include <random>

Noise::Samples Noise::samples()
{
    std::mt19937 engine(7);
    std::uniform_int_distribution<int> any(-2'000, 2'000);
    Samples samples;
    for (int n = 0; n < kFrames; ++n) {
        const int i = any(engine);
        samples.emplace_back(i, any(engine));
    }
    return samples;
}

QByteArray Noise::toRecording(const Samples& samples)
{
    std::vector<qint16> values;
    for (const std::complex<int>& sample : samples) {
        values.push_back(static_cast<qint16>(sample.imag()));
        values.push_back(static_cast<qint16>(sample.real()));
    }
    QByteArray bytes = wavHeader(static_cast<quint32>(samples.size() * 4), 48'000);
    QByteArray data(static_cast<int>(values.size() * 2), '\0');
    qToLittleEndian<qint16>(values.data(), static_cast<qsizetype>(values.size()), data.data());
    return bytes + data;
}

Noise::Samples Noise::toSamples(const std::vector<qint16>& values, bool isQuadratureFirst)
{
    Samples samples;
    for (std::size_t n = 0; n + 1 < values.size(); n += 2) {
        isQuadratureFirst ? samples.emplace_back(values[n + 1], values[n])
                          : samples.emplace_back(values[n], values[n + 1]);
    }
    return samples;
}

Noise::Samples Noise::toSamples(const QByteArray& bytes)
{
    std::vector<qint16> values(static_cast<std::size_t>(bytes.size()) / 2);
    qFromLittleEndian<qint16>(bytes.constData(), static_cast<qsizetype>(values.size()), values.data());
    return toSamples(values);
}

double Noise::difference(const Samples& received, const std::vector<std::complex<double>>& wanted)
{
    if (received.size() < 1'000 || wanted.empty()) {
        return 1e9;
    }
    const auto at = [&](std::size_t start, std::size_t n) {
        const std::complex<double> there = wanted[(start + n) % wanted.size()];
        const std::complex<double> here(received[n].real(), received[n].imag());
        return std::max(std::abs(here.real() - there.real()), std::abs(here.imag() - there.imag()));
    };
    double best = 1e9;
    for (std::size_t start = 0; start < wanted.size(); ++start) {
        double worst = 0.0;
        for (std::size_t n = 0; n < received.size() && worst < best; ++n) {
            worst = std::max(worst, at(start, n));
        }
        best = std::min(best, worst);
    }
    return best;
}

std::vector<std::complex<double>> Noise::scaled(const Samples& file, double factor)
{
    std::vector<std::complex<double>> samples;
    for (const std::complex<int>& sample : file) {
        samples.emplace_back(sample.real() * factor, sample.imag() * factor);
    }
    return samples;
}

std::vector<std::complex<double>> Noise::atFullRate(const Samples& file)
{
    return scaled(file, PlayerSink::kCountsPerCount);
}
