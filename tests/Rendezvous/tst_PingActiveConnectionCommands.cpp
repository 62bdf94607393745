#include "Rendezvous/Announcing.h"

#include <QtTest>
#include <limits>

/// What anybody may tell a PingActiveConnection to do.
class tst_PingActiveConnectionCommands : public QObject
{
    Q_OBJECT

private slots:
    void afterDropClientNoTickCallsAnythingAndResetChangesNothing();
    void setTimeoutTimerPingSetsIntervalThatSurvivesReset();
    void setTimeoutTimerPingReadsWhateverConvertsToInteger_data();
    void setTimeoutTimerPingReadsWhateverConvertsToInteger();
    void intervalOfZeroOrLessCallsInEachTickAndHugeOneInNone_data();
    void intervalOfZeroOrLessCallsInEachTickAndHugeOneInNone();
    void setTimeoutTimerPingWithoutIntegerChangesNothing_data();
    void setTimeoutTimerPingWithoutIntegerChangesNothing();
    void anySenderIsObeyed();
    void floodOfCommandsLogsFiftyLines();
};

void tst_PingActiveConnectionCommands::afterDropClientNoTickCallsAnythingAndResetChangesNothing()
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

void tst_PingActiveConnectionCommands::setTimeoutTimerPingSetsIntervalThatSurvivesReset()
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

void tst_PingActiveConnectionCommands::setTimeoutTimerPingReadsWhateverConvertsToInteger_data()
{
    QTest::addColumn<QJsonValue>("v");
    QTest::addColumn<QString>("logged");
    QTest::addColumn<int>("interval");
    QTest::newRow("number") << QJsonValue(2000) << QStringLiteral("2000") << 2000;
    QTest::newRow("text") << QJsonValue(QStringLiteral("2000")) << QStringLiteral("2000") << 2000;
    QTest::newRow("fraction") << QJsonValue(1999.6) << QStringLiteral("2000") << 2000;
}

void tst_PingActiveConnectionCommands::setTimeoutTimerPingReadsWhateverConvertsToInteger()
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

void tst_PingActiveConnectionCommands::intervalOfZeroOrLessCallsInEachTickAndHugeOneInNone_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("calls");
    QTest::newRow("zero") << 0 << 10;
    QTest::newRow("negative") << -1 << 10;
    QTest::newRow("lowest") << std::numeric_limits<int>::min() << 10;
    QTest::newRow("highest") << std::numeric_limits<int>::max() << 0;
}

void tst_PingActiveConnectionCommands::intervalOfZeroOrLessCallsInEachTickAndHugeOneInNone()
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

void tst_PingActiveConnectionCommands::setTimeoutTimerPingWithoutIntegerChangesNothing_data()
{
    QTest::addColumn<QJsonObject>("arguments");
    QTest::newRow("no v") << QJsonObject();
    QTest::newRow("text") << QJsonObject{{QStringLiteral("v"), QStringLiteral("soon")}};
    QTest::newRow("object") << QJsonObject{{QStringLiteral("v"), QJsonObject()}};
    QTest::newRow("null") << QJsonObject{{QStringLiteral("v"), QJsonValue()}};
}

void tst_PingActiveConnectionCommands::setTimeoutTimerPingWithoutIntegerChangesNothing()
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

void tst_PingActiveConnectionCommands::anySenderIsObeyed()
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

void tst_PingActiveConnectionCommands::floodOfCommandsLogsFiftyLines()
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

QTEST_GUILESS_MAIN(tst_PingActiveConnectionCommands)
#include "tst_PingActiveConnectionCommands.moc"
