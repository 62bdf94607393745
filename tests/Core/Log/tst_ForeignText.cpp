#include "Core/Log/ForeignText.h"

#include <QtTest>

class tst_ForeignText : public QObject
{
    Q_OBJECT

private slots:
    void textThatAnyoneMayReadStaysAsItIs_data();
    void textThatAnyoneMayReadStaysAsItIs();
    void whatTerminalWouldObeyIsEscaped_data();
    void whatTerminalWouldObeyIsEscaped();
    void atMostTwoHundredCharactersAreLeft();
    void noEscapeAndNoPairIsCutInTwo();
    void secondTimeChangesNothing();
};

namespace
{

QString utf8(const char* text)
{
    return QString::fromUtf8(text);
}

} // namespace

void tst_ForeignText::textThatAnyoneMayReadStaysAsItIs_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << QString();
    QTest::newRow("a command") << utf8("connect_to_host \"x\" \\ 100 %1");
    QTest::newRow("accents") << utf8("Empf\u00e4nger \u010c\u00edslo e\u0301");
    QTest::newRow("right to left letters") << utf8("\u05e9\u05dc\u05d5\u05dd");
    QTest::newRow("beyond 16 bits") << utf8("\U0001F4FB");
    QTest::newRow("a replacement character") << utf8("\uFFFD");
}

void tst_ForeignText::textThatAnyoneMayReadStaysAsItIs()
{
    QFETCH(QString, text);
    QCOMPARE(foreignText(text), text);
}

void tst_ForeignText::whatTerminalWouldObeyIsEscaped_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("a forged line") << utf8("a\n[ C ][ x ]") << utf8("a\\n[ C ][ x ]");
    QTest::newRow("carriage return and tab") << utf8("a\r\tb") << utf8("a\\r\\tb");
    QTest::newRow("a colour") << utf8("\x1b[31mred") << utf8("\\x1b[31mred");
    QTest::newRow("a window's title") << utf8("\x1b]0;title\x07") << utf8("\\x1b]0;title\\x07");
    QTest::newRow("a NUL") << QString(QChar(0)) << utf8("\\x00");
    QTest::newRow("delete") << utf8("\x7f") << utf8("\\x7f");
    QTest::newRow("control sequence introducer of 8 bits") << utf8("\u009b") << utf8("\\x9b");
    QTest::newRow("next line") << utf8("\u0085") << utf8("\\x85");
    QTest::newRow("line and paragraph separators") << utf8("\u2028\u2029") << utf8("\\u2028\\u2029");
    QTest::newRow("turned round") << utf8("\u202ecba") << utf8("\\u202ecba");
    QTest::newRow("isolates") << utf8("\u2066x\u2069") << utf8("\\u2066x\\u2069");
    QTest::newRow("a blank of no width") << utf8("a\u200bb\uFEFF") << utf8("a\\u200bb\\ufeff");
    QTest::newRow("a tag character") << utf8("\U000E0001") << utf8("\\U000e0001");
    QTest::newRow("half a pair") << QString(QChar(0xD83D)) + QLatin1Char('x') << utf8("\\ud83dx");
    QTest::newRow("the other half") << QString(QChar(0xDCFB)) << utf8("\\udcfb");
    QTest::newRow("private use") << utf8("\uE000") << utf8("\\ue000");
}

void tst_ForeignText::whatTerminalWouldObeyIsEscaped()
{
    QFETCH(QString, text);
    QTEST(foreignText(text), "shown");
}

void tst_ForeignText::atMostTwoHundredCharactersAreLeft()
{
    QCOMPARE(foreignText(QString(200, QLatin1Char('x'))), QString(200, QLatin1Char('x')));
    QCOMPARE(foreignText(QString(60'000, QLatin1Char('x'))), QString(200, QLatin1Char('x')));
    QCOMPARE(foreignText(QString(60'000, QLatin1Char('\n'))), utf8("\\n").repeated(100));
    QCOMPARE(foreignText(utf8("abcdef"), 4), utf8("abcd"));
}

void tst_ForeignText::noEscapeAndNoPairIsCutInTwo()
{
    QCOMPARE(foreignText(utf8("abc\x1b"), 6), utf8("abc"));
    QCOMPARE(foreignText(utf8("abc\x1b"), 7), utf8("abc\\x1b"));
    QCOMPARE(foreignText(utf8("abc\U0001F4FB"), 4), utf8("abc"));
}

void tst_ForeignText::secondTimeChangesNothing()
{
    const QString once = foreignText(utf8("a\n\x1b]0;\u202e\\x1b"));
    QCOMPARE(foreignText(once), once);
}

QTEST_GUILESS_MAIN(tst_ForeignText)
#include "tst_ForeignText.moc"
