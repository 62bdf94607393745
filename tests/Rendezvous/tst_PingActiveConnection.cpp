#include "Rendezvous/Announcing.h"

#include <QtTest>

/// The announcements, and the clients that their replies name.
class tst_PingActiveConnection : public QObject
{
    Q_OBJECT

private slots:
    void announcementHoldsExactlyItsFourKeysAndVersionAsText();
    void makingItCallsNothing();
    void eightTicksMakeEightCallsWhoseRepliesAreNotLookedAt();
    void fromNinthTickOnCallsComeSeventySecondsApart();
    void resetBringsBurstAgainButSlowCallsKeepToTheirLastTime();
    void resetCallsNothingByItselfAndNextTickAnnounces();
    void busyAndDropAreBareCommands();
    void destructorTellsThatServerLeaves();
    void clientNamedInSlowReplyIsPunchedTowards();
    void attemptPassesEmptyIdentificator();
    void replyThatDoesNotNameClientWholeStartsNothing_data();
    void replyThatDoesNotNameClientWholeStartsNothing();
    void portThatIsNoNumberStartsNothing();
    void failuresAndSuccessesOfAttemptsAreCounted();
    void slowCallWithoutAnswerIsLoggedAndCallsGoOn();
    void burstCallWithoutAnswerIsNotLogged();
    void whatArrivesAfterObjectHasGoneTouchesNothing();
};

void tst_PingActiveConnection::announcementHoldsExactlyItsFourKeysAndVersionAsText()
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

void tst_PingActiveConnection::fromNinthTickOnCallsComeSeventySecondsApart()
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

void tst_PingActiveConnection::resetBringsBurstAgainButSlowCallsKeepToTheirLastTime()
{
    Announcing announcing;
    QCOMPARE(announcing.announcements(9), 9);
    announcing.object->resetCounter();
    announcing.node.now += 60'000;
    QCOMPARE(announcing.announcements(10), 8);
    announcing.node.now += 10'001;
    QCOMPARE(announcing.announcements(2), 1);
}

void tst_PingActiveConnection::resetCallsNothingByItselfAndNextTickAnnounces()
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

void tst_PingActiveConnection::destructorTellsThatServerLeaves()
{
    Announcing announcing;
    announcing.object.reset();
    QTRY_COMPARE(announcing.rendezvous.calls(QStringLiteral("drop")).size(), 1);
    QCOMPARE(announcing.rendezvous.calls().size(), 1);
}

void tst_PingActiveConnection::clientNamedInSlowReplyIsPunchedTowards()
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

void tst_PingActiveConnection::attemptPassesEmptyIdentificator()
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

void tst_PingActiveConnection::replyThatDoesNotNameClientWholeStartsNothing_data()
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

void tst_PingActiveConnection::replyThatDoesNotNameClientWholeStartsNothing()
{
    QFETCH(QJsonObject, reply);
    Announcing announcing;
    const LogCapture log;
    announcing.rendezvous.setReply(kNewServer, reply);
    QCOMPARE(announcing.announcements(9), 9);
    QVERIFY(!announcing.isPunching());
    QCOMPARE(log.texts(), QStringList());
}

void tst_PingActiveConnection::portThatIsNoNumberStartsNothing()
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

void tst_PingActiveConnection::slowCallWithoutAnswerIsLoggedAndCallsGoOn()
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

void tst_PingActiveConnection::burstCallWithoutAnswerIsNotLogged()
{
    Announcing announcing;
    announcing.rendezvous.setSilent(true);
    announcing.tick(8);
    const LogCapture log;
    announcing.node.pass(6000);
    QCOMPARE(log.texts(), QStringList());
}

void tst_PingActiveConnection::whatArrivesAfterObjectHasGoneTouchesNothing()
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
