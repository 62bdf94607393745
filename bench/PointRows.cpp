#include "Core/Signal/Kernels/SpectrumLevels.h"
#include "InstructionSets.h"
#include "Rounds.h"
#include "Rows.h"
#include "Table.h"

#include <cmath>
#include <random>
#include <vector>

namespace
{

constexpr int kBins = 32'768;
constexpr double kScale = 1e-7;
constexpr InstructionSets::Bars kBars{0.13, 0.21, 0.37};

std::vector<DoubleComplex> bins()
{
    std::mt19937_64 generator(1);
    std::normal_distribution<double> noise;
    std::vector<DoubleComplex> all(kBins);
    for (DoubleComplex& bin : all) {
        bin = {noise(generator), noise(generator)};
    }
    return all;
}

} // namespace

void pointRows(Table& table)
{
    const std::vector<DoubleComplex> spectrum = bins();
    std::vector<std::int16_t> points(kBins);
    const Task libm{[&] {
                        for (std::size_t k = 0; k < spectrum.size(); ++k) {
                            const double power =
                                spectrum[k].re * spectrum[k].re + spectrum[k].im * spectrum[k].im;
                            // -4 times the level in dB
                            points[k] =
                                static_cast<std::int16_t>(std::log2(power * kScale + 1e-22) * -12.0412);
                        }
                        use(points.data());
                    },
                    {}};
    InstructionSets::forEach([&](std::int64_t set) {
        const Task ours{[&] {
                            Kernels::levels(spectrum.data(), kBins, kScale, points.data());
                            use(points.data());
                        },
                        {}};
        table.add({QStringLiteral("power and logarithm of a point"), InstructionSets::name(set),
                   QStringLiteral("the same by libm's log2"), InstructionSets::bar(kBars, set),
                   Table::Unit::Nanoseconds, kBins, kBins},
                  compare(ours, libm));
    });
}
