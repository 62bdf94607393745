#include "TestDevice.h"

#include "Core/Worker/ThreadManager.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <memory>

using namespace std::chrono_literals;

/// A device from its start to its stop: its signal path, its rings and its watchdog.
class tst_RadioDeviceSession : public QObject
{
    Q_OBJECT

private slots:
    void signalPathRunsOnThreadOfItsOwnFromStart();
    void startHandsOverRateStartsSignalPathAndWatch();
    void stopEndsSignalPathAndWatch();
    void stopOfStoppedDeviceOnlyTellsSo();
    void samplesFlowFromBlockToOutBuffer();
    void deviceCanBeStartedAgain();
    void outSampleRateOfSignalPathIsPassedOn();
    void setIFReachesSignalPath();
    void setupDspHSetsAliasFreeWidthFirst();
    void rateChangedWhileRunningReconfiguresSignalPath();
    void startAtRateZeroWarnsAndCanBeStopped();
    void silenceEmitsNoData();
    void stoppedDeviceIsNotWatched();
    void callbackOfServerReplacesSignal();
    void destructionWhileSamplesFlowEndsThread();
    void ringsOutliveDevice();
};

void tst_RadioDeviceSession::signalPathRunsOnThreadOfItsOwnFromStart()
{
    const LogCapture log;
    const TestDevice device;
    QVERIFY(device.dsp()->thread() != device.thread());
    QVERIFY(device.dsp()->thread()->isRunning());
    QCOMPARE(device.dsp()->thread()->priority(), QThread::HighestPriority);
    QCOMPARE(device.dsp()->parent(), nullptr);
    QVERIFY(device.findChild<ThreadManager*>(QString(), Qt::FindDirectChildrenOnly) != nullptr);
    QCOMPARE(log.texts().constFirst(), QStringLiteral("Reset properties .."));
    QVERIFY(log.texts().at(1).startsWith(QLatin1String("Start thread, priority: 5")));
}

void tst_RadioDeviceSession::startHandsOverRateStartsSignalPathAndWatch()
{
    TestDevice device;
    device.setSampleRate(96'000.0);
    QVERIFY(device.start(false));
    QCOMPARE(device.state(), Worker::STARTED);
    QVERIFY(device.dsp()->running());
    QCOMPARE(device.dsp()->getProperty("inSampleRate").toLongLong(), 96'000LL);
    device.stop();
}

void tst_RadioDeviceSession::stopEndsSignalPathAndWatch()
{
    TestDevice device;
    QSignalSpy stopped(&device, &Worker::stopped);
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    device.stop();
    QCOMPARE(device.state(), Worker::STOPPED);
    QVERIFY(!device.dsp()->running());
    QCOMPARE(stopped.size(), 1);
}

void tst_RadioDeviceSession::stopOfStoppedDeviceOnlyTellsSo()
{
    TestDevice device;
    QSignalSpy stopped(&device, &Worker::stopped);
    // As a driver does whose start fails.
    QVERIFY(QMetaObject::invokeMethod(&device, "onStop"));
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(device.state(), Worker::STOPPED);
}

void tst_RadioDeviceSession::samplesFlowFromBlockToOutBuffer()
{
    TestDevice device;
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    RingBuffer<DoubleComplex>& ring = *device.outBuffer();
    DoubleComplex last;
    // The path skips what came before it was ready; ones at 0 Hz pass unchanged once its filters are full.
    QTRY_VERIFY([&] {
        device.deliver();
        const QMutexLocker lock(&ring.mutex);
        ring.read(ring.advance(ring.writeIndex, -1), &last, 1);
        return ring.writeIndex > 0 && std::abs(last.re) > 0.9;
    }());
    QVERIFY(std::abs(last.re) < 1.1);
    device.stop();
}

void tst_RadioDeviceSession::deviceCanBeStartedAgain()
{
    TestDevice device;
    device.setSampleRate(48'000.0);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(device.start(false));
        QVERIFY(device.running() && device.dsp()->running());
        device.stop();
        QVERIFY(!device.running() && !device.dsp()->running());
    }
}

void tst_RadioDeviceSession::outSampleRateOfSignalPathIsPassedOn()
{
    TestDevice device;
    QSignalSpy outSampleRateChanged(&device, &AbstractRadioDevice::outSampleRateChanged);
    device.setSampleRate(96'000.0);
    device.setupDspH(12'000.0, 4000.0);
    QVERIFY(device.start(false));
    // It comes from another thread, so only by the event loop.
    QVERIFY(outSampleRateChanged.isEmpty());
    QTRY_COMPARE(outSampleRateChanged.size(), 1);
    QCOMPARE(outSampleRateChanged.constFirst().constFirst().toDouble(), 12'000.0);
    device.stop();
}

void tst_RadioDeviceSession::setIFReachesSignalPath()
{
    TestDevice device;
    device.setIF(-1234.5);
    QTRY_COMPARE(device.dsp()->getProperty("ifFreq").toDouble(), -1234.5);
}

void tst_RadioDeviceSession::setupDspHSetsAliasFreeWidthFirst()
{
    TestDevice device;
    device.setSampleRate(96'000.0);
    QVERIFY(device.start(false));
    const LogCapture log;
    // The second write alone sets the chain up, which then has both.
    device.setupDspH(12'000.0, 4321.0);
    QTRY_COMPARE(device.dsp()->getProperty("outSampleRate").toLongLong(), 12'000LL);
    const QStringList setups = log.texts(QtDebugMsg).filter(QStringLiteral("Decimator"));
    QCOMPARE(setups.size(), 1);
    QVERIFY2(setups.constFirst().contains(QLatin1String("4321")), qPrintable(setups.constFirst()));
    device.stop();
}

void tst_RadioDeviceSession::rateChangedWhileRunningReconfiguresSignalPath()
{
    TestDevice device;
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    QTRY_COMPARE(device.dsp()->getProperty("outSampleRate").toLongLong(), 48'000LL);
    device.setSampleRate(240'000.0);
    QTRY_COMPARE(device.dsp()->getProperty("outSampleRate").toLongLong(), 30'000LL);
    device.stop();
}

void tst_RadioDeviceSession::startAtRateZeroWarnsAndCanBeStopped()
{
    TestDevice device;
    device.setSampleRate(0.0);
    const LogCapture log;
    QVERIFY(device.start(false));
    QCOMPARE(device.state(), Worker::STARTED);
    device.deliver();
    QVERIFY(log.texts(QtWarningMsg)
                .constFirst()
                .endsWith(QLatin1String("Error setup dsph - inSampleRate incorrect value!")));
    device.stop();
    QCOMPARE(device.state(), Worker::STOPPED);
    QVERIFY(!device.dsp()->running());
}

void tst_RadioDeviceSession::silenceEmitsNoData()
{
    TestDevice device(0ms);
    QSignalSpy noData(&device, &AbstractRadioDevice::noData);
    device.setSampleRate(48'000.0);
    const LogCapture log;
    QVERIFY(device.start(false));
    QTRY_VERIFY(!noData.isEmpty());
    QVERIFY(device.running()); // what follows is for the receiver of the signal to decide
    device.stop();
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String("No IQ data - stop!")));
}

void tst_RadioDeviceSession::stoppedDeviceIsNotWatched()
{
    TestDevice device(0ms);
    QSignalSpy noData(&device, &AbstractRadioDevice::noData);
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    device.stop();
    // A second device whose watchdog has ticked shows that the first one's would have.
    TestDevice watched(0ms);
    watched.setSampleRate(48'000.0);
    const LogCapture log;
    QVERIFY(watched.start(false));
    QSignalSpy other(&watched, &AbstractRadioDevice::noData);
    QTRY_VERIFY(!other.isEmpty());
    QVERIFY(noData.isEmpty());
    watched.stop();
}

void tst_RadioDeviceSession::callbackOfServerReplacesSignal()
{
    TestDevice device(0ms);
    QSignalSpy noData(&device, &AbstractRadioDevice::noData);
    int calls = 0;
    device.setNoDataCallback([&] {
        ++calls;
        device.stop();
    });
    device.setSampleRate(48'000.0);
    const LogCapture log;
    QVERIFY(device.start(false));
    QTRY_COMPARE(calls, 1);
    QVERIFY(!device.running());
    QVERIFY(noData.isEmpty());
}

void tst_RadioDeviceSession::destructionWhileSamplesFlowEndsThread()
{
    for (int i = 0; i < 3; ++i) {
        auto device = std::make_unique<TestDevice>();
        device->setSampleRate(96'000.0);
        QVERIFY(device->start(false));
        const QPointer<DspH> dsp = device->dsp();
        for (int block = 0; block < 4; ++block) {
            device->deliver();
            device->setSampleRate(96'000.0 + block);
        }
        const LogCapture log;
        device.reset();
        QVERIFY(log.texts().contains(QStringLiteral("Thread finished.")));
        QTRY_VERIFY(dsp.isNull());
        QCOMPARE(log.texts(QtCriticalMsg), QStringList());
    }
}

void tst_RadioDeviceSession::ringsOutliveDevice()
{
    auto device = std::make_unique<TestDevice>();
    device->deliver();
    const QSharedPointer<RingBuffer<DoubleComplex>> in = device->inBuffer();
    const QSharedPointer<RingBuffer<DoubleComplex>> out = device->outBuffer();
    device.reset();
    QCOMPARE(in->writeIndex, 1200);
    QCOMPARE(out->writeIndex, 0);
}

QTEST_GUILESS_MAIN(tst_RadioDeviceSession)
#include "tst_RadioDeviceSession.moc"
