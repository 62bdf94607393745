// A whole session with a dongle at its highest rate: how much of a core the server takes, by its threads. The
// dongle is the fake one, whose own work is in the thread that reads: measured twice, with samples that cost
// nothing to make, and with a carrier. To be run by script/bench-session.
#include "System/Carrier.h"
#include "System/Receiver.h"
#include "System/Wait.h"
#include "System/WireClient.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <cstdio>
#include <map>
#include <unistd.h>

namespace
{

constexpr double kRate = 3'200'000; // hertz
constexpr double kBandWidth = 100'000;
constexpr int kFftSize = 32'768;
constexpr int kPoints = 1000;
constexpr int kMeasured = 5000; // ms

/// Processor time of each thread so far, in ms, by its number and name.
std::map<QString, double> threadTimes(qint64 pid)
{
    std::map<QString, double> times;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    for (const QString& task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks + QLatin1Char('/') + task + QStringLiteral("/stat"));
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QByteArray text = file.readAll();
        const auto begin = text.indexOf('(');
        const auto end = text.lastIndexOf(')');
        const QList<QByteArray> fields = text.mid(end + 2).split(' ');
        const double ticks = fields.value(11).toDouble() + fields.value(12).toDouble();
        times[task + QLatin1Char(' ') + QString::fromUtf8(text.mid(begin + 1, end - begin - 1))] =
            ticks * 1000 / static_cast<double>(sysconf(_SC_CLK_TCK));
    }
    return times;
}

bool openAtFullRate(const ServedReceiver& served, WireClient& client)
{
    // The rate counts from the next start.
    return client.open(served.which.identificator) && Carrier::write(client, "sampleRate", kRate) &&
           client.close() && client.open(served.which.identificator) &&
           client
               .askSession(QStringLiteral("setupDspH"), {{QStringLiteral("prefBandWidth"), kBandWidth},
                                                         {QStringLiteral("aliasFree"), 0.8 * kBandWidth}})
               .has_value() &&
           client
               .askSession(QStringLiteral("fft_data_range"), {{QStringLiteral("startIndex"), 0},
                                                              {QStringLiteral("stopIndex"), kFftSize},
                                                              {QStringLiteral("dataSize"), kPoints},
                                                              {QStringLiteral("fftSize"), kFftSize}})
               .has_value() &&
           client.nextFrame(kPoints).has_value() && client.waitForSamples(1);
}

bool measure(const QString& source)
{
    ServedReceiver served(receiver("RTL"));
    served.setCarrier(kRate / 64);
    served.fake.set(QStringLiteral("source"), source);
    if (!served.server.serve()) {
        return false;
    }
    WireClient client(served.server);
    if (!openAtFullRate(served, client)) {
        return false;
    }
    const auto before = threadTimes(served.server.pid());
    const qint64 whole = served.server.processorTime();
    QElapsedTimer clock;
    clock.start();
    client.forgetFrames();
    const int datagrams = client.heard(2) + client.heard(3);
    if (!waitUntil([&clock] { return clock.elapsed() >= kMeasured; })) {
        return false;
    }
    const auto elapsed = static_cast<double>(clock.elapsed());
    const auto after = threadTimes(served.server.pid());
    const auto used = static_cast<double>(served.server.processorTime() - whole);
    std::printf("%s: %.1f %% of a core\n", qPrintable(source), 100 * used / elapsed);
    for (const auto& [thread, time] : after) {
        const auto start = before.find(thread);
        const double share = 100 * (time - (start == before.end() ? 0 : start->second)) / elapsed;
        if (share >= 0.1) {
            std::printf("  %-22s %5.1f %%\n", qPrintable(thread.section(QLatin1Char(' '), 1)), share);
        }
    }
    const auto rates = client.calls(QStringLiteral("outSampleRateChanged"));
    std::printf("  IQ at %.0f samples a second in %.0f datagrams, %.1f spectra a second\n",
                rates.last().object.value(QStringLiteral("outSampleRate")).toDouble(),
                (client.heard(2) + client.heard(3) - datagrams) * 1000 / elapsed,
                static_cast<double>(client.frames().size()) * 1000 / elapsed);
    return client.close() && served.server.quit();
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    std::printf("%.1f million samples a second, IQ of %.0f kHz, a spectrum of %d bins\n", kRate / 1e6,
                kBandWidth / 1e3, kFftSize);
    const bool measured = measure(QStringLiteral("counter")) && measure(QStringLiteral("tone"));
    return measured ? 0 : 1;
}
