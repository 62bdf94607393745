#include "Client/Hostility.h"
#include "ClientApplication/Program/ClientProcess.h"
#include "Network/Data/Base58.h"
#include "Receiving/Sound.h"
#include "support/Wait.h"

#include <QTemporaryDir>
#include <QtTest>

using Attack = void (Hostility::*)();
Q_DECLARE_METATYPE(Attack)

/// The client program records from a server that has let it in and then sends what no server should.
class tst_ClientAndHostileServer : public QObject
{
    Q_OBJECT

private slots:
    void recordingGoesOnInBoundedMemory_data();
    void recordingGoesOnInBoundedMemory();
};

namespace
{

// KiB, the most that was ever resident: 17 MiB before, 26 MiB with long names.
#ifdef __SANITIZE_ADDRESS__
constexpr qint64 kMostMemory = 1024LL * 1024; // what is freed is kept for a while, more than half of this
#else
constexpr qint64 kMostMemory = 64LL * 1024;
#endif

} // namespace

void tst_ClientAndHostileServer::recordingGoesOnInBoundedMemory_data()
{
    QTest::addColumn<Attack>("attack");
    QTest::addColumn<QString>("told");
    const auto row = [](const char* name, Attack attack, const char* told) {
        QTest::newRow(name) << attack << QString::fromLatin1(told);
    };
    row("datagrams of every kind and length", &Hostility::datagramsOfEveryKindAndLength,
        "The server sends damaged IQ");
    row("compressed bombs", &Hostility::compressedBombs, "The server sends damaged IQ");
    row("a million properties", &Hostility::aMillionProperties, "the set is too large!");
    row("names of 60 kB", &Hostility::namesOf60kB, "the set is too large!");
    row("values that are no numbers", &Hostility::valuesThatAreNoNumbers, "");
}

void tst_ClientAndHostileServer::recordingGoesOnInBoundedMemory()
{
    QFETCH(Attack, attack);
    QFETCH(QString, told);
    ServerDouble server;
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    ClientProcess client;
    client.start({QStringLiteral("record"),
                  QStringLiteral("%1@127.0.0.1:%2")
                      .arg(Base58::encode(server.info().id.bytes()))
                      .arg(server.info().port),
                  QStringLiteral("--identificator"), server.identificator(), path,
                  QStringLiteral("--reconnect")}); // waits on while the server sends no samples
    QVERIFY(waitUntil([&server] { return server.isInSession(); }));
    server.call(QStringLiteral("outSampleRateChanged"), {{QStringLiteral("outSampleRate"), 48'000}});
    QVERIFY(waitUntil([&path] { return QFile::exists(path); }));

    Hostility hostility(server);
    (hostility.*attack)();
    QVERIFY(hostility.settle());

    // The session is as good as ever, at the rate that was last told in earnest.
    QVERIFY(client.isRunning());
    const qint64 before = QFile(path).size();
    server.sendIq(QVector<qint16>(256, 1'000));
    QVERIFY(waitUntil([&] { return QFile(path).size() == before + 512; }));
    const qint64 most = client.mostMemory();
    client.signal(SIGINT);
    QCOMPARE(client.waitForExitCode(), 0);
    QVERIFY2(most > 0 && most < kMostMemory, qPrintable(QString::number(most)));
    QStringList errors = client.errors();
    if (errors.value(0).startsWith(QLatin1String("nothing has come for "))) {
        errors.removeFirst();
    }
    QVERIFY2(errors.size() == 1, qPrintable(errors.join(QLatin1Char('\n'))));
    QVERIFY2(errors[0].startsWith(QLatin1String("orvenlink-client: ")) && errors[0].contains(told),
             qPrintable(errors[0]));
    QCOMPARE(Sound::read(path).values.back(), qint16(1'000));
}

QTEST_GUILESS_MAIN(tst_ClientAndHostileServer)
#include "tst_ClientAndHostileServer.moc"
