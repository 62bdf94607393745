#include "RspRig.h"

#include <QMetaProperty>
#include <QSignalSpy>

using namespace std::chrono_literals;

/// How the device comes to be, starts and stops.
class tst_RspRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void newDeviceHasItsTablesAndDefaults();
    void newDeviceCallsNothingButLoader();
    void antennaIsOnePropertyMore();
    void recordIsOfItsType();

    void startMakesItsCallsInOrder();
    void startSelectsReceiverByItsIdentificator();
    void startPassesRateOfProperty();
    void startPassesFrequencyWithoutCorrection();
    void startPassesOnLibrarysPacketLength();
    void startAppliesNoAntenna();
    void startGoesOnWhereResultIsIgnored_data();
    void startGoesOnWhereResultIsIgnored();
    void streamThatFailsEndsStart_data();
    void streamThatFailsEndsStart();
    void startAfterFailedOneSucceeds();
    void deviceIsStartedAfterHardware();

    void stopMakesItsCallsBeforeDeviceIsStopped();
    void stopOfStoppedDeviceCallsNothing();
    void stopHasNoTestOfState();
    void stopGoesOnWhereResultIsIgnored_data();
    void stopGoesOnWhereResultIsIgnored();
    void stopThatHangsIsWaitedForNoLongerThanItsDeadline_data();
    void stopThatHangsIsWaitedForNoLongerThanItsDeadline();
    void runningDeviceEndsItsStreamWhenItIsDestroyed();
    void stoppedDeviceCallsNothingWhenItIsDestroyed();

private:
    FakeVendor m_vendor;
};

namespace
{

const QString kStreamInit = QStringLiteral("mir_sdr_StreamInit(40, 2.048, 1000.5, 1536, 0, 0, 40, 2) = 0");
const QStringList kStopCalls{QStringLiteral("mir_sdr_StreamUninit() = 0"),
                             QStringLiteral("mir_sdr_ReleaseDeviceIdx(0) = 0")};

} // namespace

void tst_RspRadioDevice::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
}

void tst_RspRadioDevice::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("stall"), 1);
}

void tst_RspRadioDevice::newDeviceHasItsTablesAndDefaults()
{
    const auto info = QSharedPointer<RspRadioDevice::DeviceInfo>::create();
    const RspRadioDevice device(info, nullptr);
    QVERIFY(device.libraryLoaded());
    QCOMPARE(device.type(), 9);
    QCOMPARE(device.info(), info);
    QCOMPARE(device.supportSampleRates(), QStringList{QStringLiteral("2048000")});
    QCOMPARE(device.supportFrequencies(), (QStringList{QStringLiteral("1000"), QStringLiteral("2000000")}));
    QCOMPARE(device.sampleRate(), 2'048'000.0);
    QCOMPARE(device.frequency(), 1'000'500'000.0);
    QCOMPARE(device.blockSize(), 1344);
    QCOMPARE(device.ant(), 5);
    QCOMPARE(device.swapIQ(), false);
    QVERIFY(device.isFrequencySupported(1'000'000.0));
    QVERIFY(device.isFrequencySupported(2'000'000'000.0));
    QVERIFY(!device.isFrequencySupported(999'999.0));
    QVERIFY(!device.isFrequencySupported(2'000'000'001.0));
    QCOMPARE(device.state(), Worker::STOPPED);
}

void tst_RspRadioDevice::newDeviceCallsNothingButLoader()
{
    const RspRadioDevice device(QSharedPointer<RspRadioDevice::DeviceInfo>::create(), nullptr);
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_RspRadioDevice::antennaIsOnePropertyMore()
{
    const QMetaObject& meta = RspRadioDevice::staticMetaObject;
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 1);
    const QMetaProperty ant = meta.property(meta.propertyOffset());
    QCOMPARE(ant.name(), "ant");
    QCOMPARE(ant.typeName(), "int");
    QVERIFY(ant.isWritable());
    QVERIFY(!ant.isResettable());
    QCOMPARE(ant.notifySignal().methodSignature(), QByteArray("antChanged(int)"));
}

void tst_RspRadioDevice::recordIsOfItsType()
{
    QCOMPARE(RspRadioDevice::DeviceInfo().type(), 9);
}

void tst_RspRadioDevice::startMakesItsCallsInOrder()
{
    RspRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
    QCOMPARE(m_vendor.calls(), (QStringList{
                                   QStringLiteral("mir_sdr_SetDeviceIdx(0) = 0"),
                                   QStringLiteral("mir_sdr_DebugEnable(1) = 0"),
                                   QStringLiteral("mir_sdr_DCoffsetIQimbalanceControl(1, 0) = 0"),
                                   kStreamInit,
                                   QStringLiteral("mir_sdr_SetSyncUpdatePeriod(682666) = 0"),
                                   QStringLiteral("mir_sdr_SetSyncUpdateSampleNum(1344) = 0"),
                               }));
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(rig.errors, QStringList());
}

void tst_RspRadioDevice::startSelectsReceiverByItsIdentificator()
{
    RspRig rig(m_vendor, {}, IQSource::kWatchdogInterval, QStringLiteral("3"));
    rig.device->start(false);
    QCOMPARE(m_vendor.calls().constFirst(), QStringLiteral("mir_sdr_SetDeviceIdx(3) = 0"));
    rig.device->stop();
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("mir_sdr_ReleaseDeviceIdx(3) = 0"));
}

void tst_RspRadioDevice::startPassesRateOfProperty()
{
    RspRig rig(m_vendor);
    rig.device->setSampleRate(8'000'000.0);
    rig.device->start(false);
    QCOMPARE(m_vendor.calls(QStringLiteral("mir_sdr_StreamInit")),
             QStringList{QStringLiteral("mir_sdr_StreamInit(40, 8, 1000.5, 1536, 0, 0, 40, 2) = 0")});
}

void tst_RspRadioDevice::startPassesFrequencyWithoutCorrection()
{
    RspRig rig(m_vendor);
    rig.device->setPpmCorrection(100);
    rig.device->setFrequency(100'000'000.0);
    rig.device->start(false);
    QCOMPARE(m_vendor.calls(QStringLiteral("mir_sdr_StreamInit")),
             QStringList{QStringLiteral("mir_sdr_StreamInit(40, 2.048, 100, 1536, 0, 0, 40, 2) = 0")});
}

void tst_RspRadioDevice::startPassesOnLibrarysPacketLength()
{
    m_vendor.set(QStringLiteral("rsp.packet"), 336);
    RspRig rig(m_vendor);
    rig.device->start(false);
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("mir_sdr_SetSyncUpdateSampleNum(336) = 0"));
}

void tst_RspRadioDevice::startAppliesNoAntenna()
{
    RspRig rig(m_vendor);
    rig.device->setAnt(6);
    m_vendor.clearCalls();
    rig.device->start(false);
    QCOMPARE(m_vendor.calls(QStringLiteral("mir_sdr_RSPII")), QStringList());
    QCOMPARE(rig.device->ant(), 6);
}

void tst_RspRadioDevice::startGoesOnWhereResultIsIgnored_data()
{
    QTest::addColumn<QString>("call");
    for (const char* call :
         {"mir_sdr_SetDeviceIdx", "mir_sdr_DebugEnable", "mir_sdr_DCoffsetIQimbalanceControl",
          "mir_sdr_SetSyncUpdatePeriod", "mir_sdr_SetSyncUpdateSampleNum"}) {
        QTest::newRow(call) << QString::fromLatin1(call);
    }
}

void tst_RspRadioDevice::startGoesOnWhereResultIsIgnored()
{
    QFETCH(QString, call);
    m_vendor.set(call, 5);
    RspRig rig(m_vendor);
    rig.device->start(false);
    QVERIFY(rig.device->running());
    QCOMPARE(m_vendor.calls().size(), 6);
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(rig.errors, QStringList());
}

void tst_RspRadioDevice::streamThatFailsEndsStart_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("1") << 1 << QStringLiteral("Error start RSP device ...1");
    QTest::newRow("12") << 12 << QStringLiteral("Error start RSP device ...12");
    QTest::newRow("-3") << -3 << QStringLiteral("Error start RSP device ...-3");
}

void tst_RspRadioDevice::streamThatFailsEndsStart()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    m_vendor.set(QStringLiteral("mir_sdr_StreamInit"), code);
    RspRig rig(m_vendor);
    QSignalSpy started(rig.device.get(), &Worker::started);
    QSignalSpy stopped(rig.device.get(), &Worker::stopped);
    rig.device->start(false);
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(rig.errors, QStringList{text});
    QCOMPARE(rig.warnings(), QStringList{text});
    QCOMPARE(started.size(), 0);
    QCOMPARE(stopped.size(), 1);
    const QStringList calls = m_vendor.calls();
    QCOMPARE(calls.size(), 6);
    QVERIFY(calls.at(3).startsWith(QLatin1String("mir_sdr_StreamInit")));
    QCOMPARE(calls.mid(4), kStopCalls);
}

void tst_RspRadioDevice::startAfterFailedOneSucceeds()
{
    m_vendor.set(QStringLiteral("mir_sdr_StreamInit.1"), 1);
    RspRig rig(m_vendor);
    rig.device->start(false);
    QVERIFY(!rig.device->running());
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
}

void tst_RspRadioDevice::deviceIsStartedAfterHardware()
{
    RspRig rig(m_vendor);
    QStringList callsWhenStarted;
    connect(rig.device.get(), &Worker::started, this, [&] { callsWhenStarted = m_vendor.calls(); });
    rig.device->start(false);
    QCOMPARE(callsWhenStarted.size(), 6);
}

void tst_RspRadioDevice::stopMakesItsCallsBeforeDeviceIsStopped()
{
    RspRig rig(m_vendor);
    rig.open();
    QStringList callsWhenStopped;
    connect(rig.device.get(), &Worker::stopped, this, [&] { callsWhenStopped = m_vendor.calls(); });
    rig.device->stop();
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(callsWhenStopped, kStopCalls);
    QCOMPARE(m_vendor.calls(), kStopCalls);
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RspRadioDevice::stopOfStoppedDeviceCallsNothing()
{
    RspRig rig(m_vendor);
    rig.device->stop();
    rig.open();
    rig.device->stop();
    m_vendor.clearCalls();
    rig.device->stop();
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_RspRadioDevice::stopHasNoTestOfState()
{
    RspRig rig(m_vendor);
    QVERIFY(QMetaObject::invokeMethod(rig.device.get(), "onStop"));
    QCOMPARE(m_vendor.calls(), kStopCalls);
}

void tst_RspRadioDevice::stopGoesOnWhereResultIsIgnored_data()
{
    QTest::addColumn<QString>("call");
    for (const char* call : {"mir_sdr_StreamUninit", "mir_sdr_ReleaseDeviceIdx"}) {
        QTest::newRow(call) << QString::fromLatin1(call);
    }
}

void tst_RspRadioDevice::stopGoesOnWhereResultIsIgnored()
{
    QFETCH(QString, call);
    m_vendor.set(call, 5);
    RspRig rig(m_vendor);
    rig.open();
    rig.device->stop();
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(m_vendor.calls().size(), 2);
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(rig.errors, QStringList());
}

void tst_RspRadioDevice::stopThatHangsIsWaitedForNoLongerThanItsDeadline_data()
{
    stopGoesOnWhereResultIsIgnored_data();
}

void tst_RspRadioDevice::stopThatHangsIsWaitedForNoLongerThanItsDeadline()
{
    QFETCH(QString, call);
    RspRig rig(m_vendor, {300ms, 300ms});
    rig.open();
    m_vendor.set(QStringLiteral("hang.") + call, 1);
    rig.device->stop();
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(rig.warnings().size(), 1);
    QVERIFY2(rig.warnings().constFirst().endsWith(call), qPrintable(rig.warnings().constFirst()));
    // The device may go, and the call come back later.
    rig.device.reset();
    m_vendor.remove(QStringLiteral("hang.") + call);
    QTRY_COMPARE(m_vendor.calls(), kStopCalls);
}

void tst_RspRadioDevice::runningDeviceEndsItsStreamWhenItIsDestroyed()
{
    RspRig rig(m_vendor);
    rig.open();
    rig.device.reset();
    QCOMPARE(m_vendor.calls(), kStopCalls);
}

void tst_RspRadioDevice::stoppedDeviceCallsNothingWhenItIsDestroyed()
{
    RspRig rig(m_vendor);
    rig.open();
    rig.device->stop();
    m_vendor.clearCalls();
    rig.device.reset();
    QCOMPARE(m_vendor.calls(), QStringList());
}

QTEST_GUILESS_MAIN(tst_RspRadioDevice)
#include "tst_RspRadioDevice.moc"
