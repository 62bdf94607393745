#include "RtlUsbRig.h"

#include <QSignalSpy>
#include <QtTest>

class tst_RtlUsbFailedStart : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void failedOpenEndsStart();
    void failedSampleRateEndsStartAndLeavesDongleOpen();
    void startAfterFailedOneOpensOverHandle();
    void settersReachDongleThatFailedStartLeftOpen();
    void destructionLeavesDongleThatFailedStartLeftOpen();

private:
    FakeVendor m_vendor;
};

void tst_RtlUsbFailedStart::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("buffers"), 0);
}

void tst_RtlUsbFailedStart::failedOpenEndsStart()
{
    m_vendor.set(QStringLiteral("rtlsdr_open"), -6);
    RtlUsbRig rig(m_vendor);
    QSignalSpy stopped(rig.device.get(), &Worker::stopped);
    QSignalSpy started(rig.device.get(), &Worker::started);
    QVERIFY(rig.device->start(false));
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    QVERIFY(started.isEmpty());
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error open device #0")});
    QCOMPARE(rig.warnings(), QStringList{QStringLiteral("Error open device #0")});
    QVERIFY(rig.log.texts(QtWarningMsg)
                .constFirst()
                .startsWith(QLatin1String("[ W ][ RadioDevice/RtlUsb/RtlUsbRadioDevice ] ")));
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("rtlsdr_open(0) = -6")});
}

void tst_RtlUsbFailedStart::failedSampleRateEndsStartAndLeavesDongleOpen()
{
    m_vendor.set(QStringLiteral("rtlsdr_set_sample_rate"), -22);
    RtlUsbRig rig(m_vendor);
    QSignalSpy stopped(rig.device.get(), &Worker::stopped);
    QVERIFY(rig.device->start(false));
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error set sampleRate! 2.048e+06")});
    QCOMPARE(rig.warnings(), rig.errors);
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("rtlsdr_open(0) = 0"),
                                            QStringLiteral("rtlsdr_set_sample_rate(dev1, 2048000) = -22")}));
}

void tst_RtlUsbFailedStart::startAfterFailedOneOpensOverHandle()
{
    m_vendor.set(QStringLiteral("rtlsdr_set_sample_rate.1"), -22);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QVERIFY(!rig.device->running());
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_open")),
             (QStringList{QStringLiteral("rtlsdr_open(0) = 0"), QStringLiteral("rtlsdr_open(0) = 0")}));
    rig.device->stop();
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close")),
             QStringList{QStringLiteral("rtlsdr_close(dev2) = 0")});
}

void tst_RtlUsbFailedStart::settersReachDongleThatFailedStartLeftOpen()
{
    m_vendor.set(QStringLiteral("rtlsdr_set_sample_rate.1"), -22);
    RtlUsbRig rig(m_vendor);
    rig.device->start(false);
    rig.forget();
    rig.device->setRtlAgc(false);
    rig.device->setFrequency(101'000'000.0);
    // This one asks for a running device.
    rig.device->setSampleRate(1'024'000.0);
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("rtlsdr_set_agc_mode(dev1, 0) = 0"),
                                            QStringLiteral("rtlsdr_set_center_freq(dev1, 101000000) = 0")}));
}

void tst_RtlUsbFailedStart::destructionLeavesDongleThatFailedStartLeftOpen()
{
    m_vendor.set(QStringLiteral("rtlsdr_set_sample_rate.1"), -22);
    RtlUsbRig rig(m_vendor);
    rig.device->start(false);
    rig.forget();
    rig.device.reset();
    QCOMPARE(m_vendor.calls(), QStringList());
}

QTEST_GUILESS_MAIN(tst_RtlUsbFailedStart)
#include "tst_RtlUsbFailedStart.moc"
