#include "ClientApplication/Console/Text.h"

#include <QJsonObject>
#include <QtTest>

class tst_Text : public QObject
{
    Q_OBJECT

private slots:
    void frequenciesAreRead_data();
    void frequenciesAreRead();
    void timesAreRead_data();
    void timesAreRead();
    void numbersAreWritten();
    void valuesOfServerStayOnOneLine();
    void jsonIsExactAndNothingForTerminal();
    void longLinesAreBrokenAtBlanks();
};

void tst_Text::frequenciesAreRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("hertz");
    const auto row = [](const char* text, const QVariant& hertz) {
        QTest::newRow(text) << QString::fromLatin1(text) << hertz;
    };
    row("14250000", 14'250'000.0);
    row("14250k", 14'250'000.0);
    row("14.25M", 14'250'000.0);
    row("14.25 MHz", 14'250'000.0);
    row("0.01425G", 14'250'000.0);
    row("1.425e7", 14'250'000.0);
    row("-12k", -12'000.0);
    row("+.5K", 500.0);
    row("0", 0.0);
    row("5Hz", 5.0);
    row("", {});
    row("k", {});
    row("12kk", {});
    row("12 meter", {});
    row("1e999", {});
    row("nan", {});
    row("inf", {});
    row("0x10", {});
    row("12,5k", {});
}

void tst_Text::frequenciesAreRead()
{
    QFETCH(QString, text);
    QFETCH(QVariant, hertz);
    const std::optional<double> got = Text::toHertz(text);
    QCOMPARE(got.has_value(), hertz.isValid());
    if (got) {
        QCOMPARE(*got, hertz.toDouble());
    }
}

void tst_Text::timesAreRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("seconds");
    const auto row = [](const char* text, const QVariant& seconds) {
        QTest::newRow(text) << QString::fromLatin1(text) << seconds;
    };
    row("90", 90.0);
    row("2.5s", 2.5);
    row("15m", 900.0);
    row("1h", 3'600.0);
    row("0", {});
    row("-1", {});
    row("9000h", {});
    row("1d", {});
    row("", {});
}

void tst_Text::timesAreRead()
{
    QFETCH(QString, text);
    QFETCH(QVariant, seconds);
    const std::optional<double> got = Text::toSeconds(text);
    QCOMPARE(got.has_value(), seconds.isValid());
    if (got) {
        QCOMPARE(*got, seconds.toDouble());
    }
}

void tst_Text::numbersAreWritten()
{
    QCOMPARE(Text::hertz(14'250'000), QStringLiteral("14.250000 MHz"));
    QCOMPARE(Text::hertz(-12'000), QStringLiteral("-12 kHz"));
    QCOMPARE(Text::hertz(937'500), QStringLiteral("937.5 kHz"));
    QCOMPARE(Text::hertz(0), QStringLiteral("0 Hz"));
    QCOMPARE(Text::bytes(999), QStringLiteral("999 B"));
    QCOMPARE(Text::bytes(1'920'252), QStringLiteral("1.9 MB"));
    QCOMPARE(Text::bytes(5e12), QStringLiteral("5000.0 GB"));
    QCOMPARE(Text::duration(7.9), QStringLiteral("0:07"));
    QCOMPARE(Text::duration(754), QStringLiteral("12:34"));
    QCOMPARE(Text::duration(3'723), QStringLiteral("1:02:03"));
    QCOMPARE(Text::duration(-1), QStringLiteral("0:00"));
}

void tst_Text::valuesOfServerStayOnOneLine()
{
    QCOMPARE(Text::value(14'250'000.0), QStringLiteral("14250000"));
    QCOMPARE(Text::value(14'250'000LL), QStringLiteral("14250000"));
    QCOMPARE(Text::value(true), QStringLiteral("true"));
    QCOMPARE(Text::value(QVariantList{QStringLiteral("a"), 2}), QStringLiteral("a, 2"));
    QCOMPARE(Text::value(QVariantMap{{QStringLiteral("a"), 1}}), QStringLiteral("(an object)"));
    QCOMPARE(Text::value(QStringLiteral("a\nb\x1b[2Jc")), QStringLiteral("a\\nb\\x1b[2Jc"));
    QVERIFY(Text::value(QString(60'000, QLatin1Char('x'))).size() <= 200);
    QVariantList many;
    for (int n = 0; n < 10'000; ++n) {
        many.append(QString(1'000, QLatin1Char('x')));
    }
    QVERIFY(Text::value(many).size() < 21'000);
}

void tst_Text::jsonIsExactAndNothingForTerminal()
{
    const QString evil = QStringLiteral("\u00e4\u009b2J\u202e\u2028\u007f\u001b]0;x\u0007\n\"\\\U0001F4FB");
    const QJsonObject object{{evil, evil}};
    const QString line = Text::json(QJsonDocument(object));
    for (const QChar unit : line) {
        QVERIFY2(unit.unicode() >= 0x20 && unit.unicode() < 0x7F, qPrintable(line));
    }
    QCOMPARE(QJsonDocument::fromJson(line.toUtf8()).object(), object);
}

void tst_Text::longLinesAreBrokenAtBlanks()
{
    const auto wrapped = [](const char* text, int width) {
        return Text::wrapped(QString::fromLatin1(text), width);
    };
    QCOMPARE(wrapped("one two three", 20), QStringLiteral("one two three"));
    QCOMPARE(wrapped("one two three", 7), QStringLiteral("one two\nthree"));
    QCOMPARE(wrapped("one two three", 6), QStringLiteral("one\ntwo\nthree"));
    QCOMPARE(wrapped("one two\nthree", 9), QStringLiteral("one two\nthree"));
    QCOMPARE(wrapped("onetwothree four", 5), QStringLiteral("onetwothree four"));
    QCOMPARE(wrapped("", 5), QString());
}

QTEST_GUILESS_MAIN(tst_Text)
#include "tst_Text.moc"
