#include "Application/LineBuffer.h"

#include <QtTest>

class tst_LineBuffer : public QObject
{
    Q_OBJECT

private slots:
    void longestLineArrivesWhole();
    void lineTooLongIsDroppedToItsEnd_data();
    void lineTooLongIsDroppedToItsEnd();
    void inputThatNeverEndsLinesIsForgotten();
    void endlessInputTakesTimeInProportion();
};

void tst_LineBuffer::longestLineArrivesWhole()
{
    LineBuffer buffer;
    const QByteArray line(64 * 1024, 'x');
    QCOMPARE(buffer.append(line), QStringList());
    QCOMPARE(buffer.append("\nq\n"), (QStringList{QString::fromLatin1(line), QStringLiteral("q")}));
}

void tst_LineBuffer::lineTooLongIsDroppedToItsEnd_data()
{
    QTest::addColumn<int>("chunk");
    QTest::newRow("in one piece") << 200'000;
    QTest::newRow("as the console reads") << 4'096;
    QTest::newRow("byte by byte") << 1;
}

void tst_LineBuffer::lineTooLongIsDroppedToItsEnd()
{
    QFETCH(int, chunk);
    LineBuffer buffer;
    const QByteArray bytes = "a\n" + QByteArray(64 * 1024 + 1, 'x') + "\nb\nc";
    QStringList lines;
    for (int start = 0; start < bytes.size(); start += chunk) {
        lines += buffer.append(bytes.mid(start, chunk));
    }
    QCOMPARE(lines, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    QCOMPARE(buffer.takeRest(), QStringList{QStringLiteral("c")});
}

void tst_LineBuffer::inputThatNeverEndsLinesIsForgotten()
{
    LineBuffer buffer;
    QCOMPARE(buffer.append(QByteArray(64 * 1024 + 1, 'x')), QStringList());
    QCOMPARE(buffer.append("q"), QStringList());
    QCOMPARE(buffer.takeRest(), QStringList());
}

void tst_LineBuffer::endlessInputTakesTimeInProportion()
{
    LineBuffer buffer;
    const QByteArray read(4'096, 'x');
    // 400 MB: looked through again at each read, or moved, it would take hours. The time limit tells.
    for (int i = 0; i < 100'000; ++i) {
        QVERIFY(buffer.append(read).isEmpty());
    }
    QCOMPARE(buffer.append("\nq\n"), QStringList{QStringLiteral("q")});
}

QTEST_GUILESS_MAIN(tst_LineBuffer)
#include "tst_LineBuffer.moc"
