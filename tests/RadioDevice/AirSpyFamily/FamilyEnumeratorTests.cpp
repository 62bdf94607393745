#include "RadioDevice/AirSpyFamily/FamilyEnumeratorTests.h"

#include "support/LogCapture.h"

FamilyEnumeratorTests::FamilyEnumeratorTests(const Family& family)
    : m_family(family)
    , m_registry(nullptr, {family.make})
{
}

void FamilyEnumeratorTests::init()
{
    m_vendor.reset();
}

void FamilyEnumeratorTests::refresh()
{
    m_registry.refresh({});
}

QStringList FamilyEnumeratorTests::identificators() const
{
    QStringList result;
    for (const auto& device : m_registry.devices()) {
        result.append(device->identificator);
    }
    return result;
}

void FamilyEnumeratorTests::findsItsType()
{
    QCOMPARE(m_registry.enumerators().constFirst()->type(), m_family.type);
}

void FamilyEnumeratorTests::receiverIsListedWithVersionAndSerial()
{
    m_vendor.set(name(".serial.1"), QStringLiteral("0x644064dc2a6a1d0d"));
    m_vendor.set(name(".version"), QStringLiteral("AirSpy NOS 1"));
    refresh();
    QCOMPARE(m_registry.devices().size(), 1);
    const auto info = m_registry.devices().constFirst();
    QCOMPARE(info->type(), static_cast<int>(m_family.type));
    QCOMPARE(info->title, m_family.title);
    QCOMPARE(info->description, QStringLiteral("AirSpy NOS 1 S/N: 644064DC2A6A1D0D"));
    QCOMPARE(info->identificator, QStringLiteral("7223884699069455629"));
    QCOMPARE(info->acquired, false);
}

void FamilyEnumeratorTests::receiverIsOpenedAskedAndClosed()
{
    m_vendor.set(name(".serial.1"), QStringLiteral("77"));
    refresh();
    QCOMPARE(m_vendor.calls(),
             (QStringList{name("_list_devices(64) = 1"), name("_open_sn(77) = 0"),
                          name("_version_string_read(dev1, 20) = 0"), name("_close(dev1) = 0")}));
}

void FamilyEnumeratorTests::serialOfAllBitsIsListedUnsigned()
{
    m_vendor.set(name(".serial.1"), QStringLiteral("0xffffffffffffffff"));
    refresh();
    QCOMPARE(identificators(), QStringList{QStringLiteral("18446744073709551615")});
    QVERIFY(m_registry.devices().constFirst()->description.endsWith(QLatin1String(" FFFFFFFFFFFFFFFF")));
}

void FamilyEnumeratorTests::twoReceiversAreListedInOrder()
{
    m_vendor.set(QStringLiteral("devices"), 2);
    refresh();
    QCOMPARE(identificators(), (QStringList{QStringLiteral("1"), QStringLiteral("2")}));
}

void FamilyEnumeratorTests::zeroSerialsAddNothingAndLogNothing()
{
    m_vendor.set(QStringLiteral("devices"), 0);
    const LogCapture log;
    refresh();
    QCOMPARE(m_registry.devices().size(), 0);
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(m_vendor.calls(), QStringList{name("_list_devices(64) = 0")});
}

void FamilyEnumeratorTests::zeroSerialBetweenTwoOthersIsSkipped()
{
    m_vendor.set(QStringLiteral("devices"), 0);
    m_vendor.set(name(".serial.3"), QStringLiteral("5"));
    m_vendor.set(name(".serial.64"), QStringLiteral("6"));
    refresh();
    QCOMPARE(identificators(), (QStringList{QStringLiteral("5"), QStringLiteral("6")}));
}

void FamilyEnumeratorTests::sixtyFourReceiversAreListed()
{
    m_vendor.set(QStringLiteral("devices"), 64);
    refresh();
    QCOMPARE(m_registry.devices().size(), 64);
    QCOMPARE(m_vendor.calls(name("_close")).size(), 64);
}

void FamilyEnumeratorTests::twoReceiversOfOneSerialAreOne()
{
    m_vendor.set(name(".serial.1"), QStringLiteral("5"));
    m_vendor.set(name(".serial.2"), QStringLiteral("5"));
    const LogCapture log;
    refresh();
    QCOMPARE(identificators(), QStringList{QStringLiteral("5")});
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void FamilyEnumeratorTests::listResultFromZeroOnIsCount_data()
{
    QTest::addColumn<int>("result");
    for (const int result : {0, 1, 2, 64, 1000}) {
        QTest::addRow("%d", result) << result;
    }
}

void FamilyEnumeratorTests::listResultFromZeroOnIsCount()
{
    QFETCH(int, result);
    m_vendor.set(name("_list_devices"), result);
    const LogCapture log;
    refresh();
    QCOMPARE(identificators().size(), 1); // the serials tell which there are
    QCOMPARE(log.texts(), QStringList());
}

void FamilyEnumeratorTests::listThatFailsAddsNothing_data()
{
    QTest::addColumn<int>("result");
    for (const int result : {-1, -1000, -9999}) {
        QTest::addRow("%d", result) << result;
    }
}

void FamilyEnumeratorTests::listThatFailsAddsNothing()
{
    QFETCH(int, result);
    m_vendor.set(name("_list_devices"), result);
    const LogCapture log;
    refresh();
    QCOMPARE(m_registry.devices().size(), 0);
    QCOMPARE(m_vendor.calls().size(), 1);
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts(QtWarningMsg)
                .value(0)
                .startsWith(QStringLiteral("[ W ][ RadioDevice/%1 ] refresh : ").arg(m_family.source)));
    QVERIFY(log.texts(QtWarningMsg).value(0).endsWith(QStringLiteral(" =>\t ") + m_family.listFailure));
}

void FamilyEnumeratorTests::stepThatFailsEndsRefresh_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("text");
    QTest::newRow("open") << name("_open_sn") << QStringLiteral(" =>\t Error open airspy hf device!");
    QTest::newRow("version") << name("_version_string_read")
                             << QStringLiteral(" =>\t Error read airspy hf version!");
    QTest::newRow("close") << name("_close") << QStringLiteral(" =>\t Error close airspy hf device!");
}

void FamilyEnumeratorTests::stepThatFailsEndsRefresh()
{
    QFETCH(QString, call);
    QFETCH(QString, text);
    m_vendor.set(QStringLiteral("devices"), 3);
    m_vendor.set(call + QStringLiteral(".2"), -5);
    const LogCapture log;
    refresh();
    // The one before stays, the one after it is not even opened.
    QCOMPARE(identificators(), QStringList{QStringLiteral("1")});
    QCOMPARE(m_vendor.calls(name("_open_sn")).size(), 2);
    QCOMPARE(log.texts().size(), 1);
    QVERIFY2(log.texts(QtWarningMsg).value(0).endsWith(text), qPrintable(log.texts().value(0)));
    // Whatever was opened was closed.
    const bool opened = call != name("_open_sn");
    QCOMPARE(m_vendor.calls(name("_close(dev2")).size(), opened ? 1 : 0);
}

void FamilyEnumeratorTests::versionWithoutEndIsCut()
{
    m_vendor.set(name(".version.full"), 1);
    refresh();
    QCOMPARE(m_registry.devices().constFirst()->description,
             QString(20, QLatin1Char('x')) + QStringLiteral(" S/N: 1"));
}

void FamilyEnumeratorTests::versionThatIsNotUtf8IsListed()
{
    m_vendor.set(name(".version.hex"), QStringLiteral("41ff42c3"));
    refresh();
    const QString description = m_registry.devices().constFirst()->description;
    QVERIFY(description.startsWith(QLatin1Char('A')));
    QVERIFY(description.contains(QChar(QChar::ReplacementCharacter)));
    QVERIFY(description.endsWith(QLatin1String(" S/N: 1")));
}
