#include "Client/IqQueue.h"
#include "Receiving/IqPump.h"

#include <QtTest>
#include <atomic>
#include <mutex>

namespace
{

// What a sink was given, for a test to look at.
struct Record
{
    std::mutex mutex;
    QVector<qint16> values; // the I of each sample
    qint64 missing = 0;
    int finishes = 0;
    std::atomic<int> flushes{0};
    std::atomic<int> outcome{static_cast<int>(IqSink::Outcome::Going)}; // of the next write
};

class RecordingSink : public IqSink
{
public:
    explicit RecordingSink(Record& record)
        : m_record(record)
    {
    }
    Outcome write(const IqBlock& block) override
    {
        const std::lock_guard lock(m_record.mutex);
        for (const IqSample& sample : block.samples) {
            m_record.values.append(sample.i);
        }
        m_record.missing += block.missing;
        return static_cast<Outcome>(m_record.outcome.load());
    }
    Outcome flush() override
    {
        ++m_record.flushes;
        return Outcome::Going;
    }
    Outcome finish() override
    {
        const std::lock_guard lock(m_record.mutex);
        ++m_record.finishes;
        return Outcome::Going;
    }
    qint64 size() const override { return 4 * m_record.values.size(); }
    QString errorString() const override { return QStringLiteral("an error"); }

private:
    Record& m_record;
};

/// How a pump has ended; QSignalSpy would write it down on the pump's thread.
struct Ended
{
    explicit Ended(IqPump& pump)
    {
        QObject::connect(&pump, &IqPump::ended, &pump,
                         [this](IqSink::Outcome outcome) { outcomes.append(outcome); });
    }
    QVector<IqSink::Outcome> outcomes;
};

IqBlock block(int first, int count, double rate = 1'000)
{
    IqBlock made;
    for (int n = 0; n < count; ++n) {
        made.samples.append({static_cast<qint16>(first + n), 0});
    }
    made.sampleRate = rate;
    return made;
}

QVector<qint16> ramp(int count)
{
    QVector<qint16> values;
    for (int n = 0; n < count; ++n) {
        values.append(static_cast<qint16>(n));
    }
    return values;
}

} // namespace

class tst_IqPump : public QObject
{
    Q_OBJECT

private slots:
    void samplesArriveInOrderAndWhole();
    void itEndsAtSampleThatTimeAsksFor();
    void missingSamplesCountAsTime();
    void whatQueueDroppedIsMissing();
    void anotherRateIsLeftOut();
    void outcomeOfSinkEndsIt_data();
    void outcomeOfSinkEndsIt();
    void quietStreamIsFlushed();
    void destructionWaitsForEnd();
};

void tst_IqPump::samplesArriveInOrderAndWhole()
{
    Record record;
    IqQueue queue(10'000);
    IqPump pump(queue, std::make_unique<RecordingSink>(record), 1'000, 0);
    const Ended ended(pump);
    pump.start();
    for (int n = 0; n < 3'000; n += 100) {
        queue.push(block(n, 100));
    }
    pump.stop();
    QTRY_COMPARE(ended.outcomes.size(), 1);
    QCOMPARE(record.values, ramp(3'000));
    QCOMPARE(record.finishes, 1);
    QCOMPARE(pump.samples(), qint64(3'000));
    QCOMPARE(pump.bytes(), qint64(12'000));
    QCOMPARE(pump.missing(), qint64(0));
}

void tst_IqPump::itEndsAtSampleThatTimeAsksFor()
{
    Record record;
    IqQueue queue(10'000);
    IqPump pump(queue, std::make_unique<RecordingSink>(record), 1'000, 0.25);
    const Ended ended(pump);
    pump.start();
    for (int n = 0; n < 1'000; n += 100) {
        queue.push(block(n, 100));
    }
    QTRY_COMPARE(ended.outcomes.size(), 1);
    QCOMPARE(ended.outcomes[0], IqSink::Outcome::Going);
    QCOMPARE(record.values, ramp(250));
}

void tst_IqPump::missingSamplesCountAsTime()
{
    Record record;
    IqQueue queue(10'000);
    IqPump pump(queue, std::make_unique<RecordingSink>(record), 1'000, 0.25);
    const Ended ended(pump);
    pump.start();
    IqBlock first = block(0, 100);
    first.missing = 90;
    queue.push(first);
    queue.push(block(100, 100));
    QTRY_COMPARE(ended.outcomes.size(), 1);
    QCOMPARE(record.values, ramp(160));
    QCOMPARE(pump.missing(), qint64(90));
    QCOMPARE(record.missing, qint64(90));
}

void tst_IqPump::whatQueueDroppedIsMissing()
{
    Record record;
    IqQueue queue(200);
    for (int n = 0; n < 500; n += 100) {
        queue.push(block(n, 100));
    }
    IqPump pump(queue, std::make_unique<RecordingSink>(record), 1'000, 0);
    const Ended ended(pump);
    pump.start();
    pump.stop();
    QTRY_COMPARE(ended.outcomes.size(), 1);
    QCOMPARE(pump.missing(), qint64(300));
    QCOMPARE(record.missing, qint64(300));
    QCOMPARE(record.values.value(0), qint16(300));
}

// After a session has come back, the first blocks may still be at the server's own rate.
void tst_IqPump::anotherRateIsLeftOut()
{
    Record record;
    IqQueue queue(10'000);
    IqPump pump(queue, std::make_unique<RecordingSink>(record), 1'000, 0);
    const Ended ended(pump);
    pump.start();
    queue.push(block(0, 50));
    IqBlock other = block(5'000, 100, 2'000);
    other.missing = 70;
    queue.push(other);
    queue.push(block(0, 100, 0));
    queue.push(block(50, 50));
    pump.stop();
    QTRY_COMPARE(ended.outcomes.size(), 1);
    QCOMPARE(record.values, ramp(100));
    QCOMPARE(record.missing, qint64(70));
}

void tst_IqPump::outcomeOfSinkEndsIt_data()
{
    QTest::addColumn<int>("outcome");
    QTest::newRow("full") << static_cast<int>(IqSink::Outcome::Full);
    QTest::newRow("nobody reads") << static_cast<int>(IqSink::Outcome::ReaderGone);
    QTest::newRow("failed") << static_cast<int>(IqSink::Outcome::Failed);
}

void tst_IqPump::outcomeOfSinkEndsIt()
{
    QFETCH(int, outcome);
    Record record;
    record.outcome = outcome;
    IqQueue queue(10'000);
    IqPump pump(queue, std::make_unique<RecordingSink>(record), 1'000, 0);
    const Ended ended(pump);
    pump.start();
    queue.push(block(0, 10));
    QTRY_COMPARE(ended.outcomes.size(), 1);
    QCOMPARE(static_cast<int>(ended.outcomes[0]), outcome);
    QCOMPARE(record.finishes, 1);
}

void tst_IqPump::quietStreamIsFlushed()
{
    Record record;
    IqQueue queue(10'000);
    IqPump pump(queue, std::make_unique<RecordingSink>(record), 1'000, 0);
    pump.start();
    queue.push(block(0, 10));
    QTRY_VERIFY(record.flushes > 0);
}

void tst_IqPump::destructionWaitsForEnd()
{
    Record record;
    IqQueue queue(10'000);
    {
        IqPump pump(queue, std::make_unique<RecordingSink>(record), 1'000, 0);
        pump.start();
        queue.push(block(0, 10));
    }
    QCOMPARE(record.finishes, 1);
    QCOMPARE(record.values, ramp(10));
}

QTEST_GUILESS_MAIN(tst_IqPump)
#include "tst_IqPump.moc"
