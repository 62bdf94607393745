#include "System/Recording.h"
#include "abuse/Datagrams.h"
#include "abuse/Flood.h"
#include "abuse/ForeignText.h"
#include "abuse/Records.h"
#include "abuse/Scene.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QTest>
#include <algorithm>
#include <memory>
#include <vector>

namespace
{

const QString kOther = QStringLiteral("any other");
constexpr int kFirstHost = 11; // 127.0.0.11

// A row for each of what has a name.
template <typename Named>
void addRows(const std::vector<Named>& all)
{
    QTest::addColumn<int>("index");
    for (size_t i = 0; i < all.size(); ++i) {
        QTest::newRow(all[i].name) << static_cast<int>(i);
    }
}

double secondsSince(qint64 time)
{
    return static_cast<double>(MeasuringClient::now() - time) * 1e-9;
}

} // namespace

/// What `script/abuse` measures, in short, and held to bars that don't depend on what else the machine does.
class tst_Abuse : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void floodLeavesStreamsTheirTurns_data();
    void floodLeavesStreamsTheirTurns();
    void bombsAreNotInflated();
    void takeoversAreFewAndCostLittle();
    void silentClientsShareSmallBudget();
    void trueClientIsServedInFullAmongSilentOnes();
    void allPropertiesAreToldFiveTimesPerSecondAtMost();
    void foreignTextIsBoundedAndHarmlessInLog();
    void bodiesCostNoMoreThanPlainOnes_data();
    void bodiesCostNoMoreThanPlainOnes();
    void largeDynamicValuesAreNotKept();

private:
    // As the server's owner is told them.
    [[nodiscard]] int countConnections();

    std::unique_ptr<Scene> m_scene;
};

void tst_Abuse::init()
{
    m_scene = std::make_unique<Scene>(recording({{3000, 1000}}));
}

void tst_Abuse::cleanup()
{
    m_scene.reset();
}

int tst_Abuse::countConnections()
{
    const QString text = QStringLiteral("\tCount connections: ");
    const int told = m_scene->server().count(text);
    m_scene->server().type("stat\n");
    if (!waitUntil([&] { return m_scene->server().count(text) > told; })) {
        return -1;
    }
    return m_scene->server().lines().filter(text).last().mid(text.size()).toInt();
}

void tst_Abuse::floodLeavesStreamsTheirTurns_data()
{
    addRows(Datagrams::kinds());
}

void tst_Abuse::floodLeavesStreamsTheirTurns()
{
    QFETCH(int, index);
    constexpr int kFlood = 1200; // ms
    // One falls due every 40 ms, whatever the other threads do. So between two the server's main thread can
    // have had the processor for 40 ms and a turn of its event loop, however little of it there is to be had.
    constexpr double kSpectraPerSecond = 10.0;
    const Datagrams::Kind& kind = Datagrams::kinds()[static_cast<size_t>(index)];
    MeasuringClient client(m_scene->server());
    m_scene->open(client);
    const ServerLoad before = ServerLoad::of(m_scene->server().pid());
    const qint64 begin = MeasuringClient::now();
    {
        const Flood flood(m_scene->server(), kind.make(m_scene->server()));
        Scene::pass(kFlood);
        QVERIFY(flood.sent() > 1000);
    }
    const double ran = (ServerLoad::of(m_scene->server().pid()) - before).ran;
    const int spectra = Records::spectra(client.heardSince(begin));
    QVERIFY2(spectra >= kSpectraPerSecond * ran, qPrintable(QString::number(spectra)));
    // The session has outlived it.
    const qint64 end = MeasuringClient::now();
    QVERIFY(waitUntil([&] { return client.iqSince(end).size() > 100; }));
}

void tst_Abuse::bombsAreNotInflated()
{
    constexpr int kBombs = 40;
    constexpr double kMostSeconds = 0.002; // each; inflated it takes ten times as long
    WireClient stranger(m_scene->server());
    const std::vector<QByteArray> bombs = Datagrams::bombs();
    const ServerLoad before = ServerLoad::of(m_scene->server().pid());
    for (size_t i = 0; i < kBombs; ++i) {
        stranger.send(bombs[i % bombs.size()]);
        QVERIFY(stranger.ask(stranger.serverId(), QStringLiteral("connect_to_host")).has_value());
    }
    const double ran = (ServerLoad::of(m_scene->server().pid()) - before).ran;
    QVERIFY2(ran < kBombs * kMostSeconds, qPrintable(QString::number(ran)));
}

void tst_Abuse::takeoversAreFewAndCostLittle()
{
    constexpr int kTakeovers = 257;
    constexpr int kAtOnce = 4;
    constexpr double kPerSecond = 2.0;
    constexpr double kSessionsEach = 2.0;  // a takeover frees the server, for the next to find it free
    constexpr qint64 kMostMemory = 40'000; // KiB
    MeasuringClient owner(m_scene->server());
    m_scene->open(owner);
    WireClient other(m_scene->server());
    const qint64 memory = m_scene->server().residentMemory();
    const qint64 begin = MeasuringClient::now();
    MeasuringClient stranger(m_scene->server());
    for (int i = 0; i < kTakeovers; ++i) {
        stranger.greet(kOther);
    }
    // It has been read in its turn, after them.
    QVERIFY(other.ask(other.serverId(), QStringLiteral("connect_to_host")).has_value());
    const int sessions = countConnections();
    const double most = 1 + kSessionsEach * (kAtOnce + kPerSecond * secondsSince(begin));
    QVERIFY2(sessions <= most, qPrintable(QString::number(sessions)));
    const qint64 grown = m_scene->server().residentMemory() - memory;
    QVERIFY2(grown < kMostMemory, qPrintable(QString::number(grown)));
}

void tst_Abuse::silentClientsShareSmallBudget()
{
    constexpr double kBudget = 32.0 * 1024;
    constexpr qint64 kWindow = 9'500'000'000; // ns: ten seconds, less what a datagram may take to arrive
    constexpr int kOthers = 4;
    MeasuringClient first(m_scene->server(), kFirstHost);
    const qint64 begin = MeasuringClient::now();
    first.greet(m_scene->receiver());
    QVERIFY(waitUntil([&] { return Records::bytes(first.heardSince(begin)) > 2 * kBudget; }));

    std::vector<std::unique_ptr<MeasuringClient>> others;
    MeasuringClient::Record all; // answers aside, which are shorter than what they answer
    for (int i = 0; i < kOthers; ++i) {
        others.push_back(std::make_unique<MeasuringClient>(m_scene->server(), kFirstHost + 1 + i));
        others.back()->greet(kOther);
        Scene::pass(1500);
    }
    for (const auto& client : others) {
        all += Records::unasked(client->heardSince(begin));
    }
    const double most = Records::mostBytes(all, kWindow);
    QVERIFY2(most <= kBudget, qPrintable(QString::number(most)));
}

void tst_Abuse::trueClientIsServedInFullAmongSilentOnes()
{
    constexpr double kBudget = 32.0 * 1024;
    MeasuringClient first(m_scene->server(), kFirstHost);
    first.greet(m_scene->receiver());
    QVERIFY(waitUntil([&] { return !first.sessionId().isEmpty(); }));
    first.leave();
    MeasuringClient client(m_scene->server());
    m_scene->open(client);
    QVERIFY(waitUntil([&] { return Records::bytes(client.iqSince(0)) > 4 * kBudget; }));
    QVERIFY(waitUntil([&] { return Records::spectra(client.heardSince(0)) > 20; }));
}

void tst_Abuse::allPropertiesAreToldFiveTimesPerSecondAtMost()
{
    constexpr int kRequests = 60;
    constexpr double kPerSecond = 5.0;
    MeasuringClient owner(m_scene->server());
    m_scene->open(owner);
    WireClient stranger(m_scene->server());
    const qint64 begin = MeasuringClient::now();
    for (int i = 0; i < kRequests; ++i) {
        stranger.call(stranger.serverId(), QStringLiteral("it_ra_rrd"));
    }
    QVERIFY(stranger.ask(stranger.serverId(), QStringLiteral("connect_to_host")).has_value());
    const double most = kPerSecond * (secondsSince(begin) + 1);
    QVERIFY(waitUntil(
        [&] { return Records::calls(owner.heardSince(begin), QStringLiteral("sss_syc_rrd")) > 0; }));
    const int told = Records::calls(owner.heardSince(begin), QStringLiteral("sss_syc_rrd"));
    QVERIFY2(told <= most, qPrintable(QString::number(told)));
}

void tst_Abuse::foreignTextIsBoundedAndHarmlessInLog()
{
    constexpr double kMostBytes = 32.0 * 1024; // a second
    const qint64 begin = MeasuringClient::now();
    const ForeignText::LogFigures log = ForeignText::forgeLog(*m_scene, 1500);
    QVERIFY(log.bytes > 0.0);
    QVERIFY2(log.bytes <= kMostBytes * secondsSince(begin), qPrintable(QString::number(log.bytes)));
    QCOMPARE(log.controls, 0.0);
    QCOMPARE(log.forged, 0.0);
}

void tst_Abuse::bodiesCostNoMoreThanPlainOnes_data()
{
    addRows(Datagrams::costlyBodies());
}

void tst_Abuse::bodiesCostNoMoreThanPlainOnes()
{
    constexpr int kSize = 30'000; // bytes
    constexpr double kMost = 2.5;
    QFETCH(int, index);
    const Datagrams::CostlyBody& body = Datagrams::costlyBodies()[static_cast<size_t>(index)];
    WireClient stranger(m_scene->server());
    const double cost = ForeignText::costOf(*m_scene, stranger, body.make(kSize));
    const double peer = ForeignText::costOf(*m_scene, stranger, body.makePeer(kSize));
    QVERIFY2(
        cost <= kMost * peer,
        qPrintable(QStringLiteral("%1 us, %2 of %3").arg(cost).arg(peer).arg(QLatin1String(body.peerName))));
}

void tst_Abuse::largeDynamicValuesAreNotKept()
{
    constexpr int kValues = 40;
    constexpr double kMostMemory = 20.0; // MB, half of what they would take, and some for a sanitizer
    MeasuringClient client(m_scene->server());
    m_scene->open(client);
    WireClient stranger(m_scene->server());
    const double memory = ForeignText::memoryOfValues(*m_scene, stranger, kValues);
    QVERIFY2(memory <= kMostMemory, qPrintable(QString::number(memory)));
}

QTEST_GUILESS_MAIN(tst_Abuse)
#include "tst_Abuse.moc"
