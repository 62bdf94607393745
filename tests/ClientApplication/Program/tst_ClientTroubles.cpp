#include "ClientApplication/Program/ClientProcess.h"
#include "Receiving/Sound.h"
#include "System/Served.h"
#include "support/Wait.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QTemporaryDir>
#include <cmath>

namespace
{

const QString kRecord = QStringLiteral("record");
const QString kSeconds = QStringLiteral("--seconds");

} // namespace

/// The troubles begin at once, each with a server and a client of its own, since all take their time.
class tst_ClientTroubles : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void stoppedServerIsBorneAndItsGapCounted();
    void killedServerEndsRecordingWhole();
    void restartedServerIsComeBackTo();
    void endOfServersReceiverIsToldInItsWords();

private:
    struct Pair
    {
        Pair()
            : served(recording({{5'000, 1'000}}))
        {
        }
        void record(const QStringList& arguments = {})
        {
            client.start(kRecord, served.server, QStringList{path()} + arguments);
        }
        [[nodiscard]] QString path() const { return folder.filePath(QStringLiteral("a.wav")); }
        [[nodiscard]] qint64 size() const { return QFile(path()).size(); }
        [[nodiscard]] bool hasBegun() const
        {
            return waitUntil([this] { return size() > 20'000; });
        }

        Served served;
        QTemporaryDir folder;
        ClientProcess client;
    };

    std::unique_ptr<Pair> m_stopped;
    std::unique_ptr<Pair> m_killed;
    std::unique_ptr<Pair> m_restarted;
    QElapsedTimer m_stop;
    qint64 m_sizeAtRestart = 0;
};

void tst_ClientTroubles::initTestCase()
{
    for (std::unique_ptr<Pair>* pair : {&m_stopped, &m_killed, &m_restarted}) {
        *pair = std::make_unique<Pair>();
        QVERIFY((*pair)->served.server.serve());
    }
    // What a server has kept of an earlier session doesn't tune its player.
    ServerProcess& server = m_restarted->served.server;
    QCOMPARE(m_restarted->client.run(QStringLiteral("set"), server,
                                     {QStringLiteral("frequency"), QStringLiteral("14.26M")}),
             0);
    m_killed->record();
    m_restarted->record({QStringLiteral("--reconnect"), QStringLiteral("--offset"), QStringLiteral("-5k"),
                         QStringLiteral("--bandwidth"), QStringLiteral("10k")});
    QVERIFY(m_killed->hasBegun() && m_restarted->hasBegun());
    m_killed->served.server.signal(SIGKILL);
    const quint16 port = server.port();
    server.signal(SIGKILL);
    QCOMPARE(server.waitForExitCode(), -1000);
    m_sizeAtRestart = m_restarted->size();
    QVERIFY(server.serve({QStringLiteral("-p"), QString::number(port)}));

    m_stopped->record({kSeconds, QStringLiteral("9"), QStringLiteral("--json")});
    QVERIFY(m_stopped->hasBegun());
    m_stopped->served.server.signal(SIGSTOP);
    m_stop.start();
}

// Three seconds: too short for anyone to give up.
void tst_ClientTroubles::stoppedServerIsBorneAndItsGapCounted()
{
    ClientProcess& client = m_stopped->client;
    QVERIFY(waitUntil([this] { return m_stop.elapsed() >= 3'000; }));
    m_stopped->served.server.signal(SIGCONT);
    QCOMPARE(client.waitForExitCode(), 0);
    const QJsonObject told = client.json().object();
    const double missing = told[QStringLiteral("missing_samples")].toDouble() / 48'000;
    QVERIFY2(missing > 2.5 && missing < 3.6, qPrintable(QString::number(missing)));
    const double seconds = told[QStringLiteral("seconds")].toDouble();
    QVERIFY2(seconds > 5.2 && seconds < 6.6, qPrintable(QString::number(seconds)));
    QVERIFY(m_stopped->served.server.quit());
}

void tst_ClientTroubles::killedServerEndsRecordingWhole()
{
    ClientProcess& client = m_killed->client;
    QCOMPARE(client.waitForExitCode(), 6);
    QCOMPARE(client.errors().size(), 2);
    QVERIFY(client.errors()[0].startsWith(QLatin1String("nothing has come for ")));
    QVERIFY(client.errors()[1].contains(QLatin1String("the server has gone silent")));
    // What was received is all there, and told of.
    QCOMPARE(static_cast<qint64>(Sound::read(m_killed->path()).values.size() * 2), m_killed->size() - 252);
    QVERIFY(client.text().startsWith(m_killed->path()));
}

void tst_ClientTroubles::restartedServerIsComeBackTo()
{
    ClientProcess& client = m_restarted->client;
    QVERIFY(waitUntil([this] { return m_restarted->size() > m_sizeAtRestart + 100'000; }));
    client.signal(SIGINT);
    QCOMPARE(client.waitForExitCode(), 0);
    QVERIFY(client.text().contains(QLatin1String("missing")));
    // The settings are as they were: the station stays at 0 Hz at the rate of before, at the end too.
    const Sound sound = Sound::read(m_restarted->path());
    QCOMPARE(sound.sampleRate, 12'000);
    const std::size_t last = sound.values.size() - 2;
    QVERIFY(std::hypot(sound.values[last], sound.values[last + 1]) > 7'000);
    for (std::size_t n = sound.values.size() - 4'000; n + 3 < sound.values.size(); n += 2) {
        QVERIFY(std::abs(sound.values[n + 2] - sound.values[n]) < 300);
    }
    QVERIFY(m_restarted->served.server.quit());
}

void tst_ClientTroubles::endOfServersReceiverIsToldInItsWords()
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
