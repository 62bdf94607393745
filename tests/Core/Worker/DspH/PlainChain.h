#pragma once

#include "Core/Worker/DspH/HalfBandTables.h"
#include "Samples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

/// The signal path in plain loops, one sample after the other, every sum in its order: the form whose bits
/// the classes of the path have to give, whatever they run on.
namespace Plain
{

using Samples::Vector;

struct Stage
{
    virtual ~Stage() = default;
    virtual int decimate(int count, DoubleComplex* in, DoubleComplex* out) = 0;
};

/// (1, 3, 3, 1) / 8.
struct Cic : Stage
{
    int decimate(int count, DoubleComplex* in, DoubleComplex* out) override
    {
        const int outputs = count / 2;
        for (int i = 0; i < outputs; ++i, in += 2) {
            const DoubleComplex even = in[0];
            const DoubleComplex odd = in[1];
            out[i].re = ((previousOdd.re + even.re) * 3.0 + previousEven.re + odd.re) * 0.125;
            out[i].im = ((previousOdd.im + even.im) * 3.0 + previousEven.im + odd.im) * 0.125;
            previousOdd = odd;
            previousEven = even;
        }
        return outputs;
    }
    DoubleComplex previousOdd{};
    DoubleComplex previousEven{};
};

/// Even positions in ascending order, then the centre.
struct HalfBand : Stage
{
    HalfBand(int bufLen, int count, const double* table)
        : buffer(static_cast<std::size_t>(std::max(2 * bufLen, bufLen + count)))
        , taps(count)
        , h(table)
    {
    }
    int decimate(int count, DoubleComplex* in, DoubleComplex* out) override
    {
        const int center = (taps - 1) / 2;
        const int outputs = count > 0 ? (count - 1) / 2 + 1 : 0;
        std::copy_n(in, count, buffer.data() + taps - 1);
        const DoubleComplex* b = buffer.data();
        for (int i = 0; i < outputs; ++i, b += 2) {
            double re = h[0] * b[0].re;
            double im = h[0] * b[0].im;
            for (int k = 2; k < taps; k += 2) {
                re += h[k] * b[k].re;
                im += h[k] * b[k].im;
            }
            out[i].re = re + h[center] * b[center].re;
            out[i].im = im + h[center] * b[center].im;
        }
        for (int k = 0; k < taps - 1; ++k) {
            const int from = count - taps + 1 + k;
            buffer[static_cast<std::size_t>(k)] = from < 0 ? DoubleComplex{} : in[from];
        }
        return outputs;
    }
    Vector buffer;
    int taps;
    const double* h;
};

/// The centre in the middle of the sum; as many outputs as the block length asks for, whatever the count.
struct ElevenTap : Stage
{
    ElevenTap(int length, const double* table)
        : bufLen(length)
        , h(table)
    {
    }
    [[nodiscard]] DoubleComplex filter(const DoubleComplex* x) const
    {
        return {h[0] * x[0].re + h[2] * x[2].re + h[4] * x[4].re + h[5] * x[5].re + h[6] * x[6].re +
                    h[8] * x[8].re + h[10] * x[10].re,
                h[0] * x[0].im + h[2] * x[2].im + h[4] * x[4].im + h[5] * x[5].im + h[6] * x[6].im +
                    h[8] * x[8].im + h[10] * x[10].im};
    }
    int decimate(int count, DoubleComplex* in, DoubleComplex* out) override
    {
        const int loopCount = (bufLen - 17) / 2;
        std::array<DoubleComplex, 27> x{};
        std::copy(history.begin(), history.end(), x.begin());
        std::copy_n(in, std::clamp(bufLen, 0, 17), x.begin() + 10);
        std::array<DoubleComplex, 9> head{};
        for (std::size_t i = 0; i < head.size(); ++i) {
            head[i] = filter(x.data() + 2 * i);
        }
        for (int i = 0; i < loopCount; ++i) {
            out[9 + i] = filter(in + 8 + 2 * i);
        }
        std::copy_n(head.begin(), std::clamp(bufLen, 0, 9), out);
        for (int k = 0; k < 10; ++k) {
            const int from = count - 10 + k;
            history[static_cast<std::size_t>(k)] = from < 0 ? DoubleComplex{} : in[from];
        }
        return count / 2;
    }
    int bufLen;
    const double* h;
    std::array<DoubleComplex, 10> history{};
};

/// A stage of a tier's row; of 0 taps the CIC stage.
inline std::unique_ptr<Stage> makeStage(int bufLen, const HalfBandTables::Filter& filter)
{
    switch (filter.taps) {
    case 0:
        return std::make_unique<Cic>();
    case 11:
        return std::make_unique<ElevenTap>(bufLen, filter.coefficients);
    default:
        return std::make_unique<HalfBand>(bufLen, filter.taps, filter.coefficients);
    }
}

/// All stages one after another over the whole array.
struct Chain
{
    float setup(int bufLen, float rate, float preferredBandWidth, float band, int tier)
    {
        stages.clear();
        while (stages.size() < 12 &&
               static_cast<double>(rate) >= 2.0 * static_cast<double>(preferredBandWidth)) {
            const auto* filter =
                HalfBandTables::choose(tier, static_cast<double>(rate), static_cast<double>(band));
            stages.push_back(
                makeStage(bufLen, filter == nullptr ? HalfBandTables::aliasErrorFilter() : *filter));
            rate /= 2.0F;
        }
        return rate;
    }
    int process(int count, DoubleComplex* samples)
    {
        for (const std::unique_ptr<Stage>& stage : stages) {
            count = stage->decimate(count, samples, samples);
        }
        return count;
    }
    std::vector<std::unique_ptr<Stage>> stages;
};

/// The mixer at the full rate. Entry one comes first.
struct TableOscillator
{
    explicit TableOscillator(int length = 512)
        : table(static_cast<std::size_t>(length), DoubleComplex{1.0, 0.0})
    {
    }
    void setFrequency(double frequency, double rate)
    {
        const double step = rate / static_cast<double>(table.size());
        const auto k = static_cast<int>(frequency / step + 0.5); // NOLINT(bugprone-incorrect-roundings)
        const double coarse = k * step;
        residual = frequency - coarse;
        const double phaseStep = coarse * 6.283185307179586 / rate;
        double phase = 0.0;
        for (DoubleComplex& entry : table) {
            entry = {std::cos(phase), std::sin(phase)};
            phase += phaseStep;
        }
    }
    void process(DoubleComplex* samples, int count)
    {
        for (int i = 0; i < count; ++i) {
            index = index + 1 >= table.size() ? 0 : index + 1;
            const DoubleComplex factor = table[index];
            const DoubleComplex sample = samples[i];
            samples[i].re = sample.re * factor.re - sample.im * factor.im;
            samples[i].im = factor.im * sample.re + sample.im * factor.re;
        }
    }
    Vector table;
    std::size_t index = 0;
    double residual = 0.0;
};

/// The mixer at the output rate.
struct RotatingOscillator
{
    void setFrequency(double frequency, double rate)
    {
        phasor = {1.0, 0.0};
        const double phaseStep = frequency * 6.283185307179586 / rate;
        stepCos = std::cos(phaseStep);
        stepSin = std::sin(phaseStep);
    }
    void process(DoubleComplex* samples, int count)
    {
        for (int i = 0; i < count; ++i) {
            const double a = phasor.re * stepCos - phasor.im * stepSin;
            const double b = stepCos * phasor.im + stepSin * phasor.re;
            const double gain = 1.95 - (phasor.re * phasor.re + phasor.im * phasor.im);
            phasor = {a * gain, b * gain};
            const DoubleComplex sample = samples[i];
            samples[i] = {a * sample.re - b * sample.im, b * sample.re + a * sample.im};
        }
    }
    DoubleComplex phasor{1.0, 0.0};
    double stepCos = 1.0;
    double stepSin = 0.0;
};

} // namespace Plain
