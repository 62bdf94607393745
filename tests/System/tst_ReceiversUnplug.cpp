#include "System/Carrier.h"
#include "System/Receiver.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QTest>
#include <memory>
#include <vector>

/// Receivers that are pulled out while they stream, all at once, each with a server of its own: what follows
/// takes the server until its watch has found no samples twice.
class tst_ReceiversUnplug : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void clientIsToldAndLeft();
    void serverGoesOnWithoutReceiver();
    void nextClientIsServedWhenItIsBack();
    void serversEndWell();

private:
    struct Station
    {
        explicit Station(const Receiver& which)
            : served(which)
        {
        }

        ServedReceiver served;
        std::unique_ptr<WireClient> client;
        qint64 unplugged = 0;
    };

    std::vector<std::unique_ptr<Station>> m_stations;
};

void tst_ReceiversUnplug::initTestCase()
{
    for (const Receiver& which : allReceivers()) {
        m_stations.push_back(std::make_unique<Station>(which));
        Station& station = *m_stations.back();
        QVERIFY(station.served.server.serve());
        station.client = std::make_unique<WireClient>(station.served.server);
        QVERIFY(station.client->open(which.identificator));
        QVERIFY(station.client->waitForSamples(1000));
        station.served.fake.set(QStringLiteral("unplug"), 1);
        station.unplugged = station.client->now();
        // What is asked of a receiver that is gone changes nothing of what follows.
        QVERIFY(Carrier::write(*station.client, "frequency", which.frequency + 100'000));
    }
}

void tst_ReceiversUnplug::clientIsToldAndLeft()
{
    for (const auto& station : m_stations) {
        const WireClient& client = *station->client;
        const char* const name = station->served.which.name;
        QVERIFY2(client.waitForCall(QStringLiteral("error_happen")), name);
        const auto error = client.calls(QStringLiteral("error_happen")).first();
        QCOMPARE(error.body.value(QStringLiteral("err")).toString(), QStringLiteral("No IQ data - stop!"));
        QCOMPARE(error.sender, client.sessionId());
        // Samples may have come for a moment after; a coarse timer is late by a twentieth.
        QVERIFY2(error.time - station->unplugged > 5500, name);
        QVERIFY2(client.waitForCall(QStringLiteral("disconnect_from_host")), name);
        QCOMPARE(station->served.server.count(QStringLiteral("No IQ data - stop!")), 1);
    }
}

void tst_ReceiversUnplug::serverGoesOnWithoutReceiver()
{
    for (const auto& station : m_stations) {
        WireClient client(station->served.server);
        QVERIFY2(client.open(station->served.which.identificator), station->served.which.name);
        QVERIFY2(station->served.server.isRunning(), station->served.which.name);
    }
}

void tst_ReceiversUnplug::nextClientIsServedWhenItIsBack()
{
    for (const auto& station : m_stations) {
        station->served.fake.set(QStringLiteral("unplug"), 0);
        if (station->served.isOut()) {
            station->client->forgetCalls();
            QVERIFY2(station->served.turnsAway(*station->client), station->served.which.name);
            continue;
        }
        // Until the session without a receiver is over, the server is busy.
        QVERIFY2(waitUntil([&station] {
                     station->client->forgetCalls();
                     station->client->forgetSamples();
                     return station->client->open(station->served.which.identificator);
                 }),
                 station->served.which.name);
        QVERIFY2(station->client->waitForSamples(1000), station->served.which.name);
        QVERIFY2(station->client->calls(QStringLiteral("error_happen")).isEmpty(),
                 station->served.which.name);
        QVERIFY2(station->client->close(), station->served.which.name);
    }
}

void tst_ReceiversUnplug::serversEndWell()
{
    for (const auto& station : m_stations) {
        QVERIFY2(station->served.server.quit(), station->served.which.name);
    }
}

QTEST_GUILESS_MAIN(tst_ReceiversUnplug)
#include "tst_ReceiversUnplug.moc"
