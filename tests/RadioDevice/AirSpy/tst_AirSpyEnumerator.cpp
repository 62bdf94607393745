#include "RadioDevice/AirSpy/AirSpyEnumerator.h"

#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QtTest>

class tst_AirSpyEnumerator : public QObject
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
    void resultOfOneIsASuccess();
    void versionWithoutAnEndIsCut();
    void versionThatIsNotUtf8IsListed();

private:
    void refresh();
    [[nodiscard]] QStringList identificators() const;

    FakeVendor m_vendor;
    EnumeratorRadioDevice m_registry{nullptr, {[](EnumeratorRadioDevice* owner) {
                                         return QSharedPointer<AirSpyEnumerator>::create(owner);
                                     }}};
};

void tst_AirSpyEnumerator::init()
{
    m_vendor.reset();
}

void tst_AirSpyEnumerator::refresh()
{
    m_registry.refresh({});
}

QStringList tst_AirSpyEnumerator::identificators() const
{
    QStringList result;
    for (const auto& device : m_registry.devices()) {
        result.append(device->identificator);
    }
    return result;
}

void tst_AirSpyEnumerator::findsItsType()
{
    QCOMPARE(m_registry.enumerators().constFirst()->type(), DefRadioDevice::AirSpy);
}

void tst_AirSpyEnumerator::receiverIsListedWithVersionAndSerial()
{
    m_vendor.set(QStringLiteral("airspy.serial.1"), QStringLiteral("0x644064dc2a6a1d0d"));
    m_vendor.set(QStringLiteral("airspy.version"), QStringLiteral("AirSpy NOS 1"));
    refresh();
    QCOMPARE(m_registry.devices().size(), 1);
    const auto info = m_registry.devices().constFirst();
    QCOMPARE(info->type(), 7);
    QCOMPARE(info->title, QStringLiteral("Airspy R2/mini"));
    QCOMPARE(info->description, QStringLiteral("AirSpy NOS 1 S/N: 644064DC2A6A1D0D"));
    QCOMPARE(info->identificator, QStringLiteral("7223884699069455629"));
    QCOMPARE(info->acquired, false);
}

void tst_AirSpyEnumerator::receiverIsOpenedAskedAndClosed()
{
    m_vendor.set(QStringLiteral("airspy.serial.1"), QStringLiteral("77"));
    refresh();
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("airspy_list_devices(64) = 1"),
                                            QStringLiteral("airspy_open_sn(77) = 0"),
                                            QStringLiteral("airspy_version_string_read(dev1, 20) = 0"),
                                            QStringLiteral("airspy_close(dev1) = 0")}));
}

void tst_AirSpyEnumerator::serialOfAllBitsIsListedUnsigned()
{
    m_vendor.set(QStringLiteral("airspy.serial.1"), QStringLiteral("0xffffffffffffffff"));
    refresh();
    QCOMPARE(identificators(), QStringList{QStringLiteral("18446744073709551615")});
    QVERIFY(m_registry.devices().constFirst()->description.endsWith(QLatin1String(" FFFFFFFFFFFFFFFF")));
}

void tst_AirSpyEnumerator::twoReceiversAreListedInOrder()
{
    m_vendor.set(QStringLiteral("devices"), 2);
    refresh();
    QCOMPARE(identificators(), (QStringList{QStringLiteral("1"), QStringLiteral("2")}));
}

void tst_AirSpyEnumerator::zeroSerialsAddNothingAndLogNothing()
{
    m_vendor.set(QStringLiteral("devices"), 0);
    const LogCapture log;
    refresh();
    QCOMPARE(m_registry.devices().size(), 0);
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("airspy_list_devices(64) = 0")});
}

void tst_AirSpyEnumerator::zeroSerialBetweenTwoOthersIsSkipped()
{
    m_vendor.set(QStringLiteral("devices"), 0);
    m_vendor.set(QStringLiteral("airspy.serial.3"), QStringLiteral("5"));
    m_vendor.set(QStringLiteral("airspy.serial.64"), QStringLiteral("6"));
    refresh();
    QCOMPARE(identificators(), (QStringList{QStringLiteral("5"), QStringLiteral("6")}));
}

void tst_AirSpyEnumerator::sixtyFourReceiversAreListed()
{
    m_vendor.set(QStringLiteral("devices"), 64);
    refresh();
    QCOMPARE(m_registry.devices().size(), 64);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_close")).size(), 64);
}

void tst_AirSpyEnumerator::twoReceiversOfOneSerialAreOne()
{
    m_vendor.set(QStringLiteral("airspy.serial.1"), QStringLiteral("5"));
    m_vendor.set(QStringLiteral("airspy.serial.2"), QStringLiteral("5"));
    const LogCapture log;
    refresh();
    QCOMPARE(identificators(), QStringList{QStringLiteral("5")});
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_AirSpyEnumerator::listThatFailsAddsNothing_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("no USB") << -1000;
    QTest::newRow("-1") << -1;
}

void tst_AirSpyEnumerator::listThatFailsAddsNothing()
{
    QFETCH(int, result);
    m_vendor.set(QStringLiteral("airspy_list_devices"), result);
    const LogCapture log;
    refresh();
    QCOMPARE(m_registry.devices().size(), 0);
    QCOMPARE(m_vendor.calls().size(), 1);
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts(QtWarningMsg)
                .value(0)
                .startsWith(QLatin1String("[ W ][ RadioDevice/AirSpy/AirSpyEnumerator ] refresh : ")));
    QVERIFY(log.texts(QtWarningMsg).value(0).endsWith(QLatin1String(" =>\t Error get airspy list devices!")));
}

void tst_AirSpyEnumerator::stepThatFailsEndsTheRefresh_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("text");
    QTest::newRow("open") << QStringLiteral("airspy_open_sn")
                          << QStringLiteral(" =>\t Error open airspy hf device!");
    QTest::newRow("version") << QStringLiteral("airspy_version_string_read")
                             << QStringLiteral(" =>\t Error read airspy hf version!");
    QTest::newRow("close") << QStringLiteral("airspy_close")
                           << QStringLiteral(" =>\t Error close airspy hf device!");
}

void tst_AirSpyEnumerator::stepThatFailsEndsTheRefresh()
{
    QFETCH(QString, call);
    QFETCH(QString, text);
    m_vendor.set(QStringLiteral("devices"), 3);
    m_vendor.set(call + QStringLiteral(".2"), -5);
    const LogCapture log;
    refresh();
    // The one before stays, the one behind is not even opened.
    QCOMPARE(identificators(), QStringList{QStringLiteral("1")});
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_open_sn")).size(), 2);
    QCOMPARE(log.texts().size(), 1);
    QVERIFY2(log.texts(QtWarningMsg).value(0).endsWith(text), qPrintable(log.texts().value(0)));
    // Whatever was opened was closed.
    const bool opened = call != QLatin1String("airspy_open_sn");
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_close(dev2")).size(), opened ? 1 : 0);
}

void tst_AirSpyEnumerator::resultOfOneIsASuccess()
{
    for (const char* call : {"airspy_open_sn", "airspy_version_string_read", "airspy_close"}) {
        m_vendor.set(QString::fromLatin1(call), 1);
    }
    refresh();
    QCOMPARE(m_registry.devices().size(), 1);
}

void tst_AirSpyEnumerator::versionWithoutAnEndIsCut()
{
    m_vendor.set(QStringLiteral("airspy.version.full"), 1);
    refresh();
    QCOMPARE(m_registry.devices().constFirst()->description,
             QString(20, QLatin1Char('x')) + QStringLiteral(" S/N: 1"));
}

void tst_AirSpyEnumerator::versionThatIsNotUtf8IsListed()
{
    m_vendor.set(QStringLiteral("airspy.version.hex"), QStringLiteral("41ff42c3"));
    refresh();
    const QString description = m_registry.devices().constFirst()->description;
    QVERIFY(description.startsWith(QLatin1Char('A')));
    QVERIFY(description.contains(QChar(QChar::ReplacementCharacter)));
    QVERIFY(description.endsWith(QLatin1String(" S/N: 1")));
}

QTEST_GUILESS_MAIN(tst_AirSpyEnumerator)
#include "tst_AirSpyEnumerator.moc"
