#include "Core/Signal/DoubleComplex.h"
#include "Network/Protocol/SampleBlock.h"
#include "Network/Socket/IQSocket.h"
#include "Rounds.h"
#include "Rows.h"
#include "Server/IqConversion.h"
#include "Table.h"
#include "support/AllocationCounter.h"

#include <QUdpSocket>
#include <QVector>
#include <cmath>
#include <random>
#include <sys/resource.h>

namespace
{

constexpr int kBlock = 128; // samples a datagram
constexpr int kLevel = 9;
constexpr int kCounted = 1'000; // datagrams

// A carrier in noise, as a receiver gives: what compresses neither well nor badly.
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
    // Somebody has to have the port; what it is sent is not read.
    QUdpSocket client;
    const auto server = QSharedPointer<Socket>::create();
    const QHostAddress host(QHostAddress::LocalHost);
    if (!client.bind(host, 0) || !server->listen(0)) {
        qFatal("no port");
    }
    IQSocket iqSocket(server);

    const QVector<DoubleComplex> samples = carrier();
    QVector<qint16> values(2 * kBlock);
    const auto send = [&] {
        convertIq(samples.constData(), kBlock, values.data());
        iqSocket.send(values, host, client.localPort(), true);
    };
    convertIq(samples.constData(), kBlock, values.data());
    const QByteArray block = SampleBlock::encode(values);
    const auto compressAlone = [&] {
        const QByteArray data = qCompress(block, kLevel);
        use(data.constData());
    };
    table.add({QStringLiteral("128 samples converted, packed and sent"),
               {},
               QStringLiteral("qCompress of their bytes, level 9")},
              compare({send, {}}, {compressAlone, {}}));

    const long faults = pageFaults();
    int allocations = 0;
    {
        const AllocationCounter counter;
        for (int i = 0; i < kCounted; ++i) {
            send();
        }
        allocations = counter.count();
    }
    table.add(QStringLiteral("- allocations for it"), static_cast<double>(allocations) / kCounted, {}, 0.0);
    table.add(QStringLiteral("- page faults for it"), static_cast<double>(pageFaults() - faults) / kCounted,
              {}, 0.0);
}
