#include "ClientApplication/Program/ClientProcess.h"
#include "System/SecondHost.h"
#include "System/Served.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

namespace
{

const QString kInfo = QStringLiteral("info");
const QString kGet = QStringLiteral("get");
const QString kSet = QStringLiteral("set");
const QString kJson = QStringLiteral("--json");

} // namespace

class tst_ClientCommands : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void listShowsFreeServer();
    void listWithoutServerIsCode3();
    void addressAloneFindsServer();
    void infoTellsReceiver();
    void getPrintsValues();
    void setPrintsWhatWasTaken();
    void whatReceiverDoesNotTakeIsCode7_data();
    void whatReceiverDoesNotTakeIsCode7();
    void secondClientIsToldBusy();
    void withoutIdentificatorNobodyIsDrivenOut();
    void whereNobodyAnswersIsCode4();
    void takeoverEndsSessionInOneLine();
    void sessionIsLeftPolitely();
    void listShowsServerOfTwoNetworksOnce(); // last: the cables take the route of broadcasts with them

private:
    ClientProcess m_unanswered;
};

// The client is patient for some seconds; what it then says is looked at in one of the tests below.
void tst_ClientCommands::initTestCase()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QStringList server = ClientProcess::at(served.server);
    QVERIFY(served.server.quit());
    m_unanswered.start(QStringList{kInfo} + server);
}

void tst_ClientCommands::listShowsFreeServer()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(words("list --wait 1.5")), 0);
    const QStringList columns = client.text().simplified().split(QLatin1Char(' '));
    QCOMPARE(columns.value(0), served.server.address());
    QVERIFY(columns.value(1).endsWith(QStringLiteral(":%1").arg(served.server.port())));
    QCOMPARE(client.run(words("list --json --wait 1.5")), 0);
    const QJsonArray servers = client.json().array();
    QCOMPARE(servers.size(), 1);
    QCOMPARE(servers[0].toObject()[QStringLiteral("address")].toString(), served.server.address());
    QCOMPARE(servers[0].toObject()[QStringLiteral("port")].toInt(), static_cast<int>(served.server.port()));
    QCOMPARE(servers[0].toObject()[QStringLiteral("identificator")].toString(), served.file);
    QCOMPARE(servers[0].toObject()[QStringLiteral("receiver")].toString(), QStringLiteral("IQ file player"));
    QVERIFY(served.server.quit());
}

// It announces itself on both cables, and the client is on both networks.
void tst_ClientCommands::listShowsServerOfTwoNetworksOnce()
{
    const SecondHost host;
    QVERIFY(host.isConnected() && host.lay(1));
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(words("list --json --wait 1.5")), 0);
    QCOMPARE(client.json().array().size(), 1);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::listWithoutServerIsCode3()
{
    ClientProcess client;
    QCOMPARE(client.run(words("list --wait 0.5")), 3);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(client.output().isEmpty());
    QCOMPARE(client.run(words("list --wait 0.5 --json")), 3);
    QCOMPARE(client.output(), QByteArray("[]\n"));
}

void tst_ClientCommands::addressAloneFindsServer()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run({kGet, served.server.address(), QStringLiteral("frequency")}), 0);
    QCOMPARE(client.text(), QStringLiteral("14250000\n"));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::infoTellsReceiver()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kInfo, served.server), 0);
    const QString text = client.text();
    for (const char* part :
         {"IQ file player", "14.000000 MHz to 14.500000 MHz", "48 kHz", "14250000 Hz", "ppmCorrection"}) {
        QVERIFY2(text.contains(QLatin1String(part)), part);
    }
    QVERIFY(text.contains(served.server.address()));
    QCOMPARE(client.run(kInfo, served.server, {kJson}), 0);
    const QJsonObject object = client.json().object();
    QCOMPARE(object[QStringLiteral("frequencies_hz")].toArray(), (QJsonArray{QJsonArray{14e6, 14.5e6}}));
    QCOMPARE(object[QStringLiteral("sample_rates_hz")].toArray(), QJsonArray{48e3});
    QCOMPARE(object[QStringLiteral("properties")].toObject().size(), 10);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::getPrintsValues()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kGet, served.server, words("swapIQ")), 0);
    QCOMPARE(client.text(), QStringLiteral("false\n"));
    QCOMPARE(client.run(kGet, served.server, words("sampleRate type")), 0);
    QCOMPARE(client.text(), QStringLiteral("sampleRate 48000\ntype 0\n"));
    QCOMPARE(client.run(kGet, served.server, words("--json sampleRate")), 0);
    QCOMPARE(client.output(), QByteArray("{\"sampleRate\":48000}\n"));
    QCOMPARE(client.run(kGet, served.server), 0);
    QCOMPARE(client.text().count(QLatin1Char('\n')), 10);
    QCOMPARE(client.run(kGet, served.server, words("nonsense")), 7);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::setPrintsWhatWasTaken()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kSet, served.server, words("ppmCorrection 3")), 0);
    QCOMPARE(client.text(), QStringLiteral("3 ppm\n"));
    // The server keeps it for the next session.
    QCOMPARE(client.run(kGet, served.server, words("ppmCorrection")), 0);
    QCOMPARE(client.text(), QStringLiteral("3\n"));
    QCOMPARE(client.run(kSet, served.server, words("frequency 14.3M")), 0); // corrected, but taken
    QCOMPARE(client.run(kSet, served.server, words("levelCorrection -- -2.5")), 0);
    QCOMPARE(client.text(), QStringLiteral("-2.5 dB\n"));
    QCOMPARE(client.run(kSet, served.server, words("swapIQ on")), 0);
    QCOMPARE(client.text(), QStringLiteral("true\n"));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::whatReceiverDoesNotTakeIsCode7_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("arguments");
    QTest::newRow("set, a frequency beyond the band") << kSet << QStringLiteral("frequency 99M");
    QTest::newRow("set, what can't be written") << kSet << QStringLiteral("running false");
    QTest::newRow("set, no such property") << kSet << QStringLiteral("gain 3");
    QTest::newRow("record, a frequency beyond the band")
        << QStringLiteral("record") << QStringLiteral("/dev/null --frequency 99M");
    QTest::newRow("listen, a mode wider than the receiver")
        << QStringLiteral("listen") << QStringLiteral("/dev/null --mode wfm");
}

void tst_ClientCommands::whatReceiverDoesNotTakeIsCode7()
{
    QFETCH(QString, command);
    QFETCH(QString, arguments);
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(command, served.server, arguments.split(QLatin1Char(' '))), 7);
    QVERIFY2(client.errors().size() == 1, qPrintable(client.errors().join(QLatin1Char('\n'))));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::secondClientIsToldBusy()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient first(served.server);
    QVERIFY(first.open(served.file));
    ClientProcess second;
    QCOMPARE(second.run(kInfo, served.server), 5);
    QCOMPARE(second.errors().size(), 1);
    QVERIFY(second.errors()[0].contains(QLatin1String("Server busy!")));
    QVERIFY(first.close());
    QCOMPARE(second.run(kInfo, served.server), 0);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::withoutIdentificatorNobodyIsDrivenOut()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient first(served.server);
    QVERIFY(first.open(served.file));
    ClientProcess second;
    QCOMPARE(second.run({kInfo, ClientProcess::at(served.server)[0]}), 2);
    QVERIFY(second.errors().value(0).contains(QLatin1String("--identificator is missing")));
    QVERIFY(first.askSession(QStringLiteral("ping")).has_value());
    QVERIFY(first.calls(QStringLiteral("admin_request")).isEmpty());
    QVERIFY(first.close());
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::whereNobodyAnswersIsCode4()
{
    QCOMPARE(m_unanswered.waitForExitCode(), 4);
    QCOMPARE(m_unanswered.errors().size(), 2);
    QVERIFY(m_unanswered.errors()[0].startsWith(QLatin1String("no answer yet: waiting ")));
    QVERIFY(m_unanswered.errors()[1].startsWith(QLatin1String("orvenlink-client: nobody answers there")));
}

void tst_ClientCommands::takeoverEndsSessionInOneLine()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    ClientProcess client;
    client.start(QStringLiteral("record"), served.server, {folder.filePath(QStringLiteral("a.wav"))});
    QVERIFY(waitUntil([&] { return QFile(folder.filePath(QStringLiteral("a.wav"))).size() > 10'000; }));
    WireClient admin(served.server);
    QVERIFY(admin.open(QStringLiteral("an administrator")));
    QCOMPARE(client.waitForExitCode(), 6);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(client.errors()[0].contains(QLatin1String("taken over")));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::sessionIsLeftPolitely()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const QString path = folder.filePath(QStringLiteral("%1.wav").arg(number));
        ClientProcess client;
        client.start(QStringLiteral("record"), served.server, {path});
        QVERIFY(waitUntil([&] { return QFile(path).size() > 10'000; }));
        client.signal(number);
        QCOMPARE(client.waitForExitCode(), 0);
        QVERIFY2(client.errors().isEmpty(), qPrintable(client.errors().join(QLatin1Char('\n'))));
        // The server is free at once.
        WireClient next(served.server);
        QVERIFY(next.open(served.file));
        QVERIFY(next.close());
    }
    ClientProcess client;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    client.start(QStringLiteral("record"), served.server,
                 {path, QStringLiteral("--seconds"), QStringLiteral("1h")});
    QVERIFY(waitUntil([&] { return QFile(path).size() > 10'000; }));
    client.signal(SIGINT);
    QCOMPARE(client.waitForExitCode(), 130); // there was to be more
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientCommands)
#include "tst_ClientCommands.moc"
