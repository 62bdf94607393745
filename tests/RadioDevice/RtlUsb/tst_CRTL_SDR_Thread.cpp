#include "RadioDevice/RtlUsb/CRTL_SDR_Thread.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <rtl-sdr.h>

class tst_CRTL_SDR_Thread : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void threadReadsFromItsConstructionOn();
    void threadFinishesWhenReadReturns();
    void callbackWithoutContextWarns();
    void callbackAtShutGateDoesNothing();

private:
    FakeVendor m_vendor;
};

void tst_CRTL_SDR_Thread::init()
{
    m_vendor.reset();
}

void tst_CRTL_SDR_Thread::threadReadsFromItsConstructionOn()
{
    rtlsdr_dev_t* dev = nullptr;
    QCOMPARE(rtlsdr_open(&dev, 0), 0);
    CRTL_SDR_Thread::Gate gate;
    CRTL_SDR_Thread thread(dev, gate.begin(), 65'536);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_read_async")),
                 QStringList{QStringLiteral("rtlsdr_read_async(dev1, 0, 65536) = 0")});
    QVERIFY(thread.isRunning());
    QCOMPARE(thread.priority(), QThread::InheritPriority);
    bool cancelled = false;
    QTRY_VERIFY(cancelled = cancelled || rtlsdr_cancel_async(dev) == 0);
    QVERIFY(thread.wait(5000));
    rtlsdr_close(dev);
}

void tst_CRTL_SDR_Thread::threadFinishesWhenReadReturns()
{
    m_vendor.set(QStringLiteral("rtlsdr_read_async"), -1);
    rtlsdr_dev_t* dev = nullptr;
    QCOMPARE(rtlsdr_open(&dev, 0), 0);
    CRTL_SDR_Thread::Gate gate;
    CRTL_SDR_Thread thread(dev, gate.begin(), 65'536);
    QVERIFY(thread.wait(5000));
    QVERIFY(thread.isFinished());
}

void tst_CRTL_SDR_Thread::callbackWithoutContextWarns()
{
    const LogCapture log;
    unsigned char bytes[2] = {};
    CRTL_SDR_Thread::onRead(bytes, 2, nullptr);
    QCOMPARE(log.texts().size(), 1);
    const QString text = log.texts(QtWarningMsg).value(0);
    QVERIFY2(text.startsWith(QLatin1String("[ W ][ RadioDevice/RtlUsb/CRTL_SDR_Thread ] onRead : ")),
             qPrintable(text));
    QVERIFY2(text.endsWith(QLatin1String(" =>\t Error rtlsdr_read_async function!")), qPrintable(text));
}

void tst_CRTL_SDR_Thread::callbackAtShutGateDoesNothing()
{
    CRTL_SDR_Thread::Gate gate;
    const LogCapture log;
    unsigned char bytes[2] = {};
    CRTL_SDR_Thread::onRead(bytes, 2, gate.begin());
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(tst_CRTL_SDR_Thread)
#include "tst_CRTL_SDR_Thread.moc"
