#include "TestDevice.h"

#include <QMetaProperty>
#include <QSignalSpy>
#include <QtTest>

class tst_AbstractRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void startsWithValuesOfDeviceThatIsNotSetUp();
    void ringsHoldTheirFixedCapacities();
    void propertiesComeInTheirOrder();
    void signalsComeInTheirOrder();
    void sampleSideIsFoundByItsInterfaceName();
    void recordIsOneItWasMadeFor();

    void resetSampleRateIsFirstOfList();
    void resetWithoutRatesOrRangesGivesZero();
    void sampleRateIsStoredToldAndPassedOn();
    void levelIsKeptInDecibelsAndAsFactor();
    void levelAndCorrectionSignalsAreNeverEmitted();
    void resetBringsEveryPropertyToItsDefault();
    void propertiesSurviveSaveAndRestore();
};

void tst_AbstractRadioDevice::startsWithValuesOfDeviceThatIsNotSetUp()
{
    const BareDevice device;
    QCOMPARE(device.sampleRate(), -1.0);
    QCOMPARE(device.frequency(), 0.0);
    QCOMPARE(device.loFrequency(), 0.0);
    QCOMPARE(device.ppmCorrection(), 0);
    QCOMPARE(device.levelCorrection(), 0.0);
    QCOMPARE(device.levelFactor(), 1.0);
    QVERIFY(!device.swapIQ());
    QVERIFY(!device.hasDsp());
    QCOMPARE(device.state(), Worker::STOPPED);
}

void tst_AbstractRadioDevice::ringsHoldTheirFixedCapacities()
{
    const TestDevice device;
    QCOMPARE(device.inBuffer()->capacity, 262'144);
    QCOMPARE(device.outBuffer()->capacity, 65'536);
}

void tst_AbstractRadioDevice::propertiesComeInTheirOrder()
{
    const QMetaObject& meta = AbstractRadioDevice::staticMetaObject;
    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty p = meta.property(i);
        QVERIFY(p.isReadable() && p.isStored() && p.isScriptable());
        properties.append(QStringLiteral("%1 %2%3%4 %5")
                              .arg(QLatin1String(p.typeName()), QLatin1String(p.name()),
                                   p.isWritable() ? QStringLiteral(" write") : QString(),
                                   p.isResettable() ? QStringLiteral(" reset") : QString(),
                                   QLatin1String(p.notifySignal().name())));
    }
    QCOMPARE(properties, (QStringList{
                             QStringLiteral("int type "),
                             QStringLiteral("QStringList supportSampleRates "),
                             QStringLiteral("QStringList supportFrequencies "),
                             QStringLiteral("double sampleRate write reset sampleRateChanged"),
                             QStringLiteral("double frequency write reset frequencyChanged"),
                             QStringLiteral("int ppmCorrection write reset ppmCorrectionChanged"),
                             QStringLiteral("double levelCorrection write reset levelCorrectionChanged"),
                             QStringLiteral("bool swapIQ write reset "),
                         }));
}

void tst_AbstractRadioDevice::signalsComeInTheirOrder()
{
    const QMetaObject& meta = AbstractRadioDevice::staticMetaObject;
    QStringList signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Signal) {
            signatures.append(QString::fromLatin1(meta.method(i).methodSignature()));
        }
    }
    QCOMPARE(signatures,
             (QStringList{
                 QStringLiteral("sampleRateChanged(double)"), QStringLiteral("outSampleRateChanged(double)"),
                 QStringLiteral("frequencyChanged(double)"), QStringLiteral("ppmCorrectionChanged(int)"),
                 QStringLiteral("levelCorrectionChanged(double)"), QStringLiteral("noData()")}));
}

void tst_AbstractRadioDevice::sampleSideIsFoundByItsInterfaceName()
{
    TestDevice device;
    QObject* object = &device;
    IQSource* source = qobject_cast<IQSource*>(object);
    QVERIFY(source == static_cast<IQSource*>(&device));
    QVERIFY(object->qt_metacast("IQSource") == static_cast<void*>(source));
}

void tst_AbstractRadioDevice::recordIsOneItWasMadeFor()
{
    const TestDevice device;
    QCOMPARE(device.info()->identificator, QStringLiteral("7"));
    QCOMPARE(device.type(), 2);
    QCOMPARE(device.supportSampleRates().size(), 2);
    QCOMPARE(device.supportFrequencies().size(), 4);
}

void tst_AbstractRadioDevice::resetSampleRateIsFirstOfList()
{
    TestDevice device;
    device.setSampleRate(96'000.0);
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    device.resetSampleRate();
    QCOMPARE(device.sampleRate(), 48'000.0);
    QCOMPARE(sampleRateChanged.size(), 1);
}

void tst_AbstractRadioDevice::resetWithoutRatesOrRangesGivesZero()
{
    BareDevice device;
    device.resetSampleRate();
    device.resetFrequency();
    QCOMPARE(device.sampleRate(), 0.0);
    QCOMPARE(device.frequency(), 0.0);
}

void tst_AbstractRadioDevice::sampleRateIsStoredToldAndPassedOn()
{
    TestDevice device;
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    QVERIFY(write(device, "sampleRate", 96'000.5));
    QCOMPARE(device.sampleRate(), 96'000.5);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), 96'000.5);
    QTRY_COMPARE(device.dsp()->getProperty("inSampleRate").toLongLong(), 96'001LL);
}

void tst_AbstractRadioDevice::levelIsKeptInDecibelsAndAsFactor()
{
    TestDevice device;
    QVERIFY(write(device, "levelCorrection", 20.0));
    QCOMPARE(device.levelCorrection(), 20.0);
    QCOMPARE(device.levelFactor(), 0.1);
    QVERIFY(write(device, "levelCorrection", -6.0));
    QCOMPARE(device.levelFactor(), 1.9952623149688795);
    device.resetLevelCorrection();
    QCOMPARE(device.levelCorrection(), 0.0);
    QCOMPARE(device.levelFactor(), 1.0);
}

void tst_AbstractRadioDevice::levelAndCorrectionSignalsAreNeverEmitted()
{
    TestDevice device;
    QSignalSpy ppm(&device, &AbstractRadioDevice::ppmCorrectionChanged);
    QSignalSpy level(&device, &AbstractRadioDevice::levelCorrectionChanged);
    device.setPpmCorrection(3);
    device.resetPpmCorrection();
    device.setLevelCorrection(3.0);
    device.resetLevelCorrection();
    QVERIFY(ppm.isEmpty());
    QVERIFY(level.isEmpty());
}

void tst_AbstractRadioDevice::resetBringsEveryPropertyToItsDefault()
{
    TestDevice device;
    device.setSampleRate(96'000.0);
    device.setPpmCorrection(50);
    device.setLevelCorrection(-3.0);
    device.setSwapIQ(true);
    QVERIFY(device.reset());
    QCOMPARE(device.sampleRate(), 48'000.0);
    QCOMPARE(device.ppmCorrection(), 0);
    QCOMPARE(device.levelCorrection(), 0.0);
    QVERIFY(!device.swapIQ());
    // The frequency comes before its correction, which was 50 still.
    QCOMPARE(device.loFrequency(), 15'750'000.0 / (1.0 - 50e-6));
}

void tst_AbstractRadioDevice::propertiesSurviveSaveAndRestore()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
    {
        TestDevice device;
        device.setSampleRate(96'000.0);
        device.setFrequency(7'000'000.0);
        device.setPpmCorrection(-20);
        device.setLevelCorrection(1.5);
        device.setSwapIQ(true);
        QVERIFY(device.save(QStringLiteral("key")));
    }
    TestDevice device;
    QVERIFY(device.restore(QStringLiteral("key")));
    QCOMPARE(device.sampleRate(), 96'000.0);
    QCOMPARE(device.ppmCorrection(), -20);
    QCOMPARE(device.levelCorrection(), 1.5);
    QVERIFY(device.swapIQ());
    // What was read under the correction was saved, and is tuned to once the correction is back.
    QCOMPARE(device.frequency(), 7'000'000.0 * (1.0 + 20e-6));
    QCOMPARE(device.loFrequency(), 7'000'000.0);
}

QTEST_GUILESS_MAIN(tst_AbstractRadioDevice)
#include "tst_AbstractRadioDevice.moc"
