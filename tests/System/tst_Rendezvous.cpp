#include "System/Served.h"
#include "support/RendezvousServer.h"
#include "support/WireClient.h"

#include <QTest>
#include <csignal>

namespace
{

const QString kAnnounce = QStringLiteral("new_server");
const QString kBusy = QStringLiteral("busy");
const QString kDrop = QStringLiteral("drop");
const QString kPunch = QStringLiteral("process_hole_punching");
constexpr int kBurst = 8;

QByteArray nodeId(char byte)
{
    return QByteArray(20, byte);
}

/// A server with a rendezvous server of its own, that its settings name.
struct Announced
{
    explicit Announced(quint16 port)
        : rendezvous(nodeId(3), QHostAddress(QHostAddress::LocalHost), port)
        , served(recording({}))
    {
        served.home.setSetting(QStringLiteral("pn/rendezvous_host"),
                               QStringLiteral("rendezvous.orvenlink.test"));
        served.home.setSetting(QStringLiteral("pn/rendezvous_id"), QString::fromLatin1(nodeId(3).toHex()));
        served.home.setSetting(QStringLiteral("pn/rendezvous_port"), port);
    }

    [[nodiscard]] int announcements() const { return rendezvous.calls(kAnnounce).size(); }
    [[nodiscard]] bool waitForAnnouncements(int count) const
    {
        return waitUntil([this, count] { return announcements() >= count; });
    }
    /// What "stat" says of hole punching.
    [[nodiscard]] bool waitForPunching(int success, int fail)
    {
        return waitUntil([this, success, fail] {
            served.server.type("stat\n");
            return served.server.count(QStringLiteral("\tSuccess hole punching: %1").arg(success)) > 0 &&
                   served.server.count(QStringLiteral("\tFail hole punching: %1").arg(fail)) > 0;
        });
    }

    RendezvousServer rendezvous;
    Served served;
};

} // namespace

/// The burst alone takes eight seconds: all servers of this test live side by side.
class tst_Rendezvous : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void builtInServerIsAnnouncedTo();
    void announcementHoldsPortVersionAndDevice();
    void sessionIsToldAndSilencesAnnouncements();
    void quittingIsTold_data();
    void quittingIsTold();
    void serverWithoutAddressWorksOn();
    void burstIsFollowedByOneSlowCall();
    void clientThatAnswersIsReachedAndComesIn();
    void clientThatNeverAnswersIsCalledElevenTimes();
    void slowIntervalIsCommanded();
    void silentRendezvousServerIsToldOf();
    void dropEndsAllAnnouncing();

private:
    Announced m_plain{29'400};
    Announced m_reached{29'401};
    Announced m_unreached{29'402};
    Announced m_silent{29'403};
    WirePeer m_client{nodeId(7)};
    WirePeer m_deafClient{nodeId(9)};
    QElapsedTimer m_clock;
    QVector<qint64> m_times; // of the plain one's announcements, ms
};

void tst_Rendezvous::initTestCase()
{
    m_clock.start();
    connect(&m_plain.rendezvous, &WirePeer::called, this, [this](const QString& command) {
        if (command == kAnnounce) {
            m_times.append(m_clock.elapsed());
        }
    });
    m_silent.rendezvous.setSilent(true);
    m_deafClient.setSilent(true);
    m_reached.rendezvous.offerClient(m_client.id(), m_client.address(), m_client.port());
    m_unreached.rendezvous.offerClient(m_deafClient.id(), m_deafClient.address(), m_deafClient.port());
    for (Announced* announced : {&m_plain, &m_reached, &m_unreached, &m_silent}) {
        QVERIFY(announced->rendezvous.isBound());
        QVERIFY(announced->served.server.serve());
    }
}

void tst_Rendezvous::builtInServerIsAnnouncedTo()
{
    RendezvousServer builtIn(QByteArray::fromHex(ORVENLINK_RENDEZVOUS_ID));
    QVERIFY(builtIn.isBound());
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QVERIFY(waitUntil([&builtIn] { return builtIn.calls(kAnnounce).size() >= 1; }));
    QCOMPARE(builtIn.calls(kAnnounce).first().sender, served.server.id());
    QCOMPARE(builtIn.calls(kAnnounce).first().port, served.server.port());
}

void tst_Rendezvous::announcementHoldsPortVersionAndDevice()
{
    QVERIFY(m_plain.waitForAnnouncements(1));
    const WirePeer::Message call = m_plain.rendezvous.calls(kAnnounce).first();
    QCOMPARE(call.sender, m_plain.served.server.id());
    QCOMPARE(call.port, m_plain.served.server.port());
    const QJsonObject expected{{QStringLiteral("cd"), kAnnounce},
                               {QStringLiteral("port"), m_plain.served.server.port()},
                               {QStringLiteral("vma"), QStringLiteral("0")},
                               {QStringLiteral("vmi"), QStringLiteral("8")},
                               {QStringLiteral("dt"), 0}};
    QCOMPARE(call.body, expected);
}

void tst_Rendezvous::sessionIsToldAndSilencesAnnouncements()
{
    Announced announced(29'410);
    QVERIFY(announced.served.server.serve());
    QVERIFY(announced.waitForAnnouncements(2));
    WireClient client(announced.served.server);
    QVERIFY(client.open(announced.served.file));
    QVERIFY(waitUntil([&announced] { return announced.rendezvous.calls(kBusy).size() == 1; }));
    QCOMPARE(announced.rendezvous.calls(kBusy).first().body.keys(), QStringList(QStringLiteral("cd")));

    const int before = announced.announcements();
    QVERIFY(client.waitForCall(QStringLiteral("ping"), 3)); // some three seconds
    QCOMPARE(announced.announcements(), before);
    QCOMPARE(announced.rendezvous.calls(kDrop).size(), 0);

    QVERIFY(client.close());
    QVERIFY(announced.waitForAnnouncements(before + 2));
    QCOMPARE(announced.rendezvous.calls(kBusy).size(), 1);
    QCOMPARE(announced.rendezvous.calls(kDrop).size(), 0);
}

void tst_Rendezvous::quittingIsTold_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("q") << 0;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void tst_Rendezvous::quittingIsTold()
{
    QFETCH(int, signal);
    Announced announced(29'411);
    QVERIFY(announced.served.server.serve());
    QVERIFY(announced.waitForAnnouncements(1));
    if (signal == 0) {
        announced.served.server.type("q\n");
    } else {
        announced.served.server.signal(signal);
    }
    QCOMPARE(announced.served.server.waitForExitCode(), 0);
    QVERIFY(waitUntil([&announced] { return announced.rendezvous.calls(kDrop).size() == 1; }));
    QCOMPARE(announced.rendezvous.calls(kDrop).first().body.keys(), QStringList(QStringLiteral("cd")));
}

void tst_Rendezvous::serverWithoutAddressWorksOn()
{
    Served served(recording({}));
    served.home.setSetting(QStringLiteral("pn/rendezvous_host"), QStringLiteral("nowhere.orvenlink.test"));
    QVERIFY(served.server.serve());
    QVERIFY(served.server.waitForLine(QStringLiteral("DNS lookup")));
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_Rendezvous::burstIsFollowedByOneSlowCall()
{
    QVERIFY(m_plain.waitForAnnouncements(kBurst + 1));
    for (int i = 1; i <= kBurst; ++i) {
        QVERIFY2(m_times[i] - m_times[i - 1] >= 500,
                 qPrintable(QString::number(i))); // once a second, coarsely
    }
    // The others' slow calls have gone out by then as well, and the tenth tick is past: it calls nobody.
    QVERIFY(m_unreached.waitForAnnouncements(kBurst + 1));
    QVERIFY(waitUntil([this] { return m_deafClient.calls(kPunch).size() >= 5; }));
    QCOMPARE(m_plain.announcements(), kBurst + 1);
}

void tst_Rendezvous::clientThatAnswersIsReachedAndComesIn()
{
    QVERIFY(m_reached.waitForAnnouncements(kBurst + 1));
    QVERIFY(waitUntil([this] { return m_client.calls(kPunch).size() >= 1; }));
    QVERIFY(m_reached.waitForPunching(1, 0));
    const WirePeer::Message call = m_client.calls(kPunch).first();
    QCOMPARE(call.sender, m_reached.served.server.id());
    QCOMPARE(call.port, m_reached.served.server.port());
    QCOMPARE(call.body.keys(), QStringList(QStringLiteral("cd")));
    // Answered, so not repeated; and anyone may punch from the other side.
    QCOMPARE(m_client.calls(kPunch).size(), 1);
    m_client.call(call.sender, call.address, call.port, kPunch);
    QVERIFY(waitUntil([this] { return m_client.replies().size() == 1; }));
    WireClient client(m_reached.served.server);
    QVERIFY(client.open(m_reached.served.file));
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(client.close());
}

void tst_Rendezvous::clientThatNeverAnswersIsCalledElevenTimes()
{
    QVERIFY(m_unreached.waitForPunching(0, 1));
    QCOMPARE(m_deafClient.calls(kPunch).size(), 11);
}

void tst_Rendezvous::slowIntervalIsCommanded()
{
    const WirePeer::Message announcement = m_plain.rendezvous.calls(kAnnounce).first();
    m_plain.rendezvous.setTimeoutTimerPing(announcement, 1000);
    QVERIFY(m_plain.waitForAnnouncements(kBurst + 3));
    QCOMPARE(m_plain.rendezvous.replies().size(), 1);
    QCOMPARE(m_plain.rendezvous.replies().first().body.keys(), QStringList(QStringLiteral("cd")));
    QCOMPARE(m_plain.served.server.count(QStringLiteral("Set timeout timer .. 1000")), 1);
}

void tst_Rendezvous::silentRendezvousServerIsToldOf()
{
    QVERIFY(m_silent.served.server.waitForLine(
        QStringLiteral("Handshake server is not responding! Check internet connection")));
    QVERIFY(m_silent.announcements() >= kBurst + 1);
}

void tst_Rendezvous::dropEndsAllAnnouncing()
{
    const WirePeer::Message announcement = m_plain.rendezvous.calls(kAnnounce).first();
    m_plain.rendezvous.dropClient(announcement);
    QVERIFY(m_plain.served.server.waitForLine(QStringLiteral("Handshake server dropped connection!")));
    const int before = m_plain.announcements();
    // A session's end starts the burst again, but not here.
    WireClient client(m_plain.served.server);
    QVERIFY(client.open(m_plain.served.file));
    QVERIFY(client.close());
    Announced other(29'412);
    QVERIFY(other.served.server.serve());
    QVERIFY(other.waitForAnnouncements(3)); // three seconds
    QCOMPARE(m_plain.announcements(), before);
}

QTEST_GUILESS_MAIN(tst_Rendezvous)
#include "tst_Rendezvous.moc"
