#include "Network/Protocol/SampleBlock.h"

#include "support/LogCapture.h"

#include <QDataStream>
#include <QRandomGenerator>
#include <QtEndian>
#include <QtTest>
#include <limits>
#include <numeric>

class tst_SampleBlock : public QObject
{
    Q_OBJECT

private slots:
    void countAndSamplesAreBigEndian_data();
    void countAndSamplesAreBigEndian();
    void everySampleValueSurvives();
    void blockIsWhatStreamOperatorsOfVectorReadAndWrite();
    void bytesAfterSamplesAreIgnored();
    void shortOrDamagedBlockGivesNothing_data();
    void shortOrDamagedBlockGivesNothing();

    void floatsAreThirtyTwoBitsBigEndian();
    void floatRunsAreWhatStreamOperatorsOfVectorReadAndWrite();
    void shortRunOfFloatsIsEmptyWithWhatFollows_data();
    void shortRunOfFloatsIsEmptyWithWhatFollows();

    void compressedBlockIsItsLengthAndZlibStreamOfLevelNine();
    void compressedBlockIsReadBack_data();
    void compressedBlockIsReadBack();
    void damagedCompressedBlockGivesNothingAndNoLogLine_data();
    void damagedCompressedBlockGivesNothingAndNoLogLine();
    void streamLongerThanItsStatedLengthIsNotInflated();
    void statedLengthBeyondWhatBytesCanMeanGivesNothing_data();
    void statedLengthBeyondWhatBytesCanMeanGivesNothing();
    void anythingAtAllDecodesWithoutFault();
};

namespace
{

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

QByteArray withLength(quint32 length, const QByteArray& compressed)
{
    QByteArray result = compressed;
    qToBigEndian(length, result.data());
    return result;
}

QVector<qint16> noise(int count)
{
    QRandomGenerator random(4);
    QVector<qint16> samples(count);
    std::generate(samples.begin(), samples.end(),
                  [&random] { return static_cast<qint16>(random.generate()); });
    return samples;
}

} // namespace

void tst_SampleBlock::countAndSamplesAreBigEndian_data()
{
    QTest::addColumn<QVector<qint16>>("samples");
    QTest::addColumn<QByteArray>("block");
    QTest::newRow("no samples") << QVector<qint16>() << hex("00000000");
    QTest::newRow("one") << QVector<qint16>{0x0102}
                         << hex("00000001"
                                "0102");
    QTest::newRow("the ends of the range") << QVector<qint16>{-1, 0, 1, -32768, 32767}
                                           << hex("00000005"
                                                  "ffff"
                                                  "0000"
                                                  "0001"
                                                  "8000"
                                                  "7fff");
    QTest::newRow("a header of the spectrum") << QVector<qint16>{32527, 1000, 0}
                                              << hex("00000003"
                                                     "7f0f"
                                                     "03e8"
                                                     "0000");
}

void tst_SampleBlock::countAndSamplesAreBigEndian()
{
    QFETCH(QVector<qint16>, samples);
    QFETCH(QByteArray, block);
    QCOMPARE(SampleBlock::encode(samples).toHex(), block.toHex());
    const auto decoded = SampleBlock::decode(block);
    QVERIFY(decoded.has_value());
    QCOMPARE(*decoded, samples);
}

void tst_SampleBlock::everySampleValueSurvives()
{
    QVector<qint16> samples(65536);
    std::iota(samples.begin(), samples.end(), std::numeric_limits<qint16>::min());
    QCOMPARE(SampleBlock::decode(SampleBlock::encode(samples)).value(), samples);
}

void tst_SampleBlock::blockIsWhatStreamOperatorsOfVectorReadAndWrite()
{
    const QVector<qint16> samples = noise(300);
    QByteArray written;
    QDataStream writer(&written, QIODevice::WriteOnly);
    writer.setVersion(QDataStream::Qt_5_12);
    writer << samples;
    QCOMPARE(SampleBlock::encode(samples), written);

    QDataStream reader(SampleBlock::encode(samples));
    reader.setVersion(QDataStream::Qt_5_12);
    QVector<qint16> read;
    reader >> read;
    QCOMPARE(read, samples);
}

void tst_SampleBlock::bytesAfterSamplesAreIgnored()
{
    QCOMPARE(SampleBlock::decode(hex("00000001"
                                     "0007"
                                     "0008"))
                 .value(),
             QVector<qint16>{7});
    QCOMPARE(SampleBlock::decode(hex("00000000"
                                     "ff"))
                 .value(),
             QVector<qint16>());
}

void tst_SampleBlock::shortOrDamagedBlockGivesNothing_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::newRow("no bytes") << QByteArray();
    QTest::newRow("three bytes of a count") << hex("000000");
    QTest::newRow("a sample missing") << hex("00000002"
                                             "0001");
    QTest::newRow("half a sample missing") << hex("00000002"
                                                  "0001"
                                                  "02");
    QTest::newRow("count of one below zero") << hex("ffffffff"
                                                    "0001");
    QTest::newRow("lowest count") << hex("80000000"
                                         "0001");
    QTest::newRow("highest count") << hex("7fffffff"
                                          "0001");
    // Twice the count is 2 modulo 2^32.
    QTest::newRow("count whose bytes overflow") << hex("80000001"
                                                       "0001");
    QTest::newRow("count whose bytes overflow to a small number") << hex("40000001"
                                                                         "0001");
}

void tst_SampleBlock::shortOrDamagedBlockGivesNothing()
{
    QFETCH(QByteArray, block);
    QVERIFY(!SampleBlock::decode(block).has_value());
}

void tst_SampleBlock::floatsAreThirtyTwoBitsBigEndian()
{
    const QByteArray block = hex("00000002"
                                 "3f800000"
                                 "c0200000"
                                 "00000001"
                                 "7f7fffff");
    const QVector<float> first{1.0F, -2.5F};
    const QVector<float> second{std::numeric_limits<float>::max()};
    QCOMPARE(SampleBlock::encode(first, second).toHex(), block.toHex());
    const auto decoded = SampleBlock::decodePair(block);
    QCOMPARE(decoded.first, first);
    QCOMPARE(decoded.second, second);
    QCOMPARE(SampleBlock::encode(QVector<float>(), {}), hex("0000000000000000"));
}

void tst_SampleBlock::floatRunsAreWhatStreamOperatorsOfVectorReadAndWrite()
{
    const QVector<float> first{0.1F, -0.0F, 1e-40F, std::numeric_limits<float>::infinity()};
    const QVector<float> second{3.25F};
    QByteArray written;
    QDataStream writer(&written, QIODevice::WriteOnly);
    writer.setVersion(QDataStream::Qt_5_12);
    writer.setFloatingPointPrecision(QDataStream::SinglePrecision);
    writer << first << second;
    QCOMPARE(SampleBlock::encode(first, second).toHex(), written.toHex());
}

void tst_SampleBlock::shortRunOfFloatsIsEmptyWithWhatFollows_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<QVector<float>>("first");
    QTest::addColumn<QVector<float>>("second");
    const QVector<float> none;
    QTest::newRow("no bytes") << QByteArray() << none << none;
    QTest::newRow("first count cut") << hex("0000") << none << none;
    QTest::newRow("first run cut") << hex("00000002"
                                          "3f800000"
                                          "00")
                                   << none << none;
    QTest::newRow("first count negative") << hex("ffffffff"
                                                 "00000001"
                                                 "3f800000")
                                          << none << none;
    QTest::newRow("no second run") << hex("00000001"
                                          "3f800000")
                                   << QVector<float>{1.0F} << none;
    QTest::newRow("second run cut") << hex("00000001"
                                           "3f800000"
                                           "00000002"
                                           "3f800000")
                                    << QVector<float>{1.0F} << none;
    QTest::newRow("second count negative") << hex("00000001"
                                                  "3f800000"
                                                  "80000000"
                                                  "3f800000")
                                           << QVector<float>{1.0F} << none;
    QTest::newRow("first run empty") << hex("00000000"
                                            "00000001"
                                            "3f800000")
                                     << none << QVector<float>{1.0F};
}

void tst_SampleBlock::shortRunOfFloatsIsEmptyWithWhatFollows()
{
    QFETCH(QByteArray, block);
    const auto decoded = SampleBlock::decodePair(block);
    QTEST(decoded.first, "first");
    QTEST(decoded.second, "second");
}

void tst_SampleBlock::compressedBlockIsItsLengthAndZlibStreamOfLevelNine()
{
    const QVector<qint16> samples(256, 7);
    QByteArray compressed;
    SampleBlock::appendCompressed(compressed, samples);
    QCOMPARE(compressed.left(4), hex("00000204")); // 516 bytes
    QCOMPARE(compressed.mid(4, 2), hex("78da"));   // deflate in a window of 32 KiB, best compression
    QCOMPARE(qUncompress(compressed), SampleBlock::encode(samples));
}

void tst_SampleBlock::compressedBlockIsReadBack_data()
{
    QTest::addColumn<QVector<qint16>>("samples");
    QTest::newRow("empty") << QVector<qint16>();
    QTest::newRow("one") << QVector<qint16>{5};
    QTest::newRow("a datagram of IQ") << noise(256);
    QTest::newRow("noise that fills a datagram") << noise(32000);
    // Four million samples fit into one datagram if they are all the same.
    QTest::newRow("zeros") << QVector<qint16>(4'000'000, 0);
}

void tst_SampleBlock::compressedBlockIsReadBack()
{
    QFETCH(QVector<qint16>, samples);
    QByteArray compressed;
    SampleBlock::appendCompressed(compressed, samples);
    QVERIFY(compressed.size() < 65536);
    const auto block = SampleBlock::uncompress(compressed);
    QVERIFY(block.has_value());
    QVERIFY(SampleBlock::decode(*block).value() == samples);
}

void tst_SampleBlock::damagedCompressedBlockGivesNothingAndNoLogLine_data()
{
    QTest::addColumn<QByteArray>("data");
    const QByteArray good = qCompress(SampleBlock::encode(noise(200)));
    QTest::newRow("no bytes") << QByteArray();
    QTest::newRow("three bytes") << hex("000000");
    QTest::newRow("a length alone") << hex("00000000");
    QTest::newRow("no stream") << hex("00000010") + QByteArray(50, 'x');
    QTest::newRow("cut by a byte") << good.left(good.size() - 1);
    QTest::newRow("cut in the middle") << good.left(good.size() / 2);
    QByteArray turned = good;
    turned[turned.size() / 2] = static_cast<char>(~turned.at(turned.size() / 2));
    QTest::newRow("a byte turned") << turned;
    QByteArray sum = good;
    sum[sum.size() - 1] = static_cast<char>(~sum.at(sum.size() - 1));
    QTest::newRow("wrong check sum") << sum;
}

void tst_SampleBlock::damagedCompressedBlockGivesNothingAndNoLogLine()
{
    QFETCH(QByteArray, data);
    const LogCapture log;
    QVERIFY(!SampleBlock::uncompress(data).has_value());
    QCOMPARE(log.texts(), QStringList());
}

void tst_SampleBlock::streamLongerThanItsStatedLengthIsNotInflated()
{
    const QByteArray bomb = qCompress(QByteArray(8'000'000, '\0'));
    for (const quint32 length : {0U, 1U, 100U, 7'999'999U}) {
        QVERIFY(!SampleBlock::uncompress(withLength(length, bomb)).has_value());
    }
    QVERIFY(SampleBlock::uncompress(bomb).has_value());
}

void tst_SampleBlock::statedLengthBeyondWhatBytesCanMeanGivesNothing_data()
{
    QTest::addColumn<QByteArray>("data");
    const QByteArray small = qCompress(SampleBlock::encode(QVector<qint16>{1, 2, 3}));
    // The stream itself is sound; a length above the truth is harmless as long as it could be true.
    const auto possible = static_cast<quint32>(1032 * (small.size() - 4));
    QVERIFY(SampleBlock::uncompress(withLength(possible, small)).has_value());
    QTest::newRow("one above the best ratio") << withLength(possible + 1, small);
    QTest::newRow("2 GiB") << withLength(0x7FFFFFFF, small);
    QTest::newRow("4 GiB") << withLength(0xFFFFFFFF, small);
    QTest::newRow("a length and nothing else") << hex("00000001");
    const QByteArray padded = small + QByteArray(60000, '\0');
    QVERIFY(SampleBlock::uncompress(withLength(16 * 1024 * 1024, padded)).has_value());
    QTest::newRow("one above 16 MiB") << withLength(16 * 1024 * 1024 + 1, padded);
}

void tst_SampleBlock::statedLengthBeyondWhatBytesCanMeanGivesNothing()
{
    QFETCH(QByteArray, data);
    const LogCapture log;
    QVERIFY(!SampleBlock::uncompress(data).has_value());
    QCOMPARE(log.texts(), QStringList());
}

void tst_SampleBlock::anythingAtAllDecodesWithoutFault()
{
    const LogCapture log;
    QRandomGenerator random(5);
    const QByteArray seeds[] = {SampleBlock::encode(noise(40)), qCompress(SampleBlock::encode(noise(40))),
                                SampleBlock::encode({1.0F, 2.0F, 3.0F}, {4.0F, 5.0F})};
    for (int i = 0; i < 20000; ++i) {
        QByteArray data = seeds[i % 3];
        for (quint32 changes = random.bounded(6U); changes > 0; --changes) {
            data[random.bounded(data.size())] = static_cast<char>(random.generate());
        }
        data.truncate(random.bounded(data.size() + 1));
        const auto block = SampleBlock::decode(data);
        QVERIFY(!block || 2 * block->size() <= data.size() - 4);
        const auto runs = SampleBlock::decodePair(data);
        QVERIFY(4 * (runs.first.size() + runs.second.size()) <= data.size());
        if (const auto inflated = SampleBlock::uncompress(data)) {
            QVERIFY(inflated->size() <= 1032 * data.size());
            SampleBlock::decode(*inflated);
        }
    }
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(tst_SampleBlock)
#include "tst_SampleBlock.moc"
