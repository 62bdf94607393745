#include "ClientApplication/Program/ClientProcess.h"
#include "ClientApplication/Sound.h"
#include "System/Served.h"
#include "System/Wait.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QTemporaryDir>
#include <cmath>

namespace
{

const QString kRecord = QStringLiteral("record");
const QString kSeconds = QStringLiteral("--seconds");

} // namespace

class tst_ClientTroubles : public QObject
{
    Q_OBJECT

private slots:
    void killedServerEndsTheRecordingWhole();
    void stoppedServerIsBorneAndItsGapCounted();
    void restartedServerIsComeBackTo();
    void endOfTheServersReceiverIsToldInItsWords();

private:
    [[nodiscard]] bool hasBegun(const QString& path) const
    {
        return waitUntil([&] { return QFile(path).size() > 50'000; });
    }
};

void tst_ClientTroubles::killedServerEndsTheRecordingWhole()
{
    Served served(recording({{5'000, 1'000}}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    ClientProcess client;
    client.start(kRecord, served.server, {path});
    QVERIFY(hasBegun(path));
    served.server.signal(SIGKILL);
    QCOMPARE(client.waitForExitCode(), 6);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(client.errors()[0].contains(QLatin1String("the server has gone silent")));
    // What was received is all there, and told of.
    QCOMPARE(static_cast<qint64>(Sound::read(path).values.size() * 2), QFile(path).size() - 252);
    QVERIFY(client.text().startsWith(path));
}

// Three seconds: too short for anyone to give up.
void tst_ClientTroubles::stoppedServerIsBorneAndItsGapCounted()
{
    Served served(recording({{5'000, 1'000}}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    ClientProcess client;
    client.start(kRecord, served.server, {path, kSeconds, QStringLiteral("9"), QStringLiteral("--json")});
    QVERIFY(hasBegun(path));
    served.server.signal(SIGSTOP);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(waitUntil([&clock] { return clock.elapsed() >= 3'000; }));
    served.server.signal(SIGCONT);
    QCOMPARE(client.waitForExitCode(), 0);
    const QJsonObject told = client.json().object();
    const double missing = told[QStringLiteral("missing_samples")].toDouble() / 48'000;
    QVERIFY2(missing > 2.5 && missing < 3.6, qPrintable(QString::number(missing)));
    const double seconds = told[QStringLiteral("seconds")].toDouble();
    QVERIFY2(seconds > 5.2 && seconds < 6.6, qPrintable(QString::number(seconds)));
    QVERIFY(served.server.quit());
}

void tst_ClientTroubles::restartedServerIsComeBackTo()
{
    Served served(recording({{5'000, 1'000}}));
    QVERIFY(served.server.serve());
    const quint16 port = served.server.port();
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    ClientProcess client;
    // What a server has kept of an earlier session doesn't tune its player.
    QCOMPARE(client.run(QStringLiteral("set"), served.server,
                        {QStringLiteral("frequency"), QStringLiteral("14.26M")}),
             0);
    client.start(kRecord, served.server,
                 {path, QStringLiteral("--reconnect"), QStringLiteral("--offset"), QStringLiteral("-5k"),
                  QStringLiteral("--bandwidth"), QStringLiteral("10k")});
    QVERIFY(waitUntil([&] { return QFile(path).size() > 20'000; }));
    served.server.signal(SIGKILL);
    QVERIFY(served.server.waitForExitCode() == -1000);
    const qint64 before = QFile(path).size();
    QVERIFY(served.server.serve({QStringLiteral("-p"), QString::number(port)}));
    QVERIFY(waitUntil([&] { return QFile(path).size() > before + 100'000; }));
    client.signal(SIGINT);
    QCOMPARE(client.waitForExitCode(), 0);
    QVERIFY(client.text().contains(QLatin1String("missing")));
    // The settings are as they were: the station stands still at the rate of before, at the end too.
    const Sound sound = Sound::read(path);
    QCOMPARE(sound.sampleRate, 12'000);
    const std::size_t last = sound.values.size() - 2;
    QVERIFY(std::hypot(sound.values[last], sound.values[last + 1]) > 7'000);
    for (std::size_t n = sound.values.size() - 4'000; n + 3 < sound.values.size(); n += 2) {
        QVERIFY(std::abs(sound.values[n + 2] - sound.values[n]) < 300);
    }
    QVERIFY(served.server.quit());
}

void tst_ClientTroubles::endOfTheServersReceiverIsToldInItsWords()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QVERIFY(QFile::remove(served.file));
    ClientProcess client;
    const QTemporaryDir folder;
    QCOMPARE(client.run(kRecord, served.server, {folder.path()}), 6);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY2(client.errors()[0].contains(QLatin1String("Error open local file to start radio!")),
             qPrintable(client.errors()[0]));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientTroubles)
#include "tst_ClientTroubles.moc"
