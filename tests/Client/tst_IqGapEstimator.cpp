#include "Client/IqGapEstimator.h"

#include <QtTest>
#include <functional>
#include <random>

class tst_IqGapEstimator : public QObject
{
    Q_OBJECT

private slots:
    void streamInTimeMissesNothing_data();
    void streamInTimeMissesNothing();
    void outageIsMissedWhole_data();
    void outageIsMissedWhole();
    void whatIsOnlyLateIsNotMissing();
    void datagramsLostHereAndThereAddUp();
    void anotherRateBeginsAnew();
    void sameRateChangesNothing();
    void withoutRateNothingIsEstimated();
    void anyRateAndAnyClockGiveNumber();
};

namespace
{

constexpr int kBlock = 128; // samples
constexpr int kPeriod = 28; // ms, of the server's ticks

/// A server that sends what its source has made, in whole blocks, every 28 ms; with up to `jitter` ms on the
/// way. `passes` tells which blocks arrive.
struct Stream
{
    double rate = 48'000;
    double pace = 1.0; // of the server's clock against ours
    int jitter = 8;    // ms
    std::mt19937 random{7};
    qint64 now = 1000; // ms
    qint64 sent = 0;   // blocks
    qint64 lost = 0;   // samples

    qint64 run(
        IqGapEstimator& estimator, qint64 milliseconds,
        const std::function<bool(Stream&)>& passes = [](Stream&) { return true; })
    {
        qint64 missing = 0;
        const qint64 end = now + milliseconds;
        for (; now < end; now += kPeriod) {
            const qint64 late = now + static_cast<qint64>(random() % static_cast<unsigned>(jitter + 1));
            const auto made = static_cast<qint64>(static_cast<double>(now) * pace * rate / 1000.0);
            for (; (sent + 1) * kBlock <= made; ++sent) {
                if (passes(*this)) {
                    missing += estimator.add(late, kBlock);
                } else {
                    lost += kBlock;
                }
            }
        }
        return missing;
    }
};

} // namespace

void tst_IqGapEstimator::streamInTimeMissesNothing_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<double>("pace");
    for (const double rate : {12'000.0, 48'000.0, 93'750.0, 1'000'000.0}) {
        for (const double pace : {1.0, 1.0001, 0.9999, 0.9998}) {
            QTest::addRow("%g Hz, pace %g", rate, pace) << rate << pace;
        }
    }
}

void tst_IqGapEstimator::streamInTimeMissesNothing()
{
    QFETCH(double, rate);
    QFETCH(double, pace);
    IqGapEstimator estimator;
    estimator.setSampleRate(rate);
    Stream stream;
    stream.rate = rate;
    stream.pace = pace;
    stream.sent = static_cast<qint64>(static_cast<double>(stream.now) * pace * rate / 1000.0) / kBlock;
    QCOMPARE(stream.run(estimator, 600'000), 0); // ten minutes
}

void tst_IqGapEstimator::outageIsMissedWhole_data()
{
    QTest::addColumn<int>("outage"); // ms
    QTest::newRow("100 ms") << 100;
    QTest::newRow("3 s") << 3000;
    QTest::newRow("30 s") << 30'000;
}

void tst_IqGapEstimator::outageIsMissedWhole()
{
    QFETCH(int, outage);
    IqGapEstimator estimator;
    estimator.setSampleRate(48'000);
    Stream stream;
    stream.sent = 48 * stream.now / kBlock;
    QCOMPARE(stream.run(estimator, 10'000), 0);
    qint64 missing = stream.run(estimator, outage, [](Stream&) { return false; });
    missing += stream.run(estimator, 10'000);
    QVERIFY2(qAbs(missing - stream.lost) <= 48 * 50, qPrintable(QString::number(missing - stream.lost)));
    QCOMPARE(stream.run(estimator, 60'000), 0);
}

void tst_IqGapEstimator::whatIsOnlyLateIsNotMissing()
{
    IqGapEstimator estimator;
    estimator.setSampleRate(48'000);
    Stream stream;
    stream.sent = 48 * stream.now / kBlock;
    QCOMPARE(stream.run(estimator, 5000), 0);
    stream.now += 4000; // nothing is read for 4 s; then all that has waited comes at once
    QCOMPARE(stream.run(estimator, 30'000), 0);
}

void tst_IqGapEstimator::datagramsLostHereAndThereAddUp()
{
    IqGapEstimator estimator;
    estimator.setSampleRate(48'000);
    Stream stream;
    stream.sent = 48 * stream.now / kBlock;
    QCOMPARE(stream.run(estimator, 5000), 0);
    const qint64 missing =
        stream.run(estimator, 60'000, [](Stream& s) { return s.random() % 50 != 0; }); // 2 %
    QVERIFY(stream.lost > 48 * 1000);
    QVERIFY2(qAbs(missing - stream.lost) <= 48 * 120, qPrintable(QString::number(missing - stream.lost)));
}

void tst_IqGapEstimator::anotherRateBeginsAnew()
{
    IqGapEstimator estimator;
    estimator.setSampleRate(48'000);
    Stream stream;
    stream.sent = 48 * stream.now / kBlock;
    stream.run(estimator, 3000);
    estimator.setSampleRate(96'000);
    stream.rate = 96'000;
    stream.sent = 96 * stream.now / kBlock;
    QCOMPARE(stream.run(estimator, 10'000), 0);
}

void tst_IqGapEstimator::sameRateChangesNothing()
{
    IqGapEstimator estimator;
    estimator.setSampleRate(48'000);
    Stream stream;
    stream.sent = 48 * stream.now / kBlock;
    stream.run(estimator, 3000);
    stream.run(estimator, 500, [](Stream&) { return false; });
    estimator.setSampleRate(48'000);
    QVERIFY(stream.run(estimator, 3000) > 48 * 400);
}

void tst_IqGapEstimator::withoutRateNothingIsEstimated()
{
    IqGapEstimator estimator;
    Stream stream;
    stream.sent = 48 * stream.now / kBlock;
    stream.run(estimator, 3000);
    stream.run(estimator, 3000, [](Stream&) { return false; });
    QCOMPARE(stream.run(estimator, 3000), 0);
}

void tst_IqGapEstimator::anyRateAndAnyClockGiveNumber()
{
    for (const double rate : {1e-3, 1.0, 1e9}) {
        IqGapEstimator estimator;
        estimator.setSampleRate(rate);
        for (const qint64 now : {0LL, 0LL, 5000LL, 5001LL, 1'000'000'000'000LL, 1'000'000'002'000LL}) {
            QVERIFY(estimator.add(now, 1) >= 0);
        }
    }
}

QTEST_APPLESS_MAIN(tst_IqGapEstimator)
#include "tst_IqGapEstimator.moc"
