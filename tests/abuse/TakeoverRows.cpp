// Takeovers, and sessions for those who never answer.
#include "abuse/Attempts.h"
#include "abuse/Records.h"
#include "abuse/Rows.h"
#include "abuse/Scene.h"
#include "abuse/Verdicts.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace
{

const QString kOther = QStringLiteral("any other");

constexpr int kTakeovers = 257;
constexpr double kMostMemory = 40.0;     // MB
constexpr double kMostSilence = 1.0;     // s
constexpr int kCalm = 2000;              // ms
constexpr int kLongestDeafness = 60'000; // ms

constexpr double kUnprovenBudget = 32.0; // KiB in any 10 s
// Half a second less than the ten that the server counts: for what a datagram may take to arrive.
constexpr qint64 kUnprovenWindow = 9'500'000'000;
constexpr int kFirstUnproven = 8000;     // ms until the server has given up on a silent client
constexpr int kFurtherUnproven = 45'000; // ms
constexpr int kFirstHost = 11;           // 127.0.0.11

constexpr int kDumpSeconds = 4;
constexpr int kDumpRate = 200;     // requests/s
constexpr double kMostDumps = 5.0; // a second

double megabytes(qint64 kibibytes)
{
    return static_cast<double>(kibibytes) * 1024e-6;
}

// Longest time from `begin` on without an answer, s.
double silence(const MeasuringClient& client, qint64 begin)
{
    return Records::longestSilence(client.heardSince(begin), begin, MeasuringClient::now());
}

struct Takeovers
{
    double memory = 0.0;  // MB, at its highest
    double silence = 0.0; // s that another client went without an answer
    double lines = 0.0;   // in the log
    QString obstacle;     // as in SessionMeter::Figures
};

// All at once, during an owner's session, while another client asks fifty times a second.
Takeovers takeOver(const Amount& amount)
{
    constexpr int kAsked = 50;
    Scene scene(amount.recording);
    MeasuringClient owner(scene.server());
    scene.open(owner);
    MeasuringClient other(scene.server());
    const auto ask = [&] { other.call(scene.server().id(), QStringLiteral("connect_to_host")); };
    Scene::repeat(kCalm, kAsked, ask);

    const qint64 memory = scene.server().residentMemory();
    const auto lines = scene.server().lines().size();
    const qint64 begin = MeasuringClient::now();
    const SessionMeter meter(scene, owner);
    MeasuringClient stranger(scene.server());
    for (int i = 0; i < kTakeovers; ++i) {
        stranger.greet(kOther);
    }
    Takeovers takeovers;
    QElapsedTimer clock;
    clock.start();
    // Until the other client has been answered steadily again.
    do {
        Scene::repeat(kCalm, kAsked, [&] {
            ask();
            takeovers.memory =
                std::max(takeovers.memory, megabytes(scene.server().residentMemory() - memory));
        });
    } while (clock.elapsed() < kLongestDeafness &&
             silence(other, MeasuringClient::now() - kCalm * 500'000LL) > kMostSilence / 2);
    takeovers.silence = silence(other, begin);
    takeovers.lines = scene.server().lines().size() - lines;
    takeovers.obstacle = meter.figures().obstacle;
    return takeovers;
}

void silentClients(Scene& scene, Verdicts& verdicts)
{
    const qint64 begin = MeasuringClient::now();
    MeasuringClient first(scene.server(), kFirstHost);
    first.greet(scene.receiver());
    Scene::pass(kFirstUnproven);
    verdicts.tell(QStringLiteral("silent client: sent to the first"),
                  Records::bytes(first.heardSince(begin)) / 1024, QStringLiteral("KiB"));

    std::vector<std::unique_ptr<MeasuringClient>> further;
    Scene::repeat(kFurtherUnproven, 1, [&scene, &further] {
        const int host = kFirstHost + 1 + static_cast<int>(further.size());
        further.push_back(std::make_unique<MeasuringClient>(scene.server(), host));
        further.back()->greet(kOther);
    });
    MeasuringClient::Record all; // answers aside, which are shorter than what they answer
    for (const auto& client : further) {
        all += Records::unasked(client->heardSince(begin));
    }
    verdicts.atMost(QStringLiteral("- to %1 others of its minute, in any 10 s").arg(further.size()),
                    Records::mostBytes(all, kUnprovenWindow) / 1024, kUnprovenBudget, QStringLiteral("KiB"));
}

} // namespace

void takeoverRows(const Amount& amount, Verdicts& verdicts)
{
    const Takeovers takeovers = attempt([&amount] { return takeOver(amount); });
    verdicts.atMost(QStringLiteral("%1 takeovers: memory").arg(kTakeovers), takeovers.memory, kMostMemory,
                    QStringLiteral("MB"));
    verdicts.atMost(QStringLiteral("- longest time without an answer to another"), takeovers.silence,
                    kMostSilence, QStringLiteral("s"), takeovers.obstacle);
    verdicts.tell(QStringLiteral("- lines in the log"), takeovers.lines, QString());
}

void amplificationRows(const Amount& amount, Verdicts& verdicts)
{
    constexpr int kTrueSession = 5000; // ms
    constexpr int kSettle = 1000;      // ms
    constexpr double kLeastIq = 98.0;  // % of a session without them
    Scene scene(amount.recording);
    const auto trueSession = [&scene] {
        MeasuringClient client(scene.server());
        scene.open(client);
        Scene::pass(kSettle);
        const SessionMeter meter(scene, client);
        Scene::pass(kTrueSession);
        SessionMeter::Figures figures = meter.figures();
        client.leave();
        Scene::pass(kSettle);
        return figures;
    };
    const SessionMeter::Figures quiet = attempt(trueSession);
    silentClients(scene, verdicts);
    const SessionMeter::Figures after = attempt(trueSession);
    verdicts.atLeast(QStringLiteral("- IQ of a true client after them, of one before"),
                     after.iq / quiet.iq * 100, kLeastIq, QStringLiteral("%"),
                     quiet.obstacle + after.obstacle);

    MeasuringClient owner(scene.server());
    scene.open(owner);
    MeasuringClient stranger(scene.server(), kFirstHost);
    const qint64 begin = MeasuringClient::now();
    Scene::repeat(kDumpSeconds * 1000, kDumpRate,
                  [&] { stranger.call(scene.server().id(), QStringLiteral("it_ra_rrd")); });
    verdicts.atMost(QStringLiteral("%1/s requests for all properties: answered").arg(kDumpRate),
                    Records::calls(owner.heardSince(begin), QStringLiteral("sss_syc_rrd")) /
                        double{kDumpSeconds},
                    kMostDumps, QStringLiteral("/s"));
}
