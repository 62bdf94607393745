#include "Core/Worker/ThreadManager.h"

#include "Core/Worker/Worker.h"
#include "support/LogCapture.h"
#include "support/NoThreads.h"

#include <QtTest>
#include <atomic>
#include <memory>
#include <unistd.h>

// Tells the thread its slots run on, and can be made deaf to everything.
class Attendant : public Worker
{
    Q_OBJECT

public:
    std::atomic<QThread*> m_startedOn{nullptr};
    std::atomic<QThread*> m_stoppedOn{nullptr};
    std::atomic<bool> m_hanging{false};

    Q_INVOKABLE void hang()
    {
        m_hanging = true;
        // Where a terminated thread may be ended.
        ::pause();
    }

protected:
    void onStart() override
    {
        m_startedOn = QThread::currentThread();
        Worker::onStart();
    }
    void onStop() override
    {
        m_stoppedOn = QThread::currentThread();
        Worker::onStop();
    }
};

// Works without a pause. Its thread is asked to end while a round of its events is still under way.
class Busy : public Worker
{
    Q_OBJECT

protected:
    void onStop() override
    {
        Worker::onStop();
        thread()->quit();
    }
    void onDoWork() override
    {
        while (running()) {
            processEvents();
        }
    }
};

class tst_ThreadManager : public QObject
{
    Q_OBJECT

private slots:
    void startedManagersWorkerRunsOnThreadOfItsOwn();
    void threadBearsWorkersName();
    void countOfThreadsIsToldAtEachStart();
    void oneThreadServesManyStartsOfItsWorker();
    void destroyingStopsRunningWorkerOnItsThreadAndTellsEnd();
    void destroyingLeavesStoppedWorkerAlone();
    void workerAndThreadDeleteThemselvesWhenThreadEnds();
    void threadOfBusyWorkerEndsAtOnce_data();
    void threadOfBusyWorkerEndsAtOnce();
    void withoutThreadStartFailsAndWorkerStays();
    void workerDeafForTwoSecondsIsTerminatedAndDestructorReturns();
    // The last one: the count stays one too low from here on.
    void managerNeverStartedStillStopsItsWorkerAndCountsDown();

private:
    static QStringList startLine(const QStringList& texts)
    {
        return texts.filter(QStringLiteral("Start thread"));
    }
};

void tst_ThreadManager::startedManagersWorkerRunsOnThreadOfItsOwn()
{
    const LogCapture log;
    auto* const worker = new Attendant;
    ThreadManager manager(worker);
    QCOMPARE(worker->thread(), QThread::currentThread());
    manager.start(QThread::HighestPriority);
    QVERIFY(worker->thread() != QThread::currentThread());
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Start thread, priority: 5, count threads: 1")});
    QVERIFY(worker->start(false));
    QCOMPARE(worker->m_startedOn.load(), worker->thread());
}

void tst_ThreadManager::threadBearsWorkersName()
{
    const LogCapture log;
    auto* const worker = new Attendant;
    ThreadManager manager(worker);
    manager.start(QThread::HighestPriority);
    QCOMPARE(worker->thread()->objectName(), QStringLiteral("Attendant"));
}

void tst_ThreadManager::countOfThreadsIsToldAtEachStart()
{
    const LogCapture log;
    auto first = std::make_unique<ThreadManager>(new Attendant);
    ThreadManager second(new Attendant);
    ThreadManager third(new Attendant);
    first->start(QThread::HighestPriority);
    second.start(QThread::LowPriority);
    first.reset();
    third.start(QThread::HighestPriority);
    QCOMPARE(startLine(log.texts()),
             (QStringList{QStringLiteral("Start thread, priority: 5, count threads: 1"),
                          QStringLiteral("Start thread, priority: 2, count threads: 2"),
                          QStringLiteral("Start thread, priority: 5, count threads: 2")}));
}

void tst_ThreadManager::oneThreadServesManyStartsOfItsWorker()
{
    const LogCapture log;
    auto* const worker = new Attendant;
    ThreadManager manager(worker);
    manager.start(QThread::HighestPriority);
    QThread* const thread = worker->thread();
    for (int i = 0; i < 5; ++i) {
        worker->m_startedOn = nullptr;
        QVERIFY(worker->start(false));
        QCOMPARE(worker->m_startedOn.load(), thread);
        worker->stop();
        QVERIFY(!worker->running());
        QVERIFY(thread->isRunning());
    }
}

void tst_ThreadManager::destroyingStopsRunningWorkerOnItsThreadAndTellsEnd()
{
    const LogCapture log;
    auto* const worker = new Attendant;
    QThread* stoppedOn = nullptr;
    connect(
        worker, &Worker::stopped, worker, [&] { stoppedOn = worker->m_stoppedOn; }, Qt::DirectConnection);
    auto manager = std::make_unique<ThreadManager>(worker);
    manager->start(QThread::HighestPriority);
    const QThread* const thread = worker->thread();
    QVERIFY(worker->start(false));
    manager.reset();
    QCOMPARE(stoppedOn, thread);
    QCOMPARE(log.texts().constLast(), QStringLiteral("Thread finished."));
}

void tst_ThreadManager::destroyingLeavesStoppedWorkerAlone()
{
    auto manager = std::make_unique<ThreadManager>(new Attendant);
    const LogCapture log;
    manager->start(QThread::HighestPriority);
    manager.reset();
    QCOMPARE(log.texts(), (QStringList{QStringLiteral("Start thread, priority: 5, count threads: 1"),
                                       QStringLiteral("Thread finished.")}));
}

void tst_ThreadManager::workerAndThreadDeleteThemselvesWhenThreadEnds()
{
    const LogCapture log;
    auto* const worker = new Attendant;
    const QPointer<Worker> workerAlive(worker);
    auto manager = std::make_unique<ThreadManager>(worker);
    manager->start(QThread::HighestPriority);
    const QPointer<QThread> threadAlive(worker->thread());
    const QThread* deletedOn = nullptr;
    connect(
        worker, &QObject::destroyed, worker, [&] { deletedOn = QThread::currentThread(); },
        Qt::DirectConnection);
    const QThread* const thread = threadAlive;
    manager.reset();
    QVERIFY(workerAlive.isNull());
    QCOMPARE(deletedOn, thread);
    QTRY_VERIFY(threadAlive.isNull());
}

void tst_ThreadManager::threadOfBusyWorkerEndsAtOnce_data()
{
    QTest::addColumn<QByteArray>("noGlib");
    QTest::newRow("with GLib's event loop") << QByteArray();
    QTest::newRow("with Qt's own") << QByteArray("1");
}

void tst_ThreadManager::threadOfBusyWorkerEndsAtOnce()
{
    QFETCH(QByteArray, noGlib);
    const LogCapture log;
    auto* const worker = new Busy;
    auto manager = std::make_unique<ThreadManager>(worker);
    qputenv("QT_NO_GLIB", noGlib);
    manager->start(QThread::HighestPriority);
    QVERIFY(worker->start(false));
    qunsetenv("QT_NO_GLIB");
    manager.reset();
    QCOMPARE(log.texts().constLast(), QStringLiteral("Thread finished."));
}

void tst_ThreadManager::withoutThreadStartFailsAndWorkerStays()
{
    LogCapture log;
    const QPointer<Attendant> worker(new Attendant);
    {
        ThreadManager manager(worker);
        {
            const NoThreads none;
            QVERIFY(!manager.start(QThread::HighestPriority));
        }
        QCOMPARE(worker->thread(), QThread::currentThread());
        const QStringList criticals = log.texts(QtCriticalMsg);
        QCOMPARE(criticals.size(), 2); // the first one is Qt's own
        QVERIFY2(criticals.constLast().endsWith(QStringLiteral("Error start thread! Attendant")),
                 qPrintable(criticals.constLast()));
        // It answers here, at once.
        QVERIFY(worker->start(false));
        QCOMPARE(worker->m_startedOn.load(), QThread::currentThread());
    }
    QVERIFY(!worker->running());
    QTRY_VERIFY(worker.isNull());
    log.clear();
    ThreadManager manager(new Attendant);
    QVERIFY(manager.start(QThread::HighestPriority));
    QCOMPARE(log.texts(QtDebugMsg),
             QStringList{QStringLiteral("Start thread, priority: 5, count threads: 1")});
}

void tst_ThreadManager::workerDeafForTwoSecondsIsTerminatedAndDestructorReturns()
{
#ifdef __SANITIZE_THREAD__
    QSKIP("the thread sanitizer loses sight of a thread that is ended in the midst of a call");
#endif
    const LogCapture log;
    auto* const worker = new Attendant;
    const QPointer<Worker> workerAlive(worker);
    auto manager = std::make_unique<ThreadManager>(worker);
    // GLib's event loop, a C one, doesn't clean up after itself when its thread is ended; Qt's own does.
    qputenv("QT_NO_GLIB", "1");
    manager->start(QThread::HighestPriority);
    const QPointer<QThread> threadAlive(worker->thread());
    QMetaObject::invokeMethod(worker, "hang", Qt::QueuedConnection);
    QTRY_VERIFY(worker->m_hanging);
    qunsetenv("QT_NO_GLIB");
    QElapsedTimer elapsed;
    elapsed.start();
    manager.reset();
    QVERIFY2(elapsed.elapsed() >= 1990, qPrintable(QString::number(elapsed.elapsed())));
    const QStringList criticals = log.texts(QtCriticalMsg);
    QCOMPARE(criticals.size(), 1);
    const QRegularExpression line(
        QStringLiteral("^\\[ C \\]\\[ Core/Worker/ThreadManager \\] ~ThreadManager : \\d+ =>\t "
                       "Thread still running! Can not wait any more !!! Terminated\\.$"));
    QVERIFY2(line.match(criticals.constFirst()).hasMatch(), qPrintable(criticals.constFirst()));
    QTRY_VERIFY(threadAlive.isNull());
    QVERIFY(workerAlive.isNull());
}

void tst_ThreadManager::managerNeverStartedStillStopsItsWorkerAndCountsDown()
{
    const LogCapture log;
    auto* const worker = new Attendant;
    const QPointer<Worker> workerAlive(worker);
    auto manager = std::make_unique<ThreadManager>(worker);
    QVERIFY(worker->start(false));
    manager.reset();
    QCOMPARE(worker->state(), Worker::STOPPED);
    QVERIFY(!workerAlive.isNull());
    QTRY_VERIFY(workerAlive.isNull());

    ThreadManager next(new Attendant);
    next.start(QThread::HighestPriority);
    QCOMPARE(startLine(log.texts()),
             QStringList{QStringLiteral("Start thread, priority: 5, count threads: 0")});
}

QTEST_GUILESS_MAIN(tst_ThreadManager)
#include "tst_ThreadManager.moc"
