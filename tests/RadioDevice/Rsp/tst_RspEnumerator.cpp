#include "RadioDevice/Rsp/RspEnumerator.h"

#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QtTest>

class tst_RspEnumerator : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void findsItsType();
    void libraryOfKnownVersionIsUsedWithoutWord();
    void libraryOfAnotherVersionIsWarnedOfAndListsItsDevices_data();
    void libraryOfAnotherVersionIsWarnedOfAndListsItsDevices();
    void versionThatCannotBeReadIsWarnedOf();
    void receiverIsListedByItsNumberAlone();
    void fourReceiversAreListedInOrder();
    void noReceiverAddsNothing();
    void listThatFailsAddsNothing_data();
    void listThatFailsAddsNothing();
    void moreReceiversThanThereIsRoomForAreCut_data();
    void moreReceiversThanThereIsRoomForAreCut();
    void everyRefreshAsksAgain();
    void libraryThatTellsItsVersionLateLists();

private:
    struct Listing;

    FakeVendor m_vendor;
};

/// A registry of this enumerator alone; the log is captured from before it is made.
struct tst_RspEnumerator::Listing
{
    LogCapture log;
    EnumeratorRadioDevice registry{
        nullptr, {[](EnumeratorRadioDevice* owner) { return QSharedPointer<RspEnumerator>::create(owner); }}};

    QStringList refreshed()
    {
        registry.refresh({});
        QStringList result;
        for (const auto& device : registry.devices()) {
            result.append(device->identificator);
        }
        return result;
    }

    [[nodiscard]] QStringList warnings() const { return log.texts(QtWarningMsg); }
};

void tst_RspEnumerator::init()
{
    m_vendor.reset();
}

void tst_RspEnumerator::findsItsType()
{
    const Listing listing;
    QCOMPARE(listing.registry.enumerators().constFirst()->type(), DefRadioDevice::Rsp);
}

void tst_RspEnumerator::libraryOfKnownVersionIsUsedWithoutWord()
{
    EnumeratorRadioDevice owner(nullptr, {});
    const LogCapture log;
    const RspEnumerator enumerator(&owner);
    QVERIFY(enumerator.libraryLoaded());
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("mir_sdr_ApiVersion() = 0")});
}

void tst_RspEnumerator::libraryOfAnotherVersionIsWarnedOfAndListsItsDevices_data()
{
    QTest::addColumn<QString>("version");
    for (const char* version : {"2.13", "2.09", "3", "0", "-1", "nan", "2.1000003"}) {
        QTest::newRow(version) << QString::fromLatin1(version);
    }
}

void tst_RspEnumerator::libraryOfAnotherVersionIsWarnedOfAndListsItsDevices()
{
    QFETCH(QString, version);
    m_vendor.set(QStringLiteral("rsp.version"), version);
    Listing listing;
    QCOMPARE(listing.warnings().size(), 1);
    const QString text = listing.warnings().constFirst();
    QVERIFY2(text.startsWith(QLatin1String("[ W ][ RadioDevice/Rsp/RspEnumerator ] RspEnumerator : ")),
             qPrintable(text));
    QVERIFY2(text.endsWith(QLatin1String(" =>\t Error rsp library api version!")), qPrintable(text));
    QCOMPARE(listing.refreshed(), QStringList{QStringLiteral("0")});
    QCOMPARE(listing.warnings().size(), 1);
}

void tst_RspEnumerator::versionThatCannotBeReadIsWarnedOf()
{
    m_vendor.set(QStringLiteral("mir_sdr_ApiVersion"), 5);
    m_vendor.set(QStringLiteral("rsp.version"), 0);
    Listing listing;
    QCOMPARE(listing.warnings().size(), 1);
    QCOMPARE(listing.refreshed(), QStringList{QStringLiteral("0")});
}

void tst_RspEnumerator::receiverIsListedByItsNumberAlone()
{
    Listing listing;
    listing.registry.refresh({});
    QCOMPARE(listing.registry.devices().size(), 1);
    const auto info = listing.registry.devices().constFirst();
    QCOMPARE(info->type(), 9);
    QCOMPARE(info->title, QStringLiteral("0"));
    QCOMPARE(info->description, QStringLiteral("0"));
    QCOMPARE(info->identificator, QStringLiteral("0"));
    QCOMPARE(m_vendor.calls(QStringLiteral("mir_sdr_GetDevices")),
             QStringList{QStringLiteral("mir_sdr_GetDevices(4) = 0")});
    QCOMPARE(listing.warnings(), QStringList());
}

void tst_RspEnumerator::fourReceiversAreListedInOrder()
{
    m_vendor.set(QStringLiteral("devices"), 4);
    Listing listing;
    QCOMPARE(listing.refreshed(), (QStringList{QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2"),
                                               QStringLiteral("3")}));
}

void tst_RspEnumerator::noReceiverAddsNothing()
{
    m_vendor.set(QStringLiteral("devices"), 0);
    Listing listing;
    QCOMPARE(listing.refreshed(), QStringList());
    QCOMPARE(listing.log.texts(), QStringList());
}

void tst_RspEnumerator::listThatFailsAddsNothing_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("fail") << 1;
    QTest::newRow("another") << 6;
    QTest::newRow("negative") << -1;
}

void tst_RspEnumerator::listThatFailsAddsNothing()
{
    QFETCH(int, result);
    m_vendor.set(QStringLiteral("mir_sdr_GetDevices"), result);
    Listing listing;
    QCOMPARE(listing.refreshed(), QStringList());
    QCOMPARE(listing.warnings().size(), 1);
    const QString text = listing.warnings().constFirst();
    QVERIFY2(text.startsWith(QLatin1String("[ W ][ RadioDevice/Rsp/RspEnumerator ] refresh : ")),
             qPrintable(text));
    QVERIFY2(text.endsWith(QLatin1String(" =>\t Error get RSP devices list!")), qPrintable(text));
}

void tst_RspEnumerator::moreReceiversThanThereIsRoomForAreCut_data()
{
    QTest::addColumn<double>("count");
    QTest::newRow("5") << 5.0;
    QTest::newRow("a million") << 1e6;
    QTest::newRow("-1") << -1.0;
}

void tst_RspEnumerator::moreReceiversThanThereIsRoomForAreCut()
{
    QFETCH(double, count);
    m_vendor.set(QStringLiteral("rsp.devices"), count);
    Listing listing;
    QCOMPARE(listing.refreshed().size(), 4);
}

void tst_RspEnumerator::everyRefreshAsksAgain()
{
    Listing listing;
    QCOMPARE(listing.refreshed().size(), 1);
    m_vendor.set(QStringLiteral("unplug"), 1);
    QCOMPARE(listing.refreshed().size(), 0);
    m_vendor.remove(QStringLiteral("unplug"));
    QCOMPARE(listing.refreshed().size(), 1);
    QCOMPARE(m_vendor.calls(QStringLiteral("mir_sdr_ApiVersion")).size(), 1);
}

void tst_RspEnumerator::libraryThatTellsItsVersionLateLists()
{
    m_vendor.set(QStringLiteral("hang.mir_sdr_ApiVersion"), 1);
    const LogCapture log;
    EnumeratorRadioDevice registry(nullptr, {});
    RspEnumerator enumerator(&registry, {std::chrono::milliseconds(150), std::chrono::milliseconds(150)});
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 2);
    QVERIFY(warnings.at(0).endsWith(
        QLatin1String("The receiver's library doesn't come back: mir_sdr_ApiVersion")));
    QVERIFY(warnings.at(1).endsWith(QLatin1String("Error rsp library api version!")));
    m_vendor.remove(QStringLiteral("hang.mir_sdr_ApiVersion"));
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("mir_sdr_ApiVersion(")).size(), 1);
    QTRY_VERIFY((enumerator.refresh(), registry.devices().size() == 1));
}

QTEST_GUILESS_MAIN(tst_RspEnumerator)
#include "tst_RspEnumerator.moc"
