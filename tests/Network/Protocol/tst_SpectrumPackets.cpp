#include "Network/Protocol/SpectrumPackets.h"

#include "support/AllocationCounter.h"

#include <QtTest>

class tst_SpectrumPackets : public QObject
{
    Q_OBJECT

private slots:
    void headerHoldsLowBitsOfCount_data();
    void headerHoldsLowBitsOfCount();
    void headerWrittenAgainTakesNothingFromHeap();
    void whatIsNoHeaderIsNone_data();
    void whatIsNoHeaderIsNone();
    void packetHolds252PointsOrRest();
};

void tst_SpectrumPackets::headerHoldsLowBitsOfCount_data()
{
    QTest::addColumn<int>("points");
    QTest::addColumn<qint16>("written");
    QTest::addColumn<int>("read");
    QTest::newRow("one") << 1 << qint16(1) << 1;
    QTest::newRow("largest positive") << 32767 << qint16(32767) << 32767;
    QTest::newRow("negative on the wire") << 32768 << qint16(-32768) << 32768;
    QTest::newRow("all bits") << 65535 << qint16(-1) << 65535;
    QTest::newRow("one bit too many") << 65536 << qint16(0) << 0;
}

void tst_SpectrumPackets::headerHoldsLowBitsOfCount()
{
    QFETCH(int, points);
    QFETCH(qint16, written);
    QVector<qint16> header;
    SpectrumPackets::writeHeader(points, header);
    QCOMPARE(header, (QVector<qint16>{32527, written, 0}));
    QTEST(SpectrumPackets::readHeader(header).value_or(-1), "read");
}

void tst_SpectrumPackets::headerWrittenAgainTakesNothingFromHeap()
{
    QVector<qint16> header;
    SpectrumPackets::writeHeader(1, header);
    const AllocationCounter counter;
    SpectrumPackets::writeHeader(2, header);
    QCOMPARE(counter.count(), 0);
}

void tst_SpectrumPackets::whatIsNoHeaderIsNone_data()
{
    QTest::addColumn<QVector<qint16>>("block");
    QTest::newRow("empty") << QVector<qint16>();
    QTest::newRow("short") << QVector<qint16>{32527, 20};
    QTest::newRow("long") << QVector<qint16>{32527, 20, 0, 0};
    QTest::newRow("another marker") << QVector<qint16>{32526, 20, 0};
    QTest::newRow("another end") << QVector<qint16>{32527, 20, 1};
}

void tst_SpectrumPackets::whatIsNoHeaderIsNone()
{
    QFETCH(QVector<qint16>, block);
    QVERIFY(!SpectrumPackets::readHeader(block));
}

void tst_SpectrumPackets::packetHolds252PointsOrRest()
{
    QCOMPARE(SpectrumPackets::packetSize(1), 1);
    QCOMPARE(SpectrumPackets::packetSize(252), 252);
    QCOMPARE(SpectrumPackets::packetSize(253), 252);
}

QTEST_MAIN(tst_SpectrumPackets)

#include "tst_SpectrumPackets.moc"
