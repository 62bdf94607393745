#include "System/Receiver.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QTest>
#include <memory>
#include <vector>

/// Streams that dry up while the receiver is still there, or that never begin: all at once, each with a
/// server of its own, since only the server's watch ends them.
class tst_ReceiversStall : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void watchEndsSession();
    void nextClientIsServed();
    void onlyWhatHangsIsOut();
    void serversEndWell();

private:
    struct Station
    {
        Station(const Receiver& which, const char* key, int value)
            : served(which)
            , fault(QString::fromLatin1(key))
            , degree(value)
            , name(QByteArray(which.name) + ", " + key)
        {
        }

        ServedReceiver served;
        QString fault;
        int degree;
        QByteArray name;
        std::unique_ptr<WireClient> client;
    };

    std::vector<std::unique_ptr<Station>> m_stations;
};

void tst_ReceiversStall::initTestCase()
{
    for (const Receiver& which : allReceivers()) {
        m_stations.push_back(std::make_unique<Station>(which, "stall", 1));
        if (which.overUsb) {
            m_stations.push_back(std::make_unique<Station>(which, "usb.overflow", 1));
            m_stations.push_back(std::make_unique<Station>(which, "libusb_submit_transfer", -11));
        }
    }
    for (const auto& station : m_stations) {
        QVERIFY2(station->served.server.serve(), station->name.constData());
        station->client = std::make_unique<WireClient>(station->served.server);
        QVERIFY(station->client->open(station->served.which.identificator));
        QVERIFY2(station->client->waitForSamples(1000), station->name.constData());
        station->served.fake.set(station->fault, station->degree);
    }
    // The same from the start on, which succeeds all the same.
    const int streamed = static_cast<int>(m_stations.size());
    for (const Receiver& which : allReceivers()) {
        m_stations.push_back(std::make_unique<Station>(which, "stall", 1));
        if (which.overUsb) {
            m_stations.push_back(std::make_unique<Station>(which, "usb.overflow", 1));
        }
    }
    // That library starts without memory for its transfers, and says so to nobody.
    m_stations.push_back(std::make_unique<Station>(receiver("RTL over USB"), "libusb_submit_transfer", -11));
    for (auto station = m_stations.begin() + streamed; station != m_stations.end(); ++station) {
        Station& idle = **station;
        idle.name += ", from the start";
        QVERIFY2(idle.served.server.serve(), idle.name.constData());
        idle.served.fake.set(idle.fault, idle.degree);
        idle.client = std::make_unique<WireClient>(idle.served.server);
        QVERIFY2(idle.client->open(idle.served.which.identificator), idle.name.constData());
    }
}

void tst_ReceiversStall::watchEndsSession()
{
    for (const auto& station : m_stations) {
        const char* const name = station->name.constData();
        QVERIFY2(station->client->waitForCall(QStringLiteral("error_happen")), name);
        QCOMPARE(station->client->calls(QStringLiteral("error_happen"))
                     .first()
                     .body.value(QStringLiteral("err"))
                     .toString(),
                 QStringLiteral("No IQ data - stop!"));
        QVERIFY2(station->client->waitForCall(QStringLiteral("disconnect_from_host")), name);
        // A call that doesn't come back holds the server for 3 s at most.
        QElapsedTimer clock;
        clock.start();
        WireClient stranger(station->served.server);
        QVERIFY2(stranger.askInVain(Wire::greeting(station->served.which.identificator, 9)).has_value(),
                 name);
        QVERIFY2(clock.elapsed() < 6000, name);
    }
}

void tst_ReceiversStall::nextClientIsServed()
{
    for (const auto& station : m_stations) {
        const char* const name = station->name.constData();
        station->served.fake.remove(station->fault);
        station->client->forgetCalls();
        station->client->forgetSamples();
        if (station->served.isOut()) {
            QVERIFY2(station->served.turnsAway(*station->client), name);
            continue;
        }
        QVERIFY2(station->client->open(station->served.which.identificator), name);
        QVERIFY2(station->client->waitForSamples(1000), name);
        QVERIFY2(station->client->calls(QStringLiteral("error_happen")).isEmpty(), name);
        QVERIFY2(station->client->close(), name);
    }
}

void tst_ReceiversStall::onlyWhatHangsIsOut()
{
    // The library of the Airspy HF+ may never close a stream whose transfers have overflown or were refused.
    for (const auto& station : m_stations) {
        const bool mayHang = station->served.which.overUsb && station->served.which.type == 6 &&
                             station->fault != QStringLiteral("stall");
        const int left = station->served.server.count(QStringLiteral("doesn't come back"));
        QVERIFY2(left <= (mayHang ? 1 : 0), station->name.constData());
    }
}

void tst_ReceiversStall::serversEndWell()
{
    for (const auto& station : m_stations) {
        QVERIFY2(station->served.server.quit(), station->name.constData());
    }
}

QTEST_GUILESS_MAIN(tst_ReceiversStall)
#include "tst_ReceiversStall.moc"
