#include "abuse/ForeignText.h"

#include "abuse/Datagrams.h"
#include "abuse/Flood.h"
#include "support/WireClient.h"

#include <QJsonArray>
#include <algorithm>

namespace
{

constexpr int kForgeryRate = 500; // datagrams/s
constexpr int kTold = 1500;       // ms until what was left out is told
constexpr int kBodies = 300;
constexpr int kBodiesInARow = 10; // they fit the server's port
constexpr int kElements = 30'000; // of one value, 60 kB: small ones take the most memory

bool isControl(QChar character)
{
    return character.category() == QChar::Other_Control && character != QLatin1Char('\t');
}

// Once it is answered, all that was sent before has been read.
void settle(WireClient& stranger)
{
    if (!stranger.ask(stranger.serverId(), QStringLiteral("connect_to_host"))) {
        qFatal("the server doesn't answer");
    }
}

} // namespace

ForeignText::LogFigures ForeignText::forgeLog(Scene& scene, int milliseconds)
{
    const int first = scene.server().lines().size();
    {
        const Flood flood(scene.server(), Datagrams::forgeries(scene.server()), kForgeryRate);
        Scene::pass(milliseconds);
    }
    Scene::pass(kTold);
    LogFigures figures;
    const QStringList lines = scene.server().lines().mid(first);
    for (const QString& line : lines) {
        figures.bytes += line.toUtf8().size() + 1;
        figures.controls += static_cast<double>(std::count_if(line.begin(), line.end(), isControl));
        figures.forged += line.startsWith(QLatin1String(Datagrams::kForgedLine)) ? 1 : 0;
    }
    return figures;
}

double ForeignText::costOf(Scene& scene, WireClient& stranger, const QByteArray& body)
{
    const QByteArray datagram = Datagrams::call(scene.server().id(), body);
    settle(stranger);
    const ServerLoad before = ServerLoad::of(scene.server().pid());
    for (int sent = 1; sent <= kBodies; ++sent) {
        stranger.send(datagram);
        if (sent % kBodiesInARow == 0) {
            settle(stranger);
        }
    }
    const ServerLoad load = ServerLoad::of(scene.server().pid()) - before;
    return load.ran * 1e6 / kBodies;
}

double ForeignText::memoryOfValues(Scene& scene, WireClient& stranger, int count)
{
    QJsonArray value;
    while (value.size() < kElements) {
        value.append(0);
    }
    const qint64 before = scene.server().residentMemory();
    for (int i = 0; i < count; ++i) {
        (void)stranger.ask(
            stranger.serverId(), QStringLiteral("wp_rrd"),
            {{QStringLiteral("n"), QStringLiteral("value%1").arg(i)}, {QStringLiteral("v"), value}});
    }
    return static_cast<double>(scene.server().residentMemory() - before) * 1024e-6;
}
