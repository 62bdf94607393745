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

constexpr int kRate = 12'000; // of the recordings

bool setNetwork(bool isUp)
{
    const QString command =
        isUp ? QStringLiteral("ip link set lo up && ip route replace 255.255.255.255 dev lo")
             : QStringLiteral("ip link set lo down");
    return QProcess::execute(QStringLiteral("sh"), {QStringLiteral("-c"), command}) == 0;
}

} // namespace

/// The network between two pairs of server and client goes away while they record, until both sides have
/// given up. How often a client asks in vain for its session until then, tst_Connector tests.
class tst_ClientOutage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    // In this order: one outage serves them all.
    void whoIsNotToComeBackSaysSoAndEnds();
    void whoIsToComeBackWaits();
    void whoIsToComeBackGoesOnAsBefore();
    void serversAreFreeAgain();

private:
    struct Pair
    {
        Pair()
            : served(recording({{5'000, 1'000}}))
        {
        }
        [[nodiscard]] bool record(const QStringList& arguments);
        [[nodiscard]] QString path() const { return folder.filePath(QStringLiteral("a.wav")); }
        [[nodiscard]] qint64 size() const { return QFile(path()).size(); }

        Served served;
        QTemporaryDir folder;
        ClientProcess client;
    };

    std::unique_ptr<Pair> m_ending;
    std::unique_ptr<Pair> m_returning;
    QElapsedTimer m_recording;
    QElapsedTimer m_outage;
    double m_outageTime = 0.0; // s
    qint64 m_sizeAtTheCut = 0;
};

// Tuned so that the station is at 0 Hz.
bool tst_ClientOutage::Pair::record(const QStringList& arguments)
{
    client.start(QStringLiteral("record"), served.server,
                 QStringList{path(), QStringLiteral("--frequency"), QStringLiteral("14.26M"),
                             QStringLiteral("--offset"), QStringLiteral("-5k"), QStringLiteral("--bandwidth"),
                             QStringLiteral("10k")} +
                     arguments);
    return waitUntil([this] { return size() > 50'000; });
}

void tst_ClientOutage::initTestCase()
{
    m_ending = std::make_unique<Pair>();
    m_returning = std::make_unique<Pair>();
    QVERIFY(m_ending->served.server.serve());
    QVERIFY(m_returning->served.server.serve());
    m_recording.start();
    QVERIFY(m_returning->record({QStringLiteral("--reconnect"), QStringLiteral("--json")}));
    QVERIFY(m_ending->record({}));
    QVERIFY(setNetwork(false));
    m_outage.start();
    m_sizeAtTheCut = m_returning->size();
}

void tst_ClientOutage::cleanupTestCase()
{
    QVERIFY(m_ending->served.server.quit());
    QVERIFY(m_returning->served.server.quit());
}

void tst_ClientOutage::whoIsNotToComeBackSaysSoAndEnds()
{
    QCOMPARE(m_ending->client.waitForExitCode(), 6);
    QVERIFY(m_outage.elapsed() < 20'000);
    const QStringList errors = m_ending->client.errors();
    QCOMPARE(errors.size(), 2);
    QVERIFY(errors[0].startsWith(QLatin1String("nothing has come for ")));
    QVERIFY2(errors[1].startsWith(QLatin1String("orvenlink-client: the server has gone silent: check the "
                                                "network and the server")),
             qPrintable(errors[1]));
    QVERIFY(m_ending->client.text().startsWith(m_ending->path()));
    QCOMPARE(static_cast<qint64>(Sound::read(m_ending->path()).values.size() * 2), m_ending->size() - 252);
}

void tst_ClientOutage::whoIsToComeBackWaits()
{
    QVERIFY(m_returning->served.server.waitForLine(
        QStringLiteral("The client is not responding. Disconnection")));
    QVERIFY(m_returning->client.isRunning());
    QVERIFY(m_returning->size() < m_sizeAtTheCut + 2 * kRate);
    QVERIFY(setNetwork(true));
    m_outageTime = static_cast<double>(m_outage.elapsed()) / 1'000;
}

void tst_ClientOutage::whoIsToComeBackGoesOnAsBefore()
{
    const qint64 before = m_returning->size();
    QVERIFY(waitUntil([&] { return m_returning->size() > before + 100'000; }));
    m_returning->client.signal(SIGINT);
    QCOMPARE(m_returning->client.waitForExitCode(), 0);
    const double whole = static_cast<double>(m_recording.elapsed()) / 1'000;
    const QStringList errors = m_returning->client.errors();
    QCOMPARE(errors.filter(QLatin1String("nothing has come for ")).size(), errors.size());

    const QJsonObject told = m_returning->client.json().object();
    QCOMPARE(told[QStringLiteral("centre_hz")].toDouble(), 14'255'000.0);
    const double missing = told[QStringLiteral("missing_samples")].toDouble() / kRate;
    QVERIFY2(missing > m_outageTime - 0.5 && missing < whole - 4, qPrintable(QString::number(missing)));
    const double all = missing + told[QStringLiteral("seconds")].toDouble();
    QVERIFY2(all > whole - 3 && all < whole, qPrintable(QStringLiteral("%1 of %2").arg(all).arg(whole)));

    // The station stays at 0 Hz at the rate of before, at the end as at the beginning.
    const Sound sound = Sound::read(m_returning->path());
    QCOMPARE(sound.sampleRate, kRate);
    for (const std::size_t first : {std::size_t(2'000), sound.values.size() - 40'000}) {
        QVERIFY(std::hypot(sound.values[first], sound.values[first + 1]) > 7'000);
        for (std::size_t n = first; n < first + 38'000; n += 2) {
            QVERIFY(std::abs(sound.values[n + 2] - sound.values[n]) < 300);
        }
    }
}

void tst_ClientOutage::serversAreFreeAgain()
{
    for (const Pair* pair : {m_ending.get(), m_returning.get()}) {
        ClientProcess client;
        QCOMPARE(client.run(QStringLiteral("get"), pair->served.server, {QStringLiteral("frequency")}), 0);
        QCOMPARE(client.text(), QStringLiteral("14260000\n"));
    }
}

QTEST_GUILESS_MAIN(tst_ClientOutage)
#include "tst_ClientOutage.moc"
