#include "RadioDevice/RtlUsb/RtlUsbConversion.h"

#include <QtTest>
#include <cmath>
#include <vector>

class tst_RtlUsbConversion : public QObject
{
    Q_OBJECT

private slots:
    void everyByteIsTwosComplementByScale_data();
    void everyByteIsTwosComplementByScale();
    void everyByteOfOffsetBinaryIsTakenFromItsMiddle_data();
    void everyByteOfOffsetBinaryIsTakenFromItsMiddle();
    void fullScaleIsAboutEightieth();
    void secondByteIsReUnlessSwapped();
    void everyLengthIsConvertedAndNoMore_data();
    void everyLengthIsConvertedAndNoMore();
};

void tst_RtlUsbConversion::everyByteIsTwosComplementByScale_data()
{
    QTest::addColumn<bool>("swapIQ");
    QTest::newRow("as it comes") << false;
    QTest::newRow("swapped") << true;
}

void tst_RtlUsbConversion::everyByteIsTwosComplementByScale()
{
    QFETCH(bool, swapIQ);
    for (int value = 0; value < 256; ++value) {
        const unsigned char bytes[] = {static_cast<unsigned char>(value), 0x01};
        DoubleComplex out{};
        convertRtlUsb(bytes, 1, swapIQ, &out);
        const double expected = (value < 128 ? value : value - 256) * 9.765625e-05;
        // To the last bit.
        QVERIFY((swapIQ ? out.re : out.im) == expected);
        QVERIFY((swapIQ ? out.im : out.re) == 9.765625e-05);
    }
}

void tst_RtlUsbConversion::everyByteOfOffsetBinaryIsTakenFromItsMiddle_data()
{
    everyByteIsTwosComplementByScale_data();
}

void tst_RtlUsbConversion::everyByteOfOffsetBinaryIsTakenFromItsMiddle()
{
    QFETCH(bool, swapIQ);
    for (int value = 0; value < 256; ++value) {
        const unsigned char bytes[] = {static_cast<unsigned char>(value), 0x81};
        DoubleComplex out{};
        convertRtlUsbOffset(bytes, 1, swapIQ, &out);
        // To the last bit.
        QVERIFY((swapIQ ? out.re : out.im) == (value - 128) * 9.765625e-05);
        QVERIFY((swapIQ ? out.im : out.re) == 9.765625e-05);
    }
}

void tst_RtlUsbConversion::fullScaleIsAboutEightieth()
{
    const unsigned char bytes[] = {0x7F, 0x80};
    DoubleComplex out{};
    convertRtlUsb(bytes, 1, false, &out);
    QVERIFY(out.im == 127 * 9.765625e-05);
    QVERIFY(out.re == -128 * 9.765625e-05);
    QVERIFY(std::abs(out.im - 0.0124) < 1e-5 && std::abs(out.re + 0.0125) < 1e-15);
}

void tst_RtlUsbConversion::secondByteIsReUnlessSwapped()
{
    const unsigned char bytes[] = {1, 2, 3, 4};
    DoubleComplex out[2] = {};
    convertRtlUsb(bytes, 2, false, out);
    QVERIFY(out[0].re == 2 * kRtlUsbScale && out[0].im == 1 * kRtlUsbScale);
    QVERIFY(out[1].re == 4 * kRtlUsbScale && out[1].im == 3 * kRtlUsbScale);
    convertRtlUsb(bytes, 2, true, out);
    QVERIFY(out[0].re == 1 * kRtlUsbScale && out[0].im == 2 * kRtlUsbScale);
    QVERIFY(out[1].re == 3 * kRtlUsbScale && out[1].im == 4 * kRtlUsbScale);
}

void tst_RtlUsbConversion::everyLengthIsConvertedAndNoMore_data()
{
    QTest::addColumn<int>("length");
    for (const int length : {0, 1, 7, 32, 1023, 4096, 32'768}) {
        QTest::addRow("%d samples", length) << length;
    }
}

void tst_RtlUsbConversion::everyLengthIsConvertedAndNoMore()
{
    QFETCH(int, length);
    const auto size = static_cast<std::size_t>(length);
    std::vector<unsigned char> bytes(2 * size);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
    }
    std::vector<DoubleComplex> out(size + 1, DoubleComplex{99.0, 99.0});
    convertRtlUsb(bytes.data(), length, false, out.data());
    for (std::size_t i = 0; i < size; ++i) {
        QCOMPARE(out[i].re, static_cast<signed char>(bytes[2 * i + 1]) / 10'240.0);
        QCOMPARE(out[i].im, static_cast<signed char>(bytes[2 * i]) / 10'240.0);
    }
    QCOMPARE(out[size].re, 99.0);
}

QTEST_GUILESS_MAIN(tst_RtlUsbConversion)
#include "tst_RtlUsbConversion.moc"
