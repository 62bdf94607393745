#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"
#include "InstructionSets.h"
#include "PlainStages.h"
#include "Rounds.h"
#include "Rows.h"
#include "Table.h"

#include <vector>

namespace
{

constexpr int kBlock = 32'768; // samples
constexpr int kTier = 1;

const HalfBandTables::Filter& filterOf(int taps)
{
    for (double band = 0.41; band > 0.0; band -= 0.001) {
        const HalfBandTables::Filter* filter = HalfBandTables::choose(kTier, 1.0, band);
        if (filter != nullptr && filter->taps == taps) {
            return *filter;
        }
    }
    qFatal("no filter of tier %d has %d taps", kTier, taps);
}

// In place, as in the chain: each run has its block filled anew, or it would die away to denormals.
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

template <class Plain>
void addRow(Table& table, const QString& stage, const QString& set, Dec2& ours, Plain& plain)
{
    std::vector<DoubleComplex> block(kBlock);
    table.add({stage, set, QStringLiteral("the plain loop"), -1.0, Table::Unit::Nanoseconds, kBlock, kBlock},
              compare(inPlace(block, [&] { ours.decimate(kBlock, block.data(), block.data()); }),
                      inPlace(block, [&] { plain.decimate(block); })));
}

} // namespace

void stageRows(Table& table)
{
    InstructionSets::forEach([&table](std::int64_t set) {
        const QString name = InstructionSets::name(set);
        CCicN3DecimateBy2 cic;
        PlainStages::Cic plainCic;
        addRow(table, QStringLiteral("CIC stage"), name, cic, plainCic);
        for (const int taps : {7, 55}) {
            CHalfBandDecimateBy2 halfBand(kBlock, taps, filterOf(taps).coefficients);
            PlainStages::HalfBand plain(kBlock, filterOf(taps));
            addRow(table, QStringLiteral("half-band stage of %1 taps").arg(taps), name, halfBand, plain);
        }
        CHalfBand11TapDecimateBy2 eleven(kBlock, filterOf(11).coefficients);
        PlainStages::HalfBand plainEleven(kBlock, filterOf(11));
        addRow(table, QStringLiteral("half-band stage of 11 taps"), name, eleven, plainEleven);
    });
}
