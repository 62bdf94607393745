#include "Network/Data/int160.h"

#include <QDataStream>
#include <QDateTime>
#include <QRandomGenerator64>
#include <QSet>
#include <QtTest>

class tst_int160 : public QObject
{
    Q_OBJECT

private slots:
    void defaultIsTwentyZeroBytes();
    void rawBytesAreCopiedExactlyTwenty();
    void textOfFortyDigitsIsReadInEitherCase();
    void textThatIsNoIdGivesEmptyValue_data();
    void textThatIsNoIdGivesEmptyValue();
    void textIsLowerCaseHexadecimal();
    void lowestAndHighestAreAllZerosAndAllOnes();
    void equalityNeedsSameLengthAndBytes();
    void orderIsByUnsignedBytesFromFirst_data();
    void orderIsByUnsignedBytesFromFirst();
    void emptyIsNeitherLessNorGreater();
    void distanceIsBytewiseXor();
    void distanceToEmptyValueKeepsTwentyBytes();
    void bitZeroIsTopBitOfFirstByte();
    void bitsOutsideIdAreFalse();
    void nullByByteSum_data();
    void nullByByteSum();
    void streamHoldsHexadecimalText();
    void streamOfAnotherTextGivesEmptyValue();
    void randomIdsDiffer();
    void randomBytesAreClockXorNoiseBelow255();
    void randomIdsTakeNothingFromGeneratorThatOthersSee();
};

namespace
{

int160 withBytes(std::initializer_list<int> head)
{
    QByteArray bytes(int160::kSize, '\0');
    int index = 0;
    for (const int byte : head) {
        bytes[index++] = static_cast<char>(byte);
    }
    return int160(bytes.constData());
}

const int160 kEmpty{QString()};

} // namespace

void tst_int160::defaultIsTwentyZeroBytes()
{
    QCOMPARE(int160().bytes(), QByteArray(20, '\0'));
}

void tst_int160::rawBytesAreCopiedExactlyTwenty()
{
    const QByteArray source("0123456789abcdefghijKLMNOP");
    QCOMPARE(int160(source.constData()).bytes(), QByteArray("0123456789abcdefghij"));
}

void tst_int160::textOfFortyDigitsIsReadInEitherCase()
{
    const QByteArray bytes = QByteArray::fromRawData(
        "\x00\x01\x7f\x80\xff\xab\xcd\xef\x12\x34\x56\x78\x9a\xbc\xde\xf0\x11\x22\x33\x44", 20);
    QCOMPARE(int160(QStringLiteral("00017f80ffabcdef123456789abcdef011223344")).bytes(), bytes);
    QCOMPARE(int160(QStringLiteral("00017F80FFABCDEF123456789ABCDEF011223344")).bytes(), bytes);
}

void tst_int160::textThatIsNoIdGivesEmptyValue_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("39 digits") << QString(39, QLatin1Char('a'));
    QTest::newRow("41 digits") << QString(41, QLatin1Char('a'));
    QTest::newRow("80 digits") << QString(80, QLatin1Char('a'));
    QTest::newRow("40 characters, none a digit") << QString(40, QLatin1Char('z'));
    QTest::newRow("39 digits and a letter") << QString(39, QLatin1Char('1')) + QLatin1Char('g');
    QTest::newRow("39 digits and a blank") << QString(39, QLatin1Char('1')) + QLatin1Char(' ');
    QTest::newRow("40 digits of another script") << QString(40, QChar(0x0661));
    // Its low byte is the code of '1'.
    QTest::newRow("39 digits and a wide character") << QString(39, QLatin1Char('1')) + QChar(0x0131);
}

void tst_int160::textThatIsNoIdGivesEmptyValue()
{
    QFETCH(QString, text);
    const int160 id(text);
    QCOMPARE(id.bytes(), QByteArray());
    QCOMPARE(id.toString(), QString());
}

void tst_int160::textIsLowerCaseHexadecimal()
{
    QCOMPARE(withBytes({0x0A, 0xFF, 0x80}).toString(),
             QStringLiteral("0aff800000000000000000000000000000000000"));
}

void tst_int160::lowestAndHighestAreAllZerosAndAllOnes()
{
    QCOMPARE(int160::lowest().bytes(), QByteArray(20, '\0'));
    QCOMPARE(int160::highest().bytes(), QByteArray(20, '\xFF'));
}

void tst_int160::equalityNeedsSameLengthAndBytes()
{
    QVERIFY(withBytes({1, 2}) == withBytes({1, 2}));
    QVERIFY(withBytes({1, 2}) != withBytes({1, 3}));
    QVERIFY(kEmpty == int160(QString()));
    QVERIFY(kEmpty != int160());
    QVERIFY(!(kEmpty == int160()));
}

void tst_int160::orderIsByUnsignedBytesFromFirst_data()
{
    QTest::addColumn<QByteArray>("less");
    QTest::addColumn<QByteArray>("greater");
    QTest::newRow("the first byte decides") << withBytes({1, 0xFF}).bytes() << withBytes({2}).bytes();
    QTest::newRow("0x7F is below 0x80") << withBytes({0x7F}).bytes() << withBytes({0x80}).bytes();
    QTest::newRow("a zero byte ends nothing") << withBytes({1, 0, 1}).bytes() << withBytes({1, 0, 2}).bytes();
    QTest::newRow("the last byte decides")
        << int160(QStringLiteral("00000000000000000000000000000000000000fe")).bytes()
        << int160(QStringLiteral("00000000000000000000000000000000000000ff")).bytes();
}

void tst_int160::orderIsByUnsignedBytesFromFirst()
{
    QFETCH(QByteArray, less);
    QFETCH(QByteArray, greater);
    const int160 left(less.constData());
    const int160 right(greater.constData());
    QVERIFY(left < right && !(right < left) && !(left < left));
    QVERIFY(right > left && !(left > right) && !(left > left));
    QVERIFY(left <= right && !(right <= left) && left <= left);
    QVERIFY(right >= left && !(left >= right) && left >= left);
}

void tst_int160::emptyIsNeitherLessNorGreater()
{
    for (const int160& other : {int160::lowest(), int160::highest(), kEmpty}) {
        QVERIFY(!(kEmpty < other) && !(kEmpty > other));
        QVERIFY(!(other < kEmpty) && !(other > kEmpty));
    }
    QVERIFY(kEmpty <= kEmpty && kEmpty >= kEmpty);
    QVERIFY(!(kEmpty <= int160()) && !(kEmpty >= int160()));
}

void tst_int160::distanceIsBytewiseXor()
{
    QCOMPARE((withBytes({0xF0, 0x55, 0x80}) ^ withBytes({0xFF, 0x55, 0x01})).bytes(),
             withBytes({0x0F, 0x00, 0x81}).bytes());
    QCOMPARE((int160::highest() ^ int160::highest()).bytes(), int160::lowest().bytes());
}

void tst_int160::distanceToEmptyValueKeepsTwentyBytes()
{
    QCOMPARE((kEmpty ^ withBytes({3, 4})).bytes(), withBytes({3, 4}).bytes());
    QCOMPARE((withBytes({3, 4}) ^ kEmpty).bytes(), withBytes({3, 4}).bytes());
    QCOMPARE((kEmpty ^ kEmpty).bytes(), QByteArray(20, '\0'));
}

void tst_int160::bitZeroIsTopBitOfFirstByte()
{
    const int160 top = withBytes({0x80});
    QVERIFY(top.bit(0));
    for (int i = 1; i < int160::kBits; ++i) {
        QVERIFY2(!top.bit(i), qPrintable(QString::number(i)));
    }
    QVERIFY(withBytes({0x01}).bit(7));
    QVERIFY(!withBytes({0x01}).bit(0));
    QVERIFY(withBytes({0, 0x80}).bit(8));
    QVERIFY(int160::highest().bit(159));
}

void tst_int160::bitsOutsideIdAreFalse()
{
    QVERIFY(!int160::highest().bit(160));
    QVERIFY(!int160::highest().bit(1'000'000));
    QVERIFY(!int160::highest().bit(-1));
    QVERIFY(!kEmpty.bit(0));
}

void tst_int160::nullByByteSum_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("null");
    QTest::newRow("zeros") << int160().bytes() << true;
    QTest::newRow("0x80 0x80") << withBytes({0x80, 0x80}).bytes() << true;
    QTest::newRow("0xFF 0x01") << withBytes({0xFF, 0x01}).bytes() << true;
    QTest::newRow("sum of 512") << withBytes({0xFF, 0xFF, 0x02}).bytes() << true;
    QTest::newRow("0x01") << withBytes({0x01}).bytes() << false;
    QTest::newRow("0x80") << withBytes({0x80}).bytes() << false;
    QTest::newRow("all ones, 5100 = 19 * 256 + 236") << int160::highest().bytes() << false;
}

void tst_int160::nullByByteSum()
{
    QFETCH(QByteArray, bytes);
    QTEST(int160(bytes.constData()).isNull(), "null");
    QVERIFY(kEmpty.isNull());
}

void tst_int160::streamHoldsHexadecimalText()
{
    const int160 id = withBytes({0xDE, 0xAD});
    QByteArray wire;
    QDataStream writer(&wire, QIODevice::WriteOnly);
    writer << id;
    // A QString: 80 bytes of UTF-16, big-endian.
    QCOMPARE(wire.size(), 4 + 80);
    QCOMPARE(wire.left(12), QByteArray::fromHex("000000500064006500610064"));

    int160 read = int160::highest();
    QDataStream stream(wire);
    stream >> read;
    QCOMPARE(read.bytes(), id.bytes());
    QVERIFY(stream.atEnd());
}

void tst_int160::streamOfAnotherTextGivesEmptyValue()
{
    QByteArray wire;
    QDataStream writer(&wire, QIODevice::WriteOnly);
    writer << QStringLiteral("no id");
    for (const QByteArray& bytes : {wire, wire.left(5), QByteArray()}) {
        int160 read = int160::highest();
        QDataStream stream(bytes);
        stream >> read;
        QCOMPARE(read.bytes(), QByteArray());
    }
}

void tst_int160::randomIdsDiffer()
{
    QSet<QByteArray> seen;
    for (int i = 0; i < 1000; ++i) {
        const int160 id = int160::random();
        QCOMPARE(id.bytes().size(), 20);
        seen.insert(id.bytes());
    }
    QCOMPARE(seen.size(), 1000);
}

void tst_int160::randomBytesAreClockXorNoiseBelow255()
{
    // The top bytes of the clock don't change for years: their noise can be taken out and never is 255.
    const auto clock = [](int i) {
        return static_cast<quint8>(QDateTime::currentMSecsSinceEpoch() >> (56 - 8 * (i % 8)));
    };
    const QList<int> steady{0, 1, 2, 8, 9, 10, 16, 17, 18};
    QSet<int> noises;
    for (int i = 0; i < 3000; ++i) {
        const QByteArray bytes = int160::random().bytes();
        for (const int index : steady) {
            noises.insert(static_cast<quint8>(bytes.at(index)) ^ clock(index));
        }
    }
    QVERIFY(!noises.contains(255));
    QCOMPARE(noises.size(), 255);
}

void tst_int160::randomIdsTakeNothingFromGeneratorThatOthersSee()
{
    QRandomGenerator64 predicted = *QRandomGenerator64::global();
    for (int i = 0; i < 10; ++i) {
        QVERIFY(int160::random() != int160::random());
    }
    QCOMPARE(QRandomGenerator64::global()->generate(), predicted.generate());
}

QTEST_GUILESS_MAIN(tst_int160)
#include "tst_int160.moc"
