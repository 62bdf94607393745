#include "Core/Worker/DoubleComplex.h"
#include "Network/Socket/SampleBlock.h"
#include "Rounds.h"
#include "Rows.h"
#include "Server/IqConversion.h"
#include "Table.h"
#include "support/AllocationCounter.h"

#include <QVector>
#include <cmath>
#include <random>
#include <sys/resource.h>

namespace
{

constexpr int kBlock = 128; // samples a datagram
constexpr int kLevel = 9;
constexpr int kCounted = 1'000; // datagrams

// A carrier in noise, as a receiver gives: what compresses neither well nor not at all.
QVector<DoubleComplex> carrier()
{
    std::mt19937_64 generator(1);
    std::normal_distribution<double> noise(0.0, 0.002);
    QVector<DoubleComplex> samples(kBlock);
    for (int i = 0; i < kBlock; ++i) {
        samples[i] = {0.05 * std::sin(0.3 * i) + noise(generator),
                      0.05 * std::cos(0.3 * i) + noise(generator)};
    }
    return samples;
}

long pageFaults()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_minflt + usage.ru_majflt;
}

} // namespace

void datagramRows(Table& table)
{
    const QVector<DoubleComplex> samples = carrier();
    QVector<qint16> values(2 * kBlock);
    const auto pack = [&] {
        convertIq(samples.constData(), kBlock, values.data());
        const QByteArray data = SampleBlock::compress(SampleBlock::encode(values));
        use(data.constData());
    };
    convertIq(samples.constData(), kBlock, values.data());
    const QByteArray block = SampleBlock::encode(values);
    const auto compressAlone = [&] {
        const QByteArray data = qCompress(block, kLevel);
        use(data.constData());
    };
    table.add({QStringLiteral("datagram of 128 samples, converted and packed"),
               {},
               QStringLiteral("qCompress of its block, level 9")},
              compare({pack, {}}, {compressAlone, {}}));

    const long faults = pageFaults();
    int allocations = 0;
    {
        const AllocationCounter counter;
        for (int i = 0; i < kCounted; ++i) {
            pack();
        }
        allocations = counter.count();
    }
    table.add(QStringLiteral("allocations a datagram"), static_cast<double>(allocations) / kCounted, {}, 0.0);
    table.add(QStringLiteral("page faults a datagram"), static_cast<double>(pageFaults() - faults) / kCounted,
              {}, 0.0);
}
