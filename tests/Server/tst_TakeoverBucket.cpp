#include "Server/TakeoverBucket.h"

#include <QtTest>

class tst_TakeoverBucket : public QObject
{
    Q_OBJECT

private slots:
    void fourMayGoAheadAtOnce();
    void oneMoreMayEveryHalfSecond();
    void whoWaitsLongHasFourAgainAndNoMore();
    void refusalsCostNothing();
    void anyEpochWillDo_data();
    void anyEpochWillDo();
};

namespace
{

int takeAll(TakeoverBucket& bucket)
{
    int taken = 0;
    while (taken < 100 && bucket.take()) {
        ++taken;
    }
    return taken;
}

} // namespace

void tst_TakeoverBucket::fourMayGoAheadAtOnce()
{
    TakeoverBucket bucket([] { return 1000; });
    QCOMPARE(takeAll(bucket), 4);
}

void tst_TakeoverBucket::oneMoreMayEveryHalfSecond()
{
    qint64 now = 0;
    TakeoverBucket bucket([&now] { return now; });
    QCOMPARE(takeAll(bucket), 4);
    now = 499;
    QCOMPARE(takeAll(bucket), 0);
    now = 500;
    QCOMPARE(takeAll(bucket), 1);
    now = 999;
    QCOMPARE(takeAll(bucket), 0);
    now = 1700;
    QCOMPARE(takeAll(bucket), 2);
    now = 2000; // half a second after the one before the last was due
    QCOMPARE(takeAll(bucket), 1);
}

void tst_TakeoverBucket::whoWaitsLongHasFourAgainAndNoMore()
{
    qint64 now = 0;
    TakeoverBucket bucket([&now] { return now; });
    QCOMPARE(takeAll(bucket), 4);
    now = 3'600'000;
    QCOMPARE(takeAll(bucket), 4);
    now += 2000;
    QCOMPARE(takeAll(bucket), 4);
    now += 1999;
    QCOMPARE(takeAll(bucket), 3);
}

void tst_TakeoverBucket::refusalsCostNothing()
{
    qint64 now = 0;
    TakeoverBucket bucket([&now] { return now; });
    QCOMPARE(takeAll(bucket), 4);
    for (now = 1; now < 500; ++now) {
        QVERIFY(!bucket.take());
    }
    QVERIFY(bucket.take());
}

void tst_TakeoverBucket::anyEpochWillDo_data()
{
    QTest::addColumn<qint64>("start");
    QTest::newRow("the machine has just started") << qint64{0};
    QTest::newRow("negative") << qint64{-1'000'000};
    QTest::newRow("since 1970") << qint64{1'800'000'000'000};
}

void tst_TakeoverBucket::anyEpochWillDo()
{
    QFETCH(const qint64, start);
    qint64 now = start;
    TakeoverBucket bucket([&now] { return now; });
    QCOMPARE(takeAll(bucket), 4);
    now += 500;
    QCOMPARE(takeAll(bucket), 1);
}

QTEST_GUILESS_MAIN(tst_TakeoverBucket)
#include "tst_TakeoverBucket.moc"
