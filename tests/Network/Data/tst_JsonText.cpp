#include "Network/Data/JsonText.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>
#include <QtTest>
#include <functional>
#include <limits>

class tst_JsonText : public QObject
{
    Q_OBJECT

private slots:
    void isReadAsQtDoes_data();
    void isReadAsQtDoes();
    void keyNamedAgainAfterArrayOrObjectIsRefused_data();
    void keyNamedAgainAfterArrayOrObjectIsRefused();
    void nestingIsBounded_data();
    void nestingIsBounded();
    void noTextCostsMuchMoreThanQtsOwnReading_data();
    void noTextCostsMuchMoreThanQtsOwnReading();
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
    QTest::newRow("halves of a pair") << QByteArray(R"({"\ud83d":[1],"\udcfb":2,"\ud83d\ud83d":3})");
    QTest::newRow("an escape that is none") << QByteArray(R"({"a":[1],"\u00g1":2})");
    QTest::newRow("an escape cut off") << QByteArray(R"({"a":[1],"\u00)");
    QTest::newRow("keys that differ in their escapes") << QByteArray(R"({"\n":[1],"n":2,"\\n":3,"\r":4})");
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

void tst_JsonText::keyNamedAgainAfterArrayOrObjectIsRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("array") << QByteArray(R"({"a":[1],"a":2})");
    QTest::newRow("object") << QByteArray(R"({"a":{"b":1},"a":2})");
    QTest::newRow("not at once") << QByteArray(R"({"a":[1],"b":0,"c":[2],"a":[2]})");
    QTest::newRow("of three the second") << QByteArray(R"({"a":1,"a":[1],"a":2})");
    QTest::newRow("written otherwise") << QByteArray(R"({"a":[1],"\u0061":2})");
    QTest::newRow("an escape against two bytes") << QByteArray("{\"\xc3\xbc\":[1],\"\\u00fC\":2}");
    QTest::newRow("an escape against three bytes") << QByteArray("{\"\\u20ac\":[1],\"\xe2\x82\xac\":2}");
    QTest::newRow("a pair against four bytes")
        << QByteArray("{\"\xf0\x9f\x93\xbb\":[1],\"\\ud83d\\udCFB\":2}");
    QTest::newRow("half a pair again") << QByteArray(R"({"\ud83d":[1],"\uD83D":2})");
    QTest::newRow("short escapes") << QByteArray(
        R"({"\b\f\n\r\t\/\"\\":[1],"\u0008\u000c\u000A\u000d\u0009/\u0022\u005c":2})");
    QTest::newRow("an escape of a plain letter") << QByteArray(R"({"x":[1],"\x":2})");
    QTest::newRow("within an array") << QByteArray(R"([0,{"a":[1],"a":2}])");
    QTest::newRow("within an object") << QByteArray(R"({"v":{"a":[1],"a":2}})");
    QTest::newRow("behind one") << QByteArray(R"({"v":{"b":0},"a":[1],"a":2})");
    QTest::newRow("in a text that has no end") << QByteArray(R"({"v":{"a":[1],"a":2})");
}

void tst_JsonText::keyNamedAgainAfterArrayOrObjectIsRefused()
{
    QFETCH(QByteArray, text);
    QJsonParseError error;
    QVERIFY(JsonText::parse(text, &error).isNull());
    QCOMPARE(error.error, QJsonParseError::IllegalValue);
}

void tst_JsonText::nestingIsBounded_data()
{
    QTest::addColumn<QByteArray>("begin");
    QTest::addColumn<QByteArray>("end");
    QTest::newRow("arrays") << QByteArray("[") << QByteArray("]");
    QTest::newRow("objects") << QByteArray("{\"a\":") << QByteArray("}");
}

void tst_JsonText::nestingIsBounded()
{
    QFETCH(QByteArray, begin);
    QFETCH(QByteArray, end);
    const auto nested = [&](int depth) {
        const QByteArray inner = begin.startsWith('{') ? "1" : "";
        return begin.repeated(depth) + inner + end.repeated(depth);
    };
    QVERIFY(!JsonText::parse(nested(32)).isNull());
    QJsonParseError error;
    QVERIFY(JsonText::parse(nested(33), &error).isNull());
    QCOMPARE(error.error, QJsonParseError::DeepNesting);
    QVERIFY(JsonText::parse('[' + nested(32) + ']').isNull());
    // What has ended doesn't count.
    const QByteArray beside = '[' + (nested(31) + ',').repeated(10) + nested(31) + ']';
    QVERIFY(!JsonText::parse(beside).isNull());
}

void tst_JsonText::noTextCostsMuchMoreThanQtsOwnReading_data()
{
    constexpr int kSize = 50'000; // bytes, about
    const auto object = [](const QByteArray& key, const QByteArray& value, const QByteArray& first) {
        QByteArray text = '{' + first;
        for (int i = 0; text.size() < kSize; ++i) {
            text += '"' + key + QByteArray::number(i) + "\":" + value + ',';
        }
        return text + "\"\":0}";
    };
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("arrays in arrays") << QByteArray(kSize, '[');
    QTest::newRow("objects in objects") << QByteArray("{\"a\":").repeated(kSize / 5);
    QTest::newRow("escaped keys") << object("\\u0061", "1", "");
    QTest::newRow("escaped keys after one with an array") << object("\\u0061", "1", "\"a\":[],");
    QTest::newRow("escaped keys with arrays") << object("\\u0061", "[]", "");
    QTest::newRow("keys after one with an array") << object("", "1", "\"a\":[],");
    QTest::newRow("a long string") << "[\"" + QByteArray(kSize, 'x') + "\"]";
}

void tst_JsonText::noTextCostsMuchMoreThanQtsOwnReading()
{
    QFETCH(QByteArray, text);
    const auto time = [](const std::function<void()>& parse) {
        QElapsedTimer timer;
        timer.start();
        parse();
        return timer.nsecsElapsed();
    };
    // The best of turns that take place at the same time: a busy machine slows either.
    constexpr qint64 kPerByte = 5; // ns
    constexpr int kTurns = 500;
    qint64 ours = std::numeric_limits<qint64>::max();
    qint64 qts = ours;
    const auto isMuchMore = [&] { return ours >= 3 * qts / 2 + kPerByte * text.size(); };
    for (int i = 0; i < kTurns && (i < 20 || isMuchMore()); ++i) {
        ours = std::min(ours, time([&text] { (void)JsonText::parse(text); }));
        qts = std::min(qts, time([&text] { (void)QJsonDocument::fromJson(text); }));
    }
    QVERIFY2(!isMuchMore(), qPrintable(QStringLiteral("%1 ns, %2 by Qt alone").arg(ours).arg(qts)));
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
