#include "RadioDevice/Rsp/RspConversion.h"

#include "support/AllocationCounter.h"

#include <QtTest>
#include <cstring>
#include <vector>

class tst_RspConversion : public QObject
{
    Q_OBJECT

private slots:
    void everyValueIsScaledAndChangesPlaces();
    void knownValuesComeOutAsWrittenHere_data();
    void knownValuesComeOutAsWrittenHere();
    void anyLengthIsConvertedAndNoMore_data();
    void anyLengthIsConvertedAndNoMore();
    void nothingIsTakenFromHeap();
};

namespace
{

bool sameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace

void tst_RspConversion::everyValueIsScaledAndChangesPlaces()
{
    std::vector<short> xi;
    std::vector<short> xq;
    for (int value = -32'768; value <= 32'767; ++value) {
        xi.push_back(static_cast<short>(value));
        xq.push_back(static_cast<short>(-1 - value));
    }
    std::vector<DoubleComplex> block(xi.size());
    convertRsp(xi.data(), xq.data(), static_cast<int>(xi.size()), block.data());
    for (std::size_t n = 0; n < block.size(); ++n) {
        const int value = static_cast<int>(n) - 32'768;
        QVERIFY2(sameBits(block[n].re, (-1 - value) * 9.765625e-06), qPrintable(QString::number(n)));
        QVERIFY2(sameBits(block[n].im, value * 9.765625e-06), qPrintable(QString::number(n)));
    }
}

void tst_RspConversion::knownValuesComeOutAsWrittenHere_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<double>("expected");
    QTest::newRow("zero") << 0 << 0.0;
    QTest::newRow("one") << 1 << 9.765625e-06;
    QTest::newRow("one below zero") << -1 << -9.765625e-06;
    QTest::newRow("1024") << 1'024 << 0.01;
    QTest::newRow("least") << -32'768 << -0.32;
}

void tst_RspConversion::knownValuesComeOutAsWrittenHere()
{
    QFETCH(int, value);
    QFETCH(double, expected);
    const auto sample = static_cast<short>(value);
    DoubleComplex block{};
    convertRsp(&sample, &sample, 1, &block);
    QVERIFY(sameBits(block.re, expected));
    QVERIFY(sameBits(block.im, expected));
}

void tst_RspConversion::anyLengthIsConvertedAndNoMore_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {0, 1, 7, 32, 1'023, 1'344, 4'096}) {
        QTest::newRow(qPrintable(QString::number(count))) << count;
    }
}

void tst_RspConversion::anyLengthIsConvertedAndNoMore()
{
    QFETCH(int, count);
    const auto size = static_cast<std::size_t>(count);
    const std::vector<short> xi(size + 1, 1'024);
    const std::vector<short> xq(size + 1, -1'024);
    std::vector<DoubleComplex> block(size + 1, DoubleComplex{7.0, 7.0});
    convertRsp(xi.data(), xq.data(), count, block.data());
    for (std::size_t n = 0; n < size; ++n) {
        QCOMPARE(block[n].re, -0.01);
        QCOMPARE(block[n].im, 0.01);
    }
    QCOMPARE(block[size].re, 7.0);
    QCOMPARE(block[size].im, 7.0);
}

void tst_RspConversion::nothingIsTakenFromHeap()
{
    const std::vector<short> values(1'344, 5);
    std::vector<DoubleComplex> block(values.size());
    const AllocationCounter counter;
    convertRsp(values.data(), values.data(), static_cast<int>(values.size()), block.data());
    QCOMPARE(counter.count(), 0);
}

QTEST_GUILESS_MAIN(tst_RspConversion)
#include "tst_RspConversion.moc"
