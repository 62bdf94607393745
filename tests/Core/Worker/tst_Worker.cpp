#include "Core/Worker/Worker.h"

#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/RingBuffer.h"
#include "Recorder.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <array>
#include <atomic>

// Works without a pause until it is stopped.
class Loop : public Recorder
{
    Q_OBJECT

public:
    std::atomic<int> m_rounds{0};
    std::atomic<bool> m_ended{false};

protected:
    void onDoWork() override
    {
        m_ended = false;
        while (running()) {
            ++m_rounds;
            processEvents();
        }
        m_ended = true;
    }
};

// Works for one round.
class OneRound : public Recorder
{
    Q_OBJECT

protected:
    void onDoWork() override
    {
        processEvents();
        note(QStringLiteral("onDoWork ends"));
    }
};

// Tries to drive itself while it has not yet started.
class Impatient : public Worker
{
    Q_OBJECT

public:
    State m_stateInside = STOPPED;
    State m_stateAfterStop = STOPPED;
    bool m_startedInside = true;

protected:
    void onStart() override
    {
        m_stateInside = state();
        m_startedInside = start(false);
        stop();
        m_stateAfterStop = state();
        Worker::onStart();
    }
};

class W : public Worker
{
    Q_OBJECT
};

class tst_Worker : public QObject
{
    Q_OBJECT

private slots:
    void statesHaveNamesAndValues();
    void metaObjectListsSignalsThenSlots();
    void runningIsReadOnlyAndNotified();
    void errorHappenMayGoWithoutText();

    void startTellsBannerStatesAndSignals();
    void stopTellsBannerStateAndSignals();
    void startingStartedWorkerFailsWithLiteralPlaceholder();
    void stateIsWidthOfNameInRejectedStart();
    void startAndStopAreRefusedWhileStarting();
    void stoppingStoppedWorkerTellsItsBannerAlone();
    void onStopStopsFromAnyState();

    void workBeginsAfterStartedAndAfterStartHasReturned();
    void workRunsOnceForEachStart();
    void blockingStartFromAnotherThreadReturnsAfterOnStart();
    void queuedStartReturnsBeforeOnStart();
    void roundServesWhatWasPostedBeforeWorkBegan();
    void loopServesEventsAndBlockingCallsBetweenRounds();
};

void tst_Worker::statesHaveNamesAndValues()
{
    const auto states = QMetaEnum::fromType<Worker::State>();
    QCOMPARE(states.keyCount(), 3);
    QCOMPARE(states.keyToValue("STOPPED"), 0);
    QCOMPARE(states.keyToValue("TRY_START"), 1);
    QCOMPARE(states.keyToValue("STARTED"), 2);
    const Worker worker;
    QCOMPARE(worker.state(), Worker::STOPPED);
    QVERIFY(!worker.running());
}

void tst_Worker::metaObjectListsSignalsThenSlots()
{
    struct Method
    {
        const char* signature;
        QMetaMethod::MethodType type;
        QMetaMethod::Access access;
    };
    const std::array<Method, 11> expected{{
        {"started()", QMetaMethod::Signal, QMetaMethod::Public},
        {"stopped()", QMetaMethod::Signal, QMetaMethod::Public},
        {"runningChanged(bool)", QMetaMethod::Signal, QMetaMethod::Public},
        {"errorHappen(QString)", QMetaMethod::Signal, QMetaMethod::Public},
        {"errorHappen()", QMetaMethod::Signal, QMetaMethod::Public},
        {"onStart()", QMetaMethod::Slot, QMetaMethod::Protected},
        {"onStop()", QMetaMethod::Slot, QMetaMethod::Protected},
        {"onDoWork()", QMetaMethod::Slot, QMetaMethod::Protected},
        {"onRestore(QString)", QMetaMethod::Slot, QMetaMethod::Private},
        {"onSave(QString)", QMetaMethod::Slot, QMetaMethod::Private},
        {"onReset()", QMetaMethod::Slot, QMetaMethod::Private},
    }};
    const QMetaObject& meta = Worker::staticMetaObject;
    QCOMPARE(meta.methodCount() - meta.methodOffset(), static_cast<int>(expected.size()));
    int index = meta.methodOffset();
    for (const Method& wanted : expected) {
        const QMetaMethod method = meta.method(index++);
        QCOMPARE(method.methodSignature(), QByteArray(wanted.signature));
        QCOMPARE(method.methodType(), wanted.type);
        QCOMPARE(method.access(), wanted.access);
    }
}

void tst_Worker::runningIsReadOnlyAndNotified()
{
    const QMetaObject& meta = Worker::staticMetaObject;
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 1);
    const QMetaProperty running = meta.property(meta.propertyOffset());
    QCOMPARE(running.name(), "running");
    QVERIFY(!running.isWritable());
    QCOMPARE(running.notifySignal().methodSignature(), QByteArray("runningChanged(bool)"));
}

void tst_Worker::errorHappenMayGoWithoutText()
{
    Worker worker;
    QSignalSpy spy(&worker, &Worker::errorHappen);
    emit worker.errorHappen();
    emit worker.errorHappen(QStringLiteral("no device"));
    QCOMPARE(spy.size(), 2);
    QVERIFY(spy.at(0).at(0).toString().isNull());
    QCOMPARE(spy.at(1).at(0).toString(), QStringLiteral("no device"));
}

void tst_Worker::startTellsBannerStatesAndSignals()
{
    Recorder worker;
    const LogCapture log;
    QVERIFY(worker.start(false));
    QCOMPARE(worker.state(), Worker::STARTED);
    QVERIFY(worker.running());
    QCOMPARE(worker.steps(), (QStringList{QStringLiteral("onStart"), QStringLiteral("runningChanged 1"),
                                          QStringLiteral("started"), QStringLiteral("onStart ends")}));
    QCOMPARE(log.texts(),
             (QStringList{
                 QStringLiteral("======================== Start worker ======================== Recorder"),
                 QStringLiteral("State changed ( Recorder ): STOPPED -> TRY_START"),
                 QStringLiteral("State changed ( Recorder ): TRY_START -> STARTED")}));
    QCOMPARE(log.texts(QtDebugMsg).size(), 3);
}

void tst_Worker::stopTellsBannerStateAndSignals()
{
    Worker worker;
    QVERIFY(worker.start(false));
    QSignalSpy runningChanged(&worker, &Worker::runningChanged);
    QSignalSpy stopped(&worker, &Worker::stopped);
    const LogCapture log;
    worker.stop();
    QCOMPARE(worker.state(), Worker::STOPPED);
    QCOMPARE(runningChanged.size(), 1);
    QCOMPARE(runningChanged.at(0).at(0).toBool(), false);
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(
        log.texts(QtDebugMsg),
        (QStringList{QStringLiteral("======================== Stop worker ======================== Worker"),
                     QStringLiteral("State changed ( Worker ): STARTED -> STOPPED")}));
}

void tst_Worker::startingStartedWorkerFailsWithLiteralPlaceholder()
{
    Recorder worker;
    QVERIFY(worker.start(false));
    const int steps = worker.steps().size();
    const LogCapture log;
    QVERIFY(!worker.start(false));
    QCOMPARE(worker.state(), Worker::STARTED);
    QCOMPARE(worker.steps().size(), steps);
    QCOMPARE(log.texts().size(), 2);
    QCOMPARE(log.texts().constFirst(),
             QStringLiteral("======================== Start worker ======================== Recorder"));
    const QString warning = log.texts(QtWarningMsg).value(0);
    const QRegularExpression line(QStringLiteral("^\\[ W \\]\\[ Core/Worker/Worker \\] start : \\d+ =>\t "
                                                 "Error start worker! Name: Recorder, current state: %2$"));
    QVERIFY2(line.match(warning).hasMatch(), qPrintable(warning));
}

void tst_Worker::stateIsWidthOfNameInRejectedStart()
{
    W worker;
    QVERIFY(worker.start(false));
    const LogCapture log;
    QVERIFY(!worker.start(false));
    const QString warning = log.texts(QtWarningMsg).value(0);
    QVERIFY2(warning.endsWith(QStringLiteral("=>\t Error start worker! Name:  W, current state: %2")),
             qPrintable(warning));
}

void tst_Worker::startAndStopAreRefusedWhileStarting()
{
    Impatient worker;
    const LogCapture log;
    QVERIFY(worker.start(false));
    QCOMPARE(worker.m_stateInside, Worker::TRY_START);
    QVERIFY(!worker.m_startedInside);
    QCOMPARE(worker.m_stateAfterStop, Worker::TRY_START);
    QCOMPARE(worker.state(), Worker::STARTED);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_Worker::stoppingStoppedWorkerTellsItsBannerAlone()
{
    Recorder worker;
    const LogCapture log;
    worker.stop();
    QCOMPARE(log.texts(), QStringList{QStringLiteral(
                              "======================== Stop worker ======================== Recorder")});
    QCOMPARE(worker.steps(), QStringList());
    QCOMPARE(worker.state(), Worker::STOPPED);
}

void tst_Worker::onStopStopsFromAnyState()
{
    Recorder worker;
    const LogCapture log;
    worker.onStop();
    QCOMPARE(worker.state(), Worker::STOPPED);
    QCOMPARE(worker.steps(), (QStringList{QStringLiteral("runningChanged 0"), QStringLiteral("stopped")}));
    QCOMPARE(log.texts(), QStringList{QStringLiteral("State changed ( Recorder ): STOPPED -> STOPPED")});
}

void tst_Worker::workBeginsAfterStartedAndAfterStartHasReturned()
{
    Recorder worker;
    QVERIFY(worker.start(false));
    worker.note(QStringLiteral("start returned"));
    QCoreApplication::sendPostedEvents(&worker);
    QCOMPARE(worker.steps(), (QStringList{QStringLiteral("onStart"), QStringLiteral("runningChanged 1"),
                                          QStringLiteral("started"), QStringLiteral("onStart ends"),
                                          QStringLiteral("start returned"), QStringLiteral("onDoWork")}));
}

void tst_Worker::workRunsOnceForEachStart()
{
    Recorder worker;
    for (int i = 1; i <= 3; ++i) {
        QVERIFY(worker.start(false));
        QCoreApplication::sendPostedEvents(&worker);
        QCoreApplication::sendPostedEvents(&worker);
        QCOMPARE(worker.steps().count(QStringLiteral("onDoWork")), i);
        worker.stop();
    }
}

void tst_Worker::blockingStartFromAnotherThreadReturnsAfterOnStart()
{
    auto* const worker = new Recorder;
    OnThread on(worker);
    QVERIFY(worker->start(false));
    QVERIFY(worker->running());
    QVERIFY(worker->steps().contains(QStringLiteral("onStart ends")));
    QTRY_COMPARE(worker->steps().constLast(), QStringLiteral("onDoWork"));
    QCOMPARE(worker->lastThread(), on.thread());
    worker->stop();
    QCOMPARE(worker->steps().constLast(), QStringLiteral("stopped"));
    QCOMPARE(worker->lastThread(), on.thread());
}

void tst_Worker::queuedStartReturnsBeforeOnStart()
{
    auto* const worker = new Recorder;
    OnThread on(worker);
    QSemaphore hold;
    QMetaObject::invokeMethod(
        worker, [&hold] { hold.acquire(); }, Qt::QueuedConnection);
    QVERIFY(worker->start(true));
    QCOMPARE(worker->state(), Worker::TRY_START);
    QCOMPARE(worker->steps(), QStringList());
    hold.release();
    QTRY_COMPARE(worker->state(), Worker::STARTED);
}

void tst_Worker::roundServesWhatWasPostedBeforeWorkBegan()
{
    OneRound worker;
    QVERIFY(worker.start(false));
    worker.setProperty("gain", 5);
    const int before = worker.steps().size();
    QCoreApplication::processEvents();
    QCOMPARE(worker.steps().mid(before),
             (QStringList{QStringLiteral("gain 5"), QStringLiteral("onDoWork ends")}));
}

void tst_Worker::loopServesEventsAndBlockingCallsBetweenRounds()
{
    auto* const worker = new Loop;
    OnThread on(worker);
    QVERIFY(worker->start(false));
    const int rounds = worker->m_rounds;
    QTRY_VERIFY(worker->m_rounds > rounds + 10);

    QVERIFY(worker->setProperty("gain", 21));
    QTRY_COMPARE(worker->gain(), 21);
    worker->setBuffer(QSharedPointer<RingBuffer<DoubleComplex>>::create(16), QStringLiteral("in"));
    QTRY_COMPARE(worker->steps().constLast(), QStringLiteral("complex in 16"));
    QVERIFY(worker->reset());
    QCOMPARE(worker->gain(), 7);
    QVERIFY(!worker->m_ended);

    worker->stop();
    QTRY_VERIFY(worker->m_ended);
    QVERIFY(worker->start(false));
    QTRY_VERIFY(!worker->m_ended);
    worker->stop();
}

QTEST_GUILESS_MAIN(tst_Worker)
#include "tst_Worker.moc"
