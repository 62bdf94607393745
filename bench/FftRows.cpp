#include "Core/Signal/AlignedSamples.h"
#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/DspH/FftEngine.h"
#include "InstructionSets.h"
#include "Rounds.h"
#include "Rows.h"
#include "Table.h"

#include <QVector>
#include <algorithm>
#include <cmath>
#include <fftw3.h>
#include <memory>

namespace
{

constexpr int kShortest = 512;
constexpr int kLongest = 65'536;
constexpr int kLongestWithinCache = 32'768;
constexpr InstructionSets::Bars kBars{0.80, 1.00, -1.0};
constexpr double kGrowthBar = 1.35;

// Unscaled transforms grow by the square root of the length: from here, so many stay far from both ends of
// what a double holds.
constexpr double kSmall = 1e-200;
constexpr int kTransforms = 100;

QVector<DoubleComplex> samples(int length)
{
    QVector<DoubleComplex> all(length);
    for (int i = 0; i < length; ++i) {
        all[i] = {kSmall * (i * 37 % 101 - 50) / 50.0, kSmall * (i * 53 % 97 - 48) / 48.0};
    }
    return all;
}

double operations(int length)
{
    return length * std::log2(length);
}

// The server's transform, on an array as the server has it.
class Engine
{
public:
    explicit Engine(int length)
        : m_input(samples(length))
        , m_data(length)
        , m_engine(length)
    {
    }

    Task task()
    {
        return {[this] { m_engine.transform(m_data.data(), 1); },
                [this] { std::copy(m_input.cbegin(), m_input.cend(), m_data.data()); }, kTransforms};
    }

private:
    const QVector<DoubleComplex> m_input;
    AlignedSamples m_data;
    FftEngine m_engine;
};

// In place on one thread, on an array aligned as FFTW wants it.
class Fftw
{
public:
    explicit Fftw(int length)
        : m_input(samples(length))
        , m_data(fftw_alloc_complex(static_cast<std::size_t>(length)), &fftw_free)
        , m_plan(fftw_plan_dft_1d(length, m_data.get(), m_data.get(), FFTW_BACKWARD, FFTW_MEASURE),
                 &fftw_destroy_plan)
    {
    }

    Task task()
    {
        return {[this] { fftw_execute(m_plan.get()); },
                [this] {
                    std::copy(m_input.cbegin(), m_input.cend(),
                              reinterpret_cast<DoubleComplex*>(m_data.get()));
                },
                kTransforms};
    }

private:
    const QVector<DoubleComplex> m_input;
    std::unique_ptr<fftw_complex, decltype(&fftw_free)> m_data;
    std::unique_ptr<std::remove_pointer_t<fftw_plan>, decltype(&fftw_destroy_plan)> m_plan;
};

} // namespace

void fftRows(Table& table)
{
    InstructionSets::forEach([&table](std::int64_t set) {
        const QString name = InstructionSets::name(set);
        for (int length = kShortest; length <= kLongest; length *= 2) {
            Engine ours(length);
            Fftw peer(length);
            table.add({QStringLiteral("FFT of %1 points").arg(length), name, QStringLiteral("FFTW, MEASURE"),
                       InstructionSets::bar(kBars, set)},
                      compare(ours.task(), peer.task()));
        }
        Engine longest(kLongestWithinCache);
        Engine shortest(kShortest);
        table.add({QStringLiteral("FFT of %1 points, per N log2 N").arg(kLongestWithinCache), name,
                   QStringLiteral("the same of %1 points").arg(kShortest), kGrowthBar,
                   Table::Unit::Nanoseconds, operations(kLongestWithinCache), operations(kShortest)},
                  compare(longest.task(), shortest.task()));
    });
}
