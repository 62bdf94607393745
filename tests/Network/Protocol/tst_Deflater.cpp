#include "Network/Protocol/Deflater.h"

#include "support/AllocationCounter.h"

#include <QRandomGenerator>
#include <QtTest>

/// The bytes are compared with those of qCompress, which clients have always been sent.
class tst_Deflater : public QObject
{
    Q_OBJECT

private slots:
    void bytesAreThoseOfQCompress_data();
    void bytesAreThoseOfQCompress();
    void blocksLeaveNoTraceInNextOnes();
    void emptyBlockIsItsLengthAlone();
    void blockTakesNothingFromHeapButItsResult();
};

namespace
{

constexpr int kLevel = 9;

QByteArray noise(int size)
{
    QRandomGenerator random(static_cast<quint32>(size));
    QByteArray bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random.bounded(256));
    }
    return bytes;
}

QByteArray compressed(Deflater& deflater, const QByteArray& block)
{
    QByteArray result;
    deflater.append(block, result);
    return result;
}

} // namespace

void tst_Deflater::bytesAreThoseOfQCompress_data()
{
    QTest::addColumn<QByteArray>("block");
    for (const int size : {1, 2, 258, 516, 1000, 65'536, 200'000}) {
        QTest::addRow("%d of noise", size) << noise(size);
        QTest::addRow("%d of zeros", size) << QByteArray(size, '\0');
    }
}

void tst_Deflater::bytesAreThoseOfQCompress()
{
    QFETCH(QByteArray, block);
    Deflater deflater(kLevel);
    QCOMPARE(compressed(deflater, block), qCompress(block, kLevel));
}

void tst_Deflater::blocksLeaveNoTraceInNextOnes()
{
    Deflater deflater(kLevel);
    for (const int size : {516, 1, 70'000, 516, 300, 516}) {
        QCOMPARE(compressed(deflater, noise(size)), qCompress(noise(size), kLevel));
    }
}

void tst_Deflater::emptyBlockIsItsLengthAlone()
{
    Deflater deflater(kLevel);
    QCOMPARE(compressed(deflater, {}), QByteArray(4, '\0'));
}

void tst_Deflater::blockTakesNothingFromHeapButItsResult()
{
    const QByteArray block = noise(516);
    Deflater deflater(kLevel);
    compressed(deflater, block);
    const AllocationCounter counter;
    const QByteArray result = compressed(deflater, block);
    QCOMPARE(counter.count(), 1);
}

QTEST_GUILESS_MAIN(tst_Deflater)
#include "tst_Deflater.moc"
