#include "System/Properties.h"
#include "System/Served.h"
#include "support/WireClient.h"

#include <QTest>
#include <cmath>
#include <memory>

namespace
{

constexpr double kCenter = 14'250'000; // hertz

} // namespace

/// What becomes of the properties after the session.
class tst_StoredProperties : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void frequencyUnderCorrectionStaysThroughSessions();
    void changesOutliveSession();
    void changesOutliveProcess();
    void otherRecordingsKeepTheirOwn();
    void propertiesAreGoneWithSession();

private:
    std::unique_ptr<Served> m_served;
    std::unique_ptr<WireClient> m_client;
};

void tst_StoredProperties::init()
{
    m_served = std::make_unique<Served>(recording({}));
    QVERIFY(m_served->server.serve());
    m_client = std::make_unique<WireClient>(m_served->server);
    QVERIFY(m_client->open(m_served->file));
}

void tst_StoredProperties::cleanup()
{
    m_client.reset();
    m_served.reset();
}

void tst_StoredProperties::frequencyUnderCorrectionStaysThroughSessions()
{
    QVERIFY(writeProperty(*m_client, QStringLiteral("ppmCorrection"), 50));
    QVERIFY(writeProperty(*m_client, QStringLiteral("frequency"), 14'250'000));
    for (int session = 0; session < 3; ++session) {
        QVERIFY(m_client->close());
        QVERIFY(m_client->open(m_served->file));
        const QJsonObject values = dump(*m_client).values;
        QCOMPARE(values.value(QStringLiteral("ppmCorrection")), QJsonValue(50));
        QVERIFY(std::abs(values.value(QStringLiteral("frequency")).toDouble() - 14'250'000) < 1e-3);
    }
}

void tst_StoredProperties::changesOutliveSession()
{
    QVERIFY(writeProperty(*m_client, QStringLiteral("frequency"), 14'111'000));
    QVERIFY(writeProperty(*m_client, QStringLiteral("levelCorrection"), 2.5));
    QVERIFY(writeProperty(*m_client, QStringLiteral("swapIQ"), true));
    QVERIFY(m_client->close());
    QVERIFY(m_client->open(m_served->file));
    const QJsonObject values = dump(*m_client).values;
    QCOMPARE(values.value(QStringLiteral("frequency")).toDouble(), 14'111'000.0);
    QCOMPARE(values.value(QStringLiteral("levelCorrection")).toDouble(), 2.5);
    QCOMPARE(values.value(QStringLiteral("swapIQ")), QJsonValue(true));
}

void tst_StoredProperties::changesOutliveProcess()
{
    QVERIFY(writeProperty(*m_client, QStringLiteral("frequency"), 14'222'000));
    QVERIFY(m_client->close());
    // Saving follows the reply; what proves it is a line that the next session's start does not cause.
    QVERIFY(waitUntil([this] {
        return m_served->home.setting(QStringLiteral("yn/%1b:frequency").arg(m_served->file)).toDouble() ==
               14'222'000.0;
    }));
    QVERIFY(m_served->server.quit());
    QVERIFY(m_served->server.serve());
    m_client = std::make_unique<WireClient>(m_served->server);
    QVERIFY(m_client->open(m_served->file));
    QCOMPARE(dump(*m_client).values.value(QStringLiteral("frequency")).toDouble(), 14'222'000.0);
}

void tst_StoredProperties::otherRecordingsKeepTheirOwn()
{
    const ServerHome home;
    const QString first = home.addRecording(QStringLiteral("a.wav"), recording({}));
    home.addRecording(QStringLiteral("b.wav"), recording({}));
    QVector<double> seen;
    for (const int index : {0, 1, 0, 1}) {
        ServerProcess server(home);
        QVERIFY(server.serve({QStringLiteral("-i"), QString::number(index)}));
        WireClient client(server);
        QVERIFY(client.open(server.identificator()));
        seen.append(dump(client).values.value(QStringLiteral("frequency")).toDouble());
        QVERIFY(client
                    .ask(client.serverId(), QStringLiteral("wp_rrd"),
                         write(QStringLiteral("frequency"), 14'100'000 + index))
                    .has_value());
        QVERIFY(client.close());
        QVERIFY(waitUntil([&home, &server, index] {
            return home.setting(QStringLiteral("yn/%1b:frequency").arg(server.identificator())).toDouble() ==
                   14'100'000 + index;
        }));
        QVERIFY(server.quit());
    }
    QCOMPARE(seen, QVector<double>({kCenter, kCenter, 14'100'000, 14'100'001}));
}

void tst_StoredProperties::propertiesAreGoneWithSession()
{
    QVERIFY(m_client->close());
    const quint32 number = m_client->call(m_client->serverId(), QStringLiteral("it_ra_rrd"));
    QVERIFY(m_served->server.waitForLine(
        QStringLiteral("Error invoke rpc command \"it_ra_rrd\" - command name not found!")));
    QVERIFY(m_client->open(m_served->file));
    QVERIFY(!m_client->hasReply(number));
}

QTEST_GUILESS_MAIN(tst_StoredProperties)
#include "tst_StoredProperties.moc"
