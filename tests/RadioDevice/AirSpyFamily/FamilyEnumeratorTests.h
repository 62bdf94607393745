#pragma once

#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"

#include "support/FakeVendor.h"

#include <QtTest>

/// What holds for the enumerators of both Airspy families; the test of each adds its own.
class FamilyEnumeratorTests : public QObject
{
    Q_OBJECT

protected:
    struct Family
    {
        QString library; ///< Its functions and its fake's keys begin so.
        DefRadioDevice::Type type;
        QString title;
        QString source; ///< What its log lines are tagged with, below RadioDevice.
        QString listFailure;
        QSharedPointer<AbstractEnumerator> (*make)(EnumeratorRadioDevice* owner);
    };

    explicit FamilyEnumeratorTests(const Family& family);

    void refresh();
    [[nodiscard]] QStringList identificators() const;
    /// Of a function or a key of the family: its library's name, then `rest`.
    [[nodiscard]] QString name(const char* rest) const { return m_family.library + QLatin1String(rest); }

    const Family m_family;
    FakeVendor m_vendor;
    EnumeratorRadioDevice m_registry;

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
    void listResultFromZeroOnIsCount_data();
    void listResultFromZeroOnIsCount();
    void listThatFailsAddsNothing_data();
    void listThatFailsAddsNothing();
    void stepThatFailsEndsRefresh_data();
    void stepThatFailsEndsRefresh();
    void versionWithoutEndIsCut();
    void versionThatIsNotUtf8IsListed();
};
