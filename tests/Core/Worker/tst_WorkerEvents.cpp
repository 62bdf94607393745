#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/SetBufferEvent.h"
#include "Core/Worker/SetPropertyEvent.h"
#include "Core/Worker/Worker.h"
#include "Recorder.h"
#include "support/LogCapture.h"

#include <QtTest>

class tst_WorkerEvents : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void propertiesAreSetOnWorkersThreadInPostedOrder();
    void getPropertyReadsAtOnce();
    void unknownPropertyIsToldAsNotWritable();
    void readOnlyPropertyIsToldAsNotWritable();
    void valueThatDoesNotConvertIsTold();
    void reservedEventIsSwallowed();
    void eventsOfOtherTypesAreLeftToQObject();
    void eventTypesAreWhatOthersKnowThemBy();
    void ringReachesWorkerUnderItsKey();
    void ringForWorkerThatTakesNoneIsDropped();
    void resetCallsEveryResetOfWritableProperty();
    void resetWithoutResettablePropertiesTellsItsFirstLineAlone();
    void saveAndRestoreRunOnWorkersThreadAndWait();
    void restoreOnWorkersOwnThreadIsDirectCall();

    // The last one: it uses up the second's lines.
    void floodOfBadPropertiesIsLimited();
};

void tst_WorkerEvents::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Maker"));
    QCoreApplication::setApplicationName(QStringLiteral("tst_WorkerEvents"));
}

void tst_WorkerEvents::propertiesAreSetOnWorkersThreadInPostedOrder()
{
    auto* const worker = new Recorder;
    OnThread on(worker);
    for (int i = 10; i < 15; ++i) {
        QVERIFY(worker->setProperty(i % 2 == 0 ? "gain" : "level", i));
    }
    QTRY_COMPARE(worker->steps(),
                 (QStringList{QStringLiteral("gain 10"), QStringLiteral("gain 11"), QStringLiteral("gain 12"),
                              QStringLiteral("gain 13"), QStringLiteral("gain 14")}));
    QCOMPARE(worker->lastThread(), on.thread());
}

void tst_WorkerEvents::getPropertyReadsAtOnce()
{
    auto* const worker = new Recorder;
    const OnThread on(worker);
    QCOMPARE(worker->getProperty("gain").toInt(), 1);
    QVERIFY(!worker->getProperty("none").isValid());
}

void tst_WorkerEvents::unknownPropertyIsToldAsNotWritable()
{
    Recorder worker;
    const LogCapture log;
    QVERIFY(worker.setProperty("no such", 12));
    QCOMPARE(log.texts(), QStringList());
    QCoreApplication::sendPostedEvents(&worker);
    QCOMPARE(log.texts().size(), 1);
    const QString warning = log.texts(QtWarningMsg).value(0);
    const QRegularExpression line(
        QStringLiteral("^\\[ W \\]\\[ Core/Worker/Worker \\] setPropertyEvent : \\d+ =>\t "
                       "Error set property - property not writable! Class name: Recorder, "
                       "property: no such, value: 12$"));
    QVERIFY2(line.match(warning).hasMatch(), qPrintable(warning));
}

void tst_WorkerEvents::readOnlyPropertyIsToldAsNotWritable()
{
    Recorder worker;
    const LogCapture log;
    QVERIFY(worker.setProperty("running", true));
    QCoreApplication::sendPostedEvents(&worker);
    const QString warning = log.texts(QtWarningMsg).value(0);
    QVERIFY2(warning.endsWith(QStringLiteral("Error set property - property not writable! "
                                             "Class name: Recorder, property: running, value: true")),
             qPrintable(warning));
    QVERIFY(!worker.running());
}

void tst_WorkerEvents::valueThatDoesNotConvertIsTold()
{
    Recorder worker;
    const LogCapture log;
    QVERIFY(worker.setProperty("gain", QStringLiteral("much")));
    QCoreApplication::sendPostedEvents(&worker);
    QCOMPARE(log.texts().size(), 1);
    const QString warning = log.texts(QtWarningMsg).value(0);
    const QRegularExpression line(
        QStringLiteral("^\\[ W \\]\\[ Core/Worker/Worker \\] setPropertyEvent : \\d+ =>\t "
                       "Error set property! Class name: Recorder, property: gain, value: much$"));
    QVERIFY2(line.match(warning).hasMatch(), qPrintable(warning));
    QCOMPARE(worker.gain(), 1);
}

void tst_WorkerEvents::reservedEventIsSwallowed()
{
    Recorder worker;
    const LogCapture log;
    QEvent reserved(static_cast<QEvent::Type>(1003));
    QVERIFY(static_cast<QObject&>(worker).event(&reserved));
    QCOMPARE(worker.steps(), QStringList());
    QCOMPARE(log.texts(), QStringList());
}

void tst_WorkerEvents::eventsOfOtherTypesAreLeftToQObject()
{
    Recorder worker;
    AbstractEvent unused;
    worker.event(&unused);
    QCOMPARE(worker.steps(), QStringList{QStringLiteral("customEvent 1001")});
    QEvent none(QEvent::None);
    QVERIFY(!worker.event(&none));
}

void tst_WorkerEvents::eventTypesAreWhatOthersKnowThemBy()
{
    QCOMPARE(static_cast<int>(AbstractEvent().type()), 1001);
    QCOMPARE(static_cast<int>(SetPropertyEvent(QString(), QVariant()).type()), 1002);
    QCOMPARE(static_cast<int>(SetBufferEvent<short>(nullptr, QString()).type()), 1004);
    QCOMPARE(static_cast<int>(SetBufferEvent<DoubleComplex>(nullptr, QString()).type()), 1004);
}

void tst_WorkerEvents::ringReachesWorkerUnderItsKey()
{
    auto* const worker = new Recorder;
    OnThread on(worker);
    worker->setBuffer(QSharedPointer<RingBuffer<DoubleComplex>>::create(64), QStringLiteral("out"));
    worker->setBuffer(QSharedPointer<RingBuffer<short>>::create(32), QStringLiteral("audio"));
    QTRY_COMPARE(worker->steps(),
                 (QStringList{QStringLiteral("complex out 64"), QStringLiteral("short audio 32")}));
    QCOMPARE(worker->lastThread(), on.thread());
}

void tst_WorkerEvents::ringForWorkerThatTakesNoneIsDropped()
{
    Worker worker;
    const LogCapture log;
    auto ring = QSharedPointer<RingBuffer<DoubleComplex>>::create(64);
    const QWeakPointer<RingBuffer<DoubleComplex>> alive(ring);
    worker.setBuffer(ring, QStringLiteral("in"));
    ring.reset();
    QVERIFY(!alive.isNull());
    QCoreApplication::sendPostedEvents(&worker);
    QVERIFY(alive.isNull());
    QCOMPARE(log.texts(), QStringList());
    SetBufferEvent<short> event(QSharedPointer<RingBuffer<short>>::create(64), QStringLiteral("in"));
    QVERIFY(worker.event(&event));
}

void tst_WorkerEvents::resetCallsEveryResetOfWritableProperty()
{
    Recorder worker;
    worker.setObjectName(QStringLiteral("kept"));
    const LogCapture log;
    QVERIFY(worker.reset());
    QCOMPARE(worker.steps(), QStringList{QStringLiteral("gain 7")});
    QCOMPARE(worker.objectName(), QStringLiteral("kept"));
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Reset properties ..")});
}

void tst_WorkerEvents::resetWithoutResettablePropertiesTellsItsFirstLineAlone()
{
    Worker worker;
    worker.setObjectName(QStringLiteral("kept"));
    const LogCapture log;
    QVERIFY(worker.reset());
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Reset properties ..")});
    QCOMPARE(log.texts(QtDebugMsg).size(), 1);
    QCOMPARE(worker.objectName(), QStringLiteral("kept"));
}

void tst_WorkerEvents::saveAndRestoreRunOnWorkersThreadAndWait()
{
    const QString key = QStringLiteral("device7");
    auto* const worker = new Recorder;
    OnThread on(worker);
    worker->setGain(33);
    QVERIFY(worker->save(key));
    worker->setGain(44);
    QVERIFY(worker->restore(key));
    QCOMPARE(worker->gain(), 33);
    QCOMPARE(worker->lastThread(), on.thread());
    QVERIFY(worker->restore(QStringLiteral("never saved")));
    QCOMPARE(worker->gain(), 7);
}

void tst_WorkerEvents::restoreOnWorkersOwnThreadIsDirectCall()
{
    Recorder worker;
    worker.setGain(5);
    QVERIFY(worker.save(QStringLiteral("device8")));
    worker.setGain(6);
    QVERIFY(worker.restore(QStringLiteral("device8")));
    QCOMPARE(worker.gain(), 5);
}

void tst_WorkerEvents::floodOfBadPropertiesIsLimited()
{
    Recorder worker;
    const LogCapture log;
    for (int i = 0; i < 1000; ++i) {
        worker.setProperty("no such", i);
        worker.setProperty("gain", QStringLiteral("much"));
    }
    QCoreApplication::sendPostedEvents(&worker);
    QVERIFY(log.texts().filter(QStringLiteral("not writable")).size() <= 50);
    QVERIFY(log.texts().filter(QStringLiteral("Error set property! ")).size() <= 50);
}

QTEST_GUILESS_MAIN(tst_WorkerEvents)
#include "tst_WorkerEvents.moc"
