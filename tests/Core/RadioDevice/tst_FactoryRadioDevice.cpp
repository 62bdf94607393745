#include "Core/RadioDevice/FactoryRadioDevice.h"
#include "Core/RadioDevice/RadioDriver.h"

#include "support/LogCapture.h"
#include "support/NoThreads.h"

#include <QtTest>
#include <memory>

class tst_FactoryRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void recordOfDriversTypeMakesItsDevice_data();
    void recordOfDriversTypeMakesItsDevice();
    void plainRecordOfPlayersTypeMakesPlayer();
    void deviceComesWithEveryPropertyAtItsDefault();
    void withoutThreadForSignalPathNoDeviceIsMade_data();
    void withoutThreadForSignalPathNoDeviceIsMade();
    void otherTypeIsRefused_data();
    void otherTypeIsRefused();
    void numberThatIsNoTypeIsRefused();
};

namespace
{

QSharedPointer<InfoRadioDevice> record(int type)
{
    auto info = QSharedPointer<InfoRadioDevice>::create(type);
    info->identificator = QStringLiteral("/a/b.wav");
    return info;
}

} // namespace

void tst_FactoryRadioDevice::recordOfDriversTypeMakesItsDevice_data()
{
    QTest::addColumn<int>("type");
    for (const RadioDriver& driver : RadioDriver::all()) {
        const auto type = static_cast<DefRadioDevice::Type>(driver.type);
        QTest::newRow(qPrintable(DefRadioDevice::toString(type))) << driver.type;
    }
}

void tst_FactoryRadioDevice::recordOfDriversTypeMakesItsDevice()
{
    QFETCH(int, type);
    const LogCapture log;
    const auto info = record(type);
    const std::unique_ptr<AbstractRadioDevice> device(FactoryRadioDevice::make(info));
    QVERIFY(device != nullptr);
    QCOMPARE(device->type(), type);
    QCOMPARE(device->info(), info);
    QCOMPARE(device->parent(), nullptr);
    QCOMPARE(log.texts().constFirst(),
             QStringLiteral("Factory radio device: ") + QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(log.texts(QtDebugMsg).contains(QStringLiteral("Reset properties ..")));
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_FactoryRadioDevice::plainRecordOfPlayersTypeMakesPlayer()
{
    // The server keeps no more of the receiver than its type and its identificator.
    const std::unique_ptr<AbstractRadioDevice> device(
        FactoryRadioDevice::make(record(DefRadioDevice::IQFilePlayer)));
    QCOMPARE(device->type(), 0);
    QCOMPARE(device->property("type").toInt(), 0);
}

void tst_FactoryRadioDevice::deviceComesWithEveryPropertyAtItsDefault()
{
    const LogCapture log;
    const std::unique_ptr<AbstractRadioDevice> device(
        FactoryRadioDevice::make(record(DefRadioDevice::IQFilePlayer)));
    QVERIFY(log.texts(QtDebugMsg).contains(QStringLiteral("Reset properties ..")));
    // The last reset is the device's own, after the one of its signal path.
    QVERIFY(log.texts().lastIndexOf(QStringLiteral("Reset properties ..")) >
            log.texts().indexOf(QStringLiteral("Construct class .. IQPlayerRadioDevice")));
    QCOMPARE(device->sampleRate(), 48'000.0);
    QCOMPARE(device->frequency(), 14'250'000.0);
    QCOMPARE(device->ppmCorrection(), 0);
    QCOMPARE(device->levelCorrection(), 0.0);
    QCOMPARE(device->swapIQ(), false);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_FactoryRadioDevice::withoutThreadForSignalPathNoDeviceIsMade_data()
{
    recordOfDriversTypeMakesItsDevice_data();
}

void tst_FactoryRadioDevice::withoutThreadForSignalPathNoDeviceIsMade()
{
    QFETCH(int, type);
    const LogCapture log;
    {
        const NoThreads none;
        QVERIFY(FactoryRadioDevice::make(record(type)) == nullptr);
    }
    QVERIFY2(log.texts(QtCriticalMsg)
                 .constLast()
                 .endsWith(QStringLiteral(" =>\t Error factory RadioDevice! ") +
                           QString::fromLatin1(QTest::currentDataTag()) + QStringLiteral(" /a/b.wav")),
             qPrintable(log.texts().join(QLatin1Char('\n'))));
    const std::unique_ptr<AbstractRadioDevice> device(FactoryRadioDevice::make(record(type)));
    QVERIFY(device != nullptr);
}

void tst_FactoryRadioDevice::otherTypeIsRefused_data()
{
    QTest::addColumn<int>("type");
    for (const int type : {-1, 1, 2, 3, 4, 8}) {
        QTest::newRow(qPrintable(DefRadioDevice::toString(static_cast<DefRadioDevice::Type>(type)))) << type;
    }
}

void tst_FactoryRadioDevice::otherTypeIsRefused()
{
    QFETCH(int, type);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    const LogCapture log;
    QVERIFY(FactoryRadioDevice::make(record(type)) == nullptr);
    QCOMPARE(log.texts(QtDebugMsg), QStringList{QStringLiteral("Factory radio device: ") + name});
    const QStringList criticals = log.texts(QtCriticalMsg);
    QCOMPARE(criticals.size(), 1);
    QVERIFY2(criticals.constFirst().startsWith(
                 QLatin1String("[ C ][ Core/RadioDevice/FactoryRadioDevice ] make : ")),
             qPrintable(criticals.constFirst()));
    QVERIFY2(criticals.constFirst().endsWith(QStringLiteral(" =>\t Error factory RadioDevice! ") + name +
                                             QStringLiteral(" /a/b.wav")),
             qPrintable(criticals.constFirst()));
}

void tst_FactoryRadioDevice::numberThatIsNoTypeIsRefused()
{
    const LogCapture log;
    QVERIFY(FactoryRadioDevice::make(record(77)) == nullptr);
    QCOMPARE(log.texts(QtCriticalMsg).size(), 1);
}

QTEST_GUILESS_MAIN(tst_FactoryRadioDevice)
#include "tst_FactoryRadioDevice.moc"
