#include "Core/RadioDevice/DefRadioDevice.h"
#include "Core/RadioDevice/InfoRadioDevice.h"
#include "RadioDevice/IQPlayer/IQPlayerRadioDevice.h"

#include <QMetaEnum>
#include <QtTest>

class tst_DefRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void typeKeepsItsNumberAndName_data();
    void typeKeepsItsNumberAndName();
    void numberWithoutTypeHasNoName_data();
    void numberWithoutTypeHasNoName();
    void nameCanBeAskedForThroughMetaObject();
    void plainRecordIsUnknownAndFree();
    void recordAnswersWithTypeItWasMadeFor();
    void playersRecordAnswersWithItsOwnType();
};

void tst_DefRadioDevice::typeKeepsItsNumberAndName_data()
{
    QTest::addColumn<int>("number");
    const QList<const char*> names{"Unknown",    "IQFilePlayer", "RtlUsbAndroid", "RtlTcp", "Orvenlink",
                                   "HermesLite", "RtlUsb",       "AirSpyHF",      "AirSpy", "SpyServer",
                                   "Rsp"};
    for (int i = 0; i < names.size(); ++i) {
        QTest::newRow(names[i]) << i - 1;
    }
}

void tst_DefRadioDevice::typeKeepsItsNumberAndName()
{
    QFETCH(int, number);
    const char* name = QTest::currentDataTag();
    QCOMPARE(DefRadioDevice::toString(static_cast<DefRadioDevice::Type>(number)), QString::fromLatin1(name));
    const QMetaEnum types = QMetaEnum::fromType<DefRadioDevice::Type>();
    QCOMPARE(types.keyToValue(name), number);
    QCOMPARE(types.keyCount(), 11);
}

void tst_DefRadioDevice::numberWithoutTypeHasNoName_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("below all") << -2;
    QTest::newRow("above all") << 10;
}

void tst_DefRadioDevice::numberWithoutTypeHasNoName()
{
    QFETCH(int, number);
    QCOMPARE(DefRadioDevice::toString(static_cast<DefRadioDevice::Type>(number)), QString());
}

void tst_DefRadioDevice::nameCanBeAskedForThroughMetaObject()
{
    DefRadioDevice object;
    QString name;
    QVERIFY(QMetaObject::invokeMethod(&object, "toString", Q_RETURN_ARG(QString, name),
                                      Q_ARG(DefRadioDevice::Type, DefRadioDevice::Rsp)));
    QCOMPARE(name, QStringLiteral("Rsp"));
}

void tst_DefRadioDevice::plainRecordIsUnknownAndFree()
{
    const InfoRadioDevice info;
    QCOMPARE(info.type(), -1);
    QVERIFY(!info.acquired);
    QVERIFY(info.title.isEmpty() && info.description.isEmpty() && info.identificator.isEmpty());
}

void tst_DefRadioDevice::recordAnswersWithTypeItWasMadeFor()
{
    QCOMPARE(InfoRadioDevice(DefRadioDevice::RtlTcp).type(), 2);
}

void tst_DefRadioDevice::playersRecordAnswersWithItsOwnType()
{
    const QSharedPointer<InfoRadioDevice> info = QSharedPointer<IQPlayerRadioDevice::DeviceInfo>::create();
    QCOMPARE(info->type(), 0);
}

QTEST_GUILESS_MAIN(tst_DefRadioDevice)
#include "tst_DefRadioDevice.moc"
