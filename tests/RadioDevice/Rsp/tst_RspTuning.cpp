#include "RspRig.h"

#include "Core/RadioDevice/FactoryRadioDevice.h"

#include <QSignalSpy>

/// The setters that reach the library: the frequency, by two paths, and the antenna.
class tst_RspTuning : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void retuneTakesLightPathWithinBand_data();
    void retuneTakesLightPathWithinBand();
    void retuneReachesLibraryOpenAndClosed();
    void rateOfReinitIsFixed();
    void bandIsThatOfFrequencyWithoutCorrection();
    void hardwareGetsFrequencyWithoutCorrection();
    void retuneThatSucceedsIsStoredAndTold();
    void retuneThatFailsChangesNothing_data();
    void retuneThatFailsChangesNothing();
    void noRangeIsKeptTo_data();
    void noRangeIsKeptTo();
    void valueThatIsNoFrequencyReachesNoLibrary_data();
    void valueThatIsNoFrequencyReachesNoLibrary();
    void factorysResetSetsFrequencyBeforeAnyStream();
    void refusalOfFactorysResetIsOnlyLogged();
    void rateReachesLibraryAtNextStartAlone();

    void antennaIsOneOfTwo_data();
    void antennaIsOneOfTwo();
    void antennaReachesLibraryOpenAndClosed();
    void refusedAntennaIsStoredAndReported();
    void antennaIsNeitherResetNorSaved();

private:
    FakeVendor m_vendor;
};

void tst_RspTuning::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
}

void tst_RspTuning::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("stall"), 1);
}

void tst_RspTuning::retuneTakesLightPathWithinBand_data()
{
    QTest::addColumn<double>("from");
    QTest::addColumn<double>("to");
    QTest::addColumn<QString>("call");
    const auto light = [](const char* hertz) {
        return QStringLiteral("mir_sdr_SetRf(%1, 1, 0) = 0").arg(QLatin1String(hertz));
    };
    const auto setUp = [](const char* megahertz) {
        return QStringLiteral("mir_sdr_Reinit(40, 2.048, %1, 1536, 0, 0, 0, 2, 4) = 0")
            .arg(QLatin1String(megahertz));
    };
    QTest::newRow("100 to 110 MHz") << 100e6 << 110e6 << light("110000000");
    QTest::newRow("100 to 130 MHz") << 100e6 << 130e6 << setUp("130");
    QTest::newRow("130 to 100 MHz") << 130e6 << 100e6 << setUp("100");
    QTest::newRow("first band to its end") << 1e6 << 59'999'999.0 << light("59999999");
    QTest::newRow("first band, a fraction below its end") << 1e6 << 59'999'999.9 << light("59999999.9");
    QTest::newRow("first band to the second") << 59'999'999.0 << 60e6 << setUp("60");
    QTest::newRow("second band to the first") << 60e6 << 59'999'999.0 << setUp("59.999999");
    QTest::newRow("within the second") << 60e6 << 119'999'999.0 << light("119999999");
    QTest::newRow("second to third") << 119'999'999.0 << 120e6 << setUp("120");
    QTest::newRow("within the third") << 120e6 << 249'999'999.0 << light("249999999");
    QTest::newRow("third to fourth") << 249'999'999.0 << 250e6 << setUp("250");
    QTest::newRow("within the fourth") << 250e6 << 419'999'999.0 << light("419999999");
    QTest::newRow("fourth to fifth") << 419'999'999.0 << 420e6 << setUp("420");
    QTest::newRow("within the fifth") << 420e6 << 999'999'999.0 << light("999999999");
    QTest::newRow("fifth to sixth") << 999'999'999.0 << 1e9 << setUp("1000");
    QTest::newRow("within the sixth") << 1e9 << 1'999'999'999.0 << light("1999999999");
    QTest::newRow("sixth to none") << 1'999'999'999.0 << 2e9 << setUp("2000");
    QTest::newRow("none to none") << 2e9 << 3e9 << light("3000000000");
    QTest::newRow("none to the sixth") << 2e9 << 1.9e9 << setUp("1900");
    QTest::newRow("first to last") << 1e6 << 1.5e9 << setUp("1500");
    QTest::newRow("zero is of the first") << 1e6 << 0.0 << light("0");
    QTest::newRow("below zero is of the first") << 1e6 << -70e6 << light("-70000000");
}

void tst_RspTuning::retuneTakesLightPathWithinBand()
{
    QFETCH(double, from);
    QFETCH(double, to);
    QFETCH(QString, call);
    RspRig rig(m_vendor);
    rig.device->setFrequency(from);
    m_vendor.clearCalls();
    rig.device->setFrequency(to);
    QCOMPARE(m_vendor.calls(), QStringList{call});
    QCOMPARE(rig.device->frequency(), to);
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RspTuning::retuneReachesLibraryOpenAndClosed()
{
    RspRig rig(m_vendor);
    const QStringList calls{QStringLiteral("mir_sdr_SetRf(1100000000, 1, 0) = 0")};
    rig.device->setFrequency(1.1e9);
    QCOMPARE(m_vendor.calls(), calls);
    rig.open();
    rig.device->setFrequency(1.1e9);
    QCOMPARE(m_vendor.calls(), calls);
    rig.device->stop();
    m_vendor.clearCalls();
    rig.device->setFrequency(1.1e9);
    QCOMPARE(m_vendor.calls(), calls);
}

void tst_RspTuning::rateOfReinitIsFixed()
{
    RspRig rig(m_vendor);
    rig.device->setSampleRate(8'000'000.0);
    rig.device->setFrequency(100e6);
    QCOMPARE(m_vendor.calls(),
             QStringList{QStringLiteral("mir_sdr_Reinit(40, 2.048, 100, 1536, 0, 0, 0, 2, 4) = 0")});
}

void tst_RspTuning::bandIsThatOfFrequencyWithoutCorrection()
{
    RspRig rig(m_vendor);
    rig.device->setFrequency(60e6);
    rig.device->setPpmCorrection(1);
    // What was asked for reads 60 Hz lower now: of the first band.
    m_vendor.clearCalls();
    rig.device->setFrequency(60e6);
    QCOMPARE(m_vendor.calls(),
             QStringList{QStringLiteral("mir_sdr_Reinit(40, 2.048, 60, 1536, 0, 0, 0, 2, 4) = 0")});
}

void tst_RspTuning::hardwareGetsFrequencyWithoutCorrection()
{
    RspRig rig(m_vendor);
    rig.device->setPpmCorrection(100);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    rig.device->setFrequency(1'200'000'000.0);
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("mir_sdr_SetRf(1200000000, 1, 0) = 0")});
    QCOMPARE(frequencyChanged.value(0).value(0).toDouble(), 1'200'000'000.0 / (1.0 - 1e-4));
}

void tst_RspTuning::retuneThatSucceedsIsStoredAndTold()
{
    RspRig rig(m_vendor);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    rig.device->setFrequency(1.1e9);
    rig.device->setFrequency(100e6);
    QCOMPARE(frequencyChanged.size(), 2);
    QCOMPARE(frequencyChanged.at(0).at(0).toDouble(), 1.1e9);
    QCOMPARE(frequencyChanged.at(1).at(0).toDouble(), 100e6);
}

void tst_RspTuning::retuneThatFailsChangesNothing_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<double>("to");
    QTest::addColumn<bool>("open");
    QTest::newRow("within a band, closed") << QStringLiteral("mir_sdr_SetRf") << 1.1e9 << false;
    QTest::newRow("within a band, open") << QStringLiteral("mir_sdr_SetRf") << 1.1e9 << true;
    QTest::newRow("across bands, closed") << QStringLiteral("mir_sdr_Reinit") << 100e6 << false;
    QTest::newRow("across bands, open") << QStringLiteral("mir_sdr_Reinit") << 100e6 << true;
}

void tst_RspTuning::retuneThatFailsChangesNothing()
{
    QFETCH(QString, call);
    QFETCH(double, to);
    QFETCH(bool, open);
    RspRig rig(m_vendor);
    if (open) {
        rig.open();
    }
    m_vendor.set(call, 7);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    rig.device->setFrequency(to);
    QCOMPARE(m_vendor.calls(call).size(), 1);
    QCOMPARE(rig.device->frequency(), 1'000'500'000.0);
    QCOMPARE(frequencyChanged.size(), 0);
    QCOMPARE(rig.warnings(), QStringList{QStringLiteral("Error set rsp lo frequency 7")});
    QVERIFY2(rig.log.texts(QtWarningMsg)
                 .constFirst()
                 .startsWith(QLatin1String("[ W ][ RadioDevice/Rsp/RspRadioDevice ] setFrequency : ")),
             qPrintable(rig.log.texts(QtWarningMsg).constFirst()));
    QCOMPARE(rig.errors, QStringList());
    QCOMPARE(rig.device->running(), open);
}

void tst_RspTuning::noRangeIsKeptTo_data()
{
    QTest::addColumn<double>("hertz");
    for (const double hertz : {0.0, 500.0, 999'999.0, 5e9, -1.0, 1e18}) {
        QTest::newRow(qPrintable(QString::number(hertz))) << hertz;
    }
}

void tst_RspTuning::noRangeIsKeptTo()
{
    QFETCH(double, hertz);
    RspRig rig(m_vendor);
    rig.device->setFrequency(hertz);
    QCOMPARE(m_vendor.calls().size(), 1);
    QCOMPARE(rig.device->frequency(), hertz);
}

void tst_RspTuning::valueThatIsNoFrequencyReachesNoLibrary_data()
{
    QTest::addColumn<double>("hertz");
    QTest::newRow("not a number") << qQNaN();
    QTest::newRow("infinite") << qInf();
    QTest::newRow("minus infinite") << -qInf();
    QTest::newRow("1e300") << 1e300;
    QTest::newRow("2^63") << 9'223'372'036'854'775'808.0;
}

void tst_RspTuning::valueThatIsNoFrequencyReachesNoLibrary()
{
    QFETCH(double, hertz);
    RspRig rig(m_vendor);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    rig.device->setFrequency(hertz);
    QCOMPARE(m_vendor.calls(), QStringList());
    QCOMPARE(rig.device->frequency(), 1'000'500'000.0);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 1'000'500'000.0);
    QCOMPARE(rig.warnings().size(), 1);
}

void tst_RspTuning::factorysResetSetsFrequencyBeforeAnyStream()
{
    const auto info = QSharedPointer<RspRadioDevice::DeviceInfo>::create();
    const std::unique_ptr<AbstractRadioDevice> device(FactoryRadioDevice::make(info));
    QVERIFY(qobject_cast<RspRadioDevice*>(device.get()) != nullptr);
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("mir_sdr_SetRf(1000500000, 1, 0) = 0")});
    QCOMPARE(device->frequency(), 1'000'500'000.0);
}

void tst_RspTuning::refusalOfFactorysResetIsOnlyLogged()
{
    m_vendor.set(QStringLiteral("mir_sdr_SetRf"), 4);
    const LogCapture log;
    const auto info = QSharedPointer<RspRadioDevice::DeviceInfo>::create();
    const std::unique_ptr<AbstractRadioDevice> device(FactoryRadioDevice::make(info));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String("Error set rsp lo frequency 4")));
    QCOMPARE(device->frequency(), 1'000'500'000.0);
    QCOMPARE(device->sampleRate(), 2'048'000.0);
    QVERIFY(device->start(false));
    QVERIFY(device->running());
}

void tst_RspTuning::rateReachesLibraryAtNextStartAlone()
{
    RspRig rig(m_vendor);
    rig.open();
    rig.device->setSampleRate(8'000'000.0);
    QCOMPARE(m_vendor.calls(), QStringList());
    QCOMPARE(rig.device->sampleRate(), 8'000'000.0);
    rig.device->stop();
    rig.device->start(false);
    QCOMPARE(m_vendor.calls(QStringLiteral("mir_sdr_StreamInit(40, 8,")).size(), 1);
}

void tst_RspTuning::antennaIsOneOfTwo_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("stored");
    QTest::newRow("A") << 5 << 5;
    QTest::newRow("B") << 6 << 6;
    QTest::newRow("7") << 7 << 5;
    QTest::newRow("4") << 4 << 5;
    QTest::newRow("0") << 0 << 5;
    QTest::newRow("-1") << -1 << 5;
    QTest::newRow("least") << std::numeric_limits<int>::min() << 5;
}

void tst_RspTuning::antennaIsOneOfTwo()
{
    QFETCH(int, value);
    QFETCH(int, stored);
    RspRig rig(m_vendor);
    rig.device->setAnt(6);
    rig.forget();
    QSignalSpy antChanged(rig.device.get(), &RspRadioDevice::antChanged);
    QVERIFY(rig.device->QObject::setProperty("ant", value));
    QCOMPARE(rig.device->ant(), stored);
    QCOMPARE(antChanged.size(), 1);
    QCOMPARE(antChanged.at(0).at(0).toInt(), stored);
    QCOMPARE(m_vendor.calls(),
             QStringList{QStringLiteral("mir_sdr_RSPII_AntennaControl(%1) = 0").arg(stored)});
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RspTuning::antennaReachesLibraryOpenAndClosed()
{
    RspRig rig(m_vendor);
    const QStringList calls{QStringLiteral("mir_sdr_RSPII_AntennaControl(6) = 0")};
    rig.device->setAnt(6);
    QCOMPARE(m_vendor.calls(), calls);
    rig.open();
    rig.device->setAnt(6);
    QCOMPARE(m_vendor.calls(), calls);
    rig.device->stop();
    m_vendor.clearCalls();
    rig.device->setAnt(6);
    QCOMPARE(m_vendor.calls(), calls);
}

void tst_RspTuning::refusedAntennaIsStoredAndReported()
{
    RspRig rig(m_vendor);
    rig.open();
    m_vendor.set(QStringLiteral("mir_sdr_RSPII_AntennaControl"), 9);
    QStringList order;
    connect(rig.device.get(), &RspRadioDevice::antChanged, this,
            [&] { order.append(QStringLiteral("antChanged")); });
    connect(rig.device.get(), &Worker::errorHappen, this,
            [&] { order.append(QStringLiteral("errorHappen")); });
    rig.device->setAnt(6);
    const QStringList text{QStringLiteral("Error select antenna port ...9")};
    QCOMPARE(rig.errors, text);
    QCOMPARE(rig.warnings(), text);
    QCOMPARE(order, (QStringList{QStringLiteral("antChanged"), QStringLiteral("errorHappen")}));
    QCOMPARE(rig.device->ant(), 6);
    QVERIFY(rig.device->running());
}

void tst_RspTuning::antennaIsNeitherResetNorSaved()
{
    RspRig rig(m_vendor);
    rig.device->setAnt(6);
    rig.device->reset();
    QCOMPARE(rig.device->ant(), 6);
    QVERIFY(rig.device->save(QStringLiteral("0")));
    RspRig next(m_vendor);
    QVERIFY(next.device->restore(QStringLiteral("0")));
    QCOMPARE(next.device->ant(), 5);
}

QTEST_GUILESS_MAIN(tst_RspTuning)
#include "tst_RspTuning.moc"
