#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/Worker/DspH/DspH.h"
#include "Core/Worker/ThreadManager.h"

#include "support/LogCapture.h"

#include <QMetaProperty>
#include <QSignalSpy>
#include <QtTest>
#include <limits>
#include <memory>

namespace
{

using namespace std::chrono_literals;

QSharedPointer<InfoRadioDevice> record()
{
    auto info = QSharedPointer<InfoRadioDevice>::create(DefRadioDevice::RtlTcp);
    info->identificator = QStringLiteral("7");
    return info;
}

/// The least that a driver is.
class Device : public AbstractRadioDevice
{
    Q_OBJECT

public:
    explicit Device(std::chrono::milliseconds watchdogInterval = kWatchdogInterval)
        : AbstractRadioDevice(record(), nullptr, watchdogInterval)
    {
        initDsp();
        m_supportSampleRates = QStringList{QStringLiteral("48000"), QStringLiteral("96000")};
        m_supportFrequencies = QStringList{QStringLiteral("500"), QStringLiteral("31000"),
                                           QStringLiteral("60000"), QStringLiteral("260000")};
        m_frequencyRanges.append({500'000.0, 31'000'000.0});
        m_frequencyRanges.append({60'000'000.0, 260'000'000.0});
        setBlockSize(1200);
    }

    void offerRates(const QStringList& rates) { m_supportSampleRates = rates; }
    void noRanges() { m_frequencyRanges.clear(); }
    /// Delivers one block of ones.
    void deliver()
    {
        m_block.fill({1.0, 0.0});
        write(0, false);
    }

    [[nodiscard]] DspH* dsp() const { return m_dsp; }
    [[nodiscard]] double loFrequency() const { return m_loFrequency; }
    [[nodiscard]] double levelFactor() const { return m_levelFactor; }
};

/// A device whose driver has not set up its signal path.
class BareDevice : public AbstractRadioDevice
{
    Q_OBJECT

public:
    BareDevice()
        : AbstractRadioDevice(record(), nullptr)
    {
    }
    [[nodiscard]] double loFrequency() const { return m_loFrequency; }
    [[nodiscard]] double levelFactor() const { return m_levelFactor; }
    [[nodiscard]] bool hasDsp() const { return m_dsp != nullptr || m_dspThread != nullptr; }
};

// A write the way a client's reaches the device.
bool write(AbstractRadioDevice& device, const char* name, const QVariant& value)
{
    return device.QObject::setProperty(name, value);
}

void addRefusedValues()
{
    QTest::addColumn<double>("value");
    QTest::newRow("not a number") << qQNaN();
    QTest::newRow("infinite") << qInf();
    QTest::newRow("infinite below") << -qInf();
    QTest::newRow("2 to the 63rd") << 9223372036854775808.0;
    QTest::newRow("-2 to the 63rd") << -9223372036854775808.0;
    QTest::newRow("1e300") << 1e300;
}

} // namespace

class tst_AbstractRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void startsWithTheValuesOfADeviceThatIsNotSetUp();
    void ringsHoldTheirFixedCapacities();
    void propertiesStandInTheirOrder();
    void signalsStandInTheirOrder();
    void sampleSideIsFoundByItsInterfaceName();
    void recordIsTheOneItWasMadeFor();

    void frequencyGivesBackWhatWasAskedFor();
    void correctionMovesTheHardwareAndIsTakenOutAgain();
    void correctionEmitsNothingAndMovesNothing();
    void correctionChangesTheFrequencyAtOnceAndTheHardwareAtTheNextTuning();
    void correctionIsReadAsAnInteger();
    void frequencyOutsideEveryRangeIsNoErrorOfTheBase();
    void everyRangeIncludesItsLimits_data();
    void everyRangeIncludesItsLimits();
    void withoutRangesNoFrequencyIsSupported();
    void resetFrequencyIsTheMiddleOfTheFirstRange();
    void resetSampleRateIsTheFirstOfTheList();
    void resetWithoutRatesOrRangesGivesZero();
    void sampleRateIsStoredToldAndPassedOn();
    void levelIsKeptInDecibelsAndAsAFactor();
    void levelAndCorrectionSignalsAreNeverEmitted();
    void resetBringsEveryPropertyToItsDefault();
    void propertiesSurviveSaveAndRestore();

    void frequencyStaysThroughManySessionsUnderACorrection();
    void withoutACorrectionARestoreTunesOnce();
    void sampleRateBelowOneIsRefusedAndThePresentOneTold_data();
    void sampleRateBelowOneIsRefusedAndThePresentOneTold();
    void sampleRateBelowOneOfTheDriversListIsSetByAReset();
    void sampleRateOfAStrangerIsStoredAsWritten_data();
    void sampleRateOfAStrangerIsStoredAsWritten();
    void sampleRateThatFitsNothingIsRefused_data();
    void sampleRateThatFitsNothingIsRefused();
    void frequencyThatFitsNothingIsRefused_data();
    void frequencyThatFitsNothingIsRefused();
    void correctionThatLeavesNothingToDivideByIsSurvived();
    void correctionsLimitsAreSurvived_data();
    void correctionsLimitsAreSurvived();
    void levelMayBeAnyValue_data();
    void levelMayBeAnyValue();
    void ifThatFitsNothingIsRefused_data();
    void ifThatFitsNothingIsRefused();
    void bandWidthsThatFitNothingAreRefused_data();
    void bandWidthsThatFitNothingAreRefused();
    void textThatIsNoNumberIsRefusedOrZero();

    void signalPathRunsOnAThreadOfItsOwnFromTheStart();
    void startHandsOverTheRateStartsTheSignalPathAndTheWatch();
    void stopEndsTheSignalPathAndTheWatch();
    void stopOfAStoppedDeviceOnlyTellsSo();
    void samplesFlowFromTheBlockToTheOutBuffer();
    void deviceCanBeStartedAgain();
    void outSampleRateOfTheSignalPathIsPassedOn();
    void setIFReachesTheSignalPath();
    void setupDspHSetsTheAliasFreeWidthFirst();
    void rateChangedWhileRunningReconfiguresTheSignalPath();
    void startAtRateZeroWarnsAndCanBeStopped();
    void silenceEmitsNoData();
    void stoppedDeviceIsNotWatched();
    void callbackOfTheServerReplacesTheSignal();
    void destructionWhileSamplesFlowEndsTheThread();
    void ringsOutliveTheDevice();
};

void tst_AbstractRadioDevice::startsWithTheValuesOfADeviceThatIsNotSetUp()
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
    const Device device;
    QCOMPARE(device.inBuffer()->capacity, 262'144);
    QCOMPARE(device.outBuffer()->capacity, 65'536);
}

void tst_AbstractRadioDevice::propertiesStandInTheirOrder()
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

void tst_AbstractRadioDevice::signalsStandInTheirOrder()
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
    Device device;
    QObject* object = &device;
    IQSource* source = qobject_cast<IQSource*>(object);
    QVERIFY(source == static_cast<IQSource*>(&device));
    QVERIFY(object->qt_metacast("IQSource") == static_cast<void*>(source));
}

void tst_AbstractRadioDevice::recordIsTheOneItWasMadeFor()
{
    const Device device;
    QCOMPARE(device.info()->identificator, QStringLiteral("7"));
    QCOMPARE(device.type(), 2);
    QCOMPARE(device.supportSampleRates().size(), 2);
    QCOMPARE(device.supportFrequencies().size(), 4);
}

void tst_AbstractRadioDevice::frequencyGivesBackWhatWasAskedFor()
{
    Device device;
    for (const double f : {0.0, 1.5, 14'250'000.0, 1e9 + 0.25, -5.0}) {
        device.setFrequency(f);
        QCOMPARE(device.frequency(), f);
        QCOMPARE(device.loFrequency(), f);
    }
}

void tst_AbstractRadioDevice::correctionMovesTheHardwareAndIsTakenOutAgain()
{
    Device device;
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    device.setPpmCorrection(100);
    device.setFrequency(100'000'000.0);
    // 1e8 / (1 - 1e-4)
    QVERIFY(std::abs(device.loFrequency() - 100'010'001.000100) < 1e-5);
    QVERIFY(std::abs(device.frequency() - 100'000'000.0) < 1e-6);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), device.loFrequency());
}

void tst_AbstractRadioDevice::correctionEmitsNothingAndMovesNothing()
{
    Device device;
    device.setFrequency(100'000'000.0);
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    QVERIFY(write(device, "ppmCorrection", 100));
    QCOMPARE(device.loFrequency(), 100'000'000.0);
    QCOMPARE(frequencyChanged.size(), 0);
}

void tst_AbstractRadioDevice::correctionChangesTheFrequencyAtOnceAndTheHardwareAtTheNextTuning()
{
    Device device;
    device.setFrequency(100'000'000.0);
    device.setPpmCorrection(100);
    QCOMPARE(device.frequency(), 99'990'000.0);
    device.setFrequency(100'000'000.0);
    QVERIFY(device.loFrequency() > 100'010'000.0);
    device.resetPpmCorrection();
    QCOMPARE(device.ppmCorrection(), 0);
    QCOMPARE(device.frequency(), device.loFrequency());
}

void tst_AbstractRadioDevice::correctionIsReadAsAnInteger()
{
    Device device;
    QVERIFY(write(device, "ppmCorrection", -37));
    QCOMPARE(device.property("ppmCorrection"), QVariant(-37));
}

void tst_AbstractRadioDevice::frequencyOutsideEveryRangeIsNoErrorOfTheBase()
{
    Device device;
    const LogCapture log;
    device.setFrequency(40'000'000.0);
    QCOMPARE(device.frequency(), 40'000'000.0);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_AbstractRadioDevice::everyRangeIncludesItsLimits_data()
{
    QTest::addColumn<double>("hertz");
    QTest::addColumn<bool>("supported");
    QTest::newRow("below the first") << std::nextafter(500'000.0, 0.0) << false;
    QTest::newRow("lowest of the first") << 500'000.0 << true;
    QTest::newRow("inside the first") << 14e6 << true;
    QTest::newRow("highest of the first") << 31'000'000.0 << true;
    QTest::newRow("gap") << 40e6 << false;
    QTest::newRow("lowest of the second") << 60'000'000.0 << true;
    QTest::newRow("highest of the second") << 260'000'000.0 << true;
    QTest::newRow("above all") << std::nextafter(260'000'000.0, 1e9) << false;
    QTest::newRow("not a number") << qQNaN() << false;
}

void tst_AbstractRadioDevice::everyRangeIncludesItsLimits()
{
    QFETCH(double, hertz);
    const Device device;
    QTEST(device.isFrequencySupported(hertz), "supported");
}

void tst_AbstractRadioDevice::withoutRangesNoFrequencyIsSupported()
{
    Device device;
    device.noRanges();
    QVERIFY(!device.isFrequencySupported(0.0));
}

void tst_AbstractRadioDevice::resetFrequencyIsTheMiddleOfTheFirstRange()
{
    Device device;
    device.resetFrequency();
    QCOMPARE(device.frequency(), 15'750'000.0);
}

void tst_AbstractRadioDevice::resetSampleRateIsTheFirstOfTheList()
{
    Device device;
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
    Device device;
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    QVERIFY(write(device, "sampleRate", 96'000.5));
    QCOMPARE(device.sampleRate(), 96'000.5);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), 96'000.5);
    QTRY_COMPARE(device.dsp()->getProperty("inSampleRate").toLongLong(), 96'001LL);
}

void tst_AbstractRadioDevice::levelIsKeptInDecibelsAndAsAFactor()
{
    Device device;
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
    Device device;
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
    Device device;
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
        Device device;
        device.setSampleRate(96'000.0);
        device.setFrequency(7'000'000.0);
        device.setPpmCorrection(-20);
        device.setLevelCorrection(1.5);
        device.setSwapIQ(true);
        QVERIFY(device.save(QStringLiteral("key")));
    }
    Device device;
    QVERIFY(device.restore(QStringLiteral("key")));
    QCOMPARE(device.sampleRate(), 96'000.0);
    QCOMPARE(device.ppmCorrection(), -20);
    QCOMPARE(device.levelCorrection(), 1.5);
    QVERIFY(device.swapIQ());
    // What was read under the correction was saved, and is tuned to once the correction is back.
    QCOMPARE(device.frequency(), 7'000'000.0 * (1.0 + 20e-6));
    QCOMPARE(device.loFrequency(), 7'000'000.0);
}

void tst_AbstractRadioDevice::frequencyStaysThroughManySessionsUnderACorrection()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
    {
        Device device;
        QVERIFY(device.reset());
        device.setPpmCorrection(50);
        device.setFrequency(14'250'000.0);
        QVERIFY(device.save(QStringLiteral("sessions")));
    }
    for (int session = 0; session < 100; ++session) {
        Device device;
        QVERIFY(device.reset());
        QVERIFY(device.restore(QStringLiteral("sessions")));
        QVERIFY(std::abs(device.frequency() - 14'250'000.0) < 1e-6);
        QVERIFY(device.save(QStringLiteral("sessions")));
    }
}

void tst_AbstractRadioDevice::withoutACorrectionARestoreTunesOnce()
{
    Device device;
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    QVERIFY(device.restore(QStringLiteral("never saved")));
    QCOMPARE(frequencyChanged.size(), 1);
}

void tst_AbstractRadioDevice::sampleRateBelowOneIsRefusedAndThePresentOneTold_data()
{
    QTest::addColumn<double>("rate");
    QTest::newRow("0") << 0.0;
    QTest::newRow("negative") << -5.0;
    QTest::newRow("lowest that fits") << std::nextafter(-9223372036854775808.0, 0.0);
    QTest::newRow("fraction") << 0.999;
}

void tst_AbstractRadioDevice::sampleRateBelowOneIsRefusedAndThePresentOneTold()
{
    QFETCH(double, rate);
    Device device;
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    const LogCapture log;
    QVERIFY(write(device, "sampleRate", rate));
    QCOMPARE(device.sampleRate(), 48'000.0);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), 48'000.0);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().contains(QStringLiteral("Error set sample rate")));
    QVERIFY(device.dsp()->running());
    device.stop();
}

void tst_AbstractRadioDevice::sampleRateBelowOneOfTheDriversListIsSetByAReset()
{
    Device device;
    device.offerRates({QStringLiteral("0"), QStringLiteral("48000")});
    device.setSampleRate(48'000.0);
    device.resetSampleRate();
    QCOMPARE(device.sampleRate(), 0.0);
}

void tst_AbstractRadioDevice::sampleRateOfAStrangerIsStoredAsWritten_data()
{
    QTest::addColumn<double>("rate");
    QTest::newRow("1") << 1.0;
    QTest::newRow("1e18") << 1e18;
    QTest::newRow("largest that fits") << std::nextafter(9223372036854775808.0, 0.0);
    QTest::newRow("fraction") << 1.25;
}

void tst_AbstractRadioDevice::sampleRateOfAStrangerIsStoredAsWritten()
{
    QFETCH(double, rate);
    Device device;
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    const LogCapture log;
    QVERIFY(device.start(false));
    QVERIFY(write(device, "sampleRate", rate));
    QCOMPARE(device.sampleRate(), rate);
    QCOMPARE(sampleRateChanged.size(), 1);
    device.setBlockSize(device.blockSize());
    device.deliver();
    const auto expected = qRound64(rate);
    QTRY_COMPARE(device.dsp()->getProperty("inSampleRate").toLongLong(), expected);
    device.stop();
    QCOMPARE(device.state(), Worker::STOPPED);
    QTRY_VERIFY(!device.dsp()->running());
}

void tst_AbstractRadioDevice::sampleRateThatFitsNothingIsRefused_data()
{
    addRefusedValues();
}

void tst_AbstractRadioDevice::sampleRateThatFitsNothingIsRefused()
{
    QFETCH(double, value);
    Device device;
    device.setSampleRate(48'000.0);
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    const LogCapture log;
    QVERIFY(write(device, "sampleRate", value));
    QCOMPARE(device.sampleRate(), 48'000.0);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), 48'000.0);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_AbstractRadioDevice::frequencyThatFitsNothingIsRefused_data()
{
    addRefusedValues();
}

void tst_AbstractRadioDevice::frequencyThatFitsNothingIsRefused()
{
    QFETCH(double, value);
    Device device;
    device.setFrequency(7e6);
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    const LogCapture log;
    QVERIFY(write(device, "frequency", value));
    QCOMPARE(device.frequency(), 7e6);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 7e6);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_AbstractRadioDevice::correctionThatLeavesNothingToDivideByIsSurvived()
{
    Device device;
    device.setFrequency(7e6);
    QVERIFY(write(device, "ppmCorrection", 1'000'000));
    QCOMPARE(device.ppmCorrection(), 1'000'000);
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    const LogCapture log;
    device.setFrequency(14e6); // a quotient without bound
    device.setFrequency(0.0);  // and one without a value
    device.resetFrequency();
    QCOMPARE(device.loFrequency(), 7e6);
    QCOMPARE(frequencyChanged.size(), 3); // each with the one that stays
    QCOMPARE(log.texts(QtWarningMsg).size(), 3);
    QCOMPARE(device.frequency(), 0.0);
}

void tst_AbstractRadioDevice::correctionsLimitsAreSurvived_data()
{
    QTest::addColumn<int>("ppm");
    QTest::newRow("highest") << std::numeric_limits<int>::max();
    QTest::newRow("lowest") << std::numeric_limits<int>::min();
    QTest::newRow("999,999") << 999'999;
    QTest::newRow("1,000,001") << 1'000'001;
}

void tst_AbstractRadioDevice::correctionsLimitsAreSurvived()
{
    QFETCH(int, ppm);
    Device device;
    QVERIFY(write(device, "ppmCorrection", ppm));
    QCOMPARE(device.ppmCorrection(), ppm);
    device.setFrequency(14e6);
    QVERIFY(std::isfinite(device.loFrequency()));
    QVERIFY(std::abs(device.frequency() - 14e6) < 1.0);
}

void tst_AbstractRadioDevice::levelMayBeAnyValue_data()
{
    QTest::addColumn<QVariant>("value"); // as it comes out of a datagram
    QTest::addColumn<double>("level");
    QTest::newRow("-1e5, a factor without bound") << QVariant(-1e5) << -1e5;
    QTest::newRow("-1e300") << QVariant(-1e300) << -1e300;
    QTest::newRow("1e300, a factor of nothing") << QVariant(1e300) << 1e300;
    QTest::newRow("infinite") << QVariant(QStringLiteral("inf")) << qInf();
    QTest::newRow("not a number") << QVariant(QStringLiteral("nan")) << qQNaN();
}

void tst_AbstractRadioDevice::levelMayBeAnyValue()
{
    QFETCH(const QVariant, value);
    QFETCH(const double, level);
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
    const LogCapture log;
    {
        Device device;
        device.setSampleRate(48'000.0);
        QVERIFY(write(device, "levelCorrection", value));
        QCOMPARE(device.levelCorrection(), level);
        QVERIFY(device.save(QStringLiteral("level")));
    }
    Device device;
    QVERIFY(device.restore(QStringLiteral("level")));
    QCOMPARE(device.levelCorrection(), level);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_AbstractRadioDevice::ifThatFitsNothingIsRefused_data()
{
    addRefusedValues();
}

void tst_AbstractRadioDevice::ifThatFitsNothingIsRefused()
{
    QFETCH(double, value);
    Device device;
    const LogCapture log;
    device.setIF(1000.0);
    device.setIF(value);
    device.setupDspH(20'000.0, 5000.0); // posted after, so what came before has been handled
    QTRY_COMPARE(device.dsp()->getProperty("preferredBandWidth").toLongLong(), 20'000LL);
    QCOMPARE(device.dsp()->getProperty("ifFreq").toDouble(), 1000.0);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_AbstractRadioDevice::bandWidthsThatFitNothingAreRefused_data()
{
    addRefusedValues();
}

void tst_AbstractRadioDevice::bandWidthsThatFitNothingAreRefused()
{
    QFETCH(double, value);
    Device device;
    const LogCapture log;
    device.setupDspH(value, 5000.0);
    device.setupDspH(20'000.0, value);
    device.setIF(1000.0);
    QTRY_COMPARE(device.dsp()->getProperty("ifFreq").toDouble(), 1000.0);
    QCOMPARE(device.dsp()->getProperty("preferredBandWidth").toLongLong(), 30'000LL);
    QCOMPARE(device.dsp()->getProperty("aliasFreeBandWidth").toLongLong(), 8000LL);
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
}

void tst_AbstractRadioDevice::textThatIsNoNumberIsRefusedOrZero()
{
    // JSON has no such numbers, but a client may write text, which converts.
    Device device;
    device.setFrequency(7e6);
    const LogCapture log;
    QVERIFY(write(device, "frequency", QStringLiteral("nan")));
    QVERIFY(write(device, "frequency", QStringLiteral("inf")));
    QCOMPARE(device.frequency(), 7e6);
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    QVERIFY(!write(device, "frequency", QStringLiteral("seven")));
    QCOMPARE(device.frequency(), 7e6);
}

void tst_AbstractRadioDevice::signalPathRunsOnAThreadOfItsOwnFromTheStart()
{
    const LogCapture log;
    const Device device;
    QVERIFY(device.dsp()->thread() != device.thread());
    QVERIFY(device.dsp()->thread()->isRunning());
    QCOMPARE(device.dsp()->thread()->priority(), QThread::HighestPriority);
    QCOMPARE(device.dsp()->parent(), nullptr);
    QVERIFY(device.findChild<ThreadManager*>(QString(), Qt::FindDirectChildrenOnly) != nullptr);
    QCOMPARE(log.texts().constFirst(), QStringLiteral("Reset properties .."));
    QVERIFY(log.texts().at(1).startsWith(QLatin1String("Start thread, priority: 5")));
}

void tst_AbstractRadioDevice::startHandsOverTheRateStartsTheSignalPathAndTheWatch()
{
    Device device;
    device.setSampleRate(96'000.0);
    QVERIFY(device.start(false));
    QCOMPARE(device.state(), Worker::STARTED);
    QVERIFY(device.dsp()->running());
    QCOMPARE(device.dsp()->getProperty("inSampleRate").toLongLong(), 96'000LL);
    device.stop();
}

void tst_AbstractRadioDevice::stopEndsTheSignalPathAndTheWatch()
{
    Device device;
    QSignalSpy stopped(&device, &Worker::stopped);
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    device.stop();
    QCOMPARE(device.state(), Worker::STOPPED);
    QVERIFY(!device.dsp()->running());
    QCOMPARE(stopped.size(), 1);
}

void tst_AbstractRadioDevice::stopOfAStoppedDeviceOnlyTellsSo()
{
    Device device;
    QSignalSpy stopped(&device, &Worker::stopped);
    // As a driver does whose start fails.
    QVERIFY(QMetaObject::invokeMethod(&device, "onStop"));
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(device.state(), Worker::STOPPED);
}

void tst_AbstractRadioDevice::samplesFlowFromTheBlockToTheOutBuffer()
{
    Device device;
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

void tst_AbstractRadioDevice::deviceCanBeStartedAgain()
{
    Device device;
    device.setSampleRate(48'000.0);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(device.start(false));
        QVERIFY(device.running() && device.dsp()->running());
        device.stop();
        QVERIFY(!device.running() && !device.dsp()->running());
    }
}

void tst_AbstractRadioDevice::outSampleRateOfTheSignalPathIsPassedOn()
{
    Device device;
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

void tst_AbstractRadioDevice::setIFReachesTheSignalPath()
{
    Device device;
    device.setIF(-1234.5);
    QTRY_COMPARE(device.dsp()->getProperty("ifFreq").toDouble(), -1234.5);
}

void tst_AbstractRadioDevice::setupDspHSetsTheAliasFreeWidthFirst()
{
    Device device;
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

void tst_AbstractRadioDevice::rateChangedWhileRunningReconfiguresTheSignalPath()
{
    Device device;
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    QTRY_COMPARE(device.dsp()->getProperty("outSampleRate").toLongLong(), 48'000LL);
    device.setSampleRate(240'000.0);
    QTRY_COMPARE(device.dsp()->getProperty("outSampleRate").toLongLong(), 30'000LL);
    device.stop();
}

void tst_AbstractRadioDevice::startAtRateZeroWarnsAndCanBeStopped()
{
    Device device;
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

void tst_AbstractRadioDevice::silenceEmitsNoData()
{
    Device device(0ms);
    QSignalSpy noData(&device, &AbstractRadioDevice::noData);
    device.setSampleRate(48'000.0);
    const LogCapture log;
    QVERIFY(device.start(false));
    QTRY_VERIFY(!noData.isEmpty());
    QVERIFY(device.running()); // what follows is for the receiver of the signal to decide
    device.stop();
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String("No IQ data - stop!")));
}

void tst_AbstractRadioDevice::stoppedDeviceIsNotWatched()
{
    Device device(0ms);
    QSignalSpy noData(&device, &AbstractRadioDevice::noData);
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    device.stop();
    // A second device whose watchdog has ticked shows that the first one's would have.
    Device watched(0ms);
    watched.setSampleRate(48'000.0);
    const LogCapture log;
    QVERIFY(watched.start(false));
    QSignalSpy other(&watched, &AbstractRadioDevice::noData);
    QTRY_VERIFY(!other.isEmpty());
    QVERIFY(noData.isEmpty());
    watched.stop();
}

void tst_AbstractRadioDevice::callbackOfTheServerReplacesTheSignal()
{
    Device device(0ms);
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

void tst_AbstractRadioDevice::destructionWhileSamplesFlowEndsTheThread()
{
    for (int i = 0; i < 3; ++i) {
        auto device = std::make_unique<Device>();
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

void tst_AbstractRadioDevice::ringsOutliveTheDevice()
{
    auto device = std::make_unique<Device>();
    device->deliver();
    const QSharedPointer<RingBuffer<DoubleComplex>> in = device->inBuffer();
    const QSharedPointer<RingBuffer<DoubleComplex>> out = device->outBuffer();
    device.reset();
    QCOMPARE(in->writeIndex, 1200);
    QCOMPARE(out->writeIndex, 0);
}

QTEST_GUILESS_MAIN(tst_AbstractRadioDevice)
#include "tst_AbstractRadioDevice.moc"
