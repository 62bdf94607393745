#include "RadioDevice/Driver.h"

#include "support/LogCapture.h"

#include <QMetaProperty>
#include <QSignalSpy>
#include <QtTest>

/// What holds for the device of every driver: each test runs for each of them.
class tst_DriverContract : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void initTestCase();
    void init();

    void startedDeviceDeliversSamplesToBothRings();
    void stoppedDeviceDeliversNothing();
    void deviceStartsAgainAfterStop();
    void startedDeviceRefusesSecondStart();
    void tablesOfOpenDeviceHoldItsDefaults();

    void newDeviceHasEveryDefault();
    void resetBringsEveryDefaultBack_data();
    void resetBringsEveryDefaultBack();
    void propertiesAreSavedAndRestored();
    void savedCorrectionIsRestored();
    void savedFrequencyIsRestoredUnderItsCorrection();
    void propertiesOfRunningDeviceAreSaved();
    void refusedValuesLeaveRunningDeviceAsItWas();

    void runningDeviceCanBeDestroyed();
    void deviceThatNeverRanCanBeDestroyed();

private:
    FakeVendor m_vendor;
};

namespace
{

int written(const RingBuffer<DoubleComplex>& ring, QMutex& mutex)
{
    const QMutexLocker lock(&mutex);
    return ring.writeIndex;
}

int received(const AbstractRadioDevice& device)
{
    return written(*device.inBuffer(), device.inBuffer()->mutex);
}

int reduced(const AbstractRadioDevice& device)
{
    return written(*device.outBuffer(), device.outBuffer()->mutex);
}

Driver driver()
{
    QFETCH_GLOBAL(Driver, driver);
    return driver;
}

} // namespace

void tst_DriverContract::initTestCase_data()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& each : drivers()) {
        QTest::newRow(qPrintable(each.name)) << each;
    }
}

void tst_DriverContract::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
}

void tst_DriverContract::init()
{
    resetFakes(m_vendor);
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void tst_DriverContract::startedDeviceDeliversSamplesToBothRings()
{
    const auto device = driver().device();
    QSignalSpy outSampleRateChanged(device.get(), &AbstractRadioDevice::outSampleRateChanged);
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    QTRY_VERIFY(received(*device) > 0);
    QTRY_VERIFY(reduced(*device) > 0);
    QTRY_VERIFY(!outSampleRateChanged.isEmpty());
    device->stop();
}

void tst_DriverContract::stoppedDeviceDeliversNothing()
{
    const auto device = driver().device();
    QSignalSpy stopped(device.get(), &Worker::stopped);
    QVERIFY(device->start(false));
    QTRY_VERIFY(received(*device) > 0);
    device->stop();
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(device->state(), Worker::STOPPED);
    const int before = received(*device);
    QCoreApplication::processEvents();
    QCOMPARE(received(*device), before);
}

void tst_DriverContract::deviceStartsAgainAfterStop()
{
    const auto device = driver().device();
    for (int i = 0; i < 3; ++i) {
        const int before = received(*device);
        QVERIFY(device->start(false));
        QTRY_VERIFY(received(*device) != before);
        device->stop();
    }
}

void tst_DriverContract::startedDeviceRefusesSecondStart()
{
    const auto device = driver().device();
    const LogCapture log;
    QVERIFY(device->start(false));
    QVERIFY(!device->start(false));
    QVERIFY(device->running());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QCOMPARE(m_vendor.calls(driver().openCall).size(), driver().openCall.isEmpty() ? 0 : 1);
    device->stop();
}

void tst_DriverContract::tablesOfOpenDeviceHoldItsDefaults()
{
    // Some receivers tell their tables once they are open.
    const auto device = driver().device();
    QVERIFY(device->start(false));
    QVERIFY(device->isFrequencySupported(device->frequency()));
    QVERIFY(!device->supportSampleRates().isEmpty());
    for (const QString& rate : device->supportSampleRates()) {
        QVERIFY(rate.toDouble() > 0.0);
    }
    const QStringList bands = device->supportFrequencies();
    QVERIFY(!bands.isEmpty() && bands.size() % 2 == 0);
    for (int i = 0; i < bands.size(); i += 2) {
        QVERIFY(device->isFrequencySupported(1000.0 * bands.at(i).toDouble()));
        QVERIFY(device->isFrequencySupported(1000.0 * bands.at(i + 1).toDouble()));
        QVERIFY(bands.at(i).toDouble() < bands.at(i + 1).toDouble());
    }
    device->stop();
}

void tst_DriverContract::newDeviceHasEveryDefault()
{
    const auto device = driver().device();
    QStringList persistent;
    for (int i = 0; i < device->metaObject()->propertyCount(); ++i) {
        const QMetaProperty property = device->metaObject()->property(i);
        if (property.isWritable() && property.isResettable()) {
            persistent.append(QString::fromLatin1(property.name()));
        }
    }
    QStringList expected;
    for (const Driver::Property& property : driver().properties) {
        expected.append(QString::fromLatin1(property.name));
        QCOMPARE(device->property(property.name), property.byDefault);
    }
    QCOMPARE(persistent, expected);
}

void tst_DriverContract::resetBringsEveryDefaultBack_data()
{
    QTest::addColumn<bool>("open");
    QTest::newRow("closed") << false;
    QTest::newRow("open") << true;
}

void tst_DriverContract::resetBringsEveryDefaultBack()
{
    QFETCH(bool, open);
    const auto device = driver().device();
    if (open) {
        QVERIFY(device->start(false));
    }
    for (const Driver::Property& property : driver().properties) {
        QVERIFY(device->QObject::setProperty(property.name, property.other));
        QCOMPARE(device->property(property.name), property.other);
        const int index = device->metaObject()->indexOfProperty(property.name);
        QVERIFY(device->metaObject()->property(index).reset(device.get()));
        QCOMPARE(device->property(property.name), property.byDefault);
    }
    QCOMPARE(device->running(), open);
    device->stop();
}

void tst_DriverContract::propertiesAreSavedAndRestored()
{
    const auto device = driver().device();
    for (const Driver::Property& property : driver().properties) {
        // A correction makes the frequency read otherwise at once: it has a test of its own.
        if (qstrcmp(property.name, "ppmCorrection") != 0) {
            QVERIFY(device->QObject::setProperty(property.name, property.other));
        }
    }
    QVERIFY(device->save(driver().name));
    const auto next = driver().device();
    QVERIFY(next->restore(driver().name));
    for (const Driver::Property& property : driver().properties) {
        QCOMPARE(next->property(property.name), device->property(property.name));
    }
    QCOMPARE(next->property("frequency"), driver().properties.at(1).other);
}

void tst_DriverContract::savedCorrectionIsRestored()
{
    const auto device = driver().device();
    device->setPpmCorrection(-17);
    QVERIFY(device->save(driver().name));
    const auto next = driver().device();
    QVERIFY(next->restore(driver().name));
    QCOMPARE(next->ppmCorrection(), -17);
}

void tst_DriverContract::savedFrequencyIsRestoredUnderItsCorrection()
{
    const auto device = driver().device();
    device->setPpmCorrection(50);
    device->setFrequency(driver().properties.at(1).other.toDouble());
    const double stored = device->frequency();
    QVERIFY(device->save(driver().name));
    for (int session = 0; session < 3; ++session) {
        const auto next = driver().device();
        QVERIFY(next->restore(driver().name));
        QCOMPARE(next->ppmCorrection(), 50);
        QVERIFY2(std::abs(next->frequency() - stored) < 1e-6, qPrintable(QString::number(next->frequency())));
        QVERIFY(next->save(driver().name));
    }
}

void tst_DriverContract::propertiesOfRunningDeviceAreSaved()
{
    const auto device = driver().device();
    QVERIFY(device->start(false));
    device->setLevelCorrection(-3.0);
    device->setFrequency(driver().properties.at(1).other.toDouble());
    QVERIFY(device->save(driver().name));
    QVERIFY(device->running());
    const auto next = driver().device();
    QVERIFY(next->restore(driver().name));
    QCOMPARE(next->levelCorrection(), -3.0);
    QCOMPARE(next->frequency(), driver().properties.at(1).other.toDouble());
    device->stop();
}

void tst_DriverContract::refusedValuesLeaveRunningDeviceAsItWas()
{
    const auto device = driver().device();
    QVERIFY(device->start(false));
    const double frequency = device->frequency();
    const double rate = device->sampleRate();
    for (const double value : {qQNaN(), qInf(), -qInf(), 1e300}) {
        LogCapture log;
        QSignalSpy frequencyChanged(device.get(), &AbstractRadioDevice::frequencyChanged);
        device->setFrequency(value);
        QCOMPARE(frequencyChanged.size(), 1);
        QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), frequency);
        log.clear();
        QSignalSpy sampleRateChanged(device.get(), &AbstractRadioDevice::sampleRateChanged);
        device->setSampleRate(value);
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QCOMPARE(sampleRateChanged.size(), 1);
        QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), rate);
    }
    QCOMPARE(device->frequency(), frequency);
    QCOMPARE(device->sampleRate(), rate);
    QVERIFY(device->running());
    device->stop();
}

void tst_DriverContract::runningDeviceCanBeDestroyed()
{
    auto device = driver().device();
    const QWeakPointer<RingBuffer<DoubleComplex>> in = device->inBuffer();
    QVERIFY(device->start(false));
    QTRY_VERIFY(received(*device) > 0);
    device.reset();
    QTRY_VERIFY(in.isNull());
}

void tst_DriverContract::deviceThatNeverRanCanBeDestroyed()
{
    auto device = driver().device();
    const QWeakPointer<RingBuffer<DoubleComplex>> in = device->inBuffer();
    device.reset();
    QTRY_VERIFY(in.isNull());
}

QTEST_GUILESS_MAIN(tst_DriverContract)
#include "tst_DriverContract.moc"
