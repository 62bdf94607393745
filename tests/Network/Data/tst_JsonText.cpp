#include "Network/Data/JsonText.h"

#include <QFile>
#include <QJsonObject>
#include <QtTest>

class tst_JsonText : public QObject
{
    Q_OBJECT

private slots:
    void isReadAsQtDoes_data();
    void isReadAsQtDoes();
    void aKeyNamedAgainAfterAnArrayOrObjectIsRefused_data();
    void aKeyNamedAgainAfterAnArrayOrObjectIsRefused();
    void noTextKeepsMemory();
};

void tst_JsonText::isReadAsQtDoes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("an object") << QByteArray(R"({"a":[1,{"b":null}],"c":"[{,"})");
    QTest::newRow("an array") << QByteArray(R"([[1],[1],{"a":[]},{"a":[]}])");
    QTest::newRow("the same key on two levels") << QByteArray(R"({"a":{"a":[1]},"b":{"a":[1]}})");
    QTest::newRow("a number named again") << QByteArray(R"({"a":1,"a":2})");
    QTest::newRow("an array that comes last") << QByteArray(R"({"a":1,"a":[2]})");
    QTest::newRow("a value like a key") << QByteArray(R"({"a":[1],"b":"a"})");
    QTest::newRow("a key with a quotation mark") << QByteArray(R"({"a\"":[1],"a":"\\"})");
    QTest::newRow("too many ends") << QByteArray(R"({"a":1}}]})");
    QTest::newRow("no end") << QByteArray(R"({"a":[1,{"b)");
    QTest::newRow("a string cut off behind a backslash") << QByteArray(R"({"a":"\)");
}

void tst_JsonText::isReadAsQtDoes()
{
    QFETCH(QByteArray, text);
    QJsonParseError error;
    QJsonParseError expected;
    QCOMPARE(JsonText::parse(text, &error), QJsonDocument::fromJson(text, &expected));
    QCOMPARE(error.error, expected.error);
    QCOMPARE(error.offset, expected.offset);
}

void tst_JsonText::aKeyNamedAgainAfterAnArrayOrObjectIsRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("array") << QByteArray(R"({"a":[1],"a":2})");
    QTest::newRow("object") << QByteArray(R"({"a":{"b":1},"a":2})");
    QTest::newRow("not at once") << QByteArray(R"({"a":[1],"b":0,"c":[2],"a":[2]})");
    QTest::newRow("of three the second") << QByteArray(R"({"a":1,"a":[1],"a":2})");
    QTest::newRow("written otherwise") << QByteArray(R"({"a":[1],"\u0061":2})");
    QTest::newRow("within an array") << QByteArray(R"([0,{"a":[1],"a":2}])");
    QTest::newRow("within an object") << QByteArray(R"({"v":{"a":[1],"a":2}})");
    QTest::newRow("behind one") << QByteArray(R"({"v":{"b":0},"a":[1],"a":2})");
    QTest::newRow("in a text that has no end") << QByteArray(R"({"v":{"a":[1],"a":2})");
}

void tst_JsonText::aKeyNamedAgainAfterAnArrayOrObjectIsRefused()
{
    QFETCH(QByteArray, text);
    QJsonParseError error;
    QVERIFY(JsonText::parse(text, &error).isNull());
    QCOMPARE(error.error, QJsonParseError::IllegalValue);
}

// 100 MB would stay, of texts that each fit into a datagram.
void tst_JsonText::noTextKeepsMemory()
{
    const auto residentPages = [] {
        QFile file(QStringLiteral("/proc/self/statm"));
        return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').at(1).toLongLong() : 0;
    };
    const QByteArray text = R"({"a":[)" + QByteArray("1,").repeated(30'000) + R"(1],"a":2})";
    const qint64 before = residentPages();
    for (int i = 0; i < 200; ++i) {
        QVERIFY(JsonText::parse(text).isNull());
    }
    QVERIFY(before > 0);
    QVERIFY(residentPages() - before < 5000); // 20 MB
}

QTEST_APPLESS_MAIN(tst_JsonText)
#include "tst_JsonText.moc"
