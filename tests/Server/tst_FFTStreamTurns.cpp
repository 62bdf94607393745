#include "FFTStreamTest.h"
#include "SpectrumReference.h"

#include <QtTest>
#include <algorithm>

namespace
{

constexpr int kLongFrame = 20'000; // points, in 79 datagrams of 252 and one of 92, after the header
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

} // namespace

class tst_FFTStreamTurns : public FFTStreamTest
{
    Q_OBJECT

private slots:
    void longFrameIsSentInSeveralTurnsOfEventLoop();
    void frameThatHasBegunIsSentWholeAfterStop();
    void frameThatHasBegunIsSentWholeToHostItWasBegunFor();
    void newRangeAmidLongFrameComesAfterIt();
    void tickAmidLongFrameMakesNone();
};

void tst_FFTStreamTurns::longFrameIsSentInSeveralTurnsOfEventLoop()
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

void tst_FFTStreamTurns::frameThatHasBegunIsSentWholeAfterStop()
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

void tst_FFTStreamTurns::frameThatHasBegunIsSentWholeToHostItWasBegunFor()
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

void tst_FFTStreamTurns::newRangeAmidLongFrameComesAfterIt()
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

void tst_FFTStreamTurns::tickAmidLongFrameMakesNone()
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

QTEST_GUILESS_MAIN(tst_FFTStreamTurns)

#include "tst_FFTStreamTurns.moc"
