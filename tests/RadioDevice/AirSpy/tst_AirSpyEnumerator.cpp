#include "RadioDevice/AirSpy/AirSpyEnumerator.h"

#include "RadioDevice/AirSpyFamily/FamilyEnumeratorTests.h"

class tst_AirSpyEnumerator : public FamilyEnumeratorTests
{
    Q_OBJECT

public:
    tst_AirSpyEnumerator()
        : FamilyEnumeratorTests({QStringLiteral("airspy"), DefRadioDevice::AirSpy,
                                 QStringLiteral("Airspy R2/mini"), QStringLiteral("AirSpy/AirSpyEnumerator"),
                                 QStringLiteral("Error get airspy list devices!"),
                                 [](EnumeratorRadioDevice* owner) -> QSharedPointer<AbstractEnumerator> {
                                     return QSharedPointer<AirSpyEnumerator>::create(owner);
                                 }})
    {
    }

private slots:
    void resultOfOneIsSuccess();
};

void tst_AirSpyEnumerator::resultOfOneIsSuccess()
{
    for (const char* call : {"airspy_open_sn", "airspy_version_string_read", "airspy_close"}) {
        m_vendor.set(QString::fromLatin1(call), 1);
    }
    refresh();
    QCOMPARE(m_registry.devices().size(), 1);
}

QTEST_GUILESS_MAIN(tst_AirSpyEnumerator)
#include "tst_AirSpyEnumerator.moc"
