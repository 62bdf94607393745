// What foreign text costs: in the log, to parse and to keep.
#include "abuse/Datagrams.h"
#include "abuse/ForeignText.h"
#include "abuse/Rows.h"
#include "abuse/Verdicts.h"
#include "support/WireClient.h"

namespace
{

constexpr int kForging = 5000;    // ms
constexpr double kMostLog = 32.0; // KiB/s
constexpr double kMostOfPeer = 2.0;
constexpr double kMostOfHalf = 3.0;
constexpr int kValues = 40;
constexpr double kMostMemory = 8.0; // MB

} // namespace

void logRows(const Amount& amount, Verdicts& verdicts)
{
    Scene scene(amount.recording);
    const ForeignText::LogFigures log = ForeignText::forgeLog(scene, kForging);
    verdicts.atMost(QStringLiteral("foreign text: log"), log.bytes * 1000 / 1024 / kForging, kMostLog,
                    QStringLiteral("KiB/s"));
    verdicts.atMost(QStringLiteral("- control characters in it"), log.controls, 0.0, QString());
    verdicts.atMost(QStringLiteral("- lines in it that aren't the server's own"), log.forged, 0.0, QString());
}

void bodyRows(const Amount& amount, Verdicts& verdicts)
{
    Scene scene(amount.recording);
    WireClient stranger(scene.server());
    constexpr int kHalf = 30'000; // bytes
    constexpr int kWhole = 60'000;
    for (const Datagrams::CostlyBody& body : Datagrams::costlyBodies()) {
        const double half = ForeignText::costOf(scene, stranger, body.make(kHalf));
        const double whole = ForeignText::costOf(scene, stranger, body.make(kWhole));
        const double peer = ForeignText::costOf(scene, stranger, body.makePeer(kWhole));
        verdicts.tell(QStringLiteral("60 kB of %1").arg(QLatin1String(body.name)), whole,
                      QStringLiteral("us"));
        verdicts.atMost(QStringLiteral("- of ") + QLatin1String(body.peerName), whole / peer, kMostOfPeer,
                        QStringLiteral("x"));
        verdicts.atMost(QStringLiteral("- of half as much"), whole / half, kMostOfHalf, QStringLiteral("x"));
    }

    MeasuringClient client(scene.server());
    scene.open(client);
    verdicts.atMost(QStringLiteral("%1 dynamic properties of 60 kB: memory").arg(kValues),
                    ForeignText::memoryOfValues(scene, stranger, kValues), kMostMemory, QStringLiteral("MB"));
}
