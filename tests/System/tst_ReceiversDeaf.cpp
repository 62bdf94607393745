#include "System/Carrier.h"
#include "System/Receiver.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QElapsedTimer>
#include <QTest>
#include <memory>
#include <vector>

/// Receivers that answer no request any more, through the real libraries: some wait for many answers one
/// after the other, some for one without end. All at once, each with a server of its own.
class tst_ReceiversDeaf : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void startOfDeafReceiverHoldsNobody();
    void settingOfDeafReceiverHoldsNobody();
    void stopOfDeafReceiverHoldsNobody();
    void listOfDeafReceiverComesToEnd();

private:
    struct Station
    {
        explicit Station(const Receiver& which)
            : served(which)
        {
        }

        [[nodiscard]] const char* name() const { return served.which.name; }
        /// Whether somebody without a session gets an answer within what opening a receiver may take.
        [[nodiscard]] bool answersAStranger() const
        {
            QElapsedTimer clock;
            clock.start();
            WireClient stranger(served.server);
            return stranger.askInVain(Wire::greeting(served.which.identificator, 9)).has_value() &&
                   clock.elapsed() < 13'000;
        }
        /// Whether a session opens, and samples come in it before an error does.
        [[nodiscard]] bool isServed() const
        {
            client->forgetCalls();
            client->forgetSamples();
            const auto failed = [this] { return !client->calls(QStringLiteral("error_happen")).isEmpty(); };
            return client->open(served.which.identificator) &&
                   waitUntil([&] { return failed() || client->samples().size() >= 1000; }) && !failed();
        }
        void setDeaf(bool deaf) { served.fake.set(QStringLiteral("usb.deaf"), deaf ? 1 : 0); }

        ServedReceiver served;
        std::unique_ptr<WireClient> client;
    };

    /// The receiver hears again, and serves the next client.
    void serveNext();

    std::vector<std::unique_ptr<Station>> m_stations;
};

void tst_ReceiversDeaf::init()
{
    m_stations.clear();
    for (const Receiver& which : allReceivers()) {
        if (which.overUsb) {
            m_stations.push_back(std::make_unique<Station>(which));
            Station& station = *m_stations.back();
            QVERIFY2(station.served.server.serve(), station.name());
            station.client = std::make_unique<WireClient>(station.served.server);
        }
    }
}

void tst_ReceiversDeaf::serveNext()
{
    for (const auto& station : m_stations) {
        station->setDeaf(false);
        // The call that is out may hold the stick for a moment yet.
        const auto isServed = [&station] {
            // Not so often that the server takes the client for a flood.
            constexpr int kRetryMs = 500;
            return station->isServed() || (QTest::qWait(kRetryMs), false);
        };
        QVERIFY2(waitUntil(isServed), station->name());
        QVERIFY2(station->client->close(), station->name());
        QVERIFY2(station->served.server.quit(), station->name());
    }
}

void tst_ReceiversDeaf::startOfDeafReceiverHoldsNobody()
{
    for (const auto& station : m_stations) {
        station->setDeaf(true);
        station->client->call(station->client->serverId(), QStringLiteral("connect_to_host"),
                              Wire::greeting(station->served.which.identificator));
    }
    for (const auto& station : m_stations) {
        QVERIFY2(station->answersAStranger(), station->name());
        QVERIFY2(station->served.server.waitForLine(QStringLiteral("Error open device")), station->name());
    }
    serveNext();
}

void tst_ReceiversDeaf::settingOfDeafReceiverHoldsNobody()
{
    for (const auto& station : m_stations) {
        QVERIFY2(station->client->open(station->served.which.identificator), station->name());
        QVERIFY2(station->client->waitForSamples(1000), station->name());
        station->setDeaf(true);
        // The one setter of the RTL2832U whose requests take longer than the server waits.
        const bool isRtl = station->served.which.type == 5;
        QVERIFY2(
            Carrier::write(*station->client, isRtl ? "samplingMode" : "frequency", isRtl ? 1 : 10'000'000),
            station->name());
    }
    for (const auto& station : m_stations) {
        QVERIFY2(station->answersAStranger(), station->name());
        QVERIFY2(station->served.server.waitForLine(QStringLiteral("doesn't come back")), station->name());
    }
    // The session ends by what was asked for.
    for (const auto& station : m_stations) {
        QVERIFY2(waitUntil([&station] {
                     const bool isRtl = station->served.which.type == 5;
                     const auto errors = station->client->calls(QStringLiteral("error_happen"));
                     return !errors.isEmpty() &&
                            errors.last()
                                .body.value(QStringLiteral("err"))
                                .toString()
                                .startsWith(isRtl ? QStringLiteral("Error set sampling mpde = 1!")
                                                  : QStringLiteral("Error set frequency!"));
                 }),
                 station->name());
        QVERIFY2(station->client->waitForCall(QStringLiteral("disconnect_from_host")), station->name());
        QCOMPARE(station->served.server.count(QStringLiteral("doesn't come back")), 1);
    }
    serveNext();
}

void tst_ReceiversDeaf::stopOfDeafReceiverHoldsNobody()
{
    for (const auto& station : m_stations) {
        QVERIFY2(station->client->open(station->served.which.identificator), station->name());
        QVERIFY2(station->client->waitForSamples(1000), station->name());
        station->setDeaf(true);
        station->client->call(station->client->sessionId(), QStringLiteral("disconnect_from_host"));
    }
    for (const auto& station : m_stations) {
        QVERIFY2(station->answersAStranger(), station->name());
    }
    serveNext();
}

void tst_ReceiversDeaf::listOfDeafReceiverComesToEnd()
{
    for (const auto& station : m_stations) {
        QVERIFY2(station->served.server.quit(), station->name());
        station->setDeaf(true);
        QElapsedTimer clock;
        clock.start();
        station->served.server.start({QStringLiteral("-l")});
        QVERIFY2(station->served.server.waitForExitCode() == 0, station->name());
        QVERIFY2(clock.elapsed() < 20'000, station->name());
    }
}

QTEST_GUILESS_MAIN(tst_ReceiversDeaf)
#include "tst_ReceiversDeaf.moc"
