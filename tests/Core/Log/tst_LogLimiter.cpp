#include "Core/Log/LogLimiter.h"

#include "Core/Log/Log.h"
#include "support/LogCapture.h"

#include <QtTest>

class tst_LogLimiter : public QObject
{
    Q_OBJECT

private slots:
    void admitsFiftyPerSecond();
    void newSecondAdmitsAgainAndTellsCountLeftOut();
    void reportTellsOfFloodThatHasEnded();
    void withinLimitNothingIsReported();
    void eachPlaceHasLimitOfItsOwn();
    void eightKibibytesPerSecondAreAdmitted();
    void bytesOfRecordAreCharged();
    void limitedRecordReadsAsAnyOther();
    void thousandOfPlacesOwnLinesAreLogged_data();
    void thousandOfPlacesOwnLinesAreLogged();
    void linesAtInfoLevelAreNotCounted();
    void whatDebugLinesAreLeftOutIsToldAtDebugLevel();
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

void tst_LogLimiter::admitsFiftyPerSecond()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, LogLimiter::kForeign, [&now] { return now; });
    QCOMPARE(admitted(limiter, 1000), 50);
    now += 999;
    QVERIFY(!limiter.admit());
}

void tst_LogLimiter::newSecondAdmitsAgainAndTellsCountLeftOut()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, LogLimiter::kForeign, [&now] { return now; });
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

void tst_LogLimiter::reportTellsOfFloodThatHasEnded()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, LogLimiter::kForeign, [&now] { return now; });
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

void tst_LogLimiter::withinLimitNothingIsReported()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, LogLimiter::kForeign, [&now] { return now; });
    QCOMPARE(admitted(limiter, 50), 50);
    now += 5000;
    const LogCapture log;
    limiter.report();
    QCOMPARE(log.texts(), QStringList());
}

void tst_LogLimiter::eachPlaceHasLimitOfItsOwn()
{
    const LogCapture log;
    for (int i = 0; i < 60; ++i) {
        LOG_LIMITED(LOG_DEBUG()) << "first";
        LOG_LIMITED(LOG_DEBUG()) << "second";
    }
    QCOMPARE(log.texts().count(QStringLiteral("first")), 50);
    QCOMPARE(log.texts().count(QStringLiteral("second")), 50);
}

void tst_LogLimiter::eightKibibytesPerSecondAreAdmitted()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, LogLimiter::kForeign, [&now] { return now; });
    for (int i = 0; i < 8; ++i) {
        QVERIFY(limiter.admit());
        limiter.charge(1024);
    }
    QVERIFY(!limiter.admit());
    now += 999;
    QVERIFY(!limiter.admit());
    now += 1;
    const LogCapture log;
    QVERIFY(limiter.admit());
    QVERIFY(log.texts().value(0).contains(QStringLiteral(" 2 lines left out")));
    limiter.charge(8191);
    QVERIFY(limiter.admit());
}

void tst_LogLimiter::bytesOfRecordAreCharged()
{
    const LogCapture log;
    const QString text(250, QChar(0x20AC)); // of three bytes each
    for (int i = 0; i < 50; ++i) {
        LOG_LIMITED(LOG_WARNING()) << text;
    }
    QCOMPARE(log.texts().size(), 11); // of 750 bytes: the eleventh goes beyond 8 KiB
}

void tst_LogLimiter::limitedRecordReadsAsAnyOther()
{
    const LogCapture log;
    for (const bool isLimited : {false, true}) {
        if (isLimited) {
            LOG_LIMITED(LOG_DEBUG()) << "a \"b\"" << QStringLiteral("c \"d\"") << 3 << 1.5 << true
                                     << QString() << QStringList{QStringLiteral("e")} << QStringLiteral("f ");
        } else {
            LOG_DEBUG() << "a \"b\"" << QStringLiteral("c \"d\"") << 3 << 1.5 << true << QString()
                        << QStringList{QStringLiteral("e")} << QStringLiteral("f ");
        }
    }
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().at(1), log.texts().at(0));
}

void tst_LogLimiter::thousandOfPlacesOwnLinesAreLogged_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("debug") << int{QtDebugMsg};
    QTest::newRow("warning") << int{QtWarningMsg};
    QTest::newRow("critical") << int{QtCriticalMsg};
}

void tst_LogLimiter::thousandOfPlacesOwnLinesAreLogged()
{
    QFETCH(int, type);
    const auto level = static_cast<QtMsgType>(type);
    const LogCapture log;
    for (int i = 0; i < 1500; ++i) {
        if (level == QtDebugMsg) {
            LOG_DEBUG() << i;
        } else if (level == QtWarningMsg) {
            LOG_WARNING() << i;
        } else {
            LOG_CRITICAL() << i;
        }
    }
    QCOMPARE(log.texts(level).size(), 1000);
    LOG_DEBUG() << "another place";
    QCOMPARE(log.texts().last(), QStringLiteral("another place"));
}

void tst_LogLimiter::linesAtInfoLevelAreNotCounted()
{
    const LogCapture log;
    for (int i = 0; i < 1500; ++i) {
        LOG_INFO() << i;
    }
    QCOMPARE(log.texts(QtInfoMsg).size(), 1500);
}

void tst_LogLimiter::whatDebugLinesAreLeftOutIsToldAtDebugLevel()
{
    qint64 now = 5000;
    LogLimiter limiter("src/A/B.cpp", 7, {1, 100, 60'000, QtDebugMsg}, [&now] { return now; });
    QCOMPARE(admitted(limiter, 4), 1);
    const LogCapture log;
    now += 59'999;
    limiter.report();
    QCOMPARE(log.texts(), QStringList());
    now += 1;
    limiter.report();
    QCOMPARE(log.texts(QtDebugMsg),
             QStringList{QStringLiteral("3 lines left out, of the kind logged at A/B:7")});
}

QTEST_GUILESS_MAIN(tst_LogLimiter)
#include "tst_LogLimiter.moc"
