#include "System/Measure.h"
#include "System/Served.h"
#include "support/WireClient.h"

#include <QTest>
#include <cmath>

namespace
{

constexpr int kRate = 48'000;                     // hertz
constexpr double kCounts = 1000;                  // of a station, in the recording
constexpr double kGain = 32768.0 / 4096.0 * 0.95; // wire per count: scale, and two oscillators
constexpr double kCenter = 14'250'000;            // hertz, where the player is tuned to at first
constexpr double kMeasured = 0.15;                // seconds of samples

} // namespace

/// The recording's station is 5 kHz above its centre.
class tst_Tuning : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void stationAboveCentreIsAboveCentreBin();
    void realPartOnWireIsLeftChannel();
    void setIfBringsStationToZero();
    void setIfMovesOtherWayToo();
    void setIfOfSmallStepIsExact();
    void tuningPlayerUpMovesStationDown();
    void savedFrequencyCountsFromNextWrite();
    void tuningMovesSpectrumAndSetIfDoesNot();
    void frequencyOutOfRangeChangesNothing();
    void halfBandWidthHalvesRate_data();
    void halfBandWidthHalvesRate();
    void stationOutsideBandIsTakenAway();
    void unreasonableBandWidthsAreSurvived_data();
    void unreasonableBandWidthsAreSurvived();
    void unreasonableFrequenciesAreSurvived_data();
    void unreasonableFrequenciesAreSurvived();
    void unreasonableSampleRatesEndNoMoreThanStream_data();
    void unreasonableSampleRatesEndNoMoreThanStream();
    void newRateIsTold();

private:
    [[nodiscard]] bool setIf(double frequency);
    [[nodiscard]] bool setupDspH(double bandWidth, double aliasFree);
    [[nodiscard]] bool write(const char* name, const QJsonValue& value);
    /// Until fresh samples hold the station at `frequency` with its whole level.
    [[nodiscard]] bool stationComesTo(double frequency, double rate = kRate);
    [[nodiscard]] double level(double frequency, double rate = kRate);

    Served m_served{recording({{5000, kCounts}})};
    std::unique_ptr<WireClient> m_client;
};

void tst_Tuning::initTestCase()
{
    QVERIFY(m_served.server.serve());
}

void tst_Tuning::init()
{
    m_client = std::make_unique<WireClient>(m_served.server);
    QVERIFY(m_client->open(m_served.file));
    QVERIFY(write("frequency", kCenter));
}

void tst_Tuning::cleanup()
{
    QVERIFY(m_client->close());
}

bool tst_Tuning::setIf(double frequency)
{
    return m_client->askSession(QStringLiteral("setIF"), {{QStringLiteral("IF"), frequency}}).has_value();
}

bool tst_Tuning::setupDspH(double bandWidth, double aliasFree)
{
    return m_client
        ->askSession(QStringLiteral("setupDspH"),
                     {{QStringLiteral("prefBandWidth"), bandWidth}, {QStringLiteral("aliasFree"), aliasFree}})
        .has_value();
}

bool tst_Tuning::write(const char* name, const QJsonValue& value)
{
    return m_client
        ->ask(m_client->serverId(), QStringLiteral("wp_rrd"),
              {{QStringLiteral("n"), QLatin1String(name)}, {QStringLiteral("v"), value}})
        .has_value();
}

double tst_Tuning::level(double frequency, double rate)
{
    m_client->forgetSamples();
    if (!m_client->waitForSamples(static_cast<size_t>(kMeasured * rate))) {
        return -1;
    }
    return Measure::amplitude(m_client->samples(), frequency, rate) / (kCounts * kGain);
}

bool tst_Tuning::stationComesTo(double frequency, double rate)
{
    return waitUntil([this, frequency, rate] { return std::abs(level(frequency, rate) - 1) < 0.02; });
}

void tst_Tuning::stationAboveCentreIsAboveCentreBin()
{
    QVERIFY(m_client
                ->askSession(QStringLiteral("fft_data_range"), {{QStringLiteral("startIndex"), 0},
                                                                {QStringLiteral("stopIndex"), 4096},
                                                                {QStringLiteral("dataSize"), 4096},
                                                                {QStringLiteral("fftSize"), 4096}})
                .has_value());
    // 5000 Hz are 426.7 bins.
    const double expected = Measure::point(kCounts / 4096 * std::sqrt(0.95), 5000, kRate, 4096, 2048 + 427);
    std::optional<WireClient::Frame> frame;
    QVERIFY(waitUntil([this, &frame, expected] {
        frame = m_client->nextFrame(4096);
        return frame && std::abs(frame->points[2048 + 427] - expected) <= 2;
    }));
    QCOMPARE(Measure::strongest(frame->points), 2048 + 427);
}

void tst_Tuning::realPartOnWireIsLeftChannel()
{
    // Re is Q and Im is I, so that I + jQ of a station above the centre turns forward, a quarter turn between
    // the two. Taken the other way round it is below.
    QVERIFY(stationComesTo(5000));
    QVERIFY(level(-5000) < 0.01);
}

void tst_Tuning::setIfBringsStationToZero()
{
    QVERIFY(setIf(5000));
    QVERIFY(stationComesTo(0));
    QVERIFY(level(5000) < 0.01);
}

void tst_Tuning::setIfMovesOtherWayToo()
{
    QVERIFY(setIf(-3000));
    QVERIFY(stationComesTo(8000));
}

void tst_Tuning::setIfOfSmallStepIsExact()
{
    // No multiple of the coarse table's step, 93.75 Hz: both oscillators take part.
    QVERIFY(setIf(1234.5));
    QVERIFY(stationComesTo(5000 - 1234.5));
}

void tst_Tuning::tuningPlayerUpMovesStationDown()
{
    QVERIFY(write("frequency", kCenter + 2000));
    QVERIFY(stationComesTo(3000));
    QVERIFY(write("frequency", kCenter - 2000));
    QVERIFY(stationComesTo(7000));
    QVERIFY(write("frequency", kCenter + 5000));
    QVERIFY(stationComesTo(0));
}

void tst_Tuning::savedFrequencyCountsFromNextWrite()
{
    QVERIFY(write("frequency", kCenter + 2000));
    QVERIFY(stationComesTo(3000));
    QVERIFY(m_client->close());
    QVERIFY(m_client->open(m_served.file));
    m_client->forgetCalls();
    QVERIFY(m_client->ask(m_client->serverId(), QStringLiteral("it_ra_rrd")).has_value());
    const QVector<WireClient::Message> dump = m_client->calls(QStringLiteral("pci_rrd"));
    QCOMPARE(dump.value(6).body.value(QStringLiteral("v")).toDouble(), kCenter + 2000);
    QVERIFY(stationComesTo(5000));
    QVERIFY(write("frequency", kCenter + 2000));
    QVERIFY(stationComesTo(3000));
}

void tst_Tuning::tuningMovesSpectrumAndSetIfDoesNot()
{
    const QJsonObject range{{QStringLiteral("startIndex"), 0},
                            {QStringLiteral("stopIndex"), 1024},
                            {QStringLiteral("dataSize"), 1024},
                            {QStringLiteral("fftSize"), 1024}};
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range).has_value());
    const auto peakComesTo = [this](int bin) {
        return waitUntil([this, bin] {
            const auto frame = m_client->nextFrame(1024);
            return frame && Measure::strongest(frame->points) == bin;
        });
    };
    QVERIFY(peakComesTo(512 + 107)); // 106.7
    QVERIFY(setIf(5000));
    QVERIFY(stationComesTo(0));
    QVERIFY(peakComesTo(512 + 107));
    QVERIFY(write("frequency", kCenter + 8000));
    QVERIFY(peakComesTo(512 - 64)); // 5 kHz less 8 kHz
}

void tst_Tuning::frequencyOutOfRangeChangesNothing()
{
    QVERIFY(write("frequency", kCenter + 1000));
    QVERIFY(stationComesTo(4000));
    m_client->forgetCalls();
    QVERIFY(write("frequency", 15'000'000));
    QVERIFY(m_client->waitForCall(QStringLiteral("pc_rrd")));
    QCOMPARE(m_client->calls(QStringLiteral("pc_rrd")).first().body.value(QStringLiteral("v")).toDouble(),
             kCenter + 1000);
    QVERIFY(stationComesTo(4000));
}

void tst_Tuning::halfBandWidthHalvesRate_data()
{
    QTest::addColumn<double>("bandWidth");
    QTest::addColumn<double>("rate");
    QTest::newRow("24001, as it was") << 24'001.0 << 48'000.0;
    QTest::newRow("24000, halved") << 24'000.0 << 24'000.0;
    QTest::newRow("13000, halved") << 13'000.0 << 24'000.0;
    QTest::newRow("12000, a quarter") << 12'000.0 << 12'000.0;
    QTest::newRow("3000, a sixteenth") << 3'000.0 << 3'000.0;
}

void tst_Tuning::halfBandWidthHalvesRate()
{
    QFETCH(double, bandWidth);
    QFETCH(double, rate);
    QVERIFY(setupDspH(30'000, 8'000));
    QVERIFY(setIf(4000)); // the station comes to 1000 Hz, inside every band
    QVERIFY(setupDspH(bandWidth, std::min(8000.0, bandWidth * 0.8)));
    QVERIFY(waitUntil([this, rate] {
        const auto calls = m_client->calls(QStringLiteral("outSampleRateChanged"));
        return !calls.isEmpty() &&
               calls.last().body.value(QStringLiteral("outSampleRate")).toDouble() == rate;
    }));
    QVERIFY(stationComesTo(1000, rate));
}

void tst_Tuning::stationOutsideBandIsTakenAway()
{
    QVERIFY(setupDspH(6000, 4000));
    // 5 kHz at a rate of 6 kHz would come back at -1 kHz.
    QVERIFY(waitUntil([this] { return level(-1000, 6000) < 0.01; }));
    QVERIFY(setIf(4500));
    QVERIFY(stationComesTo(500, 6000));
}

void tst_Tuning::unreasonableBandWidthsAreSurvived_data()
{
    QTest::addColumn<double>("bandWidth");
    QTest::addColumn<double>("aliasFree");
    QTest::newRow("zero") << 0.0 << 0.0;
    QTest::newRow("negative") << -30'000.0 << -1.0;
    QTest::newRow("one hertz") << 1.0 << 1.0;
    QTest::newRow("beyond any integer") << 1e300 << 1e300;
    QTest::newRow("below any integer") << -1e300 << -1e300;
    QTest::newRow("the least above zero") << 5e-324 << 5e-324;
    QTest::newRow("alias-free beyond the rate") << 6'000.0 << 1e9;
}

void tst_Tuning::unreasonableBandWidthsAreSurvived()
{
    QFETCH(double, bandWidth);
    QFETCH(double, aliasFree);
    QVERIFY(setupDspH(bandWidth, aliasFree));
    QVERIFY(m_client->askSession(QStringLiteral("ping")).has_value());
    QVERIFY(setupDspH(30'000, 8'000));
    QVERIFY(stationComesTo(5000));
}

void tst_Tuning::unreasonableFrequenciesAreSurvived_data()
{
    QTest::addColumn<double>("frequency");
    QTest::newRow("beyond any integer") << 1e300;
    QTest::newRow("below any integer") << -1e300;
    QTest::newRow("far beyond the rate") << 1e12;
    QTest::newRow("the least above zero") << 5e-324;
}

void tst_Tuning::unreasonableFrequenciesAreSurvived()
{
    QFETCH(double, frequency);
    const std::initializer_list<std::pair<const char*, double>> writables{
        {"frequency", kCenter}, {"levelCorrection", 0}, {"ppmCorrection", 0}};
    for (const auto& [name, usual] : writables) {
        QVERIFY(write(name, frequency));
        QVERIFY(m_client->askSession(QStringLiteral("ping")).has_value());
        QVERIFY(write(name, usual));
    }
    QVERIFY(write("frequency", kCenter));
    QVERIFY(setIf(frequency));
    QVERIFY(m_client->askSession(QStringLiteral("ping")).has_value());
    QVERIFY(setIf(0));
    QVERIFY(stationComesTo(5000));
}

void tst_Tuning::unreasonableSampleRatesEndNoMoreThanStream_data()
{
    QTest::addColumn<double>("rate");
    QTest::newRow("zero") << 0.0;
    QTest::newRow("negative") << -48'000.0;
    QTest::newRow("below one hertz") << 0.5;
    QTest::newRow("one hertz") << 1.0;
    QTest::newRow("beyond any integer") << 1e300;
    QTest::newRow("below any integer") << -1e300;
}

void tst_Tuning::unreasonableSampleRatesEndNoMoreThanStream()
{
    QFETCH(double, rate);
    QVERIFY(write("sampleRate", rate));
    QVERIFY(m_client->askSession(QStringLiteral("ping")).has_value());
    QVERIFY(setupDspH(6000, 3000));
    QVERIFY(setIf(1000));
    QVERIFY(write("sampleRate", kRate));
    // The chain may have stopped for the rest of the session; the next one has its own.
    QVERIFY(m_client->close());
    QVERIFY(m_client->open(m_served.file));
    QVERIFY(stationComesTo(5000));
}

void tst_Tuning::newRateIsTold()
{
    QVERIFY(m_client->waitForCall(QStringLiteral("outSampleRateChanged")));
    m_client->forgetCalls();
    QVERIFY(setupDspH(12'000, 6'000));
    QVERIFY(m_client->waitForCall(QStringLiteral("outSampleRateChanged")));
    const WireClient::Message call = m_client->calls(QStringLiteral("outSampleRateChanged")).last();
    QCOMPARE(call.sender, m_client->sessionId());
    QCOMPARE(call.body.keys(), QStringList({QStringLiteral("cd"), QStringLiteral("outSampleRate")}));
    QCOMPARE(call.body.value(QStringLiteral("outSampleRate")).toDouble(), 12'000.0);
}

QTEST_GUILESS_MAIN(tst_Tuning)
#include "tst_Tuning.moc"
