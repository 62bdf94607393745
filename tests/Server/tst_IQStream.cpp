#include "IQSession.h"

#include "Core/Losses/Losses.h"
#include "Network/Socket/IQSocket.h"

#include <QUdpSocket>
#include <QtTest>
#include <limits>

class tst_IQStream : public QObject
{
    Q_OBJECT

private slots:
    void sends128WaitingSamplesAndNotOneFewer();
    void datagramIsTypeCountAnd256ValuesRealPartFirst();
    void tickDrainsRingAndLeavesRest();
    void blockAcrossEndOfRingIsInOrder();
    void streamGoesOnOverEndOfRing();
    void convertsByTruncationAndWrapsBeyond16Bits_data();
    void convertsByTruncationAndWrapsBeyond16Bits();
    void compressedDatagramsHoldSameBlock();
    void withoutCompressionEveryDatagramIsPlain();
    void overrunReaderReadsOnWhereItStands();
    void samplesOverrunInRingAreCounted();
    void ringThatIsResizedIsReadOnInOrder();
    void newDeviceIsReadFromIndexZero();
    void hostMayChangeBetweenTicks();
    void withoutDeviceTickDoesNothing();
    void dropsWhateverArrives();
    void takesNoPacketsOnceGone();
};

void tst_IQStream::sends128WaitingSamplesAndNotOneFewer()
{
    Session session;
    QCOMPARE(session.tick().size(), 0);
    session.write(ramp(0, kBlock - 1));
    QCOMPARE(session.tick().size(), 0);
    session.write(ramp(kBlock - 1, 1));
    QCOMPARE(session.tick().size(), 1);
    QCOMPARE(session.tick().size(), 0);
}

void tst_IQStream::datagramIsTypeCountAnd256ValuesRealPartFirst()
{
    Session session;
    QVector<DoubleComplex> samples(kBlock);
    samples[0] = {1 / 32768.0, -2 / 32768.0};
    samples[1] = {0.5, 0.25};
    samples[kBlock - 1] = {-0.5, 258 / 32768.0};
    session.write(samples);
    QByteArray expected(1 + 4 + 512, '\0');
    expected.replace(0, 5,
                     QByteArray::fromHex("02"
                                         "00000100")); // plain IQ, 256 values
    expected.replace(5, 8,
                     QByteArray::fromHex("0001"
                                         "fffe"
                                         "4000"
                                         "2000"));
    expected.replace(513, 4,
                     QByteArray::fromHex("c000"
                                         "0102"));
    QCOMPARE(session.tick(), QList<QByteArray>{expected});
}

void tst_IQStream::tickDrainsRingAndLeavesRest()
{
    Session session;
    session.write(ramp(0, 2800));
    QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 21); // 2688 samples; 112 stay
    session.write(ramp(2800, 16));
    datagrams += session.tick();
    QCOMPARE(datagrams.size(), 22);
    QVector<qint16> values;
    for (const QByteArray& datagram : qAsConst(datagrams)) {
        values += valuesOf(datagram);
    }
    QCOMPARE(values, rampValues(0, 2816));
}

void tst_IQStream::blockAcrossEndOfRingIsInOrder()
{
    const auto ring = QSharedPointer<RingBuffer<DoubleComplex>>::create(1024);
    const QVector<DoubleComplex> samples = ramp(1, 1023 + kBlock);
    ring->write(samples.constData(), samples.size());
    IQStream::Reader reader{1023, ring};
    QVector<DoubleComplex> block(kBlock);
    QVERIFY(reader.read(block.data(), kBlock));
    for (int i = 0; i < kBlock; ++i) {
        QCOMPARE(block[i].re, (1024 + i) / 32768.0);
        QCOMPARE(block[i].im, -(1024 + i) / 32768.0);
    }
    QCOMPARE(reader.readIndex, kBlock - 1);
    QVERIFY(!reader.read(block.data(), kBlock));
    QCOMPARE(reader.readIndex, kBlock - 1);
}

void tst_IQStream::streamGoesOnOverEndOfRing()
{
    Session session;
    constexpr int kStep = 160; // no divisor of the capacity
    QVector<qint16> values;
    int written = 0;
    while (written < kCapacity + 1024) {
        session.write(ramp(written, kStep));
        written += kStep;
        const QList<QByteArray> datagrams = session.tick();
        for (const QByteArray& datagram : datagrams) {
            values += valuesOf(datagram);
        }
    }
    QCOMPARE(values.size(), 2 * (written - written % kBlock));
    QCOMPARE(values, rampValues(0, written - written % kBlock));
}

void tst_IQStream::convertsByTruncationAndWrapsBeyond16Bits_data()
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    QTest::addColumn<double>("sample");
    QTest::addColumn<int>("value");
    QTest::newRow("0") << 0.0 << 0;
    QTest::newRow("1.0 wraps to the lowest") << 1.0 << -32768;
    QTest::newRow("-1.0 is the lowest") << -1.0 << -32768;
    QTest::newRow("0.99999 truncates") << 0.99999 << 32767;
    QTest::newRow("-0.99999 truncates toward zero") << -0.99999 << -32767;
    QTest::newRow("nearly one count") << 0.999 / 32768 << 0;
    QTest::newRow("nearly minus one count") << -0.999 / 32768 << 0;
    QTest::newRow("1.5") << 1.5 << -16384;
    QTest::newRow("-1.5") << -1.5 << 16384;
    QTest::newRow("2.0") << 2.0 << 0;
    QTest::newRow("beyond 32 bits") << 70000.25 << 8192;
    QTest::newRow("largest of 64 bits") << 281474976710655.0 << -32768;
    QTest::newRow("beyond 64 bits") << 1e300 << 0;
    QTest::newRow("2^63") << 281474976710656.0 << 0;
    QTest::newRow("-2^63") << -281474976710656.0 << 0;
    QTest::newRow("infinite") << kInfinity << 0;
    QTest::newRow("minus infinite") << -kInfinity << 0;
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 0;
}

void tst_IQStream::convertsByTruncationAndWrapsBeyond16Bits()
{
    QFETCH(const double, sample);
    QFETCH(const int, value);
    Session session;
    session.write(QVector<DoubleComplex>(kBlock, {sample, sample}));
    const QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 1);
    QCOMPARE(valuesOf(datagrams.first()), QVector<qint16>(2 * kBlock, static_cast<qint16>(value)));
}

void tst_IQStream::compressedDatagramsHoldSameBlock()
{
    Session session(true);
    session.write(ramp(1000, 2 * kBlock));
    const QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 2);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(datagrams[i].at(0), '\x03');
        QCOMPARE(qUncompress(datagrams[i].mid(1)), sampleBlock(rampValues(1000 + i * kBlock, kBlock)));
    }
}

void tst_IQStream::withoutCompressionEveryDatagramIsPlain()
{
    Session session(false);
    session.write(QVector<DoubleComplex>(16 * kBlock)); // zeros would compress well
    const QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 16);
    for (const QByteArray& datagram : datagrams) {
        QCOMPARE(datagram, QByteArray(1, '\x02') + sampleBlock(QVector<qint16>(2 * kBlock)));
    }
}

void tst_IQStream::overrunReaderReadsOnWhereItStands()
{
    Session session;
    session.write(ramp(0, kBlock));
    QCOMPARE(session.tick().size(), 1);
    // A whole turn and 200 samples late: what seems to wait are 200, and those are the newest.
    session.write(ramp(0, kCapacity));
    session.write(ramp(5000, 200));
    const QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 1);
    QCOMPARE(valuesOf(datagrams.first()), rampValues(5000, kBlock));
}

void tst_IQStream::samplesOverrunInRingAreCounted()
{
    Session session;
    const qint64 before = Losses::process().total(Losses::Cause::OutRing);
    // Also before the first tick.
    session.write(ramp(0, kCapacity));
    session.write(ramp(0, kCapacity));
    session.write(ramp(5000, 200));
    QCOMPARE(session.tick().size(), 1);
    QCOMPARE(Losses::process().total(Losses::Cause::OutRing) - before, 2 * kCapacity);
    session.write(ramp(0, kCapacity - 100));
    session.tick();
    QCOMPARE(Losses::process().total(Losses::Cause::OutRing) - before, 2 * kCapacity);
    session.stream.stop();
    session.stream.setDevice(&session.device);
    session.tick();
    QCOMPARE(Losses::process().total(Losses::Cause::OutRing) - before, 2 * kCapacity);
}

void tst_IQStream::ringThatIsResizedIsReadOnInOrder()
{
    Session session;
    for (int block = 0; block < kCapacity / kBlock - 1; ++block) {
        session.write(ramp(0, kBlock));
        session.tick();
    }
    session.write(ramp(1000, 2 * kBlock)); // around the end
    {
        RingBuffer<DoubleComplex>& ring = *session.device.outBuffer();
        const QMutexLocker lock(&ring.mutex);
        ring.resize(2 * kCapacity);
    }
    session.write(ramp(1000 + 2 * kBlock, kBlock));
    const QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(valuesOf(datagrams.at(i)), rampValues(1000 + i * kBlock, kBlock));
    }
}

void tst_IQStream::newDeviceIsReadFromIndexZero()
{
    Session session;
    session.write(ramp(0, 3 * kBlock));
    QCOMPARE(session.tick().size(), 3);
    session.stream.stop();
    session.stream.setDevice(&session.device);
    const QList<QByteArray> datagrams = session.tick();
    QCOMPARE(datagrams.size(), 3);
    QCOMPARE(valuesOf(datagrams.first()), rampValues(0, kBlock));
}

void tst_IQStream::hostMayChangeBetweenTicks()
{
    Session session;
    DatagramReceiver other;
    session.write(ramp(0, kBlock));
    session.stream.setHost(QHostAddress::LocalHost, other.port());
    QCOMPARE(session.tick().size(), 0);
    QCOMPARE(other.take().size(), 1);
}

void tst_IQStream::withoutDeviceTickDoesNothing()
{
    const auto socket = QSharedPointer<Socket>::create();
    IQStream stream(socket, true, nullptr);
    stream.onTimeout();
    QCOMPARE(socket->sentPackets(), 0U);
}

void tst_IQStream::dropsWhateverArrives()
{
    Session session;
    QVERIFY(session.socket->listen(0));
    QUdpSocket stranger;
    const QList<QByteArray> packets{
        QByteArray::fromHex("0200000000"),               // no samples
        QByteArray::fromHex("02000000010001"),           // one
        QByteArray::fromHex("027fffffff"),               // a count without samples
        QByteArray::fromHex("0300000000"),               // a compressed block of nothing
        QByteArray::fromHex("03ffffffff789c0300000001"), // one of 4 GB
        QByteArray(1, '\x03') + qCompress(sampleBlock(rampValues(0, kBlock)), 9),
        QByteArray::fromHex("f200000000"), // the upper half of the type does not matter
    };
    for (const QByteArray& packet : packets) {
        stranger.writeDatagram(packet, QHostAddress::LocalHost, session.socket->localPort());
    }
    QTRY_COMPARE(session.socket->receivedPackets(), static_cast<quint64>(packets.size()));
    session.write(ramp(0, kBlock));
    QCOMPARE(session.tick().size(), 1);
}

void tst_IQStream::takesNoPacketsOnceGone()
{
    const auto socket = QSharedPointer<Socket>::create();
    QVERIFY(socket->listen(0));
    delete new IQStream(socket, true, nullptr);
    const auto witness = QSharedPointer<IQSocket>::create(socket);
    int seen = 0;
    witness->setCallback([&seen](const QVector<qint16>& /*samples*/) { ++seen; });
    socket->addSocket(witness);
    QUdpSocket stranger;
    stranger.writeDatagram(QByteArray::fromHex("0200000000"), QHostAddress::LocalHost, socket->localPort());
    QTRY_COMPARE(seen, 1);
    socket->removeSocket(witness);
}

QTEST_GUILESS_MAIN(tst_IQStream)

#include "tst_IQStream.moc"
