#include "TestDevice.h"

#include "support/LogCapture.h"

#include <QSignalSpy>
#include <limits>

/// The frequency of a device and its correction.
class tst_RadioDeviceTuning : public QObject
{
    Q_OBJECT

private slots:
    void frequencyGivesBackWhatWasAskedFor();
    void correctionMovesHardwareAndIsTakenOutAgain();
    void correctionEmitsNothingAndMovesNothing();
    void correctionMovesHardwareWithNextTuning();
    void correctionIsReadAsInteger();
    void frequencyOutsideEveryRangeIsNoErrorOfBase();
    void everyRangeIncludesItsLimits_data();
    void everyRangeIncludesItsLimits();
    void withoutRangesNoFrequencyIsSupported();
    void resetFrequencyIsMiddleOfFirstRange();

    void frequencyStaysThroughManySessionsUnderCorrection();
    void withoutCorrectionRestoreTunesOnce();
    void frequencyThatFitsNothingIsRefused_data();
    void frequencyThatFitsNothingIsRefused();
    void correctionThatLeavesNothingToDivideByIsSurvived();
    void correctionsLimitsAreSurvived_data();
    void correctionsLimitsAreSurvived();
};

void tst_RadioDeviceTuning::frequencyGivesBackWhatWasAskedFor()
{
    TestDevice device;
    for (const double f : {0.0, 1.5, 14'250'000.0, 1e9 + 0.25, -5.0}) {
        device.setFrequency(f);
        QCOMPARE(device.frequency(), f);
        QCOMPARE(device.loFrequency(), f);
    }
}

void tst_RadioDeviceTuning::correctionMovesHardwareAndIsTakenOutAgain()
{
    TestDevice device;
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    device.setPpmCorrection(100);
    device.setFrequency(100'000'000.0);
    // 1e8 / (1 - 1e-4)
    QVERIFY(std::abs(device.loFrequency() - 100'010'001.000100) < 1e-5);
    QVERIFY(std::abs(device.frequency() - 100'000'000.0) < 1e-6);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), device.loFrequency());
}

void tst_RadioDeviceTuning::correctionEmitsNothingAndMovesNothing()
{
    TestDevice device;
    device.setFrequency(100'000'000.0);
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    QVERIFY(write(device, "ppmCorrection", 100));
    QCOMPARE(device.loFrequency(), 100'000'000.0);
    QCOMPARE(frequencyChanged.size(), 0);
}

void tst_RadioDeviceTuning::correctionMovesHardwareWithNextTuning()
{
    TestDevice device;
    device.setFrequency(100'000'000.0);
    device.setPpmCorrection(100);
    QCOMPARE(device.frequency(), 99'990'000.0);
    device.setFrequency(100'000'000.0);
    QVERIFY(device.loFrequency() > 100'010'000.0);
    device.resetPpmCorrection();
    QCOMPARE(device.ppmCorrection(), 0);
    QCOMPARE(device.frequency(), device.loFrequency());
}

void tst_RadioDeviceTuning::correctionIsReadAsInteger()
{
    TestDevice device;
    QVERIFY(write(device, "ppmCorrection", -37));
    QCOMPARE(device.property("ppmCorrection"), QVariant(-37));
}

void tst_RadioDeviceTuning::frequencyOutsideEveryRangeIsNoErrorOfBase()
{
    TestDevice device;
    const LogCapture log;
    device.setFrequency(40'000'000.0);
    QCOMPARE(device.frequency(), 40'000'000.0);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_RadioDeviceTuning::everyRangeIncludesItsLimits_data()
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

void tst_RadioDeviceTuning::everyRangeIncludesItsLimits()
{
    QFETCH(double, hertz);
    const TestDevice device;
    QTEST(device.isFrequencySupported(hertz), "supported");
}

void tst_RadioDeviceTuning::withoutRangesNoFrequencyIsSupported()
{
    TestDevice device;
    device.noRanges();
    QVERIFY(!device.isFrequencySupported(0.0));
}

void tst_RadioDeviceTuning::resetFrequencyIsMiddleOfFirstRange()
{
    TestDevice device;
    device.resetFrequency();
    QCOMPARE(device.frequency(), 15'750'000.0);
}

void tst_RadioDeviceTuning::frequencyStaysThroughManySessionsUnderCorrection()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
    {
        TestDevice device;
        QVERIFY(device.reset());
        device.setPpmCorrection(50);
        device.setFrequency(14'250'000.0);
        QVERIFY(device.save(QStringLiteral("sessions")));
    }
    for (int session = 0; session < 100; ++session) {
        TestDevice device;
        QVERIFY(device.reset());
        QVERIFY(device.restore(QStringLiteral("sessions")));
        QVERIFY(std::abs(device.frequency() - 14'250'000.0) < 1e-6);
        QVERIFY(device.save(QStringLiteral("sessions")));
    }
}

void tst_RadioDeviceTuning::withoutCorrectionRestoreTunesOnce()
{
    TestDevice device;
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    QVERIFY(device.restore(QStringLiteral("never saved")));
    QCOMPARE(frequencyChanged.size(), 1);
}

void tst_RadioDeviceTuning::frequencyThatFitsNothingIsRefused_data()
{
    addRefusedValues();
}

void tst_RadioDeviceTuning::frequencyThatFitsNothingIsRefused()
{
    QFETCH(double, value);
    TestDevice device;
    device.setFrequency(7e6);
    QSignalSpy frequencyChanged(&device, &AbstractRadioDevice::frequencyChanged);
    const LogCapture log;
    QVERIFY(write(device, "frequency", value));
    QCOMPARE(device.frequency(), 7e6);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 7e6);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_RadioDeviceTuning::correctionThatLeavesNothingToDivideByIsSurvived()
{
    TestDevice device;
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

void tst_RadioDeviceTuning::correctionsLimitsAreSurvived_data()
{
    QTest::addColumn<int>("ppm");
    QTest::newRow("highest") << std::numeric_limits<int>::max();
    QTest::newRow("lowest") << std::numeric_limits<int>::min();
    QTest::newRow("999,999") << 999'999;
    QTest::newRow("1,000,001") << 1'000'001;
}

void tst_RadioDeviceTuning::correctionsLimitsAreSurvived()
{
    QFETCH(int, ppm);
    TestDevice device;
    QVERIFY(write(device, "ppmCorrection", ppm));
    QCOMPARE(device.ppmCorrection(), ppm);
    device.setFrequency(14e6);
    QVERIFY(std::isfinite(device.loFrequency()));
    QVERIFY(std::abs(device.frequency() - 14e6) < 1.0);
}

QTEST_GUILESS_MAIN(tst_RadioDeviceTuning)
#include "tst_RadioDeviceTuning.moc"
