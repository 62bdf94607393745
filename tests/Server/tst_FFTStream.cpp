#include "FFTStreamTest.h"

#include <QTimer>
#include <QtTest>
#include <limits>

namespace
{

constexpr int kCapacity = 262144;

} // namespace

class tst_FFTStream : public FFTStreamTest
{
    Q_OBJECT

private slots:
    void frameIsHeaderThenDatagramsOf252Points_data();
    void frameIsHeaderThenDatagramsOf252Points();
    void headerHoldsMarkerAndLow16BitsOfDataSize_data();
    void headerHoldsMarkerAndLow16BitsOfDataSize();
    void largestFrameIs262Datagrams();
    void onlyDatagramsAbove256BytesAreCompressed();
    void withoutCompressionEveryDatagramIsPlain();
    void frameEndsAtNewestSample();
    void frameShowsOlderSamplesWhereNoneHaveCome();
    void frameIsReadAcrossEndOfRing();
    void silentDeviceIsSteppedThroughBackwards();
    void indexStepsBackEvenIfNoPointIsWanted();
    void rangeAndEngineOutliveSession();
    void withoutDeviceTickDoesNothing();
    void stopLeavesNoFurtherFrame();
    void runsByItselfEvery40MillisecondsOnceStarted();
    void dropsWhateverArrives();
};

void tst_FFTStream::frameIsHeaderThenDatagramsOf252Points_data()
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

void tst_FFTStream::frameIsHeaderThenDatagramsOf252Points()
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

void tst_FFTStream::headerHoldsMarkerAndLow16BitsOfDataSize_data()
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

void tst_FFTStream::headerHoldsMarkerAndLow16BitsOfDataSize()
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

void tst_FFTStream::frameEndsAtNewestSample()
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

void tst_FFTStream::frameIsReadAcrossEndOfRing()
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
    for (const int fftSize : {0, -1, std::numeric_limits<int>::min()}) {
        session.stream.setDataRange(0, 100, 100, fftSize);
        QCOMPARE(session.tick().size(), 0);
        QCOMPARE(session.ring().lastWriteIndex, kCapacity - 1024);
    }
}

void tst_FFTStream::rangeAndEngineOutliveSession()
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

void tst_FFTStream::withoutDeviceTickDoesNothing()
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
