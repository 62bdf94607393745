// Floods and bombs: a session during them gets what it gets without them.
#include "abuse/Attempts.h"
#include "abuse/Datagrams.h"
#include "abuse/Flood.h"
#include "abuse/Rows.h"
#include "abuse/Scene.h"
#include "abuse/Verdicts.h"

namespace
{

constexpr double kLeastRate = 0.8; // of what is wanted
constexpr int kBombSeconds = 10;
constexpr int kSettle = 1000; // ms

constexpr double kLeastIq = 98.0;       // % of a run without
constexpr double kLongestPause = 200.0; // ms
constexpr double kMostCost = 1.5;       // times the processor time of a run without

const QString kPercent = QStringLiteral("%");

struct Run : SessionMeter::Figures
{
    double rate = 0.0; // of the abuse, datagrams/s
};

// A session during which `abuse` lets some seconds pass, sends `wanted` datagrams a second or nearly, and
// gives their number.
template <typename Abuse>
Run runDuring(const Amount& amount, double wanted, Abuse abuse)
{
    return attempt([&] {
        Scene scene(amount.recording);
        MeasuringClient client(scene.server());
        scene.open(client);
        Scene::pass(kSettle);
        const SessionMeter meter(scene, client);
        const double rate = abuse(scene);
        Run run{meter.figures(), rate};
        if (rate < kLeastRate * wanted) {
            run.obstacle = QStringLiteral("too few were sent");
        }
        return run;
    });
}

Run quietRun(const Amount& amount, int seconds)
{
    return runDuring(amount, 0.0, [seconds](Scene&) {
        Scene::pass(seconds * 1000);
        return 0.0;
    });
}

void judge(const QString& what, const Run& run, const Run& quiet, Verdicts& verdicts)
{
    const QString& obstacle = run.obstacle.isEmpty() ? quiet.obstacle : run.obstacle;
    verdicts.tell(what, run.rate, QStringLiteral("/s"));
    verdicts.atLeast(QStringLiteral("- IQ, of a run without"), run.iq / quiet.iq * 100, kLeastIq, kPercent,
                     obstacle);
    verdicts.atMost(QStringLiteral("- longest pause"), run.longestPause, kLongestPause, QStringLiteral("ms"),
                    obstacle);
}

} // namespace

void floodRows(const Amount& amount, Verdicts& verdicts)
{
    const Run quiet = quietRun(amount, amount.floodSeconds);
    verdicts.tell(QStringLiteral("session of %1 s: datagrams of IQ").arg(amount.floodSeconds), quiet.iq,
                  QString());
    verdicts.tell(QStringLiteral("- longest pause"), quiet.longestPause, QStringLiteral("ms"));
    for (const Datagrams::Kind& kind : Datagrams::kinds()) {
        const Run flooded = runDuring(amount, kind.perSecond, [&amount, &kind](Scene& scene) {
            const Flood flood(scene.server(), kind.make(scene.server()), kind.perSecond);
            Scene::pass(amount.floodSeconds * 1000);
            return static_cast<double>(flood.sent()) / amount.floodSeconds;
        });
        judge(QStringLiteral("flood of ") + QLatin1String(kind.name), flooded, quiet, verdicts);
        verdicts.tell(QStringLiteral("- the server's part of a core"),
                      flooded.processor / amount.floodSeconds * 100, kPercent);
    }
}

void bombRows(const Amount& amount, Verdicts& verdicts)
{
    const Run quiet = quietRun(amount, kBombSeconds);
    const std::vector<QByteArray> bombs = Datagrams::bombs();
    for (const int perSecond : {20, 50}) {
        const Run bombed = runDuring(amount, perSecond, [perSecond, &bombs](Scene& scene) {
            MeasuringClient stranger(scene.server());
            size_t sent = 0;
            Scene::repeat(kBombSeconds * 1000, perSecond,
                          [&] { stranger.send(bombs[sent++ % bombs.size()]); });
            return static_cast<double>(sent) / kBombSeconds;
        });
        judge(QStringLiteral("bombs of 16 MB"), bombed, quiet, verdicts);
        verdicts.atMost(QStringLiteral("- processor time, of a run without"),
                        bombed.processor / quiet.processor, kMostCost, QStringLiteral("x"));
    }
}
