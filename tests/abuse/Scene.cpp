#include "abuse/Scene.h"

#include "abuse/Records.h"
#include "support/Wait.h"

#include <algorithm>

namespace
{

// Of the time, for the main thread: what was measured beyond it tells of the machine.
constexpr double kMostWaiting = 0.05;

} // namespace

Scene::Scene(const QByteArray& recording)
    : m_served(recording)
{
    // What an address sanitizer holds back to catch late uses is no growth of ours.
    m_served.server.setVariable(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("quarantine_size_mb=4"));
    if (!m_served.server.serve()) {
        qFatal("the server doesn't start");
    }
}

void Scene::open(MeasuringClient& client)
{
    if (!client.open(m_served.file, kPatience)) {
        qFatal("no session to be had");
    }
    client.wantSpectra();
    if (!waitUntil([&client] { return !client.iqSince(0).isEmpty(); })) {
        qFatal("no samples in a session");
    }
}

void Scene::pass(int milliseconds)
{
    repeat(milliseconds, 0, {});
}

void Scene::repeat(int milliseconds, int perSecond, const std::function<void()>& act)
{
    QElapsedTimer clock;
    clock.start();
    qint64 done = 0;
    (void)waitUntil(
        [&] {
            for (; done * 1000 < clock.elapsed() * perSecond; ++done) {
                act();
            }
            return clock.elapsed() >= milliseconds;
        },
        2 * milliseconds);
}

SessionMeter::SessionMeter(Scene& scene, const MeasuringClient& client)
    : m_scene(scene)
    , m_client(client)
    , m_begin(MeasuringClient::now())
    , m_load(ServerLoad::of(scene.server().pid()))
{
}

SessionMeter::Figures SessionMeter::figures() const
{
    const qint64 end = MeasuringClient::now();
    const ServerLoad load = ServerLoad::of(m_scene.server().pid()) - m_load;
    const MeasuringClient::Record record = m_client.iqSince(m_begin);
    Figures figures;
    figures.processor = load.processor;
    const double waited = load.waited * 1e9 / static_cast<double>(end - m_begin);
    if (waited > kMostWaiting) {
        figures.obstacle = QStringLiteral("the server waited %1 %").arg(waited * 100, 0, 'f', 1);
    }
    figures.iq = static_cast<double>(
        std::count_if(record.begin(), record.end(), [end](const auto& heard) { return heard.time <= end; }));
    figures.longestPause = Records::longestSilence(record, m_begin, end) * 1e3;
    return figures;
}
