#include "System/Measure.h"
#include "System/Served.h"
#include "support/WireClient.h"

#include <QTest>
#include <cmath>

namespace
{

constexpr int kRate = 48'000;    // hertz
constexpr double kCounts = 1000; // of a station, in the recording
// In the server's samples: full scale of the player is 4096, and its oscillator settles at the root of 0.95.
const double kLevel = kCounts / 4096.0 * std::sqrt(0.95);
constexpr qint16 kNoBin = 800;

QJsonObject range(int startIndex, int stopIndex, int dataSize, int fftSize)
{
    return {{QStringLiteral("startIndex"), startIndex},
            {QStringLiteral("stopIndex"), stopIndex},
            {QStringLiteral("dataSize"), dataSize},
            {QStringLiteral("fftSize"), fftSize}};
}

} // namespace

class tst_Spectrum : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void clientThatAsksForNoRangeGetsNoFrames();
    void stationStandsAtItsBinWithItsLevel_data();
    void stationStandsAtItsBinWithItsLevel();
    void frameIsCutIntoPackets_data();
    void frameIsCutIntoPackets();
    void placesWithoutBinAreMarked();
    void rangeZoomsIn();
    void fewerPointsThanBinsSkip();
    void rangeOutlivesSession();
    void sameSizeIsNotSetUpAnew();
    void smallBlocksStayPlain();
    void framesComeSteadily();

private:
    Served m_served{recording({{4500, kCounts}})};
    std::unique_ptr<WireClient> m_client;
};

void tst_Spectrum::initTestCase()
{
    QVERIFY(m_served.server.serve());
}

void tst_Spectrum::init()
{
    m_client = std::make_unique<WireClient>(m_served.server);
    QVERIFY(m_client->open(m_served.file));
}

void tst_Spectrum::cleanup()
{
    QVERIFY(m_client->close());
}

void tst_Spectrum::clientThatAsksForNoRangeGetsNoFrames()
{
    // First of all, since a range stays with the server.
    QVERIFY(m_client->waitForSamples(kRate / 2));
    QCOMPARE(m_client->heard(4) + m_client->heard(5), 0);
}

void tst_Spectrum::stationStandsAtItsBinWithItsLevel_data()
{
    QTest::addColumn<int>("fftSize");
    for (const int size : {512, 1024, 2048, 4096, 8192, 16'384, 32'768}) {
        QTest::newRow(qPrintable(QString::number(size))) << size;
    }
}

void tst_Spectrum::stationStandsAtItsBinWithItsLevel()
{
    QFETCH(int, fftSize);
    // 4500 Hz of 48 kHz: three bins of every 32, above the middle.
    const int bin = fftSize / 2 + fftSize * 3 / 32;
    const double expected = Measure::point(kLevel, 4500, kRate, fftSize, bin);
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, fftSize, fftSize, fftSize))
                .has_value());
    // The first frames of a session reach back to before its first sample.
    std::optional<WireClient::Frame> frame;
    QVERIFY(waitUntil([this, &frame, fftSize, bin, expected] {
        frame = m_client->nextFrame(fftSize);
        return frame && std::abs(frame->points[bin] - expected) <= 2;
    }));
    QCOMPARE(Measure::strongest(frame->points), bin);
    // The image would be as far below the middle: 60 dB down at the least, four points a decibel.
    QVERIFY(frame->points[fftSize / 2 - fftSize * 3 / 32] > expected + 240);
}

void tst_Spectrum::frameIsCutIntoPackets_data()
{
    QTest::addColumn<int>("dataSize");
    QTest::addColumn<QVector<int>>("packets");
    QTest::newRow("100") << 100 << QVector<int>{100};
    QTest::newRow("252") << 252 << QVector<int>{252};
    QTest::newRow("253") << 253 << QVector<int>{252, 1};
    QTest::newRow("1") << 1 << QVector<int>{1};
    QTest::newRow("1000") << 1000 << QVector<int>{252, 252, 252, 244};
    QTest::newRow("1008") << 1008 << QVector<int>{252, 252, 252, 252};
}

void tst_Spectrum::frameIsCutIntoPackets()
{
    QFETCH(int, dataSize);
    QFETCH(QVector<int>, packets);
    QVERIFY(
        m_client->askSession(QStringLiteral("fft_data_range"), range(0, 1024, dataSize, 1024)).has_value());
    const auto frame = m_client->nextFrame(dataSize);
    QVERIFY(frame.has_value());
    QCOMPARE(frame->header, QVector<qint16>({0x7F0F, static_cast<qint16>(dataSize), 0}));
    QCOMPARE(frame->packets, packets);
}

void tst_Spectrum::placesWithoutBinAreMarked()
{
    // One point a bin, from 100 below the first to 100 above the last.
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(-100, 612, 712, 512)).has_value());
    const auto frame = m_client->nextFrame(712);
    QVERIFY(frame.has_value());
    QCOMPARE(frame->points.mid(0, 100), QVector<qint16>(100, kNoBin));
    QCOMPARE(frame->points.mid(612), QVector<qint16>(100, kNoBin));
    QCOMPARE(frame->points.mid(100, 512).count(kNoBin), 0);
    QCOMPARE(Measure::strongest(frame->points), 100 + 256 + 48);
}

void tst_Spectrum::rangeZoomsIn()
{
    // 20 bins about the station; two points a bin.
    const int bin = 2048 + 384;
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(bin - 10, bin + 10, 40, 4096))
                .has_value());
    const auto frame = m_client->nextFrame(40);
    QVERIFY(frame.has_value());
    QCOMPARE(Measure::strongest(frame->points), 20);
    for (int i = 0; i < 40; i += 2) {
        QCOMPARE(frame->points[i], frame->points[i + 1]);
    }
}

void tst_Spectrum::fewerPointsThanBinsSkip()
{
    // Every 128th bin; the station's is the 3rd above the middle, with nothing between 0 Hz and it to be
    // seen.
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, 4096, 32, 4096)).has_value());
    const auto frame = m_client->nextFrame(32);
    QVERIFY(frame.has_value());
    QCOMPARE(Measure::strongest(frame->points), 19);
}

void tst_Spectrum::rangeOutlivesSession()
{
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, 2048, 200, 2048)).has_value());
    QVERIFY(m_client->close());
    WireClient next(m_served.server);
    QVERIFY(next.open(m_served.file));
    QVERIFY(next.nextFrame(200).has_value());
    QVERIFY(next.close());
    QVERIFY(m_client->open(m_served.file));
}

void tst_Spectrum::sameSizeIsNotSetUpAnew()
{
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, 4096, 100, 4096)).has_value());
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, 2048, 100, 2048)).has_value());
    QVERIFY(
        waitUntil([this] { return m_served.server.lines().contains(QStringLiteral("set fft size 2048")); }));
    const int before = m_served.server.count(QStringLiteral("set fft size"));
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(10, 20, 30, 2048)).has_value());
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, 1024, 100, 1024)).has_value());
    QVERIFY(
        waitUntil([this, before] { return m_served.server.count(QStringLiteral("set fft size")) > before; }));
    QCOMPARE(m_served.server.count(QStringLiteral("set fft size")), before + 1);
}

void tst_Spectrum::smallBlocksStayPlain()
{
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, 1024, 126, 1024)).has_value());
    QVERIFY(m_client->nextFrame(126).has_value());
    const int compressed = m_client->heard(5);
    QVERIFY(m_client->nextFrame(126).has_value());
    QCOMPARE(m_client->heard(5), compressed);
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, 1024, 127, 1024)).has_value());
    QVERIFY(m_client->nextFrame(127).has_value());
    QVERIFY(m_client->heard(5) > compressed);
}

void tst_Spectrum::framesComeSteadily()
{
    QVERIFY(m_client->askSession(QStringLiteral("fft_data_range"), range(0, 1024, 252, 1024)).has_value());
    QVERIFY(m_client->nextFrame(252).has_value());
    m_client->forgetFrames();
    QVERIFY(waitUntil([this] { return m_client->frames().size() > 25; }));
    const qint64 taken = m_client->frames()[25].time - m_client->frames()[0].time;
    // 25 a second; late on a loaded machine, never early.
    QVERIFY2(taken > 800, qPrintable(QString::number(taken)));
}

QTEST_GUILESS_MAIN(tst_Spectrum)
#include "tst_Spectrum.moc"
