#include "Rows.h"
#include "ServerCost.h"
#include "System/Carrier.h"
#include "System/Receiver.h"
#include "System/Served.h"
#include "Table.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QElapsedTimer>
#include <algorithm>
#include <stdexcept>

// The server's program in a process of its own, with the fakes of the receivers' libraries in it.

namespace
{

constexpr double kBandWidth = 30'000; // hertz
constexpr double kAliasFree = 8'000;
constexpr int kFftSize = 32'768;
constexpr int kPoints = 1'000;
constexpr int kWarmUp = 1'000;   // ms
constexpr int kMeasured = 8'000; // ms
constexpr int kStarts = 9;
constexpr double kStartBar = 100;     // ms
constexpr double kMemoryBar = 40;     // MiB
constexpr double kThreadShown = 0.05; // percent

struct Session
{
    const char* receiver;
    double rate; // hertz
    double bar;  // percent of a core
};

constexpr Session kSlow{"RTL", 2'400'000, 1.7};
constexpr Session kFast{"Airspy", 10'000'000, 2.6};

void require(bool fact, const char* what)
{
    if (!fact) {
        throw std::runtime_error(what);
    }
}

// A rate that is set counts from the next start.
void open(const ServedReceiver& served, WireClient& client, double rate)
{
    require(client.open(served.which.identificator), "no session");
    require(Carrier::write(client, "sampleRate", rate), "no rate");
    require(client.close() && client.open(served.which.identificator), "no second session");
    require(client
                .askSession(QStringLiteral("setupDspH"), {{QStringLiteral("prefBandWidth"), kBandWidth},
                                                          {QStringLiteral("aliasFree"), kAliasFree}})
                .has_value(),
            "no band");
    require(client
                .askSession(QStringLiteral("fft_data_range"), {{QStringLiteral("startIndex"), 0},
                                                               {QStringLiteral("stopIndex"), kFftSize},
                                                               {QStringLiteral("dataSize"), kPoints},
                                                               {QStringLiteral("fftSize"), kFftSize}})
                .has_value(),
            "no spectrum");
    require(client.nextFrame(kPoints).has_value() && client.waitForSamples(1), "nothing came");
}

void wait(int milliseconds)
{
    QElapsedTimer clock;
    clock.start();
    require(waitUntil([&] { return clock.elapsed() >= milliseconds; }), "the clock has stopped");
}

// A library's own thread has the process's name.
QString label(const QString& thread)
{
    return thread == QLatin1String("orvenlink") ? QStringLiteral("of the receiver's library") : thread;
}

// Adds the rows of one session; gives its share of a core in percent.
double measure(Table& table, const Session& session)
{
    ServedReceiver served(receiver(session.receiver));
    served.fake.set(QStringLiteral("source"), QStringLiteral("noise"));
    served.fake.set(QStringLiteral("steady"), QStringLiteral("1"));
    served.fake.set(QStringLiteral("airspy.rates"), QStringLiteral("10000000 3000000"));
    require(served.server.serve(), "no server");
    WireClient client(served.server);
    open(served, client, session.rate);
    wait(kWarmUp);

    const qint64 pid = served.server.pid();
    const int datagrams = client.heard(2) + client.heard(3);
    client.forgetFrames();
    const QMap<QString, double> threads = ServerCost::threadTimes(pid);
    const double whole = ServerCost::processorTime(pid);
    QElapsedTimer clock;
    clock.start();
    wait(kMeasured);
    const double seconds = static_cast<double>(clock.nsecsElapsed()) * 1e-9;
    const double share = 100 * (ServerCost::processorTime(pid) - whole) / seconds;
    const QMap<QString, double> after = ServerCost::threadTimes(pid);

    const QString name = QStringLiteral("session at %1 million samples/s").arg(session.rate / 1e6);
    table.add(name + QStringLiteral(", of a core"), share, QStringLiteral("%"), session.bar);
    for (auto thread = after.cbegin(); thread != after.cend(); ++thread) {
        const double part = 100 * (thread.value() - threads.value(thread.key())) / seconds;
        if (part >= kThreadShown) {
            table.add(QStringLiteral("- its thread ") + label(thread.key()), part, QStringLiteral("%"));
        }
    }
    table.add(QStringLiteral("- its datagrams of IQ"),
              (client.heard(2) + client.heard(3) - datagrams) / seconds, QStringLiteral("/s"));
    table.add(QStringLiteral("- its spectra"), client.frames().size() / seconds, QStringLiteral("/s"));
    table.add(QStringLiteral("- its resident memory"),
              static_cast<double>(served.server.residentMemory()) / 1024, QStringLiteral("MiB"), kMemoryBar);
    require(client.close() && served.server.quit(), "no end");
    return share;
}

// Until the last line of the address block, with a recording in place of a receiver; the median.
double startTime()
{
    QVector<double> times;
    for (int i = 0; i < kStarts; ++i) {
        Served served(recording({}, 1));
        QElapsedTimer clock;
        clock.start();
        served.server.start();
        require(waitUntil([&served] { return served.server.port() != 0; }), "no address block");
        times.append(static_cast<double>(clock.nsecsElapsed()) * 1e-6);
        require(served.server.waitUntilServing() && served.server.quit(), "no server");
    }
    std::sort(times.begin(), times.end());
    return times[kStarts / 2];
}

} // namespace

void sessionRows(Table& table)
{
    table.add(QStringLiteral("start to address block"), startTime(), QStringLiteral("ms"), kStartBar);
    const double slow = measure(table, kSlow);
    const double fast = measure(table, kFast);
    table.add(QStringLiteral("session: the second share over the first"), fast / slow, QStringLiteral("x"),
              kFast.rate / kSlow.rate);
}
