#include "Network/Protocol/Announcement.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>
#include <random>

class tst_Announcement : public QObject
{
    Q_OBJECT

private slots:
    void whatServerBroadcastsIsRead();
    void whatIsWrittenIsReadAgain();
    void emptyTextsAreAllowed();
    void furtherKeysAreIgnored();
    void anotherMajorVersionIsReadAndNotCompatible();
    void keyThatIsMissingOrWrongMakesItNone_data();
    void keyThatIsMissingOrWrongMakesItNone();
    void whatIsNoObjectIsNone_data();
    void whatIsNoObjectIsNone();
    void datagramBeyondBoundIsNone();
    void textForPeopleHoldsNothingThatTerminalObeys();
    void identificatorIsExact();
    void anythingAtAllIsReadWithoutFault();
};

namespace
{

const QByteArray kDatagram =
    R"({"description":"/home/a/b.wav","device_type":0,"id":"00112233445566778899aabbccddeeff00010203",)"
    R"("identificator":"/home/a/b.wav","port":50123,"title":"IQ file player","vma":8,"vmi":0})";

QByteArray with(const QString& key, const QJsonValue& value)
{
    QJsonObject object = QJsonDocument::fromJson(kDatagram).object();
    object.insert(key, value);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

void tst_Announcement::whatServerBroadcastsIsRead()
{
    const auto announcement = Announcement::decode(kDatagram);
    QVERIFY(announcement);
    QCOMPARE(announcement->id.toString(), QStringLiteral("00112233445566778899aabbccddeeff00010203"));
    QCOMPARE(announcement->majorVersion, 8);
    QCOMPARE(announcement->minorVersion, 0);
    QCOMPARE(announcement->port, quint16(50123));
    QCOMPARE(announcement->deviceType, 0);
    QCOMPARE(announcement->title, QStringLiteral("IQ file player"));
    QCOMPARE(announcement->description, QStringLiteral("/home/a/b.wav"));
    QCOMPARE(announcement->identificator, QStringLiteral("/home/a/b.wav"));
    QVERIFY(announcement->isCompatible());
    QVERIFY(*announcement == *Announcement::decode(kDatagram));
    QVERIFY(*announcement != *Announcement::decode(with(QStringLiteral("title"), QStringLiteral("b"))));
}

void tst_Announcement::whatIsWrittenIsReadAgain()
{
    const Announcement announcement{int160(QStringLiteral("00112233445566778899aabbccddeeff00010203")),
                                    8,
                                    0,
                                    50123,
                                    0,
                                    QStringLiteral("IQ file player"),
                                    QStringLiteral("/home/a/b.wav"),
                                    QStringLiteral("/home/a/b.wav")};
    QCOMPARE(announcement.encode(), kDatagram);
    QVERIFY(Announcement::decode(announcement.encode()) == announcement);
}

void tst_Announcement::emptyTextsAreAllowed()
{
    for (const QString& key :
         {QStringLiteral("title"), QStringLiteral("description"), QStringLiteral("identificator")}) {
        QVERIFY(Announcement::decode(with(key, QString())));
    }
}

void tst_Announcement::furtherKeysAreIgnored()
{
    QVERIFY(Announcement::decode(with(QStringLiteral("colour"), 7)));
}

void tst_Announcement::anotherMajorVersionIsReadAndNotCompatible()
{
    const auto announcement = Announcement::decode(with(QStringLiteral("vma"), 9));
    QVERIFY(announcement);
    QVERIFY(!announcement->isCompatible());
}

void tst_Announcement::keyThatIsMissingOrWrongMakesItNone_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    const QStringList keys = QJsonDocument::fromJson(kDatagram).object().keys();
    QCOMPARE(keys.size(), 8);
    for (const QString& key : keys) {
        const bool isNumber = QJsonDocument::fromJson(kDatagram).object().value(key).isDouble();
        QTest::addRow("no %s", qPrintable(key)) << key << QJsonValue(QJsonValue::Undefined);
        QTest::addRow("%s null", qPrintable(key)) << key << QJsonValue();
        QTest::addRow("%s of another type", qPrintable(key))
            << key << (isNumber ? QJsonValue(QStringLiteral("8")) : QJsonValue(8));
        if (isNumber) {
            QTest::addRow("%s with a fraction", qPrintable(key)) << key << QJsonValue(1.5);
            QTest::addRow("%s huge", qPrintable(key)) << key << QJsonValue(1e300);
            QTest::addRow("%s hugely negative", qPrintable(key)) << key << QJsonValue(-1e300);
        } else {
            QTest::addRow("%s endless", qPrintable(key))
                << key << QJsonValue(QString(5000, QLatin1Char('a')));
        }
    }
    QTest::newRow("port 0") << QStringLiteral("port") << QJsonValue(0);
    QTest::newRow("port 65536") << QStringLiteral("port") << QJsonValue(65536);
    QTest::newRow("id short") << QStringLiteral("id") << QJsonValue(QString(39, QLatin1Char('1')));
    QTest::newRow("id not hexadecimal") << QStringLiteral("id") << QJsonValue(QString(40, QLatin1Char('g')));
    QTest::newRow("id null") << QStringLiteral("id") << QJsonValue(QString(40, QLatin1Char('0')));
}

void tst_Announcement::keyThatIsMissingOrWrongMakesItNone()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QVERIFY(!Announcement::decode(with(key, value)));
}

void tst_Announcement::whatIsNoObjectIsNone_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("array") << QByteArray("[1]");
    QTest::newRow("text") << QByteArray("hello");
    QTest::newRow("cut") << kDatagram.left(kDatagram.size() - 1);
    QTest::newRow("something behind") << kDatagram + "x";
    QTest::newRow("bytes") << QByteArray(100, '\xff');
    QTest::newRow("nested") << QByteArray(20'000, '[');
}

void tst_Announcement::whatIsNoObjectIsNone()
{
    QFETCH(QByteArray, datagram);
    QVERIFY(!Announcement::decode(datagram));
}

void tst_Announcement::datagramBeyondBoundIsNone()
{
    const QByteArray padded = kDatagram + QByteArray(Announcement::kMaximumSize - kDatagram.size(), ' ');
    QVERIFY(Announcement::decode(padded));
    QVERIFY(!Announcement::decode(padded + ' '));
}

void tst_Announcement::textForPeopleHoldsNothingThatTerminalObeys()
{
    const QString text = QStringLiteral("a\u001b[31mb\nc\u0007d\u009be\u202ef g \u00fc");
    const auto announcement = Announcement::decode(with(QStringLiteral("title"), text));
    QVERIFY(announcement);
    QCOMPARE(announcement->title, QStringLiteral("a\\x1b[31mb\\nc\\x07d\\x9be\\u202ef g \u00fc"));
    const auto other = Announcement::decode(with(QStringLiteral("description"), text));
    QVERIFY(other);
    QCOMPARE(other->description, announcement->title);
}

void tst_Announcement::identificatorIsExact()
{
    const QString text = QStringLiteral("a\u001b\n\u00fc \"");
    const auto announcement = Announcement::decode(with(QStringLiteral("identificator"), text));
    QVERIFY(announcement);
    QCOMPARE(announcement->identificator, text);
}

void tst_Announcement::anythingAtAllIsReadWithoutFault()
{
    std::mt19937 random(1);
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    int read = 0;
    for (int round = 0; round < 20'000; ++round) {
        QByteArray datagram = kDatagram;
        for (int changes = below(4); changes > 0; --changes) {
            const int at = below(datagram.size());
            switch (below(3)) {
            case 0:
                datagram[at] = static_cast<char>(below(256));
                break;
            case 1:
                datagram.insert(at, kDatagram.mid(below(200), below(40)));
                break;
            default:
                datagram.remove(at, below(20));
                break;
            }
            datagram.append(' ');
        }
        const auto announcement = Announcement::decode(datagram);
        if (announcement) {
            ++read;
            QVERIFY(announcement->port != 0);
            QVERIFY(!announcement->id.isNull());
        }
    }
    QVERIFY(read > 0);
}

QTEST_APPLESS_MAIN(tst_Announcement)
#include "tst_Announcement.moc"
