#include "Network/Data/Base58.h"

#include <QRandomGenerator>
#include <QtTest>

using Bytes = std::vector<unsigned char>;

class tst_Base58 : public QObject
{
    Q_OBJECT

private slots:
    void publishedVectorsBothWays_data();
    void publishedVectorsBothWays();
    void emptyInputEncodesToEmptyString();
    void everyLeadingZeroByteIsDigitOne();
    void whiteSpaceAroundIsSkipped();
    void decodeOfEmptyStringGivesNoBytesAndTrue();
    void decodeOfOneGivesOneZeroByte();
    void textOutsideAlphabetIsRefused_data();
    void textOutsideAlphabetIsRefused();
    void refusedTextLeavesResultAsItWas();
    void nulInStringIsRefused();
    void idIsTwentyBytesOfItsText();
    void idOfAnyOtherDecodedLengthIsEmpty_data();
    void idOfAnyOtherDecodedLengthIsEmpty();
    void idOfVeryLongTextIsEmptyAtOnce();
    void everyLengthSurvivesRoundTrip();
    void anythingAtAllDecodesWithoutFault();
};

namespace
{

Bytes toBytes(const QByteArray& array)
{
    return {array.begin(), array.end()};
}

} // namespace

void tst_Base58::publishedVectorsBothWays_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("text");
    // From the Internet-Draft "The Base58 Encoding Scheme".
    QTest::newRow("draft 1") << QByteArray("Hello World!") << QByteArray("2NEpo7TZRRrLZSi2U");
    QTest::newRow("draft 2") << QByteArray("The quick brown fox jumps over the lazy dog.")
                             << QByteArray("USm3fpXnKG5EUBx2ndxBDMPVciP5hGey2Jh4NDv6gmeo1LkMeiKrLJUUBk6Z");
    QTest::newRow("draft 3") << QByteArray::fromHex("0000287fb4cd") << QByteArray("11233QC4");
    // The vectors that implementations of the scheme commonly share.
    const QList<QPair<QByteArray, QByteArray>> common{
        {"61", "2g"},
        {"626262", "a3gV"},
        {"636363", "aPEr"},
        {"73696d706c792061206c6f6e6720737472696e67", "2cFupjhnEsSn59qHXstmK2ffpLv2"},
        {"00eb15231dfceb60925886b67d065299925915aeb172c06647", "1NS17iag9jJgTHD1VXjvLCEnZuQ3rJDE9L"},
        {"516b6fcd0f", "ABnLTmg"},
        {"bf4f89001e670274dd", "3SEo3LWLoPntC"},
        {"572e4794", "3EFU7m"},
        {"ecac89cad93923c02321", "EJDM8drfXA6uyA"},
        {"10c8511e", "Rt5zm"},
        {"00000000000000000000", "1111111111"},
    };
    for (const auto& [hex, text] : common) {
        QTest::newRow(hex.constData()) << QByteArray::fromHex(hex) << text;
    }
}

void tst_Base58::publishedVectorsBothWays()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, text);
    const Bytes raw = toBytes(bytes);
    QCOMPARE(Base58::encode(raw), text.toStdString());
    QCOMPARE(Base58::encode(raw.data(), raw.data() + raw.size()), text.toStdString());
    QCOMPARE(Base58::encode(bytes), QString::fromLatin1(text));
    Bytes decoded;
    QVERIFY(Base58::decode(text.constData(), decoded));
    QVERIFY(decoded == raw);
    decoded.clear();
    QVERIFY(Base58::decode(text.toStdString(), decoded));
    QVERIFY(decoded == raw);
}

void tst_Base58::emptyInputEncodesToEmptyString()
{
    QCOMPARE(Base58::encode(Bytes()), std::string());
    QCOMPARE(Base58::encode(QByteArray()), QString());
    QCOMPARE(Base58::encode(nullptr, nullptr), std::string());
}

void tst_Base58::everyLeadingZeroByteIsDigitOne()
{
    QCOMPARE(Base58::encode(Bytes(1, 0)), std::string("1"));
    QCOMPARE(Base58::encode(Bytes(20, 0)), std::string(20, '1'));
    QCOMPARE(Base58::encode(QByteArray(20, '\0')), QString(20, QLatin1Char('1')));
    QCOMPARE(Base58::encode(Bytes{0, 0, 1}), std::string("112"));
}

void tst_Base58::whiteSpaceAroundIsSkipped()
{
    for (const char* text : {" 2 ", "2", "\t\n\v\f\r 2\r\n"}) {
        Bytes bytes;
        QVERIFY(Base58::decode(text, bytes));
        QVERIFY(bytes == Bytes{1});
    }
}

void tst_Base58::decodeOfEmptyStringGivesNoBytesAndTrue()
{
    for (const char* text : {"", "   "}) {
        Bytes bytes{1, 2, 3};
        QVERIFY(Base58::decode(text, bytes));
        QVERIFY(bytes.empty());
    }
}

void tst_Base58::decodeOfOneGivesOneZeroByte()
{
    Bytes bytes;
    QVERIFY(Base58::decode("1", bytes));
    QVERIFY(bytes == Bytes{0});
}

void tst_Base58::textOutsideAlphabetIsRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* text : {"0", "O", "I", "l", "2 2", "11 1", "2\t2", "2-", "+2", "1\xE9", "\xFF"}) {
        QTest::newRow(text) << QByteArray(text);
    }
}

void tst_Base58::textOutsideAlphabetIsRefused()
{
    QFETCH(QByteArray, text);
    Bytes bytes;
    QVERIFY(!Base58::decode(text.constData(), bytes));
}

void tst_Base58::refusedTextLeavesResultAsItWas()
{
    Bytes bytes{7, 8};
    QVERIFY(!Base58::decode("2g0", bytes));
    QVERIFY(bytes == (Bytes{7, 8}));
}

void tst_Base58::nulInStringIsRefused()
{
    Bytes bytes;
    QVERIFY(!Base58::decode(std::string("2g\0", 3), bytes));
    QVERIFY(!Base58::decode(std::string("2g\0garbage", 10), bytes));
}

void tst_Base58::idIsTwentyBytesOfItsText()
{
    QCOMPARE(Base58::decode(QStringLiteral("2cFupjhnEsSn59qHXstmK2ffpLv2")).bytes(),
             QByteArray("simply a long string"));
    QCOMPARE(Base58::decode(QStringLiteral("  2cFupjhnEsSn59qHXstmK2ffpLv2\n")).bytes(),
             QByteArray("simply a long string"));
    QCOMPARE(Base58::decode(QString(20, QLatin1Char('1'))).bytes(), QByteArray(20, '\0'));
    for (int i = 0; i < 200; ++i) {
        const int160 id = int160::random();
        QCOMPARE(Base58::decode(Base58::encode(id.bytes())).bytes(), id.bytes());
    }
}

void tst_Base58::idOfAnyOtherDecodedLengthIsEmpty_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("one byte") << QStringLiteral("2");
    QTest::newRow("19 zero bytes") << QString(19, QLatin1Char('1'));
    QTest::newRow("21 zero bytes") << QString(21, QLatin1Char('1'));
    QTest::newRow("25 bytes") << QStringLiteral("1NS17iag9jJgTHD1VXjvLCEnZuQ3rJDE9L");
    QTest::newRow("outside the alphabet") << QStringLiteral("2cFupjhnEsSn59qHXstmK2ffpLv0");
    QTest::newRow("another script") << QString(28, QChar(0x0416));
    QTest::newRow("a NUL behind an id")
        << QStringLiteral("2cFupjhnEsSn59qHXstmK2ffpLv2") + QChar(0) + QStringLiteral("x");
}

void tst_Base58::idOfAnyOtherDecodedLengthIsEmpty()
{
    QFETCH(QString, text);
    QCOMPARE(Base58::decode(text).bytes(), QByteArray());
}

void tst_Base58::idOfVeryLongTextIsEmptyAtOnce()
{
    // By the square of its length this would take hours.
    QCOMPARE(Base58::decode(QString(10'000'000, QLatin1Char('z'))).bytes(), QByteArray());
}

void tst_Base58::everyLengthSurvivesRoundTrip()
{
    QRandomGenerator random(1);
    for (size_t length = 0; length <= 100; ++length) {
        for (const unsigned char fill : Bytes{0x00, 0x01, 0x80, 0xFF, 0x55}) {
            Bytes bytes(length, fill);
            if (fill == 0x55) {
                std::generate(bytes.begin(), bytes.end(),
                              [&random] { return static_cast<unsigned char>(random.bounded(256)); });
            }
            Bytes decoded;
            QVERIFY(Base58::decode(Base58::encode(bytes), decoded));
            QVERIFY(decoded == bytes);
        }
    }
}

void tst_Base58::anythingAtAllDecodesWithoutFault()
{
    QRandomGenerator random(2);
    for (int i = 0; i < 2000; ++i) {
        QString text;
        std::string narrow;
        for (quint32 length = random.bounded(60U); length > 0; --length) {
            text += QChar(static_cast<ushort>(random.generate()));
            narrow += static_cast<char>(random.generate());
        }
        const int size = Base58::decode(text).bytes().size();
        QVERIFY(size == 0 || size == 20);
        Bytes bytes;
        if (Base58::decode(narrow, bytes)) {
            QVERIFY(bytes.size() <= narrow.size());
        }
    }
}

QTEST_GUILESS_MAIN(tst_Base58)
#include "tst_Base58.moc"
