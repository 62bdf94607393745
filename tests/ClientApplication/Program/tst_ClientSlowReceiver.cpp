#include "ClientApplication/Program/ClientProcess.h"
#include "System/Receiver.h"

#include <QTest>

/// A server whose receiver takes its time: the library is slow, but works.
class tst_ClientSlowReceiver : public QObject
{
    Q_OBJECT

private slots:
    void slowOpenAndSlowStartAreWaitedFor();
};

void tst_ClientSlowReceiver::slowOpenAndSlowStartAreWaitedFor()
{
    ServedReceiver served(receiver("RTL"));
    served.fake.set(QStringLiteral("delay.rtlsdr_open"), 3'300);
    for (const char* call : {"set_sample_rate", "set_center_freq", "set_tuner_gain", "reset_buffer"}) {
        served.fake.set(QStringLiteral("delay.rtlsdr_%1").arg(QLatin1String(call)), 400);
    }
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(QStringLiteral("get"), served.server, {QStringLiteral("frequency")}), 0);
    QCOMPARE(client.text(), QStringLiteral("100000000\n"));
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(client.errors()[0].startsWith(QLatin1String("no answer yet: waiting ")));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientSlowReceiver)
#include "tst_ClientSlowReceiver.moc"
