#include "RadioDevice/IQPlayer/WavHeader.h"

#include <QtTest>
#include <algorithm>

namespace
{

std::array<char, WavHeader::kSize> bytes(const QByteArray& hex)
{
    const QByteArray raw = QByteArray::fromHex(hex);
    Q_ASSERT(raw.size() == WavHeader::kSize);
    std::array<char, WavHeader::kSize> result{};
    std::copy(raw.cbegin(), raw.cend(), result.begin());
    return result;
}

// The sample rate and the size of the data, each as its four bytes.
std::array<char, WavHeader::kSize> header(const QByteArray& code, const QByteArray& rate,
                                          const QByteArray& bits, const QByteArray& dataSize)
{
    return bytes("52494646 a4000000 57415645666d7420 10000000" + code + "0200" + rate + "00ee0200 0400" +
                 bits + "64617461" + dataSize);
}

} // namespace

class tst_WavHeader : public QObject
{
    Q_OBJECT

private slots:
    void fieldsAreReadLittleEndianFromTheirOffsets();
    void nothingIsChecked();
    void bytesPerValueFollowsBitsAndCode_data();
    void bytesPerValueFollowsBitsAndCode();
    void durationIsThatOfFileAndSecondsThoseOfHeader();
    void durationIsRoundedToMilliseconds();
    void durationIsZeroWhereItCannotBeDivided_data();
    void durationIsZeroWhereItCannotBeDivided();
    void durationOfAnySizeIsTimeOfDay_data();
    void durationOfAnySizeIsTimeOfDay();
};

void tst_WavHeader::fieldsAreReadLittleEndianFromTheirOffsets()
{
    const WavHeader h = WavHeader::decode(bytes("52494646 01020304 57415645666d7420"
                                                "10000000 0100 0200 80bb0000 00ee0200 0400 1000"
                                                "64617461 80f40300"));
    QCOMPARE(h.chunkSize, 16U);
    QCOMPARE(h.formatCode, quint16(1));
    QCOMPARE(h.channels, quint16(2));
    QCOMPARE(h.sampleRate, 48'000U);
    QCOMPARE(h.bytesPerSecond, 192'000U);
    QCOMPARE(h.frameSize, quint16(4));
    QCOMPARE(h.bitsPerSample, quint16(16));
    QCOMPARE(h.dataSize, 259'200U);
}

void tst_WavHeader::nothingIsChecked()
{
    const WavHeader h = WavHeader::decode(bytes(QByteArray(88, 'f')));
    QCOMPARE(h.chunkSize, 0xFFFFFFFFU);
    QCOMPARE(h.channels, quint16(0xFFFF));
    QCOMPARE(h.sampleRate, 0xFFFFFFFFU);
    QCOMPARE(h.dataSize, 0xFFFFFFFFU);
}

void tst_WavHeader::bytesPerValueFollowsBitsAndCode_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<QByteArray>("bits");
    QTest::addColumn<int>("expected");
    QTest::newRow("8 bits") << QByteArray("0100") << QByteArray("0800") << 1;
    QTest::newRow("16 bits") << QByteArray("0100") << QByteArray("1000") << 2;
    QTest::newRow("16 bits of any code") << QByteArray("feff") << QByteArray("1000") << 2;
    QTest::newRow("32 bits, integers") << QByteArray("0100") << QByteArray("2000") << 4;
    QTest::newRow("32 bits, floats") << QByteArray("0300") << QByteArray("2000") << 4;
    QTest::newRow("32 bits of another code") << QByteArray("0200") << QByteArray("2000") << 0;
    QTest::newRow("24 bits") << QByteArray("0100") << QByteArray("1800") << 0;
    QTest::newRow("no bits") << QByteArray("0100") << QByteArray("0000") << 0;
}

void tst_WavHeader::bytesPerValueFollowsBitsAndCode()
{
    QFETCH(QByteArray, code);
    QFETCH(QByteArray, bits);
    const WavHeader h = WavHeader::decode(header(code, "80bb0000", bits, "00000000"));
    QTEST(h.bytesPerValue(), "expected");
}

void tst_WavHeader::durationIsThatOfFileAndSecondsThoseOfHeader()
{
    // 192,000 bytes are 96,000 values of 16 bits, whose channels do not enter.
    const WavHeader h = WavHeader::decode(header("0100", "80bb0000", "1000", "00ee0200"));
    QCOMPARE(h.duration(44 + 96'000), QTime(0, 0, 1));
    QCOMPARE(h.durationSeconds(), 2LL);
}

void tst_WavHeader::durationIsRoundedToMilliseconds()
{
    const WavHeader h = WavHeader::decode(header("0100", "80bb0000", "1000", "00000000"));
    QCOMPARE(h.duration(44 + 2 * 71), QTime(0, 0, 0, 1)); // 1.479 ms
    QCOMPARE(h.duration(44 + 2 * 72), QTime(0, 0, 0, 2)); // 1.5 ms
}

void tst_WavHeader::durationIsZeroWhereItCannotBeDivided_data()
{
    QTest::addColumn<QByteArray>("rate");
    QTest::addColumn<QByteArray>("bits");
    QTest::newRow("rate 0") << QByteArray("00000000") << QByteArray("1000");
    QTest::newRow("24 bits") << QByteArray("80bb0000") << QByteArray("1800");
}

void tst_WavHeader::durationIsZeroWhereItCannotBeDivided()
{
    QFETCH(QByteArray, rate);
    QFETCH(QByteArray, bits);
    const WavHeader h = WavHeader::decode(header("0100", rate, bits, "ffffffff"));
    QCOMPARE(h.duration(44 + 96'000), QTime(0, 0));
    QCOMPARE(h.durationSeconds(), 0LL);
}

void tst_WavHeader::durationOfAnySizeIsTimeOfDay_data()
{
    QTest::addColumn<qint64>("fileSize");
    QTest::addColumn<QTime>("expected");
    QTest::newRow("shorter than a header") << qint64(0) << QTime(23, 59, 38);
    QTest::newRow("a day") << qint64(44 + 2 * 86'400) << QTime(0, 0);
    QTest::newRow("a day and a second") << qint64(44 + 2 * 86'401) << QTime(0, 0, 1);
    QTest::newRow("beyond 2 GB") << qint64(44 + 6'000'000'000LL) << QTime(5, 20);
}

void tst_WavHeader::durationOfAnySizeIsTimeOfDay()
{
    // One value a second.
    QFETCH(qint64, fileSize);
    const WavHeader h = WavHeader::decode(header("0100", "01000000", "1000", "ffffffff"));
    QTEST(h.duration(fileSize), "expected");
    QVERIFY(h.duration(std::numeric_limits<qint64>::max()).isValid());
    QCOMPARE(h.durationSeconds(), 2'147'483'648LL);
}

QTEST_GUILESS_MAIN(tst_WavHeader)
#include "tst_WavHeader.moc"
