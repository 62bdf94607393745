#include "System/Carrier.h"
#include "System/Receiver.h"
#include "support/Wait.h"

#include <QElapsedTimer>
#include <QTest>
#include <memory>
#include <vector>

/// Libraries that take their time, and work: their receivers serve. All at once, each with a server of its
/// own.
class tst_ReceiversSlow : public QObject
{
    Q_OBJECT

private slots:
    void slowStartsAreServed();
    void slowSettersLeaveSessionAsItIs();
    void stopThatIsOutIsOverBeforeNextSessionBegins();
    void setterThatHangsIsToldAtOnce();
};

namespace
{

/// Milliseconds that calls take, by their names.
using Delays = QMap<QString, int>;

struct Station
{
    explicit Station(const char* name)
        : served(receiver(name))
    {
    }

    [[nodiscard]] bool serves()
    {
        const bool isServing = served.server.serve();
        client = std::make_unique<WireClient>(served.server);
        return isServing;
    }
    void delay(const Delays& delays)
    {
        for (auto call = delays.cbegin(); call != delays.cend(); ++call) {
            served.fake.set(QStringLiteral("delay.") + call.key(), call.value());
        }
    }
    /// Whether a session opens; its first call proves the client's address, as that of any client does.
    [[nodiscard]] bool opens() const
    {
        const bool isOpen = client->open(served.which.identificator);
        client->call(client->sessionId(), QStringLiteral("setIF"), {{QStringLiteral("IF"), 0}});
        return isOpen;
    }
    /// Whether samples come before an error does.
    [[nodiscard]] bool isServed() const
    {
        client->forgetSamples();
        const auto failed = [this] { return !client->calls(QStringLiteral("error_happen")).isEmpty(); };
        return waitUntil([&] { return failed() || client->samples().size() >= 1000; }) && !failed();
    }

    ServedReceiver served;
    std::unique_ptr<WireClient> client;
};

} // namespace

void tst_ReceiversSlow::slowStartsAreServed()
{
    const std::vector<std::pair<const char*, Delays>> slow{
        {"RTL", {{QStringLiteral("rtlsdr_open"), 3300}}},
        {"RTL", {{QStringLiteral("rtlsdr_open"), 1600}, {QStringLiteral("rtlsdr_set_sample_rate"), 1600}}},
        {"RTL",
         {{QStringLiteral("rtlsdr_open"), 400},
          {QStringLiteral("rtlsdr_set_sample_rate"), 400},
          {QStringLiteral("rtlsdr_get_tuner_type"), 400},
          {QStringLiteral("rtlsdr_set_direct_sampling"), 400},
          {QStringLiteral("rtlsdr_set_center_freq"), 400},
          {QStringLiteral("rtlsdr_set_agc_mode"), 400},
          {QStringLiteral("rtlsdr_set_tuner_gain_mode"), 400},
          {QStringLiteral("rtlsdr_reset_buffer"), 2000}}},
        {"Airspy HF+", {{QStringLiteral("airspyhf_open_sn"), 3300}}},
        {"Airspy", {{QStringLiteral("airspy_open_sn"), 3300}}},
        {"RSP", {{QStringLiteral("mir_sdr_StreamInit"), 3300}}},
    };
    std::vector<std::unique_ptr<Station>> stations;
    for (const auto& [name, delays] : slow) {
        stations.push_back(std::make_unique<Station>(name));
        QVERIFY2(stations.back()->serves(), name);
        stations.back()->delay(delays);
        stations.back()->client->call(stations.back()->client->serverId(), QStringLiteral("connect_to_host"),
                                      Wire::greeting(stations.back()->served.which.identificator));
    }
    for (const auto& station : stations) {
        QVERIFY2(station->isServed(), station->served.which.name);
        QVERIFY2(!station->served.isOut(), station->served.which.name);
        QVERIFY2(station->served.server.quit(), station->served.which.name);
    }
}

void tst_ReceiversSlow::slowSettersLeaveSessionAsItIs()
{
    Station station("Airspy");
    QVERIFY(station.serves());
    QVERIFY(station.opens());
    QVERIFY(station.isServed());
    QVERIFY(Carrier::write(*station.client, "lnaAgc", false));
    QVERIFY(Carrier::write(*station.client, "mixerAgc", false));
    station.delay({{QStringLiteral("airspy_set_lna_agc"), 700},
                   {QStringLiteral("airspy_set_lna_gain"), 700},
                   {QStringLiteral("airspy_set_mixer_agc"), 700},
                   {QStringLiteral("airspy_set_mixer_gain"), 700},
                   {QStringLiteral("airspy_set_vga_gain"), 700}});
    QVERIFY(Carrier::write(*station.client, "gainMode", 2));
    QCOMPARE(station.served.fake.calls(QStringLiteral("airspy_set_vga_gain(")).size(), 1);
    QVERIFY(station.isServed());
    QVERIFY(!station.served.isOut());
    QVERIFY(station.client->close());
    QVERIFY(station.served.server.quit());
}

void tst_ReceiversSlow::stopThatIsOutIsOverBeforeNextSessionBegins()
{
    struct Case
    {
        const char* name;
        QString slow;
        QString end;
        QString begin;
    };
    const QVector<Case> cases{{"RTL", QStringLiteral("rtlsdr_close"), QStringLiteral("rtlsdr_close("),
                               QStringLiteral("rtlsdr_open(")},
                              {"Airspy", QStringLiteral("airspy_stop_rx"), QStringLiteral("airspy_close("),
                               QStringLiteral("airspy_open_sn(")},
                              {"RSP", QStringLiteral("mir_sdr_StreamUninit"),
                               QStringLiteral("mir_sdr_ReleaseDeviceIdx("),
                               QStringLiteral("mir_sdr_SetDeviceIdx(")}};
    std::vector<std::unique_ptr<Station>> stations;
    for (const Case& each : cases) {
        stations.push_back(std::make_unique<Station>(each.name));
        Station& station = *stations.back();
        QVERIFY2(station.serves(), each.name);
        station.served.fake.clearCalls();
        QVERIFY2(station.opens(), each.name);
        QVERIFY2(station.isServed(), each.name);
        station.delay({{each.slow, 4000}});
        station.client->call(station.client->sessionId(), QStringLiteral("disconnect_from_host"));
    }
    for (int i = 0; i < cases.size(); ++i) {
        const Case& each = cases.at(i);
        const Station& station = *stations.at(static_cast<std::size_t>(i));
        QVERIFY2(station.served.server.waitForLine(QStringLiteral("doesn't come back: ") + each.slow),
                 each.name);
        // Once the last call of the session is about to return a start waits for it.
        QVERIFY2(waitUntil([&] { return !station.served.fake.calls(each.end).isEmpty(); }), each.name);
        station.client->forgetCalls();
        QVERIFY2(station.opens() && station.isServed(), each.name);
    }
    for (int i = 0; i < cases.size(); ++i) {
        const Case& each = cases.at(i);
        QStringList order;
        for (const QString& call : stations.at(static_cast<std::size_t>(i))->served.fake.calls()) {
            if (call.startsWith(each.begin) || call.startsWith(each.end)) {
                order.append(call.section(QLatin1Char('('), 0, 0) + QLatin1Char('('));
            }
        }
        QCOMPARE(order, (QStringList{each.begin, each.end, each.begin}));
    }
}

void tst_ReceiversSlow::setterThatHangsIsToldAtOnce()
{
    struct Case
    {
        const char* name;
        const char* property;
        QJsonValue value;
        QString call;
        QString error;
        QString end; // of the session that it hangs
    };
    const QVector<Case> cases{
        {"RTL", "rtlAgc", false, QStringLiteral("rtlsdr_set_agc_mode"),
         QStringLiteral("Error RTLUSB set agc rtl2832!"), QStringLiteral("rtlsdr_close(")},
        {"Airspy HF+", "att", 3, QStringLiteral("airspyhf_set_hf_att"),
         QStringLiteral("Error Airspy HF+ set ATT!"), QStringLiteral("airspyhf_close(")},
        {"Airspy", "gain", 7, QStringLiteral("airspy_set_linearity_gain"),
         QStringLiteral("No IQ data - stop!"), QStringLiteral("airspy_close(")},
        {"RSP", "ant", 6, QStringLiteral("mir_sdr_RSPII_AntennaControl"),
         QStringLiteral("Error select antenna port ...-1"), QStringLiteral("mir_sdr_ReleaseDeviceIdx(")}};
    constexpr qint64 kAtOnceMs = 5500; // the call's 3 s, and a busy machine; the watchdog takes 6 s or more
    for (const Case& each : cases) {
        Station station(each.name);
        QVERIFY2(station.serves(), each.name);
        station.served.fake.clearCalls();
        QVERIFY2(station.opens(), each.name);
        QVERIFY2(station.isServed(), each.name);
        station.served.fake.set(QStringLiteral("hang.") + each.call, 1);
        QElapsedTimer clock;
        clock.start();
        QVERIFY2(Carrier::write(*station.client, each.property, each.value), each.name);
        QVERIFY2(station.client->waitForCall(QStringLiteral("disconnect_from_host")), each.name);
        QVERIFY2(clock.elapsed() < kAtOnceMs, qPrintable(QString::number(clock.elapsed())));
        const auto errors = station.client->calls(QStringLiteral("error_happen"));
        QCOMPARE(errors.size(), 1);
        QCOMPARE(errors.first().body.value(QStringLiteral("err")).toString(), each.error);
        // Until it is back clients are turned away, and served then.
        station.client->forgetCalls();
        QVERIFY2(station.served.turnsAway(*station.client), each.name);
        station.served.fake.remove(QStringLiteral("hang.") + each.call);
        QVERIFY2(waitUntil([&] { return !station.served.fake.calls(each.end).isEmpty(); }), each.name);
        station.client->forgetCalls();
        QVERIFY2(station.opens() && station.isServed(), each.name);
        QVERIFY2(station.client->close(), each.name);
        QVERIFY2(station.served.server.quit(), each.name);
    }
}

QTEST_GUILESS_MAIN(tst_ReceiversSlow)
#include "tst_ReceiversSlow.moc"
