#include "RadioDevice/Rsp/RspLibrary.h"

#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/Rsp/RspEnumerator.h"
#include "RadioDevice/Rsp/RspRadioDevice.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QtTest>

/// Where the library isn't installed, which is where these run, and what counts as finding it.
class tst_RspLibrary : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void absentLibraryFailsEveryOperation();
    void absentLibraryIsHindranceAndListsNothing();
    void absentLibraryRefusesStart();
    void absentLibraryRefusesRetuneAndAntenna();
    void libraryWithEveryOperationIsFound();
    void libraryThatLacksOperationIsPassedOver();
};

namespace
{

const QString kNowhere = QStringLiteral("/nowhere/libmirsdrapi-rsp.so");

std::unique_ptr<RspRadioDevice> device()
{
    auto info = QSharedPointer<RspRadioDevice::DeviceInfo>::create();
    info->identificator = QStringLiteral("0");
    return std::make_unique<RspRadioDevice>(info, nullptr);
}

} // namespace

void tst_RspLibrary::initTestCase()
{
    if (RspLibrary::load().isLoaded) {
        QSKIP("It is installed here.");
    }
}

void tst_RspLibrary::absentLibraryFailsEveryOperation()
{
    const RspLibrary library = RspLibrary::load({kNowhere});
    QVERIFY(!library.isLoaded);
    int value = 0;
    unsigned count = 0;
    float version = 0.0F;
    const int results[] = {
        library.apiVersion(&version),
        library.getDevices(nullptr, &count, 4),
        library.setDeviceIdx(0),
        library.releaseDeviceIdx(0),
        library.debugEnable(1),
        library.dcOffsetIqImbalanceControl(1, 0),
        library.streamInit(&value, 1.0, 1.0, 0, 0, 0, &value, 0, &value, nullptr, nullptr, nullptr),
        library.streamUninit(),
        library.reinit(&value, 1.0, 1.0, 0, 0, 0, 0, &value, 0, &value, 0),
        library.setRf(1.0, 1, 0),
        library.setSyncUpdatePeriod(1),
        library.setSyncUpdateSampleNum(1),
        library.antennaControl(5),
    };
    for (const int result : results) {
        QCOMPARE(result, -1);
    }
}

void tst_RspLibrary::absentLibraryIsHindranceAndListsNothing()
{
    const LogCapture log;
    EnumeratorRadioDevice registry(
        nullptr, {[](EnumeratorRadioDevice* owner) { return QSharedPointer<RspEnumerator>::create(owner); }});
    QVERIFY(!registry.enumerators().constFirst().staticCast<RspEnumerator>()->libraryLoaded());
    registry.refresh({});
    registry.refresh({});
    QCOMPARE(registry.devices().size(), 0);
    QCOMPARE(registry.enumerators().constFirst()->hindrance(),
             QStringLiteral("The rsp library isn't installed"));
    // Told by whoever asks for it, not at every start.
    QCOMPARE(log.texts(), QStringList());
}

void tst_RspLibrary::absentLibraryRefusesStart()
{
    const auto rsp = device();
    QVERIFY(!rsp->libraryLoaded());
    QSignalSpy errorHappen(rsp.get(), &Worker::errorHappen);
    const LogCapture log;
    rsp->start(false);
    QCOMPARE(rsp->state(), Worker::STOPPED);
    QCOMPARE(errorHappen.value(0).value(0).toString(), QStringLiteral("Error start RSP device ...-1"));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_RspLibrary::absentLibraryRefusesRetuneAndAntenna()
{
    const auto rsp = device();
    QSignalSpy errorHappen(rsp.get(), &Worker::errorHappen);
    const LogCapture log;
    rsp->setFrequency(1e8);
    QCOMPARE(rsp->frequency(), 1'000'500'000.0);
    rsp->setAnt(6);
    QCOMPARE(rsp->ant(), 6);
    QCOMPARE(errorHappen.value(0).value(0).toString(), QStringLiteral("Error select antenna port ...-1"));
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
}

void tst_RspLibrary::libraryWithEveryOperationIsFound()
{
    const RspLibrary library = RspLibrary::load({kNowhere, QStringLiteral(ORVENLINK_FAKE_RSP)});
    QVERIFY(library.isLoaded);
    float version = 0.0F;
    QCOMPARE(library.apiVersion(&version), 0);
    QCOMPARE(version, 2.1F);
}

void tst_RspLibrary::libraryThatLacksOperationIsPassedOver()
{
    const QString incomplete = QStringLiteral(ORVENLINK_FAKE_RSP_INCOMPLETE);
    QVERIFY(!RspLibrary::load({incomplete}).isLoaded);
    float version = 0.0F;
    QCOMPARE(RspLibrary::load({incomplete}).apiVersion(&version), -1);
    QVERIFY(RspLibrary::load({incomplete, QStringLiteral(ORVENLINK_FAKE_RSP)}).isLoaded);
}

QTEST_GUILESS_MAIN(tst_RspLibrary)
#include "tst_RspLibrary.moc"
