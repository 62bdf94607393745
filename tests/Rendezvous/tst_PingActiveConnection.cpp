#include "Rendezvous/PingActiveConnection.h"

#include "Rendezvous/HolePunching.h"
#include "support/LocalNode.h"
#include "support/LogCapture.h"
#include "support/RendezvousServer.h"

#include <QtTest>
#include <limits>
#include <memory>

class tst_PingActiveConnection : public QObject
{
    Q_OBJECT

private slots:
    void theAnnouncementHoldsExactlyItsFourKeysAndTheVersionAsText();
    void makingItCallsNothing();
    void eightTicksMakeEightCallsWhoseRepliesAreNotLookedAt();
    void theNinthTickCallsTheTenthDoesNotAndTheNextCallComesSeventySecondsAfterTheNinth();
    void aResetBringsTheBurstAgainButTheSlowCallsKeepToTheirLastTime();
    void aResetCallsNothingByItselfAndTheNextTickAnnounces();
    void busyAndDropAreBareCommands();
    void theDestructorTellsThatTheServerLeaves();

    void aClientNamedInASlowReplyIsPunchedTowards();
    void theAttemptPassesAnEmptyIdentificator();
    void aReplyThatDoesNotNameAClientWholeStartsNothing_data();
    void aReplyThatDoesNotNameAClientWholeStartsNothing();
    void aPortThatIsNoNumberStartsNothing();
    void failuresAndSuccessesOfAttemptsAreCounted();

    void aSlowCallWithoutAnswerIsLoggedAndTheCallsGoOn();
    void aBurstCallWithoutAnswerIsNotLogged();

    void afterDropClientNoTickCallsAnythingAndAResetChangesNothing();
    void setTimeoutTimerPingMakesTheSlowCallsFollowEachSecondTickAndSurvivesAReset();
    void setTimeoutTimerPingReadsWhateverConvertsToAnInteger_data();
    void setTimeoutTimerPingReadsWhateverConvertsToAnInteger();
    void anIntervalOfZeroOrLessCallsInEachTickAndAHugeOneInNone_data();
    void anIntervalOfZeroOrLessCallsInEachTickAndAHugeOneInNone();
    void setTimeoutTimerPingWithoutAnIntegerChangesNothing_data();
    void setTimeoutTimerPingWithoutAnIntegerChangesNothing();
    void anySenderIsObeyed();
    void aFloodOfCommandsLogsFiftyLines();

    void whatArrivesAfterTheObjectHasGoneTouchesNothing();
};

namespace
{

constexpr quint16 kLocalPort = 40001;
constexpr int kDeviceType = 7;

const QByteArray kServerId(20, '\x11');
const QByteArray kRendezvousId(20, '\x22');
const QByteArray kClientId(20, '\x33');
const QByteArray kStrangerId(20, '\x44');

const QString kNewServer = QStringLiteral("new_server");
const QString kSetTimeout = QStringLiteral("set_timeout_timer_ping");
const QJsonObject kEmptyReply{{QStringLiteral("cd"), QString()}};

/// A server's announcements and the rendezvous server they go to.
struct Announcing
{
    Announcing()
        : object(std::make_unique<PingActiveConnection>(LocalNode::info(rendezvous), kLocalPort,
                                                        int160(kServerId.constData()), node.rpcSocket,
                                                        kDeviceType, nullptr, [this] { return node.now; }))
    {
    }

    void tick(int times = 1)
    {
        for (int i = 0; i < times; ++i) {
            object->timeout();
        }
    }
    /// Ticks and has all that was sent arrive and be answered; gives the number of announcements it made.
    int announcements(int ticks)
    {
        const int before = rendezvous.calls(kNewServer).size();
        tick(ticks);
        settle();
        return rendezvous.calls(kNewServer).size() - before;
    }
    /// A call goes each way: what was sent before has arrived, in both directions.
    void settle()
    {
        const int calls = rendezvous.calls().size();
        object->busy();
        QTRY_VERIFY(rendezvous.calls().size() > calls &&
                    rendezvous.calls().constLast().body.value(QLatin1String("cd")) == QLatin1String("busy"));
        command(rendezvous, QStringLiteral("process_hole_punching"));
    }
    /// Has `sender` call a command of the server and gives the reply's body.
    QJsonObject command(WirePeer& sender, const QString& name, const QJsonObject& arguments = {})
    {
        const int replies = sender.replies().size();
        sender.call(kServerId, QHostAddress::LocalHost, node.socket->localPort(), name, arguments);
        [&] { QTRY_COMPARE(sender.replies().size(), replies + 1); }();
        return sender.replies().isEmpty() ? QJsonObject() : sender.replies().constLast().body;
    }
    [[nodiscard]] HolePunching* holePunching() const { return object->findChild<HolePunching*>(); }
    [[nodiscard]] bool isPunching() const { return holePunching()->findChild<QTimer*>()->isActive(); }

    LocalNode node{kServerId};
    RendezvousServer rendezvous{kRendezvousId};
    std::unique_ptr<PingActiveConnection> object;
};

/// The lines that carry no tag.
QStringList plain(const LogCapture& log)
{
    return log.texts(QtDebugMsg);
}

} // namespace

void tst_PingActiveConnection::theAnnouncementHoldsExactlyItsFourKeysAndTheVersionAsText()
{
    Announcing announcing;
    announcing.tick();
    QTRY_COMPARE(announcing.rendezvous.calls().size(), 1);
    const WirePeer::Message call = announcing.rendezvous.calls().constFirst();
    QCOMPARE(call.sender, kServerId);
    QCOMPARE(call.body, (QJsonObject{{QStringLiteral("cd"), kNewServer},
                                     {QStringLiteral("port"), 40001},
                                     {QStringLiteral("vma"), QStringLiteral("0")},
                                     {QStringLiteral("vmi"), QStringLiteral("8")},
                                     {QStringLiteral("dt"), 7}}));
}

void tst_PingActiveConnection::makingItCallsNothing()
{
    const Announcing announcing;
    QCOMPARE(announcing.node.socket->sentPackets(), quint64(0));
}

void tst_PingActiveConnection::eightTicksMakeEightCallsWhoseRepliesAreNotLookedAt()
{
    Announcing announcing;
    announcing.rendezvous.offerClient(kClientId, QHostAddress::LocalHost, 9);
    QCOMPARE(announcing.announcements(8), 8);
    QVERIFY(!announcing.isPunching());
    QCOMPARE(announcing.announcements(1), 1);
    QVERIFY(announcing.isPunching());
}

void tst_PingActiveConnection::
    theNinthTickCallsTheTenthDoesNotAndTheNextCallComesSeventySecondsAfterTheNinth()
{
    Announcing announcing;
    QCOMPARE(announcing.announcements(8), 8);
    QCOMPARE(announcing.announcements(1), 1);
    announcing.node.now += 1000;
    QCOMPARE(announcing.announcements(1), 0);
    announcing.node.now += 69'000;
    QCOMPARE(announcing.announcements(1), 0);
    announcing.node.now += 1;
    QCOMPARE(announcing.announcements(1), 1);
    announcing.node.now += 70'000;
    QCOMPARE(announcing.announcements(1), 0);
    announcing.node.now += 1;
    QCOMPARE(announcing.announcements(5), 1);
}

void tst_PingActiveConnection::aResetBringsTheBurstAgainButTheSlowCallsKeepToTheirLastTime()
{
    Announcing announcing;
    QCOMPARE(announcing.announcements(9), 9);
    announcing.object->resetCounter();
    announcing.node.now += 60'000;
    QCOMPARE(announcing.announcements(10), 8);
    announcing.node.now += 10'001;
    QCOMPARE(announcing.announcements(2), 1);
}

void tst_PingActiveConnection::aResetCallsNothingByItselfAndTheNextTickAnnounces()
{
    Announcing announcing;
    QCOMPARE(announcing.announcements(9), 9);
    const quint64 sent = announcing.node.socket->sentPackets();
    announcing.object->resetCounter();
    QCOMPARE(announcing.node.socket->sentPackets(), sent);
    QCOMPARE(announcing.announcements(1), 1);
    QCOMPARE(announcing.rendezvous.calls(QStringLiteral("drop")).size(), 0);
}

void tst_PingActiveConnection::busyAndDropAreBareCommands()
{
    Announcing announcing;
    announcing.object->busy();
    announcing.object->drop();
    QTRY_COMPARE(announcing.rendezvous.calls().size(), 2);
    QCOMPARE(announcing.rendezvous.calls().at(0).body,
             (QJsonObject{{QStringLiteral("cd"), QStringLiteral("busy")}}));
    QCOMPARE(announcing.rendezvous.calls().at(1).body,
             (QJsonObject{{QStringLiteral("cd"), QStringLiteral("drop")}}));
}

void tst_PingActiveConnection::theDestructorTellsThatTheServerLeaves()
{
    Announcing announcing;
    announcing.object.reset();
    QTRY_COMPARE(announcing.rendezvous.calls(QStringLiteral("drop")).size(), 1);
    QCOMPARE(announcing.rendezvous.calls().size(), 1);
}

void tst_PingActiveConnection::aClientNamedInASlowReplyIsPunchedTowards()
{
    Announcing announcing;
    const WirePeer client(kClientId);
    announcing.rendezvous.offerClient(kClientId, client.address(), client.port());
    QCOMPARE(announcing.announcements(9), 9);
    QTRY_COMPARE(client.calls(QStringLiteral("process_hole_punching")).size(), 1);
    QTRY_COMPARE(announcing.object->successCount(), quint32(1));
    QCOMPARE(announcing.object->failCount(), quint32(0));
    QVERIFY(!announcing.isPunching());
}

void tst_PingActiveConnection::theAttemptPassesAnEmptyIdentificator()
{
    Announcing announcing;
    const WirePeer client(kClientId);
    QString identificator = QStringLiteral("untouched");
    NodeInfo peer;
    connect(announcing.holePunching(), &HolePunching::success, this,
            [&](const NodeInfo& node, const QString& text) {
                peer = node;
                identificator = text;
            });
    announcing.rendezvous.offerClient(kClientId, client.address(), client.port());
    QCOMPARE(announcing.announcements(9), 9);
    announcing.holePunching()->onTimeout();
    QTRY_COMPARE(identificator, QString());
    QCOMPARE(peer.id, int160(kClientId.constData()));
    QCOMPARE(peer.address, QHostAddress(QHostAddress::LocalHost));
    QCOMPARE(peer.port, client.port());
}

void tst_PingActiveConnection::aReplyThatDoesNotNameAClientWholeStartsNothing_data()
{
    QTest::addColumn<QJsonObject>("reply");
    const QJsonObject whole{{QStringLiteral("chp_id"), QString::fromLatin1(kClientId.toHex())},
                            {QStringLiteral("chp_addr"), QStringLiteral("127.0.0.1")},
                            {QStringLiteral("chp_port"), 9}};
    QTest::newRow("none of the keys") << QJsonObject();
    for (const QString& key : whole.keys()) {
        QJsonObject lacking = whole;
        lacking.remove(key);
        QTest::newRow(qPrintable(QStringLiteral("no ") + key)) << lacking;
    }
}

void tst_PingActiveConnection::aReplyThatDoesNotNameAClientWholeStartsNothing()
{
    QFETCH(QJsonObject, reply);
    Announcing announcing;
    const LogCapture log;
    announcing.rendezvous.setReply(kNewServer, reply);
    QCOMPARE(announcing.announcements(9), 9);
    QVERIFY(!announcing.isPunching());
    QCOMPARE(log.texts(), QStringList());
}

void tst_PingActiveConnection::aPortThatIsNoNumberStartsNothing()
{
    Announcing announcing;
    const LogCapture log;
    announcing.rendezvous.setReply(kNewServer,
                                   {{QStringLiteral("chp_id"), QString::fromLatin1(kClientId.toHex())},
                                    {QStringLiteral("chp_addr"), QStringLiteral("127.0.0.1")},
                                    {QStringLiteral("chp_port"), QStringLiteral("nine")}});
    QCOMPARE(announcing.announcements(9), 9);
    QVERIFY(!announcing.isPunching());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts().constFirst().contains(QStringLiteral("Key: chp_port, value: nine")));
}

void tst_PingActiveConnection::failuresAndSuccessesOfAttemptsAreCounted()
{
    Announcing announcing;
    WirePeer client(kClientId);
    client.setSilent(true);
    announcing.rendezvous.offerClient(kClientId, client.address(), client.port());
    QCOMPARE(announcing.announcements(9), 9);
    for (int i = 0; i < 11; ++i) {
        QCOMPARE(announcing.object->failCount(), quint32(0));
        announcing.holePunching()->onTimeout();
    }
    QCOMPARE(announcing.object->failCount(), quint32(1));
    QCOMPARE(announcing.object->successCount(), quint32(0));

    // Late replies count, each of them.
    QTRY_COMPARE(client.calls().size(), 11);
    client.reply(client.calls().at(9));
    client.reply(client.calls().at(10));
    QTRY_COMPARE(announcing.object->successCount(), quint32(2));
    QCOMPARE(announcing.object->failCount(), quint32(1));
}

void tst_PingActiveConnection::aSlowCallWithoutAnswerIsLoggedAndTheCallsGoOn()
{
    Announcing announcing;
    QCOMPARE(announcing.announcements(8), 8);
    announcing.rendezvous.setSilent(true);
    QCOMPARE(announcing.announcements(1), 1);
    const LogCapture log;
    const QString notResponding =
        QStringLiteral("Handshake server is not responding! Check internet connection");
    announcing.node.pass(5000);
    QVERIFY(!plain(log).contains(notResponding));
    announcing.node.pass(1);
    QCOMPARE(plain(log).count(notResponding), 1);
    announcing.node.now += 65'000;
    QCOMPARE(announcing.announcements(1), 1);
}

void tst_PingActiveConnection::aBurstCallWithoutAnswerIsNotLogged()
{
    Announcing announcing;
    announcing.rendezvous.setSilent(true);
    announcing.tick(8);
    const LogCapture log;
    announcing.node.pass(6000);
    QCOMPARE(log.texts(), QStringList());
}

void tst_PingActiveConnection::afterDropClientNoTickCallsAnythingAndAResetChangesNothing()
{
    Announcing announcing;
    announcing.tick();
    QTRY_COMPARE(announcing.rendezvous.calls().size(), 1);
    const LogCapture log;
    announcing.rendezvous.dropClient(announcing.rendezvous.calls().constFirst());
    QTRY_COMPARE(announcing.rendezvous.replies().size(), 1);
    QCOMPARE(announcing.rendezvous.replies().constFirst().body, kEmptyReply);
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Handshake server dropped connection!")});

    QCOMPARE(announcing.announcements(20), 0);
    announcing.object->resetCounter();
    announcing.node.now += 1'000'000;
    QCOMPARE(announcing.announcements(20), 0);
}

void tst_PingActiveConnection::setTimeoutTimerPingMakesTheSlowCallsFollowEachSecondTickAndSurvivesAReset()
{
    Announcing announcing;
    QCOMPARE(announcing.announcements(9), 9);
    const WirePeer::Message announcement = announcing.rendezvous.calls().constFirst();
    announcing.rendezvous.clear();
    const LogCapture log;
    announcing.rendezvous.setTimeoutTimerPing(announcement, 1000);
    QTRY_COMPARE(announcing.rendezvous.replies().size(), 1);
    QCOMPARE(announcing.rendezvous.replies().constLast().body, kEmptyReply);
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Set timeout timer .. 1000")});

    const auto callsInTwentyTicks = [&announcing] {
        int calls = 0;
        for (int i = 0; i < 20; ++i) {
            announcing.node.now += 1000;
            calls += announcing.announcements(1);
        }
        return calls;
    };
    QCOMPARE(callsInTwentyTicks(), 10);
    announcing.object->resetCounter();
    QCOMPARE(callsInTwentyTicks(), 8 + 6);
}

void tst_PingActiveConnection::setTimeoutTimerPingReadsWhateverConvertsToAnInteger_data()
{
    QTest::addColumn<QJsonValue>("v");
    QTest::addColumn<QString>("logged");
    QTest::addColumn<int>("interval");
    QTest::newRow("number") << QJsonValue(2000) << QStringLiteral("2000") << 2000;
    QTest::newRow("text") << QJsonValue(QStringLiteral("2000")) << QStringLiteral("2000") << 2000;
    QTest::newRow("fraction") << QJsonValue(1999.6) << QStringLiteral("2000") << 2000;
}

void tst_PingActiveConnection::setTimeoutTimerPingReadsWhateverConvertsToAnInteger()
{
    QFETCH(QJsonValue, v);
    QFETCH(QString, logged);
    QFETCH(int, interval);
    Announcing announcing;
    QCOMPARE(announcing.announcements(9), 9);
    const LogCapture log;
    QCOMPARE(announcing.command(announcing.rendezvous, kSetTimeout, {{QStringLiteral("v"), v}}), kEmptyReply);
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Set timeout timer .. ") + logged});
    announcing.node.now += interval;
    QCOMPARE(announcing.announcements(1), 0);
    announcing.node.now += 1;
    QCOMPARE(announcing.announcements(1), 1);
}

void tst_PingActiveConnection::anIntervalOfZeroOrLessCallsInEachTickAndAHugeOneInNone_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("calls");
    QTest::newRow("zero") << 0 << 10;
    QTest::newRow("negative") << -1 << 10;
    QTest::newRow("lowest") << std::numeric_limits<int>::min() << 10;
    QTest::newRow("highest") << std::numeric_limits<int>::max() << 0;
}

void tst_PingActiveConnection::anIntervalOfZeroOrLessCallsInEachTickAndAHugeOneInNone()
{
    QFETCH(int, interval);
    QFETCH(int, calls);
    Announcing announcing;
    QCOMPARE(announcing.announcements(9), 9);
    const LogCapture log;
    announcing.command(announcing.rendezvous, kSetTimeout, {{QStringLiteral("v"), interval}});
    int made = 0;
    for (int i = 0; i < 10; ++i) {
        announcing.node.now += 1000;
        made += announcing.announcements(1);
    }
    QCOMPARE(made, calls);
}

void tst_PingActiveConnection::setTimeoutTimerPingWithoutAnIntegerChangesNothing_data()
{
    QTest::addColumn<QJsonObject>("arguments");
    QTest::newRow("no v") << QJsonObject();
    QTest::newRow("text") << QJsonObject{{QStringLiteral("v"), QStringLiteral("soon")}};
    QTest::newRow("object") << QJsonObject{{QStringLiteral("v"), QJsonObject()}};
    QTest::newRow("null") << QJsonObject{{QStringLiteral("v"), QJsonValue()}};
}

void tst_PingActiveConnection::setTimeoutTimerPingWithoutAnIntegerChangesNothing()
{
    QFETCH(QJsonObject, arguments);
    Announcing announcing;
    QCOMPARE(announcing.announcements(9), 9);
    const LogCapture log;
    QCOMPARE(announcing.command(announcing.rendezvous, kSetTimeout, arguments), kEmptyReply);
    QCOMPARE(plain(log), QStringList());
    announcing.node.now += 70'000;
    QCOMPARE(announcing.announcements(1), 0);
    announcing.node.now += 1;
    QCOMPARE(announcing.announcements(1), 1);
}

void tst_PingActiveConnection::anySenderIsObeyed()
{
    Announcing announcing;
    WirePeer stranger(kStrangerId);
    const LogCapture log;
    QCOMPARE(announcing.command(stranger, kSetTimeout, {{QStringLiteral("v"), 5}}), kEmptyReply);
    QCOMPARE(announcing.command(stranger, QStringLiteral("drop_client")), kEmptyReply);
    QCOMPARE(plain(log), (QStringList{QStringLiteral("Set timeout timer .. 5"),
                                      QStringLiteral("Handshake server dropped connection!")}));
    QCOMPARE(announcing.announcements(1), 0);
}

void tst_PingActiveConnection::aFloodOfCommandsLogsFiftyLines()
{
    Announcing announcing;
    WirePeer stranger(kStrangerId);
    const LogCapture log;
    for (int i = 0; i < 60; ++i) {
        announcing.command(stranger, kSetTimeout, {{QStringLiteral("v"), i}});
        announcing.command(stranger, QStringLiteral("drop_client"));
    }
    // Up to fifty: those of the second in which it began count as well.
    QVERIFY(plain(log).count(QStringLiteral("Handshake server dropped connection!")) <= 50);
    QVERIFY(plain(log).filter(QStringLiteral("Set timeout timer")).size() <= 50);
}

void tst_PingActiveConnection::whatArrivesAfterTheObjectHasGoneTouchesNothing()
{
    Announcing announcing;
    QCOMPARE(announcing.announcements(8), 8);
    announcing.rendezvous.setSilent(true);
    QCOMPARE(announcing.announcements(1), 1);
    const LogCapture log;
    announcing.object.reset();
    announcing.rendezvous.reply(announcing.rendezvous.calls(kNewServer).constLast(),
                                {{QStringLiteral("chp_id"), QString::fromLatin1(kClientId.toHex())},
                                 {QStringLiteral("chp_addr"), QStringLiteral("127.0.0.1")},
                                 {QStringLiteral("chp_port"), 9}});
    QCOMPARE(announcing.command(announcing.rendezvous, kSetTimeout, {{QStringLiteral("v"), 5}}), kEmptyReply);
    QCOMPARE(announcing.command(announcing.rendezvous, QStringLiteral("drop_client")), kEmptyReply);
    announcing.node.pass(6000);
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(tst_PingActiveConnection)
#include "tst_PingActiveConnection.moc"
