#include "System/Receiver.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QTest>
#include <memory>
#include <vector>

/// Sessions whose receiver can't be opened, started or closed, through the real libraries.
class tst_ReceiversStart : public QObject
{
    Q_OBJECT

private slots:
    void clientIsToldAndNextIsServed_data();
    void clientIsToldAndNextIsServed();
    void serverSaysThatAnotherProcessHasReceiver();
    void receiverWithoutMemoryOfBusIsServed();
    void closeThatHangsTurnsClientsAway();
};

void tst_ReceiversStart::clientIsToldAndNextIsServed_data()
{
    QTest::addColumn<Receiver>("which");
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("error");
    const auto row = [](const char* which, const char* fault, const char* key, int value, const char* error) {
        QTest::newRow(qPrintable(QStringLiteral("%1, %2").arg(QLatin1String(which), QLatin1String(fault))))
            << receiver(which) << QString::fromLatin1(key) << value << QString::fromLatin1(error);
    };
    constexpr auto kOpen = "libusb_open";
    constexpr auto kClaim = "libusb_claim_interface";
    constexpr auto kSubmit = "libusb_submit_transfer";
    constexpr auto kControl = "libusb_control_transfer";
    constexpr auto kAllocate = "libusb_alloc_transfer";
    constexpr auto kRtl = "RTL over USB";
    row(kRtl, "unplugged", "unplug", 1, "Error open device #0");
    row(kRtl, "busy", kClaim, -6, "Error open device #0");
    row(kRtl, "forbidden", kOpen, -3, "Error open device #0");
    constexpr auto kAirspyHf = "Airspy HF+ over USB";
    row(kAirspyHf, "unplugged", "unplug", 1, "Error open device!-1");
    row(kAirspyHf, "busy", kClaim, -6, "Error open device!-1");
    row(kAirspyHf, "forbidden", kOpen, -3, "Error open device!-1");
    row(kAirspyHf, "no memory to start", kSubmit, -11, "Error start rx!-1");
    row(kAirspyHf, "no memory to open", kAllocate, 1, "Error open device!-1");
    row(kAirspyHf, "deaf to requests", kControl, -9, "Error set sample rate!-1");
    constexpr auto kAirspy = "Airspy over USB";
    row(kAirspy, "unplugged", "unplug", 1, "Error open device!-5");
    row(kAirspy, "busy", kClaim, -6, "Error open device!-5");
    row(kAirspy, "forbidden", kOpen, -3, "Error open device!-5");
    row(kAirspy, "no memory to start", kSubmit, -11, "Error start rx!-1000");
    row(kAirspy, "no memory to open", kAllocate, 1, "Error open device!-11");
    row(kAirspy, "deaf to requests", kControl, -9, "Error set sample rate!-1000");
}

void tst_ReceiversStart::clientIsToldAndNextIsServed()
{
    QFETCH(Receiver, which);
    QFETCH(QString, key);
    QFETCH(int, value);
    QFETCH(QString, error);
    ServedReceiver served(which);
    QVERIFY(served.server.serve());
    served.fake.set(key, value);
    WireClient client(served.server);
    QVERIFY(client.open(which.identificator));
    QVERIFY(client.waitForCall(QStringLiteral("disconnect_from_host")));
    const auto errors = client.calls(QStringLiteral("error_happen"));
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors[0].body.value(QStringLiteral("err")).toString().remove(QLatin1Char(' ')),
             QString(error).remove(QLatin1Char(' ')));

    served.fake.remove(key);
    client.forgetCalls();
    client.forgetSamples();
    QVERIFY(client.open(which.identificator));
    QVERIFY(client.waitForSamples(1000));
    QVERIFY(client.calls(QStringLiteral("error_happen")).isEmpty());
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_ReceiversStart::serverSaysThatAnotherProcessHasReceiver()
{
    // The one library that tells.
    ServedReceiver served(receiver("RTL over USB"));
    served.fake.set(QStringLiteral("libusb_claim_interface"), -6);
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.which.identificator));
    QVERIFY(served.server.waitForLine(QStringLiteral("The receiver is in use")));
    QVERIFY(served.server.quit());
}

void tst_ReceiversStart::receiverWithoutMemoryOfBusIsServed()
{
    // That library falls back on memory of its own.
    ServedReceiver served(receiver("RTL over USB"));
    served.fake.set(QStringLiteral("libusb_dev_mem_alloc"), 1);
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.which.identificator));
    QVERIFY(client.waitForSamples(1000));
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_ReceiversStart::closeThatHangsTurnsClientsAway()
{
    struct Station
    {
        explicit Station(const Receiver& which)
            : served(which)
        {
        }

        ServedReceiver served;
        std::unique_ptr<WireClient> client;
    };
    const QString hang = QStringLiteral("hang.libusb_release_interface");
    std::vector<std::unique_ptr<Station>> stations;
    for (const Receiver& which : allReceivers()) {
        if (which.overUsb) {
            stations.push_back(std::make_unique<Station>(which));
        }
    }
    for (const auto& station : stations) {
        QVERIFY(station->served.server.serve());
        station->client = std::make_unique<WireClient>(station->served.server);
        QVERIFY(station->client->open(station->served.which.identificator));
        QVERIFY(station->client->waitForSamples(1000));
        station->served.fake.set(hang, 1);
    }
    // All at once, and none waits for its answer yet.
    for (const auto& station : stations) {
        station->client->call(station->client->sessionId(), QStringLiteral("disconnect_from_host"));
    }
    for (const auto& station : stations) {
        const char* const name = station->served.which.name;
        QVERIFY2(station->served.server.waitForLine(QStringLiteral("doesn't come back")), name);
        // The call still hangs, and the server answers.
        WireClient stranger(station->served.server);
        QVERIFY2(stranger.askInVain(Wire::greeting(station->served.which.identificator, 9)).has_value(),
                 name);
    }
    for (const auto& station : stations) {
        const char* const name = station->served.which.name;
        station->client->forgetCalls();
        QVERIFY2(station->served.turnsAway(*station->client), name);
        // Once the receiver is closed the next client is served.
        const int closed = station->served.fake.calls(QStringLiteral("libusb_close(")).size();
        station->served.fake.remove(hang);
        QVERIFY2(waitUntil([&station, closed] {
                     return station->served.fake.calls(QStringLiteral("libusb_close(")).size() > closed;
                 }),
                 name);
        station->client->forgetCalls();
        station->client->forgetSamples();
        QVERIFY2(station->client->open(station->served.which.identificator), name);
        QVERIFY2(station->client->waitForSamples(1000), name);
        QVERIFY2(station->client->close(), name);
        QCOMPARE(station->served.server.count(QStringLiteral("doesn't come back")), 1);
        QVERIFY2(station->served.server.quit(), name);
    }
}

QTEST_GUILESS_MAIN(tst_ReceiversStart)
#include "tst_ReceiversStart.moc"
