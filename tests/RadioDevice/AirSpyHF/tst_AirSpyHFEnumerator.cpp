#include "RadioDevice/AirSpyHF/AirSpyHFEnumerator.h"

#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QtTest>

class tst_AirSpyHFEnumerator : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void findsItsType();
    void receiverIsListedWithVersionAndSerial();
    void receiverIsOpenedAskedAndClosed();
    void serialOfAllBitsIsListedUnsigned();
    void twoReceiversAreListedInOrder();
    void zeroSerialsAddNothingAndLogNothing();
    void zeroSerialBetweenTwoOthersIsSkipped();
    void sixtyFourReceiversAreListed();
    void twoReceiversOfOneSerialAreOne();
    void listThatFailsAddsNothing_data();
    void listThatFailsAddsNothing();
    void stepThatFailsEndsTheRefresh_data();
    void stepThatFailsEndsTheRefresh();
    void resultOfOneIsAFailure_data();
    void resultOfOneIsAFailure();
    void versionWithoutAnEndIsCut();
    void versionThatIsNotUtf8IsListed();

private:
    void refresh();
    [[nodiscard]] QStringList identificators() const;

    FakeVendor m_vendor;
    EnumeratorRadioDevice m_registry{nullptr, {[](EnumeratorRadioDevice* owner) {
                                         return QSharedPointer<AirSpyHFEnumerator>::create(owner);
                                     }}};
};

void tst_AirSpyHFEnumerator::init()
{
    m_vendor.reset();
}

void tst_AirSpyHFEnumerator::refresh()
{
    m_registry.refresh({});
}

QStringList tst_AirSpyHFEnumerator::identificators() const
{
    QStringList result;
    for (const auto& device : m_registry.devices()) {
        result.append(device->identificator);
    }
    return result;
}

void tst_AirSpyHFEnumerator::findsItsType()
{
    QCOMPARE(m_registry.enumerators().constFirst()->type(), DefRadioDevice::AirSpyHF);
}

void tst_AirSpyHFEnumerator::receiverIsListedWithVersionAndSerial()
{
    m_vendor.set(QStringLiteral("airspyhf.serial.1"), QStringLiteral("0x644064dc2a6a1d0d"));
    m_vendor.set(QStringLiteral("airspyhf.version"), QStringLiteral("R3.0.7-CD"));
    refresh();
    QCOMPARE(m_registry.devices().size(), 1);
    const auto info = m_registry.devices().constFirst();
    QCOMPARE(info->type(), 6);
    QCOMPARE(info->title, QStringLiteral("Airspy HF+"));
    QCOMPARE(info->description, QStringLiteral("R3.0.7-CD S/N: 644064DC2A6A1D0D"));
    QCOMPARE(info->identificator, QStringLiteral("7223884699069455629"));
    QCOMPARE(info->acquired, false);
}

void tst_AirSpyHFEnumerator::receiverIsOpenedAskedAndClosed()
{
    m_vendor.set(QStringLiteral("airspyhf.serial.1"), QStringLiteral("77"));
    refresh();
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("airspyhf_list_devices(64) = 1"),
                                            QStringLiteral("airspyhf_open_sn(77) = 0"),
                                            QStringLiteral("airspyhf_version_string_read(dev1, 20) = 0"),
                                            QStringLiteral("airspyhf_close(dev1) = 0")}));
}

void tst_AirSpyHFEnumerator::serialOfAllBitsIsListedUnsigned()
{
    m_vendor.set(QStringLiteral("airspyhf.serial.1"), QStringLiteral("0xffffffffffffffff"));
    refresh();
    QCOMPARE(identificators(), QStringList{QStringLiteral("18446744073709551615")});
    QVERIFY(m_registry.devices().constFirst()->description.endsWith(QLatin1String(" FFFFFFFFFFFFFFFF")));
}

void tst_AirSpyHFEnumerator::twoReceiversAreListedInOrder()
{
    m_vendor.set(QStringLiteral("devices"), 2);
    refresh();
    QCOMPARE(identificators(), (QStringList{QStringLiteral("1"), QStringLiteral("2")}));
}

void tst_AirSpyHFEnumerator::zeroSerialsAddNothingAndLogNothing()
{
    m_vendor.set(QStringLiteral("devices"), 0);
    const LogCapture log;
    refresh();
    QCOMPARE(m_registry.devices().size(), 0);
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("airspyhf_list_devices(64) = 0")});
}

void tst_AirSpyHFEnumerator::zeroSerialBetweenTwoOthersIsSkipped()
{
    m_vendor.set(QStringLiteral("devices"), 0);
    m_vendor.set(QStringLiteral("airspyhf.serial.3"), QStringLiteral("5"));
    m_vendor.set(QStringLiteral("airspyhf.serial.64"), QStringLiteral("6"));
    refresh();
    QCOMPARE(identificators(), (QStringList{QStringLiteral("5"), QStringLiteral("6")}));
}

void tst_AirSpyHFEnumerator::sixtyFourReceiversAreListed()
{
    m_vendor.set(QStringLiteral("devices"), 64);
    refresh();
    QCOMPARE(m_registry.devices().size(), 64);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspyhf_close")).size(), 64);
}

void tst_AirSpyHFEnumerator::twoReceiversOfOneSerialAreOne()
{
    m_vendor.set(QStringLiteral("airspyhf.serial.1"), QStringLiteral("5"));
    m_vendor.set(QStringLiteral("airspyhf.serial.2"), QStringLiteral("5"));
    const LogCapture log;
    refresh();
    QCOMPARE(identificators(), QStringList{QStringLiteral("5")});
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_AirSpyHFEnumerator::listThatFailsAddsNothing_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("no USB") << -1;
    QTest::newRow("-9999") << -9999;
}

void tst_AirSpyHFEnumerator::listThatFailsAddsNothing()
{
    QFETCH(int, result);
    m_vendor.set(QStringLiteral("airspyhf_list_devices"), result);
    const LogCapture log;
    refresh();
    QCOMPARE(m_registry.devices().size(), 0);
    QCOMPARE(m_vendor.calls().size(), 1);
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts(QtWarningMsg)
                .value(0)
                .startsWith(QLatin1String("[ W ][ RadioDevice/AirSpyHF/AirSpyHFEnumerator ] refresh : ")));
    QVERIFY(
        log.texts(QtWarningMsg).value(0).endsWith(QLatin1String(" =>\t Error get airspy hf list devices!")));
}

void tst_AirSpyHFEnumerator::stepThatFailsEndsTheRefresh_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("text");
    QTest::newRow("open") << QStringLiteral("airspyhf_open_sn")
                          << QStringLiteral(" =>\t Error open airspy hf device!");
    QTest::newRow("version") << QStringLiteral("airspyhf_version_string_read")
                             << QStringLiteral(" =>\t Error read airspy hf version!");
    QTest::newRow("close") << QStringLiteral("airspyhf_close")
                           << QStringLiteral(" =>\t Error close airspy hf device!");
}

void tst_AirSpyHFEnumerator::stepThatFailsEndsTheRefresh()
{
    QFETCH(QString, call);
    QFETCH(QString, text);
    m_vendor.set(QStringLiteral("devices"), 3);
    m_vendor.set(call + QStringLiteral(".2"), -5);
    const LogCapture log;
    refresh();
    // The one before stays, the one behind is not even opened.
    QCOMPARE(identificators(), QStringList{QStringLiteral("1")});
    QCOMPARE(m_vendor.calls(QStringLiteral("airspyhf_open_sn")).size(), 2);
    QCOMPARE(log.texts().size(), 1);
    QVERIFY2(log.texts(QtWarningMsg).value(0).endsWith(text), qPrintable(log.texts().value(0)));
    // Whatever was opened was closed.
    const bool opened = call != QLatin1String("airspyhf_open_sn");
    QCOMPARE(m_vendor.calls(QStringLiteral("airspyhf_close(dev2")).size(), opened ? 1 : 0);
}

void tst_AirSpyHFEnumerator::resultOfOneIsAFailure_data()
{
    QTest::addColumn<QString>("call");
    QTest::newRow("open") << QStringLiteral("airspyhf_open_sn");
    QTest::newRow("version") << QStringLiteral("airspyhf_version_string_read");
    QTest::newRow("close") << QStringLiteral("airspyhf_close");
}

void tst_AirSpyHFEnumerator::resultOfOneIsAFailure()
{
    QFETCH(QString, call);
    m_vendor.set(call, 1);
    const LogCapture log;
    refresh();
    QCOMPARE(m_registry.devices().size(), 0);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_AirSpyHFEnumerator::versionWithoutAnEndIsCut()
{
    m_vendor.set(QStringLiteral("airspyhf.version.full"), 1);
    refresh();
    QCOMPARE(m_registry.devices().constFirst()->description,
             QString(20, QLatin1Char('x')) + QStringLiteral(" S/N: 1"));
}

void tst_AirSpyHFEnumerator::versionThatIsNotUtf8IsListed()
{
    m_vendor.set(QStringLiteral("airspyhf.version.hex"), QStringLiteral("41ff42c3"));
    refresh();
    const QString description = m_registry.devices().constFirst()->description;
    QVERIFY(description.startsWith(QLatin1Char('A')));
    QVERIFY(description.contains(QChar(QChar::ReplacementCharacter)));
    QVERIFY(description.endsWith(QLatin1String(" S/N: 1")));
}

QTEST_GUILESS_MAIN(tst_AirSpyHFEnumerator)
#include "tst_AirSpyHFEnumerator.moc"
