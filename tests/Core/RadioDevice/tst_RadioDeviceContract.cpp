#include "Core/RadioDevice/FactoryRadioDevice.h"

#include "System/Recording.h"
#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <functional>
#include <memory>

namespace
{

/// A driver, and how to come by a receiver of its type that works.
struct Driver
{
    DefRadioDevice::Type type;
    std::function<QString()> identificator;
};

} // namespace

Q_DECLARE_METATYPE(Driver)

/// What holds for the device of every driver: each row of each test is one of them.
class tst_RadioDeviceContract : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void startedDeviceDeliversSamplesToBothRings_data();
    void startedDeviceDeliversSamplesToBothRings();
    void stoppedDeviceDeliversNothing_data();
    void stoppedDeviceDeliversNothing();
    void deviceStartsAgainAfterAStop_data();
    void deviceStartsAgainAfterAStop();
    void startedDeviceRefusesASecondStart_data();
    void startedDeviceRefusesASecondStart();
    void defaultsLieInTheTablesOfTheDevice_data();
    void defaultsLieInTheTablesOfTheDevice();
    void deviceSavesAndRestoresItsProperties_data();
    void deviceSavesAndRestoresItsProperties();
    void refusedValuesLeaveARunningDeviceAsItWas_data();
    void refusedValuesLeaveARunningDeviceAsItWas();
    void runningDeviceCanBeDestroyed_data();
    void runningDeviceCanBeDestroyed();

private:
    void drivers() const;
    static std::unique_ptr<AbstractRadioDevice> make();

    FakeVendor m_vendor;
    QTemporaryDir m_folder;
};

void tst_RadioDeviceContract::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
}

void tst_RadioDeviceContract::drivers() const
{
    QTest::addColumn<Driver>("driver");
    QTest::newRow("IQ file player") << Driver{DefRadioDevice::IQFilePlayer, [this] {
                                                  QFile file(m_folder.filePath(QStringLiteral("a.wav")));
                                                  file.open(QIODevice::WriteOnly);
                                                  file.write(recording({{1000.0, 2000.0}}));
                                                  return file.fileName();
                                              }};
#ifdef ORVENLINK_RTLSDR
    QTest::newRow("RTL2832U") << Driver{DefRadioDevice::RtlUsb, [] { return QStringLiteral("0"); }};
#endif
}

std::unique_ptr<AbstractRadioDevice> tst_RadioDeviceContract::make()
{
    QFETCH(Driver, driver);
    auto info = QSharedPointer<InfoRadioDevice>::create(driver.type);
    info->identificator = driver.identificator();
    return std::unique_ptr<AbstractRadioDevice>(FactoryRadioDevice::make(info));
}

namespace
{

int written(const RingBuffer<DoubleComplex>& ring)
{
    return ring.writeIndex;
}

} // namespace

void tst_RadioDeviceContract::startedDeviceDeliversSamplesToBothRings_data()
{
    drivers();
}

void tst_RadioDeviceContract::startedDeviceDeliversSamplesToBothRings()
{
    const auto device = make();
    QSignalSpy outSampleRateChanged(device.get(), &AbstractRadioDevice::outSampleRateChanged);
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    QTRY_VERIFY([&] {
        const QMutexLocker lock(&device->inBuffer()->mutex);
        return written(*device->inBuffer()) > 0;
    }());
    QTRY_VERIFY([&] {
        const QMutexLocker lock(&device->outBuffer()->mutex);
        return written(*device->outBuffer()) > 0;
    }());
    QTRY_VERIFY(!outSampleRateChanged.isEmpty());
    device->stop();
}

void tst_RadioDeviceContract::stoppedDeviceDeliversNothing_data()
{
    drivers();
}

void tst_RadioDeviceContract::stoppedDeviceDeliversNothing()
{
    const auto device = make();
    QSignalSpy stopped(device.get(), &Worker::stopped);
    QVERIFY(device->start(false));
    device->stop();
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(device->state(), Worker::STOPPED);
    const int before = written(*device->inBuffer());
    QCoreApplication::processEvents();
    QCOMPARE(written(*device->inBuffer()), before);
}

void tst_RadioDeviceContract::deviceStartsAgainAfterAStop_data()
{
    drivers();
}

void tst_RadioDeviceContract::deviceStartsAgainAfterAStop()
{
    const auto device = make();
    for (int i = 0; i < 3; ++i) {
        const int before = written(*device->inBuffer());
        QVERIFY(device->start(false));
        QTRY_VERIFY([&] {
            const QMutexLocker lock(&device->inBuffer()->mutex);
            return written(*device->inBuffer()) != before;
        }());
        device->stop();
    }
}

void tst_RadioDeviceContract::startedDeviceRefusesASecondStart_data()
{
    drivers();
}

void tst_RadioDeviceContract::startedDeviceRefusesASecondStart()
{
    const auto device = make();
    const LogCapture log;
    QVERIFY(device->start(false));
    QVERIFY(!device->start(false));
    QVERIFY(device->running());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    device->stop();
}

void tst_RadioDeviceContract::defaultsLieInTheTablesOfTheDevice_data()
{
    drivers();
}

void tst_RadioDeviceContract::defaultsLieInTheTablesOfTheDevice()
{
    const auto device = make();
    // Some receivers tell their tables once they are open.
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
}

void tst_RadioDeviceContract::deviceSavesAndRestoresItsProperties_data()
{
    drivers();
}

void tst_RadioDeviceContract::deviceSavesAndRestoresItsProperties()
{
    const auto device = make();
    const QString key = device->info()->identificator;
    QVERIFY(device->start(false));
    const double high = 1000.0 * device->supportFrequencies().constLast().toDouble();
    device->stop();
    device->setFrequency(high);
    device->setSwapIQ(true);
    device->setLevelCorrection(4.0);
    QVERIFY(device->save(key));
    const auto next = make();
    QVERIFY(next->restore(key));
    QCOMPARE(next->frequency(), high);
    QCOMPARE(next->swapIQ(), true);
    QCOMPARE(next->levelCorrection(), 4.0);
}

void tst_RadioDeviceContract::refusedValuesLeaveARunningDeviceAsItWas_data()
{
    drivers();
}

void tst_RadioDeviceContract::refusedValuesLeaveARunningDeviceAsItWas()
{
    const auto device = make();
    QVERIFY(device->start(false));
    const double frequency = device->frequency();
    const double rate = device->sampleRate();
    for (const double value : {qQNaN(), qInf(), -qInf(), 1e300}) {
        const LogCapture log;
        device->setFrequency(value);
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        device->setSampleRate(value);
        QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    }
    QCOMPARE(device->frequency(), frequency);
    QCOMPARE(device->sampleRate(), rate);
    QVERIFY(device->running());
    device->stop();
}

void tst_RadioDeviceContract::runningDeviceCanBeDestroyed_data()
{
    drivers();
}

void tst_RadioDeviceContract::runningDeviceCanBeDestroyed()
{
    auto device = make();
    const QWeakPointer<RingBuffer<DoubleComplex>> in = device->inBuffer();
    QVERIFY(device->start(false));
    QTRY_VERIFY([&] {
        const QMutexLocker lock(&device->inBuffer()->mutex);
        return written(*device->inBuffer()) > 0;
    }());
    device.reset();
    QTRY_VERIFY(in.isNull());
}

QTEST_GUILESS_MAIN(tst_RadioDeviceContract)
#include "tst_RadioDeviceContract.moc"
