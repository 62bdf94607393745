#include "System/Served.h"
#include "support/WireClient.h"

#include <QTest>

namespace
{

const QString kPing = QStringLiteral("ping");
const QString kMiss = QStringLiteral("Function timeout ... name: ping");
const QString kGone = QStringLiteral("The client is not responding. Disconnection");

} // namespace

/// Three sessions side by side, since only real seconds show what they do.
class tst_KeepAlive : public QObject
{
    Q_OBJECT

private slots:
    void onlySilentClientIsDropped();
};

void tst_KeepAlive::onlySilentClientIsDropped()
{
    Served silent(recording({}));
    Served answering(recording({}));
    Served pinging(recording({}));
    for (Served* served : {&silent, &answering, &pinging}) {
        QVERIFY(served->server.serve());
    }
    WireClient silentClient(silent.server);
    WireClient answeringClient(answering.server);
    WireClient pingingClient(pinging.server);
    QVERIFY(answeringClient.open(answering.file));
    // Answers nothing, but its own pings prove that it lives.
    QVERIFY(pingingClient.open(pinging.file));
    pingingClient.setSilent(true);
    QVERIFY(silentClient.open(silent.file));
    silentClient.setSilent(true);

    qint64 nextPing = 0;
    QVERIFY(waitUntil([&] {
        if (pingingClient.now() >= nextPing) {
            pingingClient.call(pingingClient.sessionId(), kPing, {{QStringLiteral("c"), 0}});
            nextPing = pingingClient.now() + 500;
        }
        return silent.server.count(kGone) > 0;
    }));

    // The fifth miss is one too many. Two may be noticed in one heartbeat.
    const QStringList lines = silent.server.lines();
    const int misses = lines.mid(0, lines.indexOf(kGone)).filter(kMiss).size();
    QVERIFY2(misses == 5 || misses == 6, qPrintable(QString::number(misses)));
    const QVector<WireClient::Message> pings = silentClient.calls(kPing);
    QVERIFY2(pings.size() >= 5 && pings.size() <= 12, qPrintable(QString::number(pings.size())));
    QVERIFY(pings[1].time - pings[0].time >= 900);
    silent.server.type("stat\n");
    QVERIFY(silent.server.waitForLine(QStringLiteral("\tConnected: false")));

    for (Served* served : {&answering, &pinging}) {
        QCOMPARE(served->server.count(kGone), 0);
        served->server.type("stat\n");
        QVERIFY(served->server.waitForLine(QStringLiteral("\tConnected: true")));
    }
    // Who was dropped may come again.
    silentClient.setSilent(false);
    QVERIFY(silentClient.open(silent.file));
    silentClient.forgetSamples();
    QVERIFY(silentClient.waitForSamples(4800));
}

QTEST_GUILESS_MAIN(tst_KeepAlive)
#include "tst_KeepAlive.moc"
