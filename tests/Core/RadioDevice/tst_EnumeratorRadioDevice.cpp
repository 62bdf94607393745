#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "Core/RadioDevice/Enumerator/USBEventListener.h"
#include "Core/RadioDevice/RadioDriver.h"

#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QtTest>

namespace
{

QSharedPointer<InfoRadioDevice> record(int type, const char* identificator)
{
    auto info = QSharedPointer<InfoRadioDevice>::create(type);
    info->identificator = QString::fromLatin1(identificator);
    return info;
}

/// Finds one receiver of its type, named after how often it was asked, and writes down that it was asked.
template <DefRadioDevice::Type kType>
class Finder : public AbstractEnumerator
{
public:
    Finder(EnumeratorRadioDevice* owner, QList<DefRadioDevice::Type>* asked)
        : AbstractEnumerator(owner)
        , m_asked(asked)
    {
    }
    [[nodiscard]] DefRadioDevice::Type type() const override { return kType; }
    void refresh() override
    {
        m_asked->append(kType);
        m_owner->add(record(kType, QByteArray::number(100 * kType + m_asked->size()).constData()));
    }

private:
    QList<DefRadioDevice::Type>* m_asked;
};

using Types = QList<DefRadioDevice::Type>;

const Types kFive{DefRadioDevice::IQFilePlayer, DefRadioDevice::RtlUsb, DefRadioDevice::AirSpyHF,
                  DefRadioDevice::AirSpy, DefRadioDevice::Rsp};

/// A registry of five enumerators, in the order of the drivers.
struct Registry
{
    Types asked;
    EnumeratorRadioDevice registry;
    QSignalSpy availableChanged;
    QSignalSpy showToastr;

    Registry()
        : registry(nullptr, {maker<DefRadioDevice::IQFilePlayer>(), maker<DefRadioDevice::RtlUsb>(),
                             maker<DefRadioDevice::AirSpyHF>(), maker<DefRadioDevice::AirSpy>(),
                             maker<DefRadioDevice::Rsp>()})
        , availableChanged(&registry, &EnumeratorRadioDevice::availableChanged)
        , showToastr(&registry, &EnumeratorRadioDevice::showToastr)
    {
    }

    template <DefRadioDevice::Type kType>
    EnumeratorRadioDevice::Maker maker()
    {
        return [this](EnumeratorRadioDevice* owner) {
            return QSharedPointer<Finder<kType>>::create(owner, &asked);
        };
    }

    [[nodiscard]] Types found() const
    {
        Types result;
        for (const auto& info : registry.devices()) {
            result.append(static_cast<DefRadioDevice::Type>(info->type()));
        }
        return result;
    }
};

} // namespace

class tst_EnumeratorRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void newRegistryHasEnumeratorForEachDriverAndNoRecord();
    void enumeratorsHaveNoParentAndKeepTheirOrder();
    void refreshWithoutFilterAsksEveryEnumeratorInOrder();
    void refreshWithFilterAsksOnlyThoseItNames();
    void refreshWithFilterForgetsEveryOtherType();
    void recordHeldElsewhereOutlivesRefresh();
    void refreshTellsOnceThatListIsEmptyAndOnceForEachRecord();
    void secondRecordWithOneIdentificatorIsRefused();
    void identificatorIsUniqueAcrossTypes();
    void acquireSucceedsOnce();
    void acquireOfEqualCopyFails();
    void releaseFreesRecord();
    void releaseOfUnknownRecordChangesNothing();
    void acquireAndReleaseAreLogged();
    void noticeOfTypeInFilterRefreshesAndTells();
    void noticeThatIsNotForPeopleOnlyRefreshes();
    void noticeOfTypeOutsideFilterDoesNothing();
    void noticeWithoutFilterDoesNothing();
    void slotWithoutSenderDoesNothing();
    void enumeratorsWarningIsPassedOn();
    void usbListenerIsSeamThatChangesNothing();
    void destructionIsLoggedAndReleasesRecords();
};

void tst_EnumeratorRadioDevice::newRegistryHasEnumeratorForEachDriverAndNoRecord()
{
    const EnumeratorRadioDevice registry;
    QCOMPARE(static_cast<std::size_t>(registry.enumerators().size()), RadioDriver::all().size());
    QVERIFY(registry.devices().isEmpty());
}

void tst_EnumeratorRadioDevice::enumeratorsHaveNoParentAndKeepTheirOrder()
{
    const Registry r;
    Types types;
    for (const auto& enumerator : r.registry.enumerators()) {
        QCOMPARE(enumerator->parent(), nullptr);
        types.append(enumerator->type());
    }
    QCOMPARE(types, kFive);
}

void tst_EnumeratorRadioDevice::refreshWithoutFilterAsksEveryEnumeratorInOrder()
{
    Registry r;
    r.registry.refresh({});
    QCOMPARE(r.asked, kFive);
    QCOMPARE(r.found(), kFive);
}

void tst_EnumeratorRadioDevice::refreshWithFilterAsksOnlyThoseItNames()
{
    Registry r;
    r.registry.refresh({DefRadioDevice::RtlUsb});
    QCOMPARE(r.asked, Types{DefRadioDevice::RtlUsb});
}

void tst_EnumeratorRadioDevice::refreshWithFilterForgetsEveryOtherType()
{
    Registry r;
    r.registry.refresh({});
    r.registry.refresh({DefRadioDevice::RtlUsb, DefRadioDevice::IQFilePlayer});
    QCOMPARE(r.found(), (Types{DefRadioDevice::IQFilePlayer, DefRadioDevice::RtlUsb}));
}

void tst_EnumeratorRadioDevice::recordHeldElsewhereOutlivesRefresh()
{
    Registry r;
    r.registry.refresh({DefRadioDevice::RtlUsb});
    const QSharedPointer<InfoRadioDevice> held = r.registry.devices().constFirst();
    r.registry.refresh({DefRadioDevice::RtlUsb});
    QVERIFY(!r.registry.devices().contains(held));
    QCOMPARE(held->identificator, QStringLiteral("501"));
}

void tst_EnumeratorRadioDevice::refreshTellsOnceThatListIsEmptyAndOnceForEachRecord()
{
    Registry r;
    QList<int> sizes;
    connect(&r.registry, &EnumeratorRadioDevice::availableChanged, this,
            [&] { sizes.append(r.registry.devices().size()); });
    r.registry.refresh({});
    QCOMPARE(sizes, (QList<int>{0, 1, 2, 3, 4, 5}));
    r.registry.refresh({DefRadioDevice::Unknown});
    QCOMPARE(sizes.size(), 7);
    QCOMPARE(sizes.constLast(), 0);
}

void tst_EnumeratorRadioDevice::secondRecordWithOneIdentificatorIsRefused()
{
    Registry r;
    const auto first = record(DefRadioDevice::RtlUsb, "7");
    const LogCapture log;
    r.registry.add(first);
    r.registry.add(record(DefRadioDevice::RtlUsb, "7"));
    QCOMPARE(r.registry.devices(), QList<QSharedPointer<InfoRadioDevice>>{first});
    QCOMPARE(r.availableChanged.size(), 1);
    QCOMPARE(log.texts().size(), 1);
    QCOMPARE(log.records().constFirst().type, QtWarningMsg);
    const QString text = log.texts().constFirst();
    QVERIFY2(
        text.startsWith(QLatin1String("[ W ][ Core/RadioDevice/Enumerator/EnumeratorRadioDevice ] add : ")),
        qPrintable(text));
    QVERIFY2(text.endsWith(QLatin1String(" =>\t Error add deviceInfo - not unique identificator! RtlUsb 7")),
             qPrintable(text));
}

void tst_EnumeratorRadioDevice::identificatorIsUniqueAcrossTypes()
{
    Registry r;
    const auto first = record(DefRadioDevice::RtlUsb, "0");
    const LogCapture log;
    r.registry.add(first);
    r.registry.add(record(DefRadioDevice::Rsp, "0"));
    r.registry.add(record(DefRadioDevice::Rsp, "1"));
    QCOMPARE(r.found(), (Types{DefRadioDevice::RtlUsb, DefRadioDevice::Rsp}));
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String("identificator! Rsp 0")));
}

void tst_EnumeratorRadioDevice::acquireSucceedsOnce()
{
    Registry r;
    const auto info = record(DefRadioDevice::RtlUsb, "7");
    r.registry.add(info);
    r.availableChanged.clear();
    QVERIFY(r.registry.acquire(info));
    QVERIFY(info->acquired);
    QVERIFY(!r.registry.acquire(info));
    QVERIFY(info->acquired);
    QCOMPARE(r.availableChanged.size(), 1);
}

void tst_EnumeratorRadioDevice::acquireOfEqualCopyFails()
{
    Registry r;
    r.registry.add(record(DefRadioDevice::RtlUsb, "7"));
    r.availableChanged.clear();
    const auto copy = record(DefRadioDevice::RtlUsb, "7");
    QVERIFY(!r.registry.acquire(copy));
    QVERIFY(!copy->acquired);
    QCOMPARE(r.availableChanged.size(), 0);
}

void tst_EnumeratorRadioDevice::releaseFreesRecord()
{
    Registry r;
    const auto info = record(DefRadioDevice::RtlUsb, "7");
    r.registry.add(info);
    QVERIFY(r.registry.acquire(info));
    r.availableChanged.clear();
    r.registry.release(info);
    QVERIFY(!info->acquired);
    QCOMPARE(r.availableChanged.size(), 1);
    QVERIFY(r.registry.acquire(info));
}

void tst_EnumeratorRadioDevice::releaseOfUnknownRecordChangesNothing()
{
    Registry r;
    const auto unknown = record(DefRadioDevice::RtlUsb, "7");
    unknown->acquired = true;
    r.registry.release(unknown);
    QVERIFY(unknown->acquired);
    QCOMPARE(r.availableChanged.size(), 0);
}

void tst_EnumeratorRadioDevice::acquireAndReleaseAreLogged()
{
    Registry r;
    const auto unknown = record(DefRadioDevice::AirSpyHF, "7");
    const LogCapture log;
    QVERIFY(!r.registry.acquire(unknown));
    r.registry.release(unknown);
    QCOMPARE(log.texts(QtDebugMsg), (QStringList{QStringLiteral("acquire radio device AirSpyHF 7"),
                                                 QStringLiteral("release radio device AirSpyHF 7")}));
}

void tst_EnumeratorRadioDevice::noticeOfTypeInFilterRefreshesAndTells()
{
    Registry r;
    r.registry.refresh({DefRadioDevice::RtlUsb, DefRadioDevice::Rsp});
    r.asked.clear();
    emit r.registry.enumerators().at(1)->newDevice(true);
    QCOMPARE(r.asked, (Types{DefRadioDevice::RtlUsb, DefRadioDevice::Rsp}));
    QCOMPARE(r.showToastr.size(), 1);
    QCOMPARE(r.showToastr.constFirst().constFirst().toString(),
             QStringLiteral("Detected Radio Device: RtlUsb"));
}

void tst_EnumeratorRadioDevice::noticeThatIsNotForPeopleOnlyRefreshes()
{
    Registry r;
    r.registry.refresh({DefRadioDevice::RtlUsb});
    r.asked.clear();
    emit r.registry.enumerators().at(1)->newDevice(false);
    QCOMPARE(r.asked, Types{DefRadioDevice::RtlUsb});
    QCOMPARE(r.showToastr.size(), 0);
}

void tst_EnumeratorRadioDevice::noticeOfTypeOutsideFilterDoesNothing()
{
    Registry r;
    r.registry.refresh({DefRadioDevice::RtlUsb});
    r.asked.clear();
    r.availableChanged.clear();
    emit r.registry.enumerators().at(0)->newDevice(true);
    QCOMPARE(r.asked, Types());
    QCOMPARE(r.availableChanged.size(), 0);
    QCOMPARE(r.showToastr.size(), 0);
}

void tst_EnumeratorRadioDevice::noticeWithoutFilterDoesNothing()
{
    Registry r;
    r.registry.refresh({});
    r.asked.clear();
    r.availableChanged.clear();
    for (const auto& enumerator : r.registry.enumerators()) {
        emit enumerator->newDevice(true);
    }
    QCOMPARE(r.asked, Types());
    QCOMPARE(r.found(), kFive);
    QCOMPARE(r.availableChanged.size(), 0);
    QCOMPARE(r.showToastr.size(), 0);
}

void tst_EnumeratorRadioDevice::slotWithoutSenderDoesNothing()
{
    Registry r;
    r.registry.refresh({DefRadioDevice::RtlUsb});
    r.asked.clear();
    QVERIFY(QMetaObject::invokeMethod(&r.registry, "onNewDevice", Q_ARG(bool, true)));
    QCOMPARE(r.asked, Types());
}

void tst_EnumeratorRadioDevice::enumeratorsWarningIsPassedOn()
{
    const Registry r;
    emit r.registry.enumerators().at(2)->warning(QStringLiteral("no driver"));
    QCOMPARE(r.showToastr.size(), 1);
    QCOMPARE(r.showToastr.constFirst().constFirst().toString(), QStringLiteral("no driver"));
}

void tst_EnumeratorRadioDevice::usbListenerIsSeamThatChangesNothing()
{
    Registry r;
    r.registry.refresh({});
    r.asked.clear();
    r.availableChanged.clear();
    auto* listener = r.registry.findChild<USBEventListener*>();
    QVERIFY(listener != nullptr);
    emit listener->update();
    QCOMPARE(r.asked, Types());
    QCOMPARE(r.availableChanged.size(), 0);
}

void tst_EnumeratorRadioDevice::destructionIsLoggedAndReleasesRecords()
{
    auto registry = std::make_unique<EnumeratorRadioDevice>();
    auto info = record(DefRadioDevice::RtlUsb, "7");
    const QWeakPointer<InfoRadioDevice> watched = info;
    registry->add(info);
    info.clear();
    QVERIFY(!watched.isNull());
    const LogCapture log;
    registry.reset();
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Destruct class .. EnumeratorRadioDevice")});
    QVERIFY(watched.isNull());
}

QTEST_GUILESS_MAIN(tst_EnumeratorRadioDevice)
#include "tst_EnumeratorRadioDevice.moc"
