#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"
#include "Core/Worker/DspH/HalfBandTables.h"
#include "Core/Worker/DspH/PlainChain.h"
#include "InstructionSets.h"
#include "Rounds.h"
#include "Rows.h"
#include "Table.h"

#include <memory>
#include <vector>

namespace
{

constexpr int kBlock = 32'768; // samples
constexpr int kTier = 1;

const HalfBandTables::Filter& filterOf(int taps)
{
    for (int thousandth = 410; thousandth > 0; --thousandth) {
        const HalfBandTables::Filter* filter = HalfBandTables::choose(kTier, 1.0, thousandth / 1000.0);
        if (filter != nullptr && filter->taps == taps) {
            return *filter;
        }
    }
    qFatal("no filter of tier %d has %d taps", kTier, taps);
}

// In place, as in the chain: each run refills its block, or it would die away to denormals.
Task inPlace(std::vector<DoubleComplex>& block, const std::function<void()>& run)
{
    return {[&block, run] {
                run();
                use(block.data());
            },
            [&block] {
                block.assign(kBlock, DoubleComplex{0.5, -0.25});
            },
            1};
}

void addRow(Table& table, const QString& stage, const QString& set, Dec2& ours,
            const HalfBandTables::Filter& filter)
{
    std::vector<DoubleComplex> block(kBlock);
    const std::unique_ptr<Plain::Stage> plain = Plain::makeStage(kBlock, filter);
    table.add({stage, set, QStringLiteral("the plain loop"), -1.0, Table::Unit::Nanoseconds, kBlock, kBlock},
              compare(inPlace(block, [&] { ours.decimate(kBlock, block.data(), block.data()); }),
                      inPlace(block, [&] { plain->decimate(kBlock, block.data(), block.data()); })));
}

} // namespace

void stageRows(Table& table)
{
    InstructionSets::forEach([&table](std::int64_t set) {
        const QString name = InstructionSets::name(set);
        CCicN3DecimateBy2 cic;
        addRow(table, QStringLiteral("CIC stage"), name, cic, {0, nullptr});
        CHalfBand11TapDecimateBy2 eleven(kBlock, filterOf(11).coefficients);
        addRow(table, QStringLiteral("half-band stage of 11 taps"), name, eleven, filterOf(11));
        for (const int taps : {7, 55}) {
            CHalfBandDecimateBy2 halfBand(kBlock, taps, filterOf(taps).coefficients);
            addRow(table, QStringLiteral("half-band stage of %1 taps").arg(taps), name, halfBand,
                   filterOf(taps));
        }
    });
}
