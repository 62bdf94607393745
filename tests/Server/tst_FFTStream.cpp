#include "Server/FFTStream.h"

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "DatagramReceiver.h"
#include "Network/Socket/FFTSocket.h"
#include "Network/Socket/Socket.h"
#include "SpectrumReference.h"
#include "support/LogCapture.h"

#include <QMutexLocker>
#include <QTest>
#include <QTimer>
#include <cmath>
#include <limits>
#include <optional>
#include <random>

namespace
{

constexpr int kCapacity = 262144;
constexpr int kMinimum = std::numeric_limits<int>::min();
constexpr int kMaximum = std::numeric_limits<int>::max();
constexpr qint16 kNoBin = 800;

// A stream that shows a device's samples to a receiver on loopback.
struct Session
{
    explicit Session(bool compress = false)
        : stream(socket, compress, nullptr)
    {
        stream.setHost(QHostAddress::LocalHost, receiver.port());
        stream.setDevice(&device);
    }

    [[nodiscard]] RingBuffer<DoubleComplex>& ring() const { return *device.inBuffer(); }

    void write(const QVector<DoubleComplex>& samples) const
    {
        const QMutexLocker lock(&ring().mutex);
        ring().write(samples.constData(), samples.size());
    }

    QList<QByteArray> tick()
    {
        stream.onTimeout();
        return receiver.take();
    }

    // The points of one frame, header taken off.
    QVector<qint16> frame()
    {
        QVector<qint16> points;
        for (const QByteArray& datagram : tick().mid(1)) {
            points += valuesOf(datagram);
        }
        return points;
    }

    QVector<qint16> frameOf(const QVector<DoubleComplex>& samples)
    {
        write(samples);
        return frame();
    }

    QSharedPointer<Socket> socket = QSharedPointer<Socket>::create();
    AbstractRadioDevice device{QSharedPointer<InfoRadioDevice>::create(), nullptr};
    DatagramReceiver receiver;
    FFTStream stream;
};

QVector<DoubleComplex> noise(int count)
{
    std::mt19937_64 generator(static_cast<unsigned>(count));
    std::normal_distribution<double> normal(0.0, 0.1);
    QVector<DoubleComplex> samples(count);
    for (DoubleComplex& sample : samples) {
        sample = {normal(generator), normal(generator)};
    }
    return samples;
}

// What a receiver gives for a carrier `bins` above its centre: re = Q, im = I.
QVector<DoubleComplex> carrier(int count, int bins, int fftSize)
{
    QVector<DoubleComplex> samples(count);
    for (int j = 0; j < count; ++j) {
        const double angle =
            2.0 * M_PI * static_cast<double>(static_cast<qint64>(j) * bins % fftSize) / fftSize;
        samples[j] = {std::sin(angle), std::cos(angle)};
    }
    return samples;
}

int strongest(const QVector<qint16>& points)
{
    return static_cast<int>(std::min_element(points.cbegin(), points.cend()) - points.cbegin());
}

// Equal, save that a power next to a step of the scale may come out on either side of it.
QByteArray difference(const QVector<qint16>& actual, const QVector<qint16>& expected)
{
    if (actual.size() != expected.size()) {
        return QByteArray::number(actual.size()) + " points for " + QByteArray::number(expected.size());
    }
    QByteArray text;
    int other = 0;
    for (int i = 0; i < actual.size(); ++i) {
        other += actual[i] != expected[i] ? 1 : 0;
        if (std::abs(actual[i] - expected[i]) > 1) {
            text += " [" + QByteArray::number(i) + "] " + QByteArray::number(actual[i]) + " for " +
                    QByteArray::number(expected[i]);
        }
    }
    return 100 * other > actual.size() ? text + " too many differ: " + QByteArray::number(other) : text;
}

} // namespace

class tst_FFTStream : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_log.emplace(); }
    void cleanup();

    // First of all: in a second full of changes the line it looks for may be left out.
    void sameSizeWithANewRangeIsNotSetAgain();

    void frameIsAHeaderThenDatagramsOf252Points_data();
    void frameIsAHeaderThenDatagramsOf252Points();
    void headerHoldsTheMarkerAndTheLow16BitsOfTheDataSize_data();
    void headerHoldsTheMarkerAndTheLow16BitsOfTheDataSize();
    void largestFrameIs262Datagrams();
    void onlyDatagramsAbove256BytesAreCompressed();
    void withoutCompressionEveryDatagramIsPlain();

    void pointsAreThoseOfTheDefinition_data();
    void pointsAreThoseOfTheDefinition();
    void carrierStandsAsFarFromTheMiddleBinAsFromTheCentre_data();
    void carrierStandsAsFarFromTheMiddleBinAsFromTheCentre();
    void silenceStandsAtTheFloor();
    void logarithmIsTheApproximation_data();
    void logarithmIsTheApproximation();
    void scaleStepsAt4096();
    void windowIsShiftedByOnePlace();
    void sampleThatIsNoNumberGivesNoLevel();

    void rangeBeyondTheTransformIsMarked();
    void rangeBelowTheTransformIsMarked();
    void negativeBinsAreTruncatedTowardZero();
    void extremeRangesReachNothingOutside();
    void narrowFramesSkipBinsAndWideOnesRepeatThem_data();
    void narrowFramesSkipBinsAndWideOnesRepeatThem();

    void frameEndsAtTheNewestSample();
    void frameShowsOlderSamplesWhereNoneHaveCome();
    void frameIsReadAcrossTheEndOfTheRing();
    void silentDeviceIsSteppedThroughBackwards();
    void indexStepsBackEvenIfNoPointIsWanted();

    void withoutARangeThereAreNoFrames();
    void emptyRangesSendNothing_data();
    void emptyRangesSendNothing();
    void negativeDataSizeSendsNothingAndSizesNothing();
    void sizeBelowOneStopsTheFramesUntilTheNext();
    void everyPowerOfTwoFrom2To65536Works_data();
    void everyPowerOfTwoFrom2To65536Works();
    void otherSizesAreRefusedWholeAndTheStreamGoesOn_data();
    void otherSizesAreRefusedWholeAndTheStreamGoesOn();
    void refusalsAreLimitedTo50Lines();

    void rangeAndEngineOutliveASession();
    void withoutADeviceATickDoesNothing();
    void stopLeavesNoFurtherFrame();
    void runsByItselfEvery40MillisecondsOnceStarted();
    void longFrameIsSentInSeveralTurnsOfTheEventLoop();
    void frameThatHasBegunIsSentWholeAfterStop();
    void frameThatHasBegunIsSentWholeToTheHostItWasBegunFor();
    void newRangeAmidALongFrameComesAfterIt();
    void tickAmidALongFrameMakesNone();
    void dropsWhateverArrives();

private:
    std::optional<LogCapture> m_log;
};

// Nothing is warned of but what a test has looked for, and that lines were left out where it all goes so
// fast.
void tst_FFTStream::cleanup()
{
    QStringList warnings = m_log->texts(QtWarningMsg) + m_log->texts(QtCriticalMsg);
    m_log.reset();
    for (const QString& warning : qAsConst(warnings)) {
        QVERIFY2(warning.contains(QLatin1String("lines left out, of the kind logged at Server/FFTStream")),
                 qPrintable(warning));
    }
}

void tst_FFTStream::frameIsAHeaderThenDatagramsOf252Points_data()
{
    QTest::addColumn<int>("dataSize");
    QTest::addColumn<QVector<int>>("sizes");
    QTest::newRow("1") << 1 << QVector<int>{3, 1};
    QTest::newRow("100") << 100 << QVector<int>{3, 100};
    QTest::newRow("251") << 251 << QVector<int>{3, 251};
    QTest::newRow("252") << 252 << QVector<int>{3, 252};
    QTest::newRow("253") << 253 << QVector<int>{3, 252, 1};
    QTest::newRow("504") << 504 << QVector<int>{3, 252, 252};
    QTest::newRow("1000") << 1000 << QVector<int>{3, 252, 252, 252, 244};
}

void tst_FFTStream::frameIsAHeaderThenDatagramsOf252Points()
{
    QFETCH(const int, dataSize);
    QFETCH(const QVector<int>, sizes);
    Session session;
    session.stream.setDataRange(0, 1024, 2000, 1024); // what was asked for before leaves no trace
    session.tick();
    session.stream.setDataRange(0, 1024, dataSize, 1024);
    QVector<int> got;
    const QList<QByteArray> datagrams = session.tick();
    for (const QByteArray& datagram : datagrams) {
        QCOMPARE(datagram.size(), 1 + 4 + 2 * valuesOf(datagram).size());
        got.append(valuesOf(datagram).size());
    }
    QCOMPARE(got, sizes);
}

void tst_FFTStream::headerHoldsTheMarkerAndTheLow16BitsOfTheDataSize_data()
{
    QTest::addColumn<int>("dataSize");
    QTest::addColumn<QByteArray>("header");
    // Plain spectrum, three values, the marker, the size, 0.
    QTest::newRow("252") << 252 << QByteArray::fromHex("04000000037f0f00fc0000");
    QTest::newRow("1") << 1 << QByteArray::fromHex("04000000037f0f00010000");
    QTest::newRow("32767") << 32767 << QByteArray::fromHex("04000000037f0f7fff0000");
    QTest::newRow("40000") << 40000 << QByteArray::fromHex("04000000037f0f9c400000");
    QTest::newRow("65536") << 65536 << QByteArray::fromHex("04000000037f0f00000000");
}

void tst_FFTStream::headerHoldsTheMarkerAndTheLow16BitsOfTheDataSize()
{
    QFETCH(const int, dataSize);
    QFETCH(const QByteArray, header);
    Session session(true);
    session.stream.setDataRange(0, 512, dataSize, 512);
    QCOMPARE(session.tick().value(0), header);
}

void tst_FFTStream::largestFrameIs262Datagrams()
{
    Session session;
    session.stream.setDataRange(0, 65536, 65536, 512);
    session.stream.onTimeout();
    QTRY_COMPARE(session.socket->sentPackets(), 1U + 260U + 1U);
}

void tst_FFTStream::onlyDatagramsAbove256BytesAreCompressed()
{
    Session session(true);
    session.stream.setDataRange(0, 512, 252 + 126, 512);
    QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 3);
    QCOMPARE(datagrams[0].at(0), '\x04');
    QCOMPARE(datagrams[1].at(0), '\x05');
    QCOMPARE(datagrams[2].at(0), '\x04');
    QCOMPARE(qUncompress(datagrams[1].mid(1)), sampleBlock(valuesOf(datagrams[1])));
    QCOMPARE(valuesOf(datagrams[1]).size(), 252);

    session.stream.setDataRange(0, 512, 127, 512);
    datagrams = session.tick();
    QCOMPARE(datagrams[1].at(0), '\x05');
}

void tst_FFTStream::withoutCompressionEveryDatagramIsPlain()
{
    Session session(false);
    session.stream.setDataRange(0, 512, 1000, 512);
    const QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 5);
    for (const QByteArray& datagram : datagrams) {
        QCOMPARE(datagram.at(0), '\x04');
    }
}

void tst_FFTStream::pointsAreThoseOfTheDefinition_data()
{
    QTest::addColumn<int>("fftSize");
    QTest::addColumn<int>("startIndex");
    QTest::addColumn<int>("stopIndex");
    QTest::addColumn<int>("dataSize");
    QTest::newRow("512 whole") << 512 << 0 << 512 << 512;
    QTest::newRow("1024 thinned") << 1024 << 100 << 900 << 321;
    QTest::newRow("2048 repeated") << 2048 << 1000 << 1100 << 300;
    QTest::newRow("4096 part") << 4096 << 2000 << 2253 << 253;
    QTest::newRow("8192 over the edge") << 8192 << 8100 << 8300 << 200;
}

void tst_FFTStream::pointsAreThoseOfTheDefinition()
{
    QFETCH(const int, fftSize);
    QFETCH(const int, startIndex);
    QFETCH(const int, stopIndex);
    QFETCH(const int, dataSize);
    Session session;
    session.stream.setDataRange(startIndex, stopIndex, dataSize, fftSize);
    const QVector<DoubleComplex> samples = noise(fftSize);
    const QByteArray text = difference(session.frameOf(samples),
                                       SpectrumReference(samples).frame(startIndex, stopIndex, dataSize));
    QVERIFY2(text.isEmpty(), text.constData());
}

void tst_FFTStream::carrierStandsAsFarFromTheMiddleBinAsFromTheCentre_data()
{
    QTest::addColumn<int>("bins");
    QTest::newRow("at the centre") << 0;
    QTest::newRow("above") << 100;
    QTest::newRow("below") << -100;
    QTest::newRow("at the lowest") << -512;
    QTest::newRow("at the highest") << 511;
}

void tst_FFTStream::carrierStandsAsFarFromTheMiddleBinAsFromTheCentre()
{
    QFETCH(const int, bins);
    Session session;
    session.stream.setDataRange(0, 1024, 1024, 1024);
    QCOMPARE(strongest(session.frameOf(carrier(1024, bins, 1024))), 512 + bins);
}

void tst_FFTStream::silenceStandsAtTheFloor()
{
    Session session;
    session.stream.setDataRange(0, 512, 512, 512);
    // 1e-22: by the approximate logarithm, too, 880 and not one less.
    QCOMPARE(session.frame(), QVector<qint16>(512, 880));
    QCOMPARE(SpectrumReference::point(1e-22F), qint16{880});
}

void tst_FFTStream::logarithmIsTheApproximation_data()
{
    QTest::addColumn<double>("amplitude");
    for (const double amplitude : {1e-12, 1e-9, 3.3e-7, 1e-4, 0.01, 0.3, 1.0, 7.0, 4096.0, 1e9, 1e15}) {
        QTest::addRow("%g", amplitude) << amplitude;
    }
}

void tst_FFTStream::logarithmIsTheApproximation()
{
    QFETCH(const double, amplitude);
    Session session;
    session.stream.setDataRange(510, 515, 5, 1024);
    QVector<DoubleComplex> samples = carrier(1024, 0, 1024);
    for (DoubleComplex& sample : samples) {
        sample = {sample.re * amplitude, sample.im * amplitude};
    }
    const QVector<qint16> points = session.frameOf(samples);
    const SpectrumReference reference(samples);
    QCOMPARE(points, reference.frame(510, 515, 5));
    // And the approximation is one: within 0.1 dB, and a step of truncation, of the logarithm.
    const double exact = -40.0 * std::log10(static_cast<double>(reference.power(512)) + 1e-22);
    QVERIFY(std::abs(points[2] - exact) < 1.4);
}

void tst_FFTStream::scaleStepsAt4096()
{
    // A carrier's power grows with the square of the size, the divisor with the size: 3 dB, 12 points a
    // doubling. Below 4096 it is divided by two thirds too, so that step is short by 1.76 dB.
    QVector<int> levels;
    Session session;
    for (const int fftSize : {1024, 2048, 4096, 8192}) {
        session.stream.setDataRange(fftSize / 2, fftSize / 2 + 1, 1, fftSize);
        levels.append(session.frameOf(carrier(fftSize, 0, fftSize)).value(0));
    }
    QVERIFY(std::abs(levels[0] - levels[1] - 12) <= 1);
    QVERIFY(std::abs(levels[1] - levels[2] - 5) <= 1);
    QVERIFY(std::abs(levels[2] - levels[3] - 12) <= 1);
}

void tst_FFTStream::windowIsShiftedByOnePlace()
{
    // One sample alone shows the window's value there, the same in every bin.
    const auto levelAt = [](int place) {
        Session session;
        session.stream.setDataRange(0, 1, 1, 512);
        QVector<DoubleComplex> samples(512);
        samples[place] = {1.0, 0.0};
        return session.frameOf(samples).value(0);
    };
    // Symmetric around place 256.5: one further than a window of 512 would be.
    for (const int place : {10, 100, 200, 256}) {
        QCOMPARE(levelAt(place), levelAt(513 - place));
    }
    QVERIFY(levelAt(10) != levelAt(511 - 10));
    // Zero at place 1; place 0 lies before the window's start and is a little above it.
    QCOMPARE(levelAt(1), qint16{880});
    QVERIFY(levelAt(0) < levelAt(1));
}

void tst_FFTStream::sampleThatIsNoNumberGivesNoLevel()
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double value : {std::numeric_limits<double>::quiet_NaN(), kInfinity, -kInfinity, 1e300}) {
        Session session;
        session.stream.setDataRange(0, 512, 100, 512);
        QCOMPARE(session.frameOf(QVector<DoubleComplex>(512, {value, 0.0})), QVector<qint16>(100, kNoBin));
    }
}

void tst_FFTStream::rangeBeyondTheTransformIsMarked()
{
    Session session;
    session.stream.setDataRange(500, 524, 24, 512);
    const QVector<qint16> points = session.frameOf(noise(512));
    QCOMPARE(points.size(), 24);
    QVERIFY(!points.mid(0, 12).contains(kNoBin));
    QCOMPARE(points.mid(12), QVector<qint16>(12, kNoBin));
}

void tst_FFTStream::rangeBelowTheTransformIsMarked()
{
    Session session;
    session.stream.setDataRange(-10, 20, 30, 512);
    const QVector<qint16> points = session.frameOf(noise(512));
    QCOMPARE(points.size(), 30);
    QCOMPARE(points.mid(0, 10), QVector<qint16>(10, kNoBin));
    QVERIFY(!points.mid(10).contains(kNoBin));
}

void tst_FFTStream::negativeBinsAreTruncatedTowardZero()
{
    Session session;
    session.stream.setDataRange(-3, 3, 12, 512);
    const QVector<qint16> points = session.frameOf(noise(512));
    // -3, -2.5, ... : what stands at -0.5 is bin 0.
    QCOMPARE(points.mid(0, 5), QVector<qint16>(5, kNoBin));
    QVERIFY(points[5] != kNoBin);
    QCOMPARE(points[5], points[6]);
    QCOMPARE(points[6], points[7]);
}

void tst_FFTStream::extremeRangesReachNothingOutside()
{
    Session session;
    session.stream.setDataRange(kMinimum, kMaximum, 252, 512);
    QVector<qint16> expected(252, kNoBin);
    expected[126] = 880; // bin -0.5, truncated: 0
    QCOMPARE(session.frame(), expected);
    session.stream.setDataRange(kMaximum - 1, kMaximum, 252, 512);
    QCOMPARE(session.frame(), QVector<qint16>(252, kNoBin));
    session.stream.setDataRange(kMinimum, kMinimum + 1, 252, 512);
    QCOMPARE(session.frame(), QVector<qint16>(252, kNoBin));
    session.stream.setDataRange(0, kMaximum, 252, 512);
    QCOMPARE(session.frame().mid(1), QVector<qint16>(251, kNoBin));
    session.stream.setDataRange(kMaximum, kMinimum, 252, 512);
    QCOMPARE(session.tick().size(), 0);
}

void tst_FFTStream::narrowFramesSkipBinsAndWideOnesRepeatThem_data()
{
    QTest::addColumn<int>("startIndex");
    QTest::addColumn<int>("stopIndex");
    QTest::addColumn<QVector<int>>("bins");
    QTest::newRow("every bin") << 100 << 106 << QVector<int>{100, 101, 102, 103, 104, 105};
    QTest::newRow("every second") << 100 << 108 << QVector<int>{100, 102, 104, 106};
    QTest::newRow("each twice") << 100 << 103 << QVector<int>{100, 100, 101, 101, 102, 102};
    QTest::newRow("10 in 7") << 100 << 110 << QVector<int>{100, 101, 102, 104, 105, 107, 108};
    QTest::newRow("3 in 5") << 100 << 103 << QVector<int>{100, 100, 101, 101, 102};
    QTest::newRow("one in 300") << 300 << 301 << QVector<int>(300, 300);
    QTest::newRow("all in one") << 0 << 512 << QVector<int>{0};
}

void tst_FFTStream::narrowFramesSkipBinsAndWideOnesRepeatThem()
{
    QFETCH(const int, startIndex);
    QFETCH(const int, stopIndex);
    QFETCH(const QVector<int>, bins);
    const QVector<DoubleComplex> samples = noise(512);
    Session session;
    session.stream.setDataRange(0, 512, 512, 512);
    const QVector<qint16> all = session.frameOf(samples);
    session.stream.setDataRange(startIndex, stopIndex, bins.size(), 512);
    QVector<qint16> expected;
    for (const int bin : bins) {
        expected.append(all[bin]);
    }
    QCOMPARE(session.frameOf(samples), expected);
}

void tst_FFTStream::frameEndsAtTheNewestSample()
{
    Session session;
    session.stream.setDataRange(0, 512, 512, 512);
    session.write(carrier(5000, 50, 512));
    QCOMPARE(strongest(session.frameOf(carrier(512, -50, 512))), 206);
    QCOMPARE(session.ring().lastWriteIndex, 5000);
    QCOMPARE(session.ring().writeIndex, 5512);
}

void tst_FFTStream::frameShowsOlderSamplesWhereNoneHaveCome()
{
    Session session;
    session.stream.setDataRange(0, 512, 512, 512);
    session.write(carrier(512, 10, 512));
    session.write(carrier(512, 20, 512));
    session.write(carrier(512, 30, 512));
    QCOMPARE(strongest(session.frame()), 286);
    QCOMPARE(strongest(session.frame()), 276);
    QCOMPARE(strongest(session.frame()), 266);
    QCOMPARE(session.frame(), QVector<qint16>(512, 880)); // never written
    session.write(carrier(512, 40, 512));
    QCOMPARE(strongest(session.frame()), 296);
}

void tst_FFTStream::frameIsReadAcrossTheEndOfTheRing()
{
    const QVector<DoubleComplex> samples = noise(1024);
    Session session;
    session.stream.setDataRange(0, 1024, 1024, 1024);
    session.write(QVector<DoubleComplex>(kCapacity - 500));
    const QVector<qint16> across = session.frameOf(samples);
    QCOMPARE(session.ring().writeIndex, 524);
    QCOMPARE(session.ring().lastWriteIndex, kCapacity - 500);
    session.write(QVector<DoubleComplex>(1000));
    QCOMPARE(across, session.frameOf(samples));
}

void tst_FFTStream::silentDeviceIsSteppedThroughBackwards()
{
    Session session(true);
    session.stream.setDataRange(0, 100, 100, 32768);
    for (int i = 1; i <= 20; ++i) {
        QCOMPARE(session.frame(), QVector<qint16>(100, 880));
        QCOMPARE(session.ring().lastWriteIndex, (kCapacity - i * 32768) & (kCapacity - 1));
        QCOMPARE(session.ring().writeIndex, 0);
    }
}

void tst_FFTStream::indexStepsBackEvenIfNoPointIsWanted()
{
    Session session;
    session.stream.setDataRange(0, 0, 0, 1024);
    QCOMPARE(session.tick().size(), 0);
    QCOMPARE(session.ring().lastWriteIndex, kCapacity - 1024);
    for (const int fftSize : {0, -1, kMinimum}) {
        session.stream.setDataRange(0, 100, 100, fftSize);
        QCOMPARE(session.tick().size(), 0);
        QCOMPARE(session.ring().lastWriteIndex, kCapacity - 1024);
    }
}

void tst_FFTStream::withoutARangeThereAreNoFrames()
{
    Session session;
    session.write(noise(1024));
    QCOMPARE(session.tick().size(), 0);
    QCOMPARE(session.ring().lastWriteIndex, 1024);
}

void tst_FFTStream::emptyRangesSendNothing_data()
{
    QTest::addColumn<int>("startIndex");
    QTest::addColumn<int>("stopIndex");
    QTest::addColumn<int>("dataSize");
    QTest::newRow("no points") << 0 << 512 << 0;
    QTest::newRow("no bins") << 100 << 100 << 100;
    QTest::newRow("backwards") << 200 << 100 << 100;
}

void tst_FFTStream::emptyRangesSendNothing()
{
    QFETCH(const int, startIndex);
    QFETCH(const int, stopIndex);
    QFETCH(const int, dataSize);
    Session session;
    session.stream.setDataRange(startIndex, stopIndex, dataSize, 512);
    QCOMPARE(session.tick().size(), 0);
}

void tst_FFTStream::negativeDataSizeSendsNothingAndSizesNothing()
{
    Session session;
    for (const int dataSize : {-1, -252, -1000, kMinimum}) {
        session.stream.setDataRange(0, 512, dataSize, 512);
        QCOMPARE(session.tick().size(), 0);
    }
    session.stream.setDataRange(0, 512, 253, 512);
    QCOMPARE(session.frame().size(), 253);
}

void tst_FFTStream::sizeBelowOneStopsTheFramesUntilTheNext()
{
    Session session;
    for (const int fftSize : {0, -1, -512, kMinimum}) {
        session.stream.setDataRange(0, 512, 100, 512);
        QCOMPARE(session.frame().size(), 100);
        session.stream.setDataRange(0, 512, 100, fftSize);
        QCOMPARE(session.tick().size(), 0);
    }
}

void tst_FFTStream::sameSizeWithANewRangeIsNotSetAgain()
{
    Session session;
    session.stream.setDataRange(0, 512, 100, 512);
    QCOMPARE(m_log->texts(), QStringList(QStringLiteral("set fft size 512")));
    session.stream.setDataRange(10, 20, 50, 512);
    QCOMPARE(m_log->texts().size(), 1);
    QCOMPARE(session.frame().size(), 50);
    session.stream.setDataRange(10, 20, 50, 1024);
    QCOMPARE(m_log->texts(QtDebugMsg).last(), QStringLiteral("set fft size 1024"));
    QCOMPARE(m_log->texts().size(), 2);
}

void tst_FFTStream::everyPowerOfTwoFrom2To65536Works_data()
{
    QTest::addColumn<int>("fftSize");
    for (int fftSize = 2; fftSize <= 65536; fftSize *= 2) {
        QTest::addRow("%d", fftSize) << fftSize;
    }
}

void tst_FFTStream::everyPowerOfTwoFrom2To65536Works()
{
    QFETCH(const int, fftSize);
    Session session;
    session.stream.setDataRange(0, fftSize, 16, fftSize);
    const QVector<DoubleComplex> samples = noise(fftSize);
    const QByteArray text =
        difference(session.frameOf(samples), SpectrumReference(samples).frame(0, fftSize, 16));
    QVERIFY2(text.isEmpty(), text.constData());
}

void tst_FFTStream::otherSizesAreRefusedWholeAndTheStreamGoesOn_data()
{
    QTest::addColumn<int>("dataSize");
    QTest::addColumn<int>("fftSize");
    QTest::newRow("1 bin") << 100 << 1;
    QTest::newRow("3 bins") << 100 << 3;
    QTest::newRow("1000 bins") << 100 << 1000;
    QTest::newRow("65535 bins") << 100 << 65535;
    QTest::newRow("131072 bins") << 100 << 131072;
    QTest::newRow("2^30 bins") << 100 << (1 << 30);
    QTest::newRow("most bins") << 100 << kMaximum;
    QTest::newRow("65537 points") << 65537 << 512;
    QTest::newRow("most points") << kMaximum << 512;
    QTest::newRow("too many points of no bins") << 65537 << 0;
    QTest::newRow("too many bins for no points") << 0 << 131072;
}

void tst_FFTStream::otherSizesAreRefusedWholeAndTheStreamGoesOn()
{
    QFETCH(const int, dataSize);
    QFETCH(const int, fftSize);
    const QVector<DoubleComplex> samples = noise(512);
    Session session;
    session.stream.setDataRange(100, 200, 253, 512);
    session.write(samples);
    const QList<QByteArray> before = session.tick();
    m_log->clear();
    session.stream.setDataRange(0, 512, dataSize, fftSize);
    QCOMPARE(m_log->texts().size(), 1);
    const QString warning = m_log->texts(QtWarningMsg).value(0);
    QVERIFY(warning.startsWith(QLatin1String("[ W ][ Server/FFTStream ] setDataRange :")));
    QVERIFY(warning.contains(
        QStringLiteral("Error data range! Data size: %1, fft size: %2").arg(dataSize).arg(fftSize)));
    m_log->clear();
    session.write(samples);
    QCOMPARE(session.tick(), before);
}

void tst_FFTStream::refusalsAreLimitedTo50Lines()
{
    Session session;
    for (int i = 0; i < 500; ++i) {
        session.stream.setDataRange(0, 512, 100, 3);
    }
    // A second may pass meanwhile, and what it left out is told.
    QVERIFY(m_log->texts().size() <= 2 * 51);
    m_log->clear();
}

void tst_FFTStream::rangeAndEngineOutliveASession()
{
    const QVector<DoubleComplex> samples = noise(512);
    Session session;
    session.stream.setDataRange(0, 512, 300, 512);
    const QVector<qint16> before = session.frameOf(samples);
    session.stream.stop();

    AbstractRadioDevice next(QSharedPointer<InfoRadioDevice>::create(), nullptr);
    next.inBuffer()->write(samples.constData(), samples.size());
    session.stream.setDevice(&next);
    QCOMPARE(session.frame(), before);
    m_log->clear();
    session.stream.setDataRange(0, 512, 300, 512);
    QCOMPARE(m_log->texts(), QStringList());
    session.stream.stop();
}

void tst_FFTStream::withoutADeviceATickDoesNothing()
{
    const auto socket = QSharedPointer<Socket>::create();
    FFTStream stream(socket, true, nullptr);
    stream.setDataRange(0, 512, 100, 512);
    stream.onTimeout();
    QCOMPARE(socket->sentPackets(), 0U);
}

void tst_FFTStream::stopLeavesNoFurtherFrame()
{
    Session session;
    session.stream.setDataRange(0, 512, 100, 512);
    session.stream.start();
    QMetaObject::invokeMethod(&session.stream, "onTimeout", Qt::QueuedConnection);
    session.stream.stop();
    QVERIFY(!session.stream.findChild<QTimer*>()->isActive());
    QCoreApplication::processEvents();
    QCOMPARE(session.tick().size(), 0);
    QCOMPARE(session.ring().lastWriteIndex, 0);
}

void tst_FFTStream::runsByItselfEvery40MillisecondsOnceStarted()
{
    Session session;
    const auto* const timer = session.stream.findChild<QTimer*>();
    QCOMPARE(timer->interval(), 40);
    QCOMPARE(timer->timerType(), Qt::PreciseTimer);
    QVERIFY(!timer->isActive());
    session.stream.setDataRange(0, 512, 100, 512);
    session.stream.start();
    QTRY_VERIFY(session.socket->sentPackets() >= 6U); // three frames
}

constexpr int kLongFrame = 20'000; // points, in 79 datagrams of 252 and one of 92, behind the header
constexpr int kLongFrameDatagrams = 81;

bool isLongFrame(const QList<QByteArray>& datagrams)
{
    QVector<int> sizes;
    for (const QByteArray& datagram : datagrams) {
        sizes.append(valuesOf(datagram).size());
    }
    return sizes == QVector<int>{3} + QVector<int>(79, 252) + QVector<int>{92};
}

// What is still to come of a long frame after `datagrams`, and what comes with it.
QList<QByteArray> longFrame(Session& session, QList<QByteArray> datagrams)
{
    while (datagrams.size() < kLongFrameDatagrams) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        datagrams += session.receiver.take();
    }
    return datagrams;
}

// A turn in which the first datagrams of a long frame have come, and the rest has not.
QList<QByteArray> firstDatagrams(Session& session)
{
    session.stream.setDataRange(0, 512, kLongFrame, 512);
    session.stream.start();
    QList<QByteArray> datagrams;
    while (datagrams.isEmpty()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        datagrams = session.receiver.take();
    }
    return datagrams;
}

void tst_FFTStream::longFrameIsSentInSeveralTurnsOfTheEventLoop()
{
    Session session;
    QList<QByteArray> datagrams = firstDatagrams(session);
    QVERIFY(datagrams.size() <= 32);
    int longest = 0;
    while (datagrams.size() < kLongFrameDatagrams) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const QList<QByteArray> more = session.receiver.take();
        longest = std::max(longest, more.size());
        datagrams += more;
    }
    QVERIFY(longest <= 32);
    QVERIFY(isLongFrame(datagrams));
}

void tst_FFTStream::frameThatHasBegunIsSentWholeAfterStop()
{
    Session session;
    const QList<QByteArray> first = firstDatagrams(session);
    session.stream.stop();
    QVERIFY(isLongFrame(longFrame(session, first)));
    for (int i = 0; i < 20; ++i) {
        QCoreApplication::processEvents();
    }
    QCOMPARE(session.receiver.take().size(), 0);
    session.stream.setDevice(&session.device);
    QVERIFY(isLongFrame(longFrame(session, session.tick())));
}

void tst_FFTStream::frameThatHasBegunIsSentWholeToTheHostItWasBegunFor()
{
    Session session;
    const QList<QByteArray> first = firstDatagrams(session);
    DatagramReceiver next;
    AbstractRadioDevice device(QSharedPointer<InfoRadioDevice>::create(), nullptr);
    session.stream.setHost(QHostAddress::LocalHost, next.port());
    session.stream.setDevice(&device);
    QVERIFY(isLongFrame(longFrame(session, first)));
    QCOMPARE(next.take().size(), 0);
    session.stream.onTimeout();
    QVERIFY(valuesOf(next.take().value(0)).size() == 3);
    session.stream.stop();
}

void tst_FFTStream::newRangeAmidALongFrameComesAfterIt()
{
    Session session;
    const QVector<DoubleComplex> samples = noise(512);
    session.write(samples);
    const QList<QByteArray> first = firstDatagrams(session);
    session.stream.setDataRange(0, 256, 100, 256);
    QCOMPARE(session.receiver.take().size(), 0); // not all at once
    const QList<QByteArray> datagrams = longFrame(session, first);
    QVERIFY(isLongFrame(datagrams));
    // The present frame is of the old range to its end.
    QVector<qint16> points;
    for (const QByteArray& datagram : datagrams.mid(1)) {
        points += valuesOf(datagram);
    }
    const QVector<qint16> bins = SpectrumReference(samples).frame(0, 512, 512);
    QVector<qint16> expected;
    for (int i = 0; i < kLongFrame; ++i) {
        expected.append(bins[i * 512 / kLongFrame]);
    }
    const QByteArray text = difference(points, expected);
    QVERIFY2(text.isEmpty(), text.constData());
    const QList<QByteArray> next = session.tick();
    QCOMPARE(next.size(), 2);
    QCOMPARE(valuesOf(next.at(1)).size(), 100);
}

void tst_FFTStream::tickAmidALongFrameMakesNone()
{
    Session session;
    session.stream.setDataRange(0, 512, kLongFrame, 512);
    const QList<QByteArray> first = session.tick();
    QVERIFY(first.size() < kLongFrameDatagrams);
    const int index = session.ring().lastWriteIndex;
    QCOMPARE(session.tick().size(), 0);
    QCOMPARE(session.ring().lastWriteIndex, index);
    QVERIFY(isLongFrame(longFrame(session, first)));
    QCOMPARE(session.tick().size(), first.size());
}

void tst_FFTStream::dropsWhateverArrives()
{
    Session session;
    QVERIFY(session.socket->listen(0));
    session.stream.setDataRange(0, 512, 100, 512);
    QUdpSocket stranger;
    const QList<QByteArray> packets{
        QByteArray::fromHex("0400000000"),               // no points
        QByteArray::fromHex("04000000010001"),           // one
        QByteArray::fromHex("047fffffff"),               // a count without points
        QByteArray::fromHex("0500000000"),               // a compressed block of nothing
        QByteArray::fromHex("05ffffffff789c0300000001"), // one of 4 GB
        QByteArray(1, '\x05') + qCompress(sampleBlock(QVector<qint16>(252)), 9),
        QByteArray::fromHex("f400000000"), // the upper half of the type does not matter
    };
    for (const QByteArray& packet : packets) {
        stranger.writeDatagram(packet, QHostAddress::LocalHost, session.socket->localPort());
    }
    QTRY_COMPARE(session.socket->receivedPackets(), static_cast<quint64>(packets.size()));
    QCOMPARE(session.tick().size(), 2);
}

QTEST_GUILESS_MAIN(tst_FFTStream)
#include "tst_FFTStream.moc"
