#include "Core/Log/LogLimiter.h"

#include "Core/Log/Log.h"
#include "support/LogCapture.h"

#include <QtTest>

class tst_LogLimiter : public QObject
{
    Q_OBJECT

private slots:
    void admitsFiftyASecond();
    void aNewSecondAdmitsAgainAndTellsTheCountLeftOut();
    void reportTellsOfAFloodThatHasEnded();
    void withinTheLimitNothingIsReported();
    void eachPlaceHasALimitOfItsOwn();
};

namespace
{

int admitted(LogLimiter& limiter, int tries)
{
    int count = 0;
    for (int i = 0; i < tries; ++i) {
        count += limiter.admit() ? 1 : 0;
    }
    return count;
}

} // namespace

void tst_LogLimiter::admitsFiftyASecond()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, [&now] { return now; });
    QCOMPARE(admitted(limiter, 1000), 50);
    now += 999;
    QVERIFY(!limiter.admit());
}

void tst_LogLimiter::aNewSecondAdmitsAgainAndTellsTheCountLeftOut()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, [&now] { return now; });
    QCOMPARE(admitted(limiter, 63), 50);
    now += 1000;
    const LogCapture log;
    QVERIFY(limiter.admit());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY2(log.texts().constFirst().endsWith(
                 QStringLiteral("=>\t 13 lines left out, of the kind logged at A/B:7")),
             qPrintable(log.texts().constFirst()));
    QCOMPARE(admitted(limiter, 100), 49);
}

void tst_LogLimiter::reportTellsOfAFloodThatHasEnded()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, [&now] { return now; });
    admitted(limiter, 51);
    const LogCapture log;
    LogLimiter::reportAll();
    QCOMPARE(log.texts(), QStringList());
    now += 1000;
    LogLimiter::reportAll();
    LogLimiter::reportAll();
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().constFirst().contains(QStringLiteral("1 lines left out")));
}

void tst_LogLimiter::withinTheLimitNothingIsReported()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, [&now] { return now; });
    QCOMPARE(admitted(limiter, 50), 50);
    now += 5000;
    const LogCapture log;
    limiter.report();
    QCOMPARE(log.texts(), QStringList());
}

void tst_LogLimiter::eachPlaceHasALimitOfItsOwn()
{
    const LogCapture log;
    for (int i = 0; i < 60; ++i) {
        LOG_LIMITED(LOG_DEBUG()) << "first";
        LOG_LIMITED(LOG_DEBUG()) << "second";
    }
    QCOMPARE(log.texts().count(QStringLiteral("first")), 50);
    QCOMPARE(log.texts().count(QStringLiteral("second")), 50);
}

QTEST_GUILESS_MAIN(tst_LogLimiter)
#include "tst_LogLimiter.moc"
