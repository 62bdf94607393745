#include "Client/IqReceiver.h"

#include "support/LogCapture.h"

#include <QtTest>
#include <random>

class tst_IqReceiver : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void wiresOrderIsTurnedIFirst();
    void positionsRunOn();
    void blockKnowsRateAsItIsToldByThen();
    void whatIsNoWholeBlockIsCountedAndWarnedOfOnce_data();
    void whatIsNoWholeBlockIsCountedAndWarnedOfOnce();
    void outageIsReportedInBlockAndTotal();
    void interruptionIsMissingUntilNextBlock();
    void resetForgets();

private:
    void send(int blocks, int periodMs);

    qint64 m_now = 0;
    std::unique_ptr<IqReceiver> m_receiver;
    QVector<IqBlock> m_blocks;
};

void tst_IqReceiver::init()
{
    m_now = 0;
    m_blocks.clear();
    m_receiver = std::make_unique<IqReceiver>(nullptr, [this] { return m_now; });
    connect(m_receiver.get(), &IqReceiver::blockReceived, this,
            [this](const IqBlock& block) { m_blocks.append(block); });
}

void tst_IqReceiver::send(int blocks, int periodMs)
{
    for (int i = 0; i < blocks; ++i) {
        m_receiver->receive(QVector<qint16>(256));
        m_now += periodMs;
    }
}

void tst_IqReceiver::wiresOrderIsTurnedIFirst()
{
    m_receiver->receive({1, 2, -32768, 32767});
    QCOMPARE(m_blocks.size(), 1);
    QCOMPARE(m_blocks.first().samples.size(), 2);
    QCOMPARE(m_blocks.first().samples.at(0).q, qint16(1)); // real part
    QCOMPARE(m_blocks.first().samples.at(0).i, qint16(2)); // imaginary part
    QCOMPARE(m_blocks.first().samples.at(1).q, qint16(-32768));
    QCOMPARE(m_blocks.first().samples.at(1).i, qint16(32767));
    QVERIFY(qAbs(m_blocks.first().time - QDateTime::currentMSecsSinceEpoch()) < 60'000);
}

void tst_IqReceiver::positionsRunOn()
{
    send(3, 1);
    QCOMPARE(m_blocks.at(0).position, 0);
    QCOMPARE(m_blocks.at(1).position, 128);
    QCOMPARE(m_blocks.at(2).position, 256);
    QCOMPARE(m_receiver->receivedSamples(), 384);
    QCOMPARE(m_receiver->missingSamples(), 0);
}

void tst_IqReceiver::blockKnowsRateAsItIsToldByThen()
{
    send(1, 1);
    m_receiver->setSampleRate(48'000);
    send(1, 1);
    QCOMPARE(m_blocks.at(0).sampleRate, 0.0);
    QCOMPARE(m_blocks.at(1).sampleRate, 48'000.0);
    QCOMPARE(m_receiver->sampleRate(), 48'000.0);
}

void tst_IqReceiver::whatIsNoWholeBlockIsCountedAndWarnedOfOnce_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("damaged") << 0;
    QTest::newRow("odd") << 255;
    QTest::newRow("more than a datagram holds") << 32'770;
}

void tst_IqReceiver::whatIsNoWholeBlockIsCountedAndWarnedOfOnce()
{
    QFETCH(int, size);
    const LogCapture log;
    for (int i = 0; i < 3; ++i) {
        m_receiver->receive(QVector<qint16>(size));
    }
    QCOMPARE(m_receiver->damagedDatagrams(), 3);
    QCOMPARE(m_receiver->receivedSamples(), 0);
    QVERIFY(m_blocks.isEmpty());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts().first().endsWith(QStringLiteral("=>\t The server sends damaged IQ")));
}

// 128 samples in 4 ms are 32 kHz.
void tst_IqReceiver::outageIsReportedInBlockAndTotal()
{
    m_receiver->setSampleRate(32'000);
    send(1000, 4);
    m_now += 2000;
    send(1000, 4);
    QVERIFY(qAbs(m_receiver->missingSamples() - 64'000) <= 32 * 50);
    qint64 missing = 0;
    qint64 next = 0;
    for (const IqBlock& block : qAsConst(m_blocks)) {
        missing += block.missing;
        QCOMPARE(block.position, next + block.missing);
        next = block.position + block.samples.size();
    }
    QCOMPARE(missing, m_receiver->missingSamples());
}

void tst_IqReceiver::interruptionIsMissingUntilNextBlock()
{
    m_receiver->setSampleRate(32'000);
    send(1000, 4);
    m_receiver->interrupt();
    m_receiver->interrupt();
    m_now += 29'996;                   // and the 4 ms after the last block
    m_receiver->setSampleRate(48'000); // the server's own, before it has heard what is wanted
    m_receiver->setSampleRate(32'000);
    send(1000, 4);
    QCOMPARE(m_blocks.at(1000).missing, 960'000);
    QCOMPARE(m_receiver->missingSamples(), 960'000);
}

void tst_IqReceiver::resetForgets()
{
    const LogCapture log;
    m_receiver->setSampleRate(32'000);
    send(10, 4);
    m_receiver->receive({});
    m_receiver->interrupt();
    m_receiver->reset();
    QCOMPARE(m_receiver->receivedSamples() + m_receiver->missingSamples() + m_receiver->damagedDatagrams(),
             0);
    QCOMPARE(m_receiver->sampleRate(), 0.0);
    m_now += 10'000;
    send(1, 4);
    QCOMPARE(m_blocks.last().position, 0);
    QCOMPARE(m_receiver->missingSamples(), 0);
}

QTEST_APPLESS_MAIN(tst_IqReceiver)
#include "tst_IqReceiver.moc"
