#include "Network/Data/Json.h"

#include "support/LogCapture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QtTest>
#include <limits>

class tst_Json : public QObject
{
    Q_OBJECT

private slots:
    void boolReadsWithDefaultFalse();
    void stringReadsWithDefaultEmpty();
    void variantReadsWhatIsThere();
    void hostAddressReadsTextAndIsNullOtherwise();
    void nodeIdReadsFortyDigitsAndIsEmptyOtherwise();
    void numbersConvert_data();
    void numbersConvert();
    void failureLogsItsMessageGivesZeroAndFalse_data();
    void failureLogsItsMessageGivesZeroAndFalse();
    void valueIsEscapedAndCutInMessage();
    void toInt8NamesQuint16InItsMessage();
    void numbersBeyondTheirTypeDoNotFault();
    void warningNamesReader();
    void containsTellsWhetherKeyIsThere();
    void containsAllNeedsEveryKeyAndIsTrueForNone();
    void objectWithItsKeysParses();
    void textThatIsNoObjectFailsWithParseMessage_data();
    void textThatIsNoObjectFailsWithParseMessage();
    void firstMissingKeyAloneIsLoggedAndObjectStays();
    void deepNestingIsRefusedAndDoesNotEatStack();
    void anythingAtAllParsesWithoutFault();
    void floodOfBadValuesIsLoggedFiftyTimesPerSecond();
};

namespace
{

const QString kKey = QStringLiteral("k");

QJsonObject parsed(const QByteArray& json)
{
    return QJsonDocument::fromJson(json).object();
}

QJsonObject with(const QByteArray& value)
{
    return parsed("{\"k\":" + value + "}");
}

struct Numbers
{
    int toInt = -1;
    qint8 toInt8 = -1;
    quint16 toUInt16 = 1;
    qint64 toLongLong = -1;
    double toDouble = -1;
    bool allRead = false;

    explicit Numbers(const QJsonObject& object)
    {
        const bool results[] = {Json::toInt(object, kKey, toInt), Json::toInt8(object, kKey, toInt8),
                                Json::toUInt16(object, kKey, toUInt16),
                                Json::toLongLong(object, kKey, toLongLong),
                                Json::toDouble(object, kKey, toDouble)};
        allRead = std::all_of(std::begin(results), std::end(results), [](bool result) { return result; });
    }
};

// What follows the tag of the one record at warning level.
QString onlyWarning(const LogCapture& log)
{
    const QStringList texts = log.texts(QtWarningMsg);
    return texts.size() == 1 && log.records().size() == 1
               ? texts.constFirst().section(QStringLiteral("=>\t "), 1)
               : texts.join(QLatin1Char('|'));
}

} // namespace

void tst_Json::boolReadsWithDefaultFalse()
{
    const LogCapture log;
    bool value = false;
    QVERIFY(Json::toBool(with("true"), kKey, value));
    QVERIFY(value);
    for (const char* const other : {"false", "1", "\"true\"", "null", "{}"}) {
        value = true;
        QVERIFY(Json::toBool(with(other), kKey, value));
        QVERIFY2(!value, other);
    }
    value = true;
    QVERIFY(Json::toBool({}, kKey, value));
    QVERIFY(!value);
    QCOMPARE(log.texts(), QStringList());
}

void tst_Json::stringReadsWithDefaultEmpty()
{
    const LogCapture log;
    QString value;
    QVERIFY(Json::toString(with("\"text\""), kKey, value));
    QCOMPARE(value, QStringLiteral("text"));
    QVERIFY(Json::toString(with("12"), kKey, value));
    QCOMPARE(value, QString());
    value = QStringLiteral("old");
    QVERIFY(Json::toString({}, kKey, value));
    QCOMPARE(value, QString());
    QCOMPARE(log.texts(), QStringList());
}

void tst_Json::variantReadsWhatIsThere()
{
    QVariant value;
    QVERIFY(Json::toVariant(with("\"text\""), kKey, value));
    QCOMPARE(value, QVariant(QStringLiteral("text")));
    QVERIFY(Json::toVariant(with("true"), kKey, value));
    QCOMPARE(value, QVariant(true));
    QVERIFY(Json::toVariant(with("2.5"), kKey, value));
    QCOMPARE(value, QVariant(2.5));
    QVERIFY(Json::toVariant({}, kKey, value));
    QVERIFY(!value.isValid());
}

void tst_Json::hostAddressReadsTextAndIsNullOtherwise()
{
    const LogCapture log;
    QHostAddress value;
    QVERIFY(Json::toHostAddress(with("\"192.168.1.7\""), kKey, value));
    QCOMPARE(value, QHostAddress(QStringLiteral("192.168.1.7")));
    for (const char* const other : {"\"no address\"", "\"\"", "7", "null"}) {
        value = QHostAddress::LocalHost;
        QVERIFY(Json::toHostAddress(with(other), kKey, value));
        QVERIFY2(value.isNull(), other);
    }
    QCOMPARE(log.texts(), QStringList());
}

void tst_Json::nodeIdReadsFortyDigitsAndIsEmptyOtherwise()
{
    const LogCapture log;
    int160 value;
    QVERIFY(Json::toNodeId(with("\"00000000000000000000000000000000000000fF\""), kKey, value));
    QCOMPARE(value.bytes(), QByteArray(19, '\0') + '\xFF');
    for (const char* const other : {"\"00\"", "\"\"", "7", "null"}) {
        value = int160::highest();
        QVERIFY(Json::toNodeId(with(other), kKey, value));
        QCOMPARE(value.bytes(), QByteArray());
    }
    QCOMPARE(log.texts(), QStringList());
}

void tst_Json::numbersConvert_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<int>("toInt");
    QTest::addColumn<int>("toInt8");
    QTest::addColumn<int>("toUInt16");
    QTest::addColumn<qint64>("toLongLong");
    QTest::addColumn<double>("toDouble");
    QTest::newRow("12") << QByteArray("12") << 12 << 12 << 12 << qint64(12) << 12.0;
    QTest::newRow("a string") << QByteArray("\"12\"") << 12 << 12 << 12 << qint64(12) << 12.0;
    QTest::newRow("true") << QByteArray("true") << 1 << 1 << 1 << qint64(1) << 1.0;
    QTest::newRow("false") << QByteArray("false") << 0 << 0 << 0 << qint64(0) << 0.0;
    QTest::newRow("a fraction rounds up") << QByteArray("2.5") << 3 << 3 << 3 << qint64(3) << 2.5;
    QTest::newRow("a fraction rounds down") << QByteArray("2.4") << 2 << 2 << 2 << qint64(2) << 2.4;
    QTest::newRow("65536 keeps its low 16 bits")
        << QByteArray("65536") << 65536 << 0 << 0 << qint64(65536) << 65536.0;
    QTest::newRow("70000") << QByteArray("70000") << 70000 << 112 << 4464 << qint64(70000) << 70000.0;
    QTest::newRow("255 keeps its low 8 bits")
        << QByteArray("255") << 255 << -1 << 255 << qint64(255) << 255.0;
    QTest::newRow("128") << QByteArray("128") << 128 << -128 << 128 << qint64(128) << 128.0;
}

void tst_Json::numbersConvert()
{
    QFETCH(QByteArray, json);
    const LogCapture log;
    const Numbers numbers(with(json));
    QVERIFY(numbers.allRead);
    QTEST(numbers.toInt, "toInt");
    QTEST(int(numbers.toInt8), "toInt8");
    QTEST(int(numbers.toUInt16), "toUInt16");
    QTEST(numbers.toLongLong, "toLongLong");
    QTEST(numbers.toDouble, "toDouble");
    QCOMPARE(log.texts(), QStringList());
}

void tst_Json::failureLogsItsMessageGivesZeroAndFalse_data()
{
    QTest::addColumn<QJsonObject>("object");
    QTest::addColumn<QString>("value");
    QTest::newRow("missing") << QJsonObject() << QString();
    QTest::newRow("null") << with("null") << QString();
    QTest::newRow("text") << with("\"abc\"") << QStringLiteral("abc");
    QTest::newRow("text with a place marker") << with("\"%1 %2\"") << QStringLiteral("%1 %2");
    QTest::newRow("empty text") << with("\"\"") << QString();
    QTest::newRow("array") << with("[1]") << QString();
    QTest::newRow("object") << with("{\"k\":1}") << QString();
}

void tst_Json::failureLogsItsMessageGivesZeroAndFalse()
{
    QFETCH(QJsonObject, object);
    QFETCH(QString, value);
    const auto message = [&value](const char* type) {
        return QStringLiteral("Error convert QJsonObject ") + QLatin1String(type) +
               QStringLiteral(" value! Key: k, value: ") + value;
    };
    LogCapture log;
    int toInt = 5;
    QVERIFY(!Json::toInt(object, kKey, toInt));
    QCOMPARE(toInt, 0);
    QCOMPARE(onlyWarning(log), message("int"));
    log.clear();
    qint8 toInt8 = 5;
    QVERIFY(!Json::toInt8(object, kKey, toInt8));
    QCOMPARE(toInt8, qint8(0));
    QCOMPARE(onlyWarning(log), message("quint16"));
    log.clear();
    quint16 toUInt16 = 5;
    QVERIFY(!Json::toUInt16(object, kKey, toUInt16));
    QCOMPARE(toUInt16, quint16(0));
    QCOMPARE(onlyWarning(log), message("quint16"));
    log.clear();
    qint64 toLongLong = 5;
    QVERIFY(!Json::toLongLong(object, kKey, toLongLong));
    QCOMPARE(toLongLong, qint64(0));
    QCOMPARE(onlyWarning(log), message("qint64"));
    log.clear();
    double toDouble = 5;
    QVERIFY(!Json::toDouble(object, kKey, toDouble));
    QCOMPARE(toDouble, 0.0);
    QCOMPARE(onlyWarning(log), message("double"));
}

void tst_Json::valueIsEscapedAndCutInMessage()
{
    LogCapture log;
    int value = 5;
    QVERIFY(!Json::toInt(with(R"("a\n\u202eb")"), kKey, value));
    QCOMPARE(onlyWarning(log),
             QStringLiteral("Error convert QJsonObject int value! Key: k, value: a\\n\\u202eb"));
    log.clear();
    QVERIFY(!Json::toInt(QJsonObject{{kKey, QString(5000, QLatin1Char('x'))}}, kKey, value));
    QCOMPARE(onlyWarning(log), QStringLiteral("Error convert QJsonObject int value! Key: k, value: %1")
                                   .arg(QString(200, QLatin1Char('x'))));
}

void tst_Json::toInt8NamesQuint16InItsMessage()
{
    const LogCapture log;
    qint8 value = 5;
    QVERIFY(!Json::toInt8(with("\"x\""), kKey, value));
    QCOMPARE(onlyWarning(log), QStringLiteral("Error convert QJsonObject quint16 value! Key: k, value: x"));
}

void tst_Json::numbersBeyondTheirTypeDoNotFault()
{
    const LogCapture log;
    for (const char* const json : {"1e300", "-1e300", "1e18", "9223372036854775808", "-9223372036854775809",
                                   "4294967296", "-1", "1e-320", "\"1e300\"", "\"nan\"", "\"inf\""}) {
        (void)Numbers(with(json));
    }
    for (const double number :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        (void)Numbers(QJsonObject{{kKey, number}});
    }
    double value = 0;
    QVERIFY(Json::toDouble(with("1e300"), kKey, value));
    QCOMPARE(value, 1e300);
}

void tst_Json::warningNamesReader()
{
    const LogCapture log;
    int value = 0;
    QVERIFY(!Json::toInt({}, kKey, value));
    QVERIFY2(log.texts().constFirst().startsWith(QStringLiteral("[ W ][ Network/Data/Json ] toInt : ")),
             qPrintable(log.texts().constFirst()));
}

void tst_Json::containsTellsWhetherKeyIsThere()
{
    QVERIFY(Json::contains(with("null"), kKey));
    QVERIFY(!Json::contains(with("null"), QStringLiteral("K")));
    QVERIFY(!Json::contains({}, kKey));
}

void tst_Json::containsAllNeedsEveryKeyAndIsTrueForNone()
{
    const QJsonObject object = parsed(R"({"a":1,"b":2})");
    QVERIFY(Json::containsAll(object, {QStringLiteral("b"), QStringLiteral("a")}));
    QVERIFY(!Json::containsAll(object, {QStringLiteral("a"), QStringLiteral("c")}));
    QVERIFY(Json::containsAll(object, {}));
    QVERIFY(Json::containsAll({}, {}));
}

void tst_Json::objectWithItsKeysParses()
{
    const LogCapture log;
    QJsonObject object{{QStringLiteral("old"), 1}};
    QVERIFY(
        Json::fromByteArray(R"( {"cd":"ping","c":7} )", object, {QStringLiteral("cd"), QStringLiteral("c")}));
    QCOMPARE(object, parsed(R"({"cd":"ping","c":7})"));
    QVERIFY(Json::fromByteArray("{}", object, {}));
    QVERIFY(object.isEmpty());
    QCOMPARE(log.texts(), QStringList());
}

void tst_Json::textThatIsNoObjectFailsWithParseMessage_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("an array, valid as it is") << QByteArray("[1]");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("hello");
    QTest::newRow("cut") << QByteArray("{\"cd\":");
    QTest::newRow("something behind") << QByteArray("{\"cd\":\"\"}x");
    QTest::newRow("not UTF-8") << QByteArray("{\"cd\":\"\xFF\xFE\"}");
    QTest::newRow("zeros") << QByteArray(100, '\0');
}

void tst_Json::textThatIsNoObjectFailsWithParseMessage()
{
    QFETCH(QByteArray, data);
    QJsonParseError error;
    QJsonDocument::fromJson(data, &error);
    const LogCapture log;
    QJsonObject object{{QStringLiteral("old"), 1}};
    QVERIFY(!Json::fromByteArray(data, object, {}));
    QCOMPARE(onlyWarning(log),
             QStringLiteral("Error convert QByteArray to QJsonDocument! ") + error.errorString());
    QCOMPARE(object, (QJsonObject{{QStringLiteral("old"), 1}}));
}

void tst_Json::firstMissingKeyAloneIsLoggedAndObjectStays()
{
    const LogCapture log;
    QJsonObject object;
    QVERIFY(!Json::fromByteArray(R"({"a":1})", object,
                                 {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    QCOMPARE(onlyWarning(log), QStringLiteral("Error parse QJsonObject - no b key!"));
    QCOMPARE(object, parsed(R"({"a":1})"));
}

void tst_Json::deepNestingIsRefusedAndDoesNotEatStack()
{
    const LogCapture log;
    QJsonObject object;
    const int deep = 32'000;
    QVERIFY(!Json::fromByteArray(QByteArray(2 * deep, '['), object, {}));
    QVERIFY(!Json::fromByteArray(QByteArray(deep, '[') + QByteArray(deep, ']'), object, {}));
    QByteArray nested;
    for (int i = 0; i < deep / 4; ++i) {
        nested += "{\"a\":";
    }
    QVERIFY(!Json::fromByteArray(nested + '1' + QByteArray(deep / 4, '}'), object, {}));
    QCOMPARE(log.texts(QtWarningMsg).size(), 3);
}

void tst_Json::anythingAtAllParsesWithoutFault()
{
    const LogCapture log;
    QRandomGenerator random(3);
    const QByteArray seed =
        R"({"cd":"wp_rrd","n":"x","v":[1,-2.5e7,true,null,{"k":"\u00e9\n"}],"c":12345678901})";
    for (int i = 0; i < 3000; ++i) {
        QByteArray data = seed;
        for (quint32 changes = random.bounded(8U); changes > 0; --changes) {
            data[random.bounded(data.size())] = static_cast<char>(random.generate());
        }
        data.truncate(random.bounded(data.size()) + 1);
        QJsonObject object;
        if (Json::fromByteArray(data, object, {QStringLiteral("cd")})) {
            for (const QString& key : object.keys()) {
                QVariant variant;
                Json::toVariant(object, key, variant);
                int number = 0;
                Json::toInt(object, key, number);
            }
        }
    }
}

void tst_Json::floodOfBadValuesIsLoggedFiftyTimesPerSecond()
{
    const LogCapture log;
    QJsonObject object;
    quint16 value = 0;
    for (int i = 0; i < 1000; ++i) {
        QVERIFY(!Json::toUInt16({}, kKey, value));
        QVERIFY(!Json::fromByteArray("x", object, {}));
    }
    // Two kinds; a second may end in the middle.
    QVERIFY2(log.texts().size() < 500, qPrintable(QString::number(log.texts().size())));
}

QTEST_GUILESS_MAIN(tst_Json)
#include "tst_Json.moc"
