#include "System/Carrier.h"
#include "System/Measure.h"
#include "System/Receiver.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QTest>
#include <cmath>

/// Sessions with a receiver that works.
class tst_ReceiversSession : public QObject
{
    Q_OBJECT

private slots:
    void carrierIsWhereItIs_data();
    void carrierIsWhereItIs();
    void tuningMovesReceiver_data();
    void tuningMovesReceiver();
    void propertyReachesLibrary_data();
    void propertyReachesLibrary();
    void settingThatFailsLeavesStream_data();
    void settingThatFailsLeavesStream();
    void settingsOutliveSession_data();
    void settingsOutliveSession();
    void samplesOfRtlStickAreReadEitherWay_data();
    void samplesOfRtlStickAreReadEitherWay();
    void sessionsLeaveNothingOpen_data();
    void sessionsLeaveNothingOpen();
};

namespace
{

void rowsOfAll()
{
    QTest::addColumn<Receiver>("which");
    for (const Receiver& one : allReceivers()) {
        QTest::newRow(one.name) << one;
    }
}

} // namespace

void tst_ReceiversSession::carrierIsWhereItIs_data()
{
    rowsOfAll();
}

void tst_ReceiversSession::carrierIsWhereItIs()
{
    QFETCH(Receiver, which);
    ServedReceiver served(which);
    const double offset = which.sampleRate * 3 / 32;
    served.setCarrier(offset);
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(which.identificator));
    QVERIFY(Carrier::isSeen(client, offset, which.sampleRate));
    QVERIFY(Carrier::isHeard(client, offset));
    // And below the middle.
    served.setCarrier(-offset);
    QVERIFY(Carrier::isSeen(client, -offset, which.sampleRate));
    QVERIFY(Carrier::isHeard(client, -offset));
    QVERIFY(client.calls(QStringLiteral("error_happen")).isEmpty());
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_ReceiversSession::tuningMovesReceiver_data()
{
    QTest::addColumn<Receiver>("which");
    for (const Receiver& one : allReceivers()) {
        if (one.overUsb) {
            QTest::newRow(one.name) << one;
        }
    }
}

void tst_ReceiversSession::tuningMovesReceiver()
{
    QFETCH(Receiver, which);
    ServedReceiver served(which);
    const double offset = which.sampleRate * 3 / 32;
    served.setCarrier(offset);
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(which.identificator));
    // The station stays where it is; the receiver is tuned beyond it.
    QVERIFY(Carrier::write(client, "frequency", which.frequency + 2 * offset));
    QVERIFY(Carrier::isSeen(client, -offset, which.sampleRate));
    QVERIFY(Carrier::isHeard(client, -offset));
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_ReceiversSession::propertyReachesLibrary_data()
{
    using Writes = QVector<QPair<QByteArray, QJsonValue>>;
    QTest::addColumn<Receiver>("which");
    QTest::addColumn<Writes>("writes");
    QTest::addColumn<QString>("call");
    // Listing an Airspy of either kind opens it once: the session's handle is their second.
    const auto row = [](const char* which, const Writes& writes, const char* call) {
        QTest::newRow(qPrintable(QStringLiteral("%1: %2").arg(QLatin1String(which), QLatin1String(call))))
            << receiver(which) << writes << QString::fromLatin1(call);
    };
    row("RTL", {{"frequency", 101'500'000}}, "rtlsdr_set_center_freq(dev1, 101500000) = 0");
    row("RTL", {{"sampleRate", 1'024'000}}, "rtlsdr_set_sample_rate(dev1, 1024000) = 0");
    row("RTL", {{"rtlPpm", true}}, "rtlsdr_set_freq_correction(dev1, 1) = 0");
    row("RTL", {{"offsetTuning", false}}, "rtlsdr_set_offset_tuning(dev1, 0) = 0");
    row("RTL", {{"rtlAgc", false}}, "rtlsdr_set_agc_mode(dev1, 0) = 0");
    row("RTL", {{"tunerAgc", false}}, "rtlsdr_set_tuner_gain_mode(dev1, 0) = 0");
    row("RTL", {{"tunerAgc", false}, {"tunerGain", 297}}, "rtlsdr_set_tuner_gain(dev1, 297) = 0");
    row("RTL", {{"samplingMode", 2}}, "rtlsdr_set_direct_sampling(dev1, 2) = 0");
    row("Airspy HF+", {{"frequency", 7'100'000}}, "airspyhf_set_freq(dev2, 7100000) = 0");
    row("Airspy HF+", {{"sampleRate", 384'000}}, "airspyhf_set_samplerate(dev2, 384000) = 0");
    row("Airspy HF+", {{"lna", true}}, "airspyhf_set_hf_lna(dev2, 1) = 0");
    row("Airspy HF+", {{"agc", true}}, "airspyhf_set_hf_agc(dev2, 1) = 0");
    row("Airspy HF+", {{"att", 5}}, "airspyhf_set_hf_att(dev2, 5) = 0");
    row("Airspy", {{"frequency", 433'920'000}}, "airspy_set_freq(dev2, 433920000) = 0");
    row("Airspy", {{"sampleRate", 6'000'000}}, "airspy_set_samplerate(dev2, 6000000) = 0");
    row("Airspy", {{"biasTee", true}}, "airspy_set_rf_bias(dev2, 1) = 0");
    row("Airspy", {{"gain", 20}}, "airspy_set_linearity_gain(dev2, 20) = 0");
    row("Airspy", {{"gainMode", 1}}, "airspy_set_sensitivity_gain(dev2, 12) = 0");
    row("Airspy", {{"gainMode", 2}}, "airspy_set_lna_agc(dev2, 1) = 0");
    row("Airspy", {{"gainMode", 2}, {"lnaAgc", false}}, "airspy_set_lna_gain(dev2, 5) = 0");
    row("Airspy", {{"gainMode", 2}, {"mixerAgc", false}, {"mixerGain", 9}},
        "airspy_set_mixer_gain(dev2, 9) = 0");
    row("Airspy", {{"gainMode", 2}, {"vgaGain", 11}}, "airspy_set_vga_gain(dev2, 11) = 0");
    row("RSP", {{"frequency", 1'001'000'000}}, "mir_sdr_SetRf(1001000000, 1, 0) = 0");
    row("RSP", {{"ant", 6}}, "mir_sdr_RSPII_AntennaControl(6) = 0");
    // On the wire: request, value, index, bytes.
    row("RTL over USB", {{"rtlAgc", false}}, "libusb_control_transfer(rtl0, 64, 0, 0x1920, 0x0010, 05) = 1");
    row("Airspy HF+ over USB", {{"att", 5}},
        "libusb_control_transfer(airspyhf0, 64, 12, 0x0005, 0x0000, ) = 0");
    row("Airspy over USB", {{"gainMode", 2}, {"vgaGain", 11}},
        "libusb_control_transfer(airspy0, 192, 16, 0x0000, 0x000b, 1) = 1");
}

void tst_ReceiversSession::propertyReachesLibrary()
{
    using Writes = QVector<QPair<QByteArray, QJsonValue>>;
    QFETCH(Receiver, which);
    QFETCH(Writes, writes);
    QFETCH(QString, call);
    ServedReceiver served(which);
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(which.identificator));
    QVERIFY(client.waitForSamples(1000));
    served.fake.clearCalls();
    for (const auto& [name, value] : writes) {
        QVERIFY(Carrier::write(client, name.constData(), value));
    }
    QVERIFY2(served.fake.calls().contains(call), qPrintable(served.fake.calls().join(QLatin1Char('\n'))));
    client.forgetSamples();
    QVERIFY(client.waitForSamples(1000));
    QVERIFY(client.calls(QStringLiteral("error_happen")).isEmpty());
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_ReceiversSession::settingThatFailsLeavesStream_data()
{
    QTest::addColumn<Receiver>("which");
    QTest::addColumn<QString>("property");
    QTest::addColumn<QString>("error");
    const auto row = [](const char* which, const char* property, const char* error) {
        QTest::newRow(which) << receiver(which) << QString::fromLatin1(property)
                             << QString::fromLatin1(error);
    };
    row("RTL over USB", "rtlAgc", "Error RTLUSB set agc rtl2832!");
    row("Airspy HF+ over USB", "lna", "Error Airspy HF+ set LNA!");
    row("Airspy over USB", "biasTee", "");
}

void tst_ReceiversSession::settingThatFailsLeavesStream()
{
    QFETCH(Receiver, which);
    QFETCH(QString, property);
    QFETCH(QString, error);
    ServedReceiver served(which);
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(which.identificator));
    QVERIFY(client.waitForSamples(1000));
    served.fake.set(QStringLiteral("libusb_control_transfer"), -9);
    QVERIFY(Carrier::write(client, property.toLatin1().constData(), true));
    if (!error.isEmpty()) {
        QVERIFY(client.waitForCall(QStringLiteral("error_happen")));
        const auto told = client.calls(QStringLiteral("error_happen")).first();
        QCOMPARE(told.body.value(QStringLiteral("err")).toString(), error);
    }
    client.forgetSamples();
    QVERIFY(client.waitForSamples(1000));
    served.fake.remove(QStringLiteral("libusb_control_transfer"));
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_ReceiversSession::settingsOutliveSession_data()
{
    QTest::addColumn<Receiver>("which");
    QTest::addColumn<double>("frequency");
    QTest::addColumn<QString>("call");
    // The handle of the second session.
    const auto row = [](const char* which, double frequency, const char* call) {
        QTest::newRow(which) << receiver(which) << frequency << QString::fromLatin1(call);
    };
    row("RTL", 145e6, "rtlsdr_set_center_freq(dev2, 145000000) = 0");
    row("Airspy HF+", 7.1e6, "airspyhf_set_freq(dev3, 7100000) = 0");
    row("Airspy", 145e6, "airspy_set_freq(dev3, 145000000) = 0");
    row("RSP", 1.002e9, "mir_sdr_StreamInit(40, 2.048, 1002, ");
}

void tst_ReceiversSession::settingsOutliveSession()
{
    QFETCH(Receiver, which);
    QFETCH(double, frequency);
    QFETCH(QString, call);
    ServedReceiver served(which);
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(which.identificator));
    QVERIFY(client.waitForSamples(1000));
    QVERIFY(Carrier::write(client, "frequency", frequency));
    QVERIFY(client.close());
    client.forgetSamples();
    QVERIFY(client.open(which.identificator));
    QVERIFY(client.waitForSamples(1000));
    QVERIFY2(!served.fake.calls(call).isEmpty(), qPrintable(served.fake.calls().join(QLatin1Char('\n'))));
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_ReceiversSession::samplesOfRtlStickAreReadEitherWay_data()
{
    const QStringList none;
    const QStringList on{QStringLiteral("--rtl-offset-binary")};
    const QStringList off{QStringLiteral("--no-rtl-offset-binary")};
    QTest::addColumn<QVector<QStringList>>("starts");
    QTest::addColumn<bool>("offsetBinary");
    QTest::newRow("two's complement by default") << QVector<QStringList>{none} << false;
    QTest::newRow("offset binary if asked for") << QVector<QStringList>{on} << true;
    QTest::newRow("offset binary from then on") << QVector<QStringList>{on, none} << true;
    QTest::newRow("until it is taken back") << QVector<QStringList>{on, off, none} << false;
}

void tst_ReceiversSession::samplesOfRtlStickAreReadEitherWay()
{
    QFETCH(const QVector<QStringList>, starts);
    QFETCH(const bool, offsetBinary);
    constexpr double kRate = 250'000;
    constexpr double kTone = 20'000;
    // From a byte's step to one on the wire, where the fine mixer settles at the root of 0.95.
    constexpr double kGain = 3.2 * 0.974679;
    ServedReceiver served(receiver("RTL"));
    served.fake.set(QStringLiteral("source"), QStringLiteral("noise"));
    served.fake.set(QStringLiteral("tone.level"), 0.055); // an rms of 5.7 steps
    served.fake.set(QStringLiteral("tone.hz"), kTone);
    for (const QStringList& arguments : starts.mid(0, starts.size() - 1)) {
        QVERIFY(served.server.serve(arguments));
        QVERIFY(served.server.quit());
    }
    QVERIFY(served.server.serve(starts.last()));
    WireClient client(served.server);
    QVERIFY(client.open(QStringLiteral("0")));
    QVERIFY(Carrier::write(client, "sampleRate", kRate));
    QVERIFY(client.close());
    QVERIFY(client.open(QStringLiteral("0"))); // the stand-in takes its rate from the start
    // The whole band.
    QVERIFY(client
                .askSession(QStringLiteral("setupDspH"),
                            {{QStringLiteral("prefBandWidth"), kRate}, {QStringLiteral("aliasFree"), 8000}})
                .has_value());
    const auto received = [&client] {
        client.forgetSamples();
        std::vector<std::complex<double>> samples;
        if (client.waitForSamples(20'000)) {
            samples.assign(client.samples().begin(), client.samples().begin() + 20'000);
        }
        return samples;
    };
    const auto rms = [](const std::vector<std::complex<double>>& samples) {
        double sum = 0;
        for (const std::complex<double>& sample : samples) {
            sum += std::norm(sample);
        }
        return std::sqrt(sum / static_cast<double>(samples.size())) / kGain;
    };
    const double expected = offsetBinary ? 5.7 : 176.0;
    double noise = 0;
    QVERIFY2(waitUntil([&] {
                 noise = rms(received());
                 return std::abs(noise - expected) < 0.06 * expected;
             }),
             qPrintable(QString::number(noise)));

    served.fake.set(QStringLiteral("source"), QStringLiteral("tone"));
    served.fake.set(QStringLiteral("tone.level"), 0.1);
    double tone = 0;
    QVERIFY2(waitUntil([&] {
                 const auto samples = received();
                 tone = Measure::amplitude(samples, kTone, kRate) / kGain;
                 // Of 12.7 steps, and hardly anything else.
                 const bool isTone = std::abs(tone - 12.7) < 0.6 && rms(samples) < 1.06 * tone;
                 return isTone == offsetBinary;
             }),
             qPrintable(QString::number(tone)));
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_ReceiversSession::sessionsLeaveNothingOpen_data()
{
    rowsOfAll();
}

void tst_ReceiversSession::sessionsLeaveNothingOpen()
{
    QFETCH(Receiver, which);
    ServedReceiver served(which);
    QVERIFY(served.server.serve());
    int threads = 0;
    int files = 0;
    for (int session = 0; session < 8; ++session) {
        WireClient client(served.server);
        QVERIFY(client.open(which.identificator));
        // Every second one ends before the first samples, maybe before the reading has begun.
        QVERIFY(session % 2 != 0 || client.waitForSamples(100));
        QVERIFY(client.close());
        if (session == 1) {
            threads = served.server.threads();
            files = served.server.openFiles();
        }
    }
    // Whatever one session leaked would be there six times. Qt keeps a thread or two of its look-ups, and a
    // file with each, for half a minute, and a fake may have its script open.
    QVERIFY(waitUntil([&served, threads, files] {
        return served.server.threads() < threads + 4 && served.server.openFiles() < files + 4;
    }));
    if (which.overUsb) {
        // The listing's handles too.
        QVERIFY(waitUntil([&] {
            return served.fake.calls(QStringLiteral("libusb_open(")).size() ==
                   served.fake.calls(QStringLiteral("libusb_close(")).size();
        }));
    }
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ReceiversSession)
#include "tst_ReceiversSession.moc"
