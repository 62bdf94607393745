#include "RadioDevice/Watchdog.h"
#include "TestSource.h"

#include "support/LogCapture.h"

#include <QThread>
#include <QtTest>
#include <memory>

namespace
{

/// A source that is watched, with its watchdog in hand.
struct Watched
{
    Watched()
    {
        source->setNoDataCallback([this] { ++calls; });
        source->startWatch();
        while (!watchdog.isCaught()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
    }

    std::unique_ptr<TestSource> source = std::make_unique<TestSource>(48'000.0, std::chrono::milliseconds(0));
    int calls = 0; // of its callback
    Watchdog watchdog;
};

} // namespace

class tst_IQSourceWatchdog : public QObject
{
    Q_OBJECT

private slots:
    void watchdogTicksEverySixSecondsUnlessToldOtherwise();
    void watchdogIsCoarseRepeatingTimerWithoutParent();
    void silenceWarnsAndCallsBackAtFirstTick();
    void silenceThatLastsWarnsAtEveryTick();
    void blockBetweenTwoTicksKeepsWatchdogContent();
    void emptyBlockStillCountsForWatchdog();
    void watchdogWithoutCallbackOnlyWarns();
    void newCallbackReplacesOld();
    void stoppedWatchIsSilent();
    void watchForgetsBlocksOfWatchBefore();
    void silenceIsFoundByRealTimer();
    void watchdogOutlivesSourceWithoutReachingIt();
    void callbackIsReleasedWithSource();
};

void tst_IQSourceWatchdog::watchdogTicksEverySixSecondsUnlessToldOtherwise()
{
    QCOMPARE(IQSource::kWatchdogInterval, std::chrono::milliseconds(6000));
}

void tst_IQSourceWatchdog::watchdogIsCoarseRepeatingTimerWithoutParent()
{
    Watched watched;
    QCOMPARE(watched.watchdog.timer()->timerType(), Qt::VeryCoarseTimer);
    QVERIFY(!watched.watchdog.timer()->isSingleShot());
    QVERIFY(watched.watchdog.isActive());
    QCOMPARE(watched.watchdog.timer()->parent(), nullptr);
    QCOMPARE(watched.watchdog.timer()->thread(), QThread::currentThread());
}

void tst_IQSourceWatchdog::silenceWarnsAndCallsBackAtFirstTick()
{
    Watched watched;
    const LogCapture log;
    watched.watchdog.tick();
    QCOMPARE(watched.calls, 1);
    QCOMPARE(log.texts().size(), 1);
    QCOMPARE(log.records().constFirst().type, QtWarningMsg);
    const QString text = log.texts().constFirst();
    QVERIFY2(text.startsWith(QLatin1String("[ W ][ Core/RadioDevice/IQSource ] reportNoData : ")),
             qPrintable(text));
    QVERIFY2(text.endsWith(QLatin1String(" =>\t No IQ data - stop!")), qPrintable(text));
}

void tst_IQSourceWatchdog::silenceThatLastsWarnsAtEveryTick()
{
    Watched watched;
    const LogCapture log;
    watched.watchdog.tick();
    watched.watchdog.tick();
    watched.watchdog.tick();
    QCOMPARE(watched.calls, 3);
    QCOMPARE(log.texts(QtWarningMsg).size(), 3);
    QVERIFY(watched.watchdog.isActive());
}

void tst_IQSourceWatchdog::blockBetweenTwoTicksKeepsWatchdogContent()
{
    Watched watched;
    watched.source->setBlockSize(16);
    const LogCapture log;
    for (int i = 0; i < 3; ++i) {
        watched.source->write(0, false);
        watched.watchdog.tick();
    }
    QCOMPARE(watched.calls, 0);
    QCOMPARE(log.texts(), QStringList());
    watched.watchdog.tick();
    QCOMPARE(watched.calls, 1);
}

void tst_IQSourceWatchdog::emptyBlockStillCountsForWatchdog()
{
    Watched watched;
    watched.source->write(0, false);
    watched.watchdog.tick();
    QCOMPARE(watched.calls, 0);
    QCOMPARE(watched.source->inBuffer()->writeIndex, 0);
}

void tst_IQSourceWatchdog::watchdogWithoutCallbackOnlyWarns()
{
    Watched watched;
    watched.source->setNoDataCallback({});
    const LogCapture log;
    watched.watchdog.tick();
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_IQSourceWatchdog::newCallbackReplacesOld()
{
    Watched watched;
    int first = 0;
    int second = 0;
    watched.source->setNoDataCallback([&first] { ++first; });
    watched.source->setNoDataCallback([&second] { ++second; });
    const LogCapture log;
    watched.watchdog.tick();
    QCOMPARE(first, 0);
    QCOMPARE(second, 1);
}

void tst_IQSourceWatchdog::stoppedWatchIsSilent()
{
    Watched watched;
    watched.source->stopWatch();
    QVERIFY(!watched.watchdog.isActive());
}

void tst_IQSourceWatchdog::watchForgetsBlocksOfWatchBefore()
{
    Watched watched;
    watched.source->write(0, false);
    watched.source->stopWatch();
    watched.source->startWatch();
    const LogCapture log;
    watched.watchdog.tick();
    QCOMPARE(watched.calls, 1);
}

void tst_IQSourceWatchdog::silenceIsFoundByRealTimer()
{
    TestSource source(48'000.0, std::chrono::seconds(1));
    int calls = 0;
    source.setNoDataCallback([&calls] { ++calls; });
    const LogCapture log;
    source.startWatch();
    QTRY_COMPARE(calls, 1);
}

void tst_IQSourceWatchdog::watchdogOutlivesSourceWithoutReachingIt()
{
    Watched watched;
    watched.source.reset();
    QVERIFY(watched.watchdog.isCaught());
    QVERIFY(!watched.watchdog.isActive());
    watched.watchdog.tick();
    QCOMPARE(watched.calls, 0);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!watched.watchdog.isCaught());
}

void tst_IQSourceWatchdog::callbackIsReleasedWithSource()
{
    auto source = std::make_unique<TestSource>(48'000.0);
    const auto token = std::make_shared<int>(0);
    source->setNoDataCallback([token] {});
    QCOMPARE(token.use_count(), 2L);
    source.reset();
    QCOMPARE(token.use_count(), 1L);
}

QTEST_GUILESS_MAIN(tst_IQSourceWatchdog)
#include "tst_IQSourceWatchdog.moc"
