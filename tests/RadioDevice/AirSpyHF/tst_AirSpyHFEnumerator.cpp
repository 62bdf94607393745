#include "RadioDevice/AirSpyHF/AirSpyHFEnumerator.h"

#include "RadioDevice/AirSpyFamily/FamilyEnumeratorTests.h"
#include "support/LogCapture.h"

class tst_AirSpyHFEnumerator : public FamilyEnumeratorTests
{
    Q_OBJECT

public:
    tst_AirSpyHFEnumerator()
        : FamilyEnumeratorTests({QStringLiteral("airspyhf"), DefRadioDevice::AirSpyHF,
                                 QStringLiteral("Airspy HF+"), QStringLiteral("AirSpyHF/AirSpyHFEnumerator"),
                                 QStringLiteral("Error get airspy hf list devices!"),
                                 [](EnumeratorRadioDevice* owner) -> QSharedPointer<AbstractEnumerator> {
                                     return QSharedPointer<AirSpyHFEnumerator>::create(owner);
                                 }})
    {
    }

private slots:
    void resultOfOneIsFailure_data();
    void resultOfOneIsFailure();
};

void tst_AirSpyHFEnumerator::resultOfOneIsFailure_data()
{
    QTest::addColumn<QString>("call");
    QTest::newRow("open") << QStringLiteral("airspyhf_open_sn");
    QTest::newRow("version") << QStringLiteral("airspyhf_version_string_read");
    QTest::newRow("close") << QStringLiteral("airspyhf_close");
}

void tst_AirSpyHFEnumerator::resultOfOneIsFailure()
{
    QFETCH(QString, call);
    m_vendor.set(call, 1);
    const LogCapture log;
    refresh();
    QCOMPARE(m_registry.devices().size(), 0);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

QTEST_GUILESS_MAIN(tst_AirSpyHFEnumerator)
#include "tst_AirSpyHFEnumerator.moc"
